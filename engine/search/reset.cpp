// Clearing per-search and per-game state.
#include <cstring>
#include "search.h"
#include "ordering.h"
#include "record.h"
#include "../../transposition/tt.h"

void resetSearch() {
    memset(&search, 0, sizeof search);
    memset(root_nodes, 0, sizeof root_nodes);
    memset(history, 0, sizeof history);
    history_version[BLACK]++;
    history_version[WHITE]++;
}

void newGame() {
    resetSearch();
    clearTT();
}
