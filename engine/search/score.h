// The score scale of the searches: centipawns up to the mate scores, and the text of a score in
// the search's output lines.
#pragma once
#include <string>

constexpr int MATE = 30000;
constexpr int INFINITE = 60000;
constexpr int MAX_DEPTH = 63;
constexpr int MATE_BOUND = MATE - MAX_DEPTH; // 29937: scores from here on are mates

inline bool isMateScore(int s) { return (s >= MATE_BOUND || s <= -MATE_BOUND) && s != INFINITE && s != -INFINITE; }

// Moves to mate for a mate score: positive when the side to move mates, negative when it is mated.
inline int mateInMoves(int score) { return score > 0 ? (MATE + 1 - score) / 2 : -((score + MATE + 1) / 2); }

// "score mate N " or "score cp N ", with its trailing space.
std::string scoreText(int score);
