// Move-ordering tables and the quiescence move picker.
#include <cstring>
#include <algorithm>
#include "ordering.h"
#include "../board/assertion.h"
#include "../board/attacks.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "prefetch.h"
#include "../../transposition/tt.h"
#include "../../sliders/sliders.h"

int32_t history[2][8][64];
uint64_t root_nodes[4096];
uint8_t centre[64];
uint8_t centrality[4096];
uint64_t history_version[2];

void initCentrality() {
    for (int s = 0; s < 64; s++) {
        int f = fileOf(s), r = rankOf(s);
        centre[s] = uint8_t(std::min(f, 7 - f) + std::min(r, 7 - r));
    }
    for (int from = 0; from < 64; from++)
        for (int to = 0; to < 64; to++) centrality[from * 64 + to] = uint8_t(centre[to] * 8 + (7 - centre[from]));
}

void addHistory(int colour, Move m, int delta) {
    constexpr int64_t LIMIT = int64_t(1) << 30;
    int64_t next = int64_t(historyEntry(colour, m)) + delta;
    if (next > LIMIT || next < -LIMIT) {
        int32_t* all = &history[0][0][0];
        for (size_t i = 0; i < sizeof history / sizeof history[0][0][0]; i++) all[i] /= 2;
        history_version[colour ^ 1]++;
    }
    historyEntry(colour, m) += delta;
    history_version[colour]++;
}

bool hashMoveIsValid(Move m) {
    const Ply* ply = curr_ply;
    const Side* own = ply->player;
    const Side* enemy = ply->opponent;
    int type = movePiece(m), from = moveFrom(m), to = moveTo(m), captured = moveCaptured(m);
    if (type < PAWN || type > KING || !(own->pieces[type] & bit(from))) return false;
    if (captured) {
        if (captured > KING || !(enemy->pieces[captured] & bit(to))) return false;
    } else if (ply->occupancy & bit(to)) {
        return false;
    }
    Bitboard reach = 0;
    switch (type) {
    case PAWN: {
        bool white = own->info->colour == WHITE;
        int forward = white ? 8 : -8;
        if (ply->occupancy & bit(to)) {
            reach = pawn_attacks[own->info->colour][from];
        } else if (to == from + forward) {
            reach = bit(to);
        } else if (to == from + 2 * forward && rankOf(from) == (white ? 1 : 6) &&
                   !(ply->occupancy & bit(from + forward))) {
            reach = bit(to);
        }
        // A word from another position could describe a promotion that is not one, or the reverse.
        bool last_rank = rankOf(to) == (white ? 7 : 0);
        if (last_rank != (movePromotion(m) != 0)) return false;
        break;
    }
    case KNIGHT: reach = knight_attacks[from]; break;
    case BISHOP: reach = getBishopMoves(ply->occupancy, from); break;
    case ROOK: reach = getRookMoves(ply->occupancy, from); break;
    case QUEEN: reach = getQueenMoves(ply->occupancy, from); break;
    case KING: reach = king_attacks[from]; break;
    }
    if (!(reach & bit(to))) return false;
    if (type != PAWN && movePromotion(m)) return false;
    makeMoveAndPrefetch(m);
    bool exposed = isKingAttacked(curr_ply->opponent, curr_ply->player);
    takeBack();
    return !exposed;
}

void initPicker(MovePicker* picker, int ply, int horizon, uint32_t in_check, Move hash_move) {
    picker->stage = 0;
    picker->index = -1;
    picker->tt_move = hash_move;
    picker->gen_mode = in_check ? GEN_ALL : ply == horizon ? GEN_TACTICAL : GEN_CAPTURES;
    if (!hash_move || !hashMoveIsValid(hash_move)) {
        picker->stage = 1;
        picker->tt_move = 0;
    }
}

Move nextMove(MovePicker* picker) {
    Ply* ply = curr_ply;
    switch (picker->stage) {
    case 0: picker->stage = 1; return picker->tt_move;
    case 1:
        generateMoves(int(picker->gen_mode));
        if (picker->tt_move) {
            // The hash move has been tried already: keep it just past the end of the list.
            for (int i = 0; i < ply->generated; i++)
                if (ply->moves[i] == picker->tt_move) {
                    ply->moves[i] = ply->moves[ply->generated - 1];
                    ply->moves[ply->generated - 1] = picker->tt_move;
                    ply->generated--;
                    break;
                }
        }
        picker->stage = 2;
        [[fallthrough]];
    case 2: {
        int index = ++picker->index;
        if (index >= ply->generated) {
            picker->stage = 3;
            return 0;
        }
        VIREO_ASSERT(index >= 0 && index < curr_ply->generated);
        return selectMove<ORDER_PLAIN>(index);
    }
    default: return 0;
    }
}
