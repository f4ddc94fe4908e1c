// The tables through Fathom, Debian's libfathom or a build of its source.
#if VIREO_FATHOM
#include <tbprobe.h>
#include "tablebase.h"

const bool TABLEBASES_BUILT = true;
unsigned tablebase_men = 0;

bool loadTablebases(const char* path) {
    // "<empty>" releases the tables and succeeds without touching Fathom's count.
    TB_LARGEST = 0;
    bool loaded = tb_init(path);
    tablebase_men = loaded ? TB_LARGEST : 0;
    return loaded;
}

void releaseTablebases() {
    tb_free();
    tablebase_men = 0;
}

int probeTablebaseResult(const TablebasePosition& p) {
    unsigned result = tb_probe_wdl(p.white, p.black, p.kings, p.queens, p.rooks, p.bishops, p.knights, p.pawns, 0, 0,
                                   p.en_passant, p.white_to_move);
    return result == TB_RESULT_FAILED ? -1 : int(result);
}

bool probeTablebaseRoot(const TablebasePosition& p, unsigned halfmove, TablebaseRootMove* move) {
    unsigned result = tb_probe_root_impl(p.white, p.black, p.kings, p.queens, p.rooks, p.bishops, p.knights, p.pawns,
                                         halfmove, p.en_passant, p.white_to_move, nullptr);
    if (result == TB_RESULT_FAILED || result == TB_RESULT_CHECKMATE || result == TB_RESULT_STALEMATE) return false;
    *move = {int(TB_GET_WDL(result)), int(TB_GET_DTZ(result)), int(TB_GET_FROM(result)), int(TB_GET_TO(result)),
             int(TB_GET_PROMOTES(result))};
    return true;
}
#endif
