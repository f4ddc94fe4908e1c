// The time check: the clock, the time extension and input that ends a search.
#include <cstdio>
#include "time_check.h"
#include "input.h"
#include "../board/notation.h"
#include "../../platform/clock.h"
#include "../../transposition/tt.h"

void checkTimeNow() {
    search.elapsed = clockMs() - search.start;
    if (search.limit != LIMIT_DEPTH && search.elapsed >= search.movetime) {
        if (search.extension_allowed && !search.extended && 4 * search.movetime <= search.reserve) {
            search.movetime *= 2;
            search.extended = 1;
        } else {
            search.stop = 1;
        }
    }
    // Any line at all ends the search; the command loop reads it afterwards.
    if (inputWaiting()) search.stop = 1;
    // A search that waits for "stop" cannot get one once input has ended (a GUI that crashed).
    else if (search.infinite && inputEnded()) search.stop = 1;
    if (search.nodes % 2000000 == 0) {
        refreshNps();
        printf("info depth %i currmove %s currmovenumber %i time %llu nodes %llu nps %llu hashfull %i\n",
               search.curr_depth, uciMoveText(search.currmove).c_str(), search.currmovenumber,
               (unsigned long long)search.elapsed, (unsigned long long)search.nodes, (unsigned long long)search.nps,
               int(hashfull()));
    }
}
