// The one reader of "info" lines: the depth and the score a search reports, as far as a line says.
#pragma once

#include <cstdlib>
#include <string>

#include "words.h"

namespace vireo_tools {

struct InfoLine {
    int depth = -1; // -1 when the line names none
    bool has_score = false;
    bool mate = false;  // the value is moves to mate (negative: mated), else centipawns
    int value = 0;      // from the side to move's view
    bool bound = false; // a lowerbound or upperbound: not the exact score of an iteration
};

// Reads a line that starts with "info"; any other line reads as one that says nothing. The moves
// after "pv" and the text after "string" are not read.
inline InfoLine readInfoLine(const std::string& line) {
    InfoLine info;
    auto words = splitWords(line);
    if (words.empty() || words[0] != "info") return info;
    for (size_t i = 1; i + 1 < words.size(); i++) {
        if (words[i] == "pv" || words[i] == "string") break;
        if (words[i] == "depth") {
            info.depth = atoi(words[i + 1].c_str());
        } else if (words[i] == "score" && i + 2 < words.size() && (words[i + 1] == "cp" || words[i + 1] == "mate")) {
            info.has_score = true;
            info.mate = words[i + 1] == "mate";
            info.value = atoi(words[i + 2].c_str());
            info.bound = i + 3 < words.size() && (words[i + 3] == "lowerbound" || words[i + 3] == "upperbound");
        }
    }
    return info;
}

} // namespace vireo_tools
