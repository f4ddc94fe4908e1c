// The UCI command loop: one line at a time, each command carried out to the end before the next.
// The order of the tests matters: "go" is recognised anywhere in a line, after the position rules.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include "uci.h"
#include "../search/input.h"
#include "../board/notation.h"
#include "frontend.h"
#include "../search/search.h"
#include "../../transposition/tt.h"
#include "../../evaluation/syzygy.h"

namespace {
void identify() {
    printf("id name %s\n", ENGINE_NAME);
    printf("id author Tomas BRELIER\n");
    printf("option name Hash type spin default 128 min 1 max 65536\n");
    printf("option name SyzygyPath type string default <empty>\n");
    printf("uciok\n");
}

// "position startpos|fen <FEN> [moves ...]": checked as a whole; a rejected command keeps the
// previous position.
void position(const char* line, bool startpos) {
    static char fen_text[8192];
    static char move_text[8192];
    if (startpos) snprintf(fen_text, sizeof fen_text, "%s", START_FEN);
    else snprintf(fen_text, sizeof fen_text, "%s", strstr(line, "position fen ") + strlen("position fen "));
    const char* moves = strstr(line, "moves ");
    if (moves) snprintf(move_text, sizeof move_text, "%s", moves + strlen("moves "));
    std::string reason;
    if (!setPosition(fen_text, moves ? move_text : nullptr, &reason))
        printf("info string Invalid position: %s\n", reason.c_str());
}
} // namespace

void quitEngine() {
    freeSyzygy();
    freeTT();
    exit(0);
}

bool executeCommand(const char* line) {
    if (!*line) return true;
    int number;
    static char word[8192];
    if (!strcmp(line, "stop")) {
    } else if (!strcmp(line, "uci")) {
        identify();
    } else if (strstr(line, "setoption name Hash value ")) {
        if (sscanf(line, "setoption name Hash value %i", &number) == 1) createTT(number);
    } else if (strstr(line, "setoption name SyzygyPath value ")) {
        if (sscanf(line, "setoption name SyzygyPath value %8191s", word) == 1) initSyzygy(word);
    } else if (!strcmp(line, "isready")) {
        printf("readyok\n");
    } else if (!strcmp(line, "ucinewgame")) {
        setPosition(START_FEN, nullptr, nullptr);
        newGame();
    } else if (strstr(line, "position startpos")) {
        position(line, true);
    } else if (strstr(line, "position fen ")) {
        position(line, false);
    } else if (strstr(line, "go")) {
        goCommand(line);
    } else if (strstr(line, "perft")) {
        perftCommand(line);
    } else if (!strcmp(line, "debug")) {
        debugCommand();
    } else if (!strcmp(line, "bench")) {
        benchCommand();
    } else if (!strcmp(line, "quit")) {
        return false;
    } else {
        printf("Unknown command : '%s'\n", line);
    }
    return true;
}

// End of input ends the engine like "quit".
void commandLoop() {
    while (readCommand() && executeCommand(input)) {}
    quitEngine();
}
