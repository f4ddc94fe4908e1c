// The Syzygy tablebases: Fathom where the build has it (VIREO_FATHOM=1), and where it has not a
// stand-in that answers as Fathom does when it finds no tables. Every search is then the same as
// with Fathom and no tables loaded.
#pragma once
#include <cstdint>

// Whether this build can read tables at all.
extern const bool TABLEBASES_BUILT;

// The most men that the loaded tables cover; 0 while none are loaded, and then nothing probes.
extern unsigned tablebase_men;

// Loads the tables of a list of directories ("<empty>": none, releasing those loaded); the
// library's answer. Sets tablebase_men.
bool loadTablebases(const char* path);

// Releases every table, once, at the end: the library cannot be initialised again after it.
void releaseTablebases();

// A position as the tables take it: the men of each colour, the men of each type (both colours),
// the en-passant square (0 for none) and the side to move.
struct TablebasePosition {
    uint64_t white, black, kings, queens, rooks, bishops, knights, pawns;
    unsigned en_passant;
    bool white_to_move;
};

// Win, draw or loss for the side to move, with the fifty-move rule's shades in between.
enum TablebaseResult { WDL_LOSS, WDL_BLESSED_LOSS, WDL_DRAW, WDL_CURSED_WIN, WDL_WIN };

// The result of a position without castling rights whose halfmove clock is 0; -1 when the tables
// cannot tell.
int probeTablebaseResult(const TablebasePosition& position);

// The tables' choice at the root: the move that keeps the best result by distance to zeroing.
struct TablebaseRootMove {
    int result; // a TablebaseResult
    int dtz;    // distance to zeroing
    int from, to;
    int promotes; // 0 none, then queen, rook, bishop, knight
};

// The tables' move for a position without castling rights; false when they have none (no table,
// a failed probe, or the game is already over).
bool probeTablebaseRoot(const TablebasePosition& position, unsigned halfmove, TablebaseRootMove* move);
