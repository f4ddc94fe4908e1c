// Why the engine scores a position as it does: reads FEN lines on standard input and prints, for
// each, the static evaluation broken down into named terms in centipawns, then "total cp N", the
// score that "debug" prints for the position (from the side to move's view).
//
//   build/explain < positions.txt
//   echo "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1" | build/explain
//
// Each position prints "fen <the FEN given>", one line per term, an optional "note: ..." line
// (why a rule settles the position without the model, or what else decides it), "total cp N" and
// an empty line. A FEN that "position fen" would reject prints "invalid fen: <reason>" alone.
// Blank lines are skipped.
#include <cstdio>
#include <iostream>
#include <string>
#include "engine/board/board.h"
#include "evaluation/explanation.h"
#include "sliders/sliders.h"

int main() {
    initColours();
    initSliders();
    resetStack();
    std::string line;
    while (std::getline(std::cin, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos) continue;
        line = line.substr(first, line.find_last_not_of(" \t") + 1 - first);
        Explanation explanation;
        std::string reason;
        if (!explainFen(line.c_str(), &explanation, &reason)) {
            printf("invalid fen: %s\n", reason.c_str());
            continue;
        }
        printf("fen %s\n", line.c_str());
        for (const ExplanationTerm& term : explanation.terms) printf("%-20s cp %i\n", term.name, term.cp);
        if (!explanation.note.empty()) printf("note: %s\n", explanation.note.c_str());
        printf("total cp %i\n\n", explanation.total);
    }
    return 0;
}
