// The static evaluation broken down into a dozen named terms in centipawns that add up exactly to
// it, for people: the tool build/explain and vireoExplain, the browser build's exported function.
#pragma once
#include <string>
#include <vector>
#include "../engine/board/board.h"

struct ExplanationTerm {
    const char* name;
    int cp;
};

struct Explanation {
    int total;                          // the evaluation, the score "debug" prints
    std::vector<ExplanationTerm> terms; // empty when a rule settles the position without the model
    std::string note;                   // why there are no terms, or what else decides it; may be empty
};

// The explanation of a position whose attack information is current (computeAttacks). The terms
// are the model's own products, grouped, each group rounded to whole centipawns; the last term,
// "Rounding", takes up the difference to the evaluation (the sum is truncated toward zero).
Explanation explainPosition(Ply* ply);

// Sets up a FEN, checked as "position fen" checks it, and explains it; on return the ply stack
// and the feature array are as they were. False with the reason when the FEN is rejected.
bool explainFen(const char* text, Explanation* out, std::string* reason);

// The explanation of a FEN as one JSON object (see vireoExplain).
std::string explanationJson(const char* text);

// For the browser build, called between commands while the command loop waits for input:
//   {"fen":"<the FEN given>","total":<cp>,"terms":[{"name":"<name>","cp":<cp>},...],"note":"<text>"}
// or {"error":"invalid fen: <reason>"}. Changes no state of the engine. The text stays valid
// until the next call.
extern "C" const char* vireoExplain(const char* fen);
