// Why the evaluation says what it says: the model's products grouped into named terms. Nothing
// here scores on its own: the features, the weights, the class term and the total are the
// evaluation's own, so the terms add up to exactly what evaluate returns.
#include <cmath>
#include <cstdio>
#include <cstring>
#include "explanation.h"
#include "evaluation.h"
#include "endgame.h"
#include "features.h"
#include "model.h"
#include "../engine/board/movegen.h"
#include "../engine/board/notation.h"
#ifdef __EMSCRIPTEN__
#include <emscripten/emscripten.h>
#define VIREO_EXPORT EMSCRIPTEN_KEEPALIVE
#else
#define VIREO_EXPORT
#endif

namespace {

enum Term {
    MATERIAL,
    ENDGAME_MATERIAL,
    PAWNS,
    PLACEMENT,
    THREAT,
    DEFENCE,
    MOBILITY,
    PAWN_PUSHES,
    PAWN_STRUCTURE,
    PINS,
    CENTRE,
    KING_SAFETY,
    BASE,
    TERMS
};

const char* const term_names[TERMS] = {
    "Material", "Endgame material", "Pawn ranks/passed",   "Piece placement", "Threats",
    "Defence",  "Mobility",         "Safe pawn pushes",    "Pawn structure",  "Pins",
    "Centre",   "King safety",      "Side to move / base",
};

// The term of each block of the feature vector (threats and defence alternate inside theirs).
constexpr Term blockTerm(int block) {
    switch (block) {
    case PIECE_COUNT:
    case BARE_KING: return MATERIAL;
    case PAWN_RANKS: return PAWNS;
    case PIECE_RINGS: return PLACEMENT;
    case THREATS: return THREAT;
    case SAFE_PAWN_PUSHES: return PAWN_PUSHES;
    case SAFE_SQUARES: return MOBILITY;
    case DOUBLED_PAWNS:
    case ISOLATED_PAWNS: return PAWN_STRUCTURE;
    case PINNED_PIECES: return PINS;
    case CENTRE_PRESENCE: return CENTRE;
    default: return KING_SAFETY; // king cover, attacks next to the king, check squares
    }
}

// Squares in each corner ring 0..6.
constexpr int ring_squares[7] = {4, 8, 12, 16, 12, 8, 4};

// The model counts every man in the piece count and prices each type through the pawn-rank and
// ring weights around it. The value a man of a type has wherever it stands is material: for a
// piece the mean of its ring weights over the 64 squares, for a pawn the mean of its weights on
// relative ranks 2 to 6 when not passed. What its square or rank adds or takes away is placement
// or pawn advance. The split changes no sum: the type's features add up to its count.
double pawnBase(const float* w) {
    double sum = 0;
    for (int r = 2; r <= 6; r++) sum += w[pawnRankFeature(r, false)];
    return sum / 5;
}

double pieceBase(const float* w, int type) {
    if (type == KING) return 0; // one king a side: the kings' ring features add up to 0
    double sum = 0;
    for (int d = 0; d < 7; d++) sum += ring_squares[d] * double(w[ringFeature(type, d)]);
    return sum / 64;
}

// The share of every term, before rounding.
void termShares(int men, float class_term, double shares[TERMS]) {
    const int* f = _features_;
    double products[MODEL_WEIGHTS];
    modelTerms(f, men, products);
    for (int t = 0; t < TERMS; t++) shares[t] = 0;
    for (int b = 0; b < FEATURE_BLOCKS; b++) {
        const FeatureBlock& block = feature_blocks[b];
        for (int i = block.first; i < block.first + block.length; i++) {
            Term term = blockTerm(b);
            if (b == THREATS && (i - block.first) % 2) term = DEFENCE;
            shares[term] += products[i];
        }
    }
    const float* w = modelWeights(men);
    double pawn_base = pawnBase(w);
    for (int i = featureIndex(PAWN_RANKS); i < featureIndex(PAWN_RANKS) + feature_blocks[PAWN_RANKS].length; i++) {
        shares[MATERIAL] += f[i] * pawn_base;
        shares[PAWNS] -= f[i] * pawn_base;
    }
    for (int type = KNIGHT; type <= KING; type++) {
        double base = pieceBase(w, type);
        for (int d = 0; d < 7; d++) {
            shares[MATERIAL] += f[ringFeature(type, d)] * base;
            shares[PLACEMENT] -= f[ringFeature(type, d)] * base;
        }
    }
    shares[BASE] = products[MODEL_WEIGHTS - 1];
    shares[ENDGAME_MATERIAL] = class_term;
}

std::string threeMenNote(const Ply* ply, int score) {
    bool pawn = (ply->white.pieces[PAWN] | ply->black.pieces[PAWN]) != 0;
    std::string note = "Three men: the endgame rules settle the position, not the model";
    if (pawn) note += " (king and pawn against king: the bitbase)";
    if (score == 0) return note + ": a draw";
    return note + (score > 0 ? ": won for the side to move" : ": lost for the side to move");
}

// Mate and stalemate are the search's to find; the static score does not know them.
std::string noMoveNote(const Ply* ply) {
    if (countMoves()) return "";
    return ply->player->attacks->checkers ? "Checkmate: the side to move has no legal move."
                                          : "Stalemate: the side to move has no legal move.";
}

void appendNote(std::string* note, const std::string& more) {
    if (more.empty()) return;
    if (!note->empty()) *note += " ";
    *note += more;
}

void appendJsonString(std::string* out, const std::string& text) {
    *out += '"';
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            *out += '\\';
            *out += char(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", c);
            *out += escape;
        } else {
            *out += char(c);
        }
    }
    *out += '"';
}

} // namespace

Explanation explainPosition(Ply* ply) {
    // The route and the model's sum are evaluate's own steps, taken once: the total is what
    // evaluate returns.
    Explanation out;
    int score = 0;
    float class_term = 0.0f;
    int men = popcount(ply->occupancy);
    EvaluationRoute route = evaluationRoute(ply, &score, &class_term);
    out.total = score;
    switch (route) {
    case EvaluationRoute::BARE_KINGS: out.note = "Bare kings: a draw, scored without the model."; return out;
    case EvaluationRoute::THREE_MEN:
        out.note = threeMenNote(ply, score) + "; the search scores it the same way.";
        return out;
    case EvaluationRoute::STALEMATED_BARE_KING:
        out.note = "Bare king with no free square: scored 0 without the model.";
        appendNote(&out.note, noMoveNote(ply));
        return out;
    case EvaluationRoute::MODEL: break;
    }
    float sum = modelSum(_features_, men, class_term);
    out.total = modelSumScore(sum);
    if (sum > MODEL_SCORE_LIMIT || sum < -MODEL_SCORE_LIMIT) {
        char text[160];
        snprintf(text, sizeof text, "The model's sum %.0f lies beyond the limit: the score is clamped to %i.", sum,
                 out.total);
        out.note = text;
    } else {
        double shares[TERMS];
        termShares(men, class_term, shares);
        int rounded_sum = 0;
        for (int t = 0; t < TERMS; t++) {
            if (t == ENDGAME_MATERIAL && men > 6) continue;
            int cp = int(std::lround(shares[t]));
            out.terms.push_back({term_names[t], cp});
            rounded_sum += cp;
        }
        out.terms.push_back({"Rounding", out.total - rounded_sum});
    }
    int settled = 0;
    if (probeEndgame(ply, &settled)) {
        char text[160];
        snprintf(text, sizeof text, "In the search the endgame knowledge settles this position: score cp %i.", settled);
        appendNote(&out.note, text);
    }
    appendNote(&out.note, noMoveNote(ply));
    return out;
}

bool explainFen(const char* text, Explanation* out, std::string* reason) {
    // Setting up the FEN replaces the first record of the stack; it is put back afterwards, with
    // the stack's index and the feature array, so that a game in progress goes on untouched.
    static Ply saved_first;
    static int saved_features[MAX_FEATURES];
    memcpy(&saved_first, &plies[0], sizeof(Ply));
    memcpy(saved_features, _features_, sizeof saved_features);
    const int saved_index = ply_index;
    Ply* const saved_current = curr_ply;

    bool valid = parseFen(text, reason);
    if (valid) {
        computeAttacks();
        *out = explainPosition(curr_ply);
    }

    memcpy(&plies[0], &saved_first, sizeof(Ply));
    memcpy(_features_, saved_features, sizeof saved_features);
    ply_index = saved_index;
    curr_ply = saved_current;
    return valid;
}

std::string explanationJson(const char* text) {
    Explanation explanation;
    std::string reason, out;
    if (!explainFen(text, &explanation, &reason)) {
        out = "{\"error\":";
        appendJsonString(&out, "invalid fen: " + reason);
        return out + "}";
    }
    // The FEN as given, without the spaces around it.
    std::string fen = text;
    fen.erase(0, fen.find_first_not_of(" \t\r\n"));
    fen.erase(fen.find_last_not_of(" \t\r\n") + 1);
    out = "{\"fen\":";
    appendJsonString(&out, fen);
    out += ",\"total\":" + std::to_string(explanation.total) + ",\"terms\":[";
    for (size_t i = 0; i < explanation.terms.size(); i++) {
        out += i ? ",{\"name\":" : "{\"name\":";
        appendJsonString(&out, explanation.terms[i].name);
        out += ",\"cp\":" + std::to_string(explanation.terms[i].cp) + "}";
    }
    out += "],\"note\":";
    appendJsonString(&out, explanation.note);
    return out + "}";
}

extern "C" VIREO_EXPORT const char* vireoExplain(const char* fen) {
    static std::string answer;
    answer = explanationJson(fen ? fen : "");
    return answer.c_str();
}
