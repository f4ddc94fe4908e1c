// The 127 integer features that the learned model scores. Each is a difference between the side
// to move and the opponent of a count of squares, so the vector is colour-symmetric.
#pragma once
#include "../engine/board/attacks.h"

constexpr int MAX_FEATURES = 1024;
constexpr int NUM_FEATURES = 127;

// The layout of the vector, block by block. The order is also the column order of the feature
// rows the model is fitted on, so a block never moves.
enum FeatureBlockId : int {
    PIECE_COUNT,      // men, kings included
    BARE_KING,        // 1 for a side with nothing but its king
    PAWN_RANKS,       // relative ranks 2..7, each as not passed then passed
    PIECE_RINGS,      // knight, bishop, rook, queen, king, each by corner ring 0..6
    THREATS,          // attacker pawn..king by target pawn..queen, each as threat then defence
    SAFE_PAWN_PUSHES, // pushes onto empty squares the enemy does not attack
    SAFE_SQUARES,     // such squares attacked by knights, bishops, rooks, queens, king
    DOUBLED_PAWNS,
    ISOLATED_PAWNS,
    PINNED_PIECES,      // pawn..queen
    CENTRE_PRESENCE,    // pieces and attacks in the centre band of the own half
    KING_COVER,         // own pieces and attacks next to the own king
    QUEEN_KING_ATTACKS, // supported queen attacks next to the king, opponent first
    KING_ZONE_ATTACKS,  // attacks next to the king weighted by piece value, opponent first
    CHECK_SQUARES,      // squares from which the enemy could give check
    FEATURE_BLOCKS
};

struct FeatureBlock {
    const char* name;
    int first;
    int length;
};

inline constexpr FeatureBlock feature_blocks[FEATURE_BLOCKS] = {
    {"piece count", 0, 1},
    {"bare king", 1, 1},
    {"pawns by relative rank", 2, 12},
    {"pieces by corner ring", 14, 35},
    {"threats and defence", 49, 60},
    {"safe pawn pushes", 109, 1},
    {"safe squares", 110, 5},
    {"doubled pawns", 115, 1},
    {"isolated pawns", 116, 1},
    {"pinned pieces", 117, 5},
    {"centre presence", 122, 1},
    {"king cover", 123, 1},
    {"queen attacks on the king", 124, 1},
    {"weighted king-zone attacks", 125, 1},
    {"check squares", 126, 1},
};

constexpr bool blocksTileTheVector() {
    int next = 0;
    for (const FeatureBlock& b : feature_blocks) {
        if (b.first != next || b.length < 1) return false;
        next += b.length;
    }
    return next == NUM_FEATURES;
}
static_assert(blocksTileTheVector(), "the feature blocks follow one another and fill the vector");

// The index of a feature: the first of its block, or one inside it.
constexpr int featureIndex(FeatureBlockId block) { return feature_blocks[block].first; }
// Pawns on relative rank 2..7.
constexpr int pawnRankFeature(int relative_rank, bool passed) {
    return featureIndex(PAWN_RANKS) + 2 * (relative_rank - 2) + (passed ? 1 : 0);
}
// Pieces of type KNIGHT..KING on corner ring 0..6.
constexpr int ringFeature(int type, int ring) { return featureIndex(PIECE_RINGS) + 7 * (type - KNIGHT) + ring; }
// Attacker PAWN..KING on target PAWN..QUEEN; the defence feature follows its threat feature.
constexpr int threatFeature(int attacker, int target) {
    return featureIndex(THREATS) + 10 * (attacker - PAWN) + 2 * (target - PAWN);
}
constexpr int defenceFeature(int attacker, int target) { return threatFeature(attacker, target) + 1; }
// Attackers KNIGHT..KING.
constexpr int safeSquaresFeature(int type) { return featureIndex(SAFE_SQUARES) + type - KNIGHT; }
// Pinned pieces PAWN..QUEEN.
constexpr int pinnedFeature(int type) { return featureIndex(PINNED_PIECES) + type - PAWN; }

// Features of the last position processed in entries 0..126; entry MAX_FEATURES - 1 holds
// their number. Entries 127..1022 stay 0 (the dot product reads entry 127 as a zero pad).
extern int _features_[MAX_FEATURES];

// A bare king to move whose every neighbouring square is attacked: stalemate, so there is nothing
// to score. Needs the opponent's attack information.
inline bool bareKingStalemated(const Side* player, const Side* opponent) {
    return popcount(player->pieces[0]) == 1 && !(king_attacks[player->king] & ~opponent->attacks->attacked[0]);
}

// Fills _features_ for the position whose sides these are (side to move first).
// The attack information of both sides must be current (computeAttacks).
void computeFeatures(const Side* player, const Side* opponent);
