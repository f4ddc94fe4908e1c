// The "go" command: limits from the line, one search, then the per-search state is cleared.
#include <cstdio>
#include <cstring>
#include "frontend.h"
#include "go.h"
#include "../search/search.h"
#include "../search/record.h"
#include "../search/think.h"

namespace {
// The number after "<key> " anywhere in the line; 0 when missing, unreadable or negative.
bool readValue(const char* line, const char* key, unsigned long long* value) {
    *value = 0;
    char pattern[32];
    snprintf(pattern, sizeof pattern, "%s ", key);
    const char* at = strstr(line, pattern);
    if (!at) return false;
    const char* number = at + strlen(pattern);
    while (*number == ' ') number++;
    if (*number == '-') return false;
    snprintf(pattern, sizeof pattern, "%s %%llu", key);
    if (sscanf(at, pattern, value) != 1) {
        *value = 0;
        return false;
    }
    return true;
}
} // namespace

void setLimits(const char* line) {
    search.limit = LIMIT_DEPTH;
    search.depth = 0;
    search.reserve = 0;
    search.movetime = 0;
    search.infinite = 0;
    int depth;
    unsigned long long movetime;
    if (!strcmp(line, "go")) {
        search.limit = LIMIT_DEPTH;
        search.depth = 10;
    } else if (!strcmp(line, "go infinite")) {
        search.limit = LIMIT_TIME;
        search.movetime = 1000000000;
        search.infinite = 1;
    } else if (sscanf(line, "go depth %i", &depth) == 1) {
        search.limit = LIMIT_DEPTH;
        search.depth = depth;
    } else if (sscanf(line, "go movetime %llu", &movetime) == 1) {
        search.limit = LIMIT_TIME;
        readValue(line, "go movetime", &movetime); // a negative time counts as none left
        search.movetime = movetime;
    } else {
        unsigned long long wtime, btime, winc, binc, movestogo;
        readValue(line, "wtime", &wtime);
        readValue(line, "btime", &btime);
        readValue(line, "winc", &winc);
        readValue(line, "binc", &binc);
        if (readValue(line, "movestogo", &movestogo)) {
            if (movestogo == 0) movestogo = 1;
        } else {
            movestogo = 40;
        }
        bool white = whiteToMove(curr_ply);
        unsigned long long remaining = white ? wtime : btime, increment = white ? winc : binc;
        search.reserve = remaining > 1000 ? remaining - 1000 : 0;
        unsigned long long per = search.reserve / movestogo + increment;
        search.movetime = per > 25 ? per - 25 : 0;
        // The increment is credited only after the move: with less on the clock than the increment,
        // the rule above would spend time that is not there. Never more than half of what is left
        // beyond a 50 ms margin for the interface.
        unsigned long long safe = remaining > 50 ? (remaining - 50) / 2 : 0;
        if (search.movetime > safe) search.movetime = safe;
        search.limit = LIMIT_CLOCK;
    }
}

void goCommand(const char* line) {
    setLimits(line);
    think();
    resetSearch();
}
