// The words of UCI lines and FENs: splitting a line, a FEN's halfmove clock, and whether a text is
// a move in coordinate notation.
#pragma once

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace vireo_tools {

inline std::vector<std::string> splitWords(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream in(text);
    std::string w;
    while (in >> w) words.push_back(w);
    return words;
}

// The fifth field of a FEN, 0 when it is missing.
inline int halfmoveClock(const std::string& fen) {
    auto words = splitWords(fen);
    return words.size() > 4 ? atoi(words[4].c_str()) : 0;
}

inline bool isCoordinateMove(const std::string& text) {
    if (text.size() != 4 && text.size() != 5) return false;
    if (text[0] < 'a' || text[0] > 'h' || text[2] < 'a' || text[2] > 'h') return false;
    if (text[1] < '1' || text[1] > '8' || text[3] < '1' || text[3] > '8') return false;
    return text.size() == 4 || std::string("qrbn").find(text[4]) != std::string::npos;
}

} // namespace vireo_tools
