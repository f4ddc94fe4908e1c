// match: plays games between two UCI engines the way a tournament manager does.
//
// Each engine runs as a child process over pipes. The tool keeps the clocks itself (monotonic clock,
// increment after every move), and never trusts either player about the rules: a third engine, the
// referee (stockfish by default), lists the legal moves and tells the FEN and the checkers of every
// position, from which the tool decides illegal moves, mate, stalemate, repetition, the fifty-move rule
// and dead material. Engines that crash, hang or talk nonsense lose the game and are restarted.
//
// The parts live in tools/match/ (the library match_core, which the tests link too): the engines
// and the referee, the draw rules and SAN, the game loop, Elo and the sequential test, PGN, the
// match with its workers and summary, and the command line. Child processes are driven by uci/process.h.
// Only the C++ standard library and POSIX are used, so the tool builds even when the engine does not:
//   g++ -std=c++20 -O2 -pthread tools/match.cpp tools/match/*.cpp -o match

#include "match/command_line.h"

int main(int argc, char** argv) { return vireo_match::runFromCommandLine(argc, argv); }
