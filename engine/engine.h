// The engine: three folders whose includes run one way, each with a chief header named for it.
//   board/     the position and move word, the ply stack, legal moves, making moves, FEN and
//              notation, perft, and the consistency checks (with sliders/ as its peer)
//   search/    the search record, ordering, quiescence, alpha-beta, the driver, the root tablebase
//              probe, and the input buffer it polls (above evaluation/, with transposition/)
//   frontend/  start-up, the UCI command loop and the go, perft, bench and debug commands
#pragma once
#include "board/board.h"
#include "search/search.h"
#include "frontend/frontend.h"
