// Speed of the static evaluation and of the endgame probe on real positions:
//   eval_speed [FILE [POSITIONS [ROUNDS]]]
// FILE holds "FEN;score" lines (default: the shared training positions). Each position is set up
// and its attacks computed once; the timed loops then call evaluate / computeFeatures /
// probeEndgame on copies of the records.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include "engine/board/board.h"
#include "engine/board/movegen.h"
#include "engine/board/notation.h"
#include "sliders/sliders.h"
#include "evaluation/evaluation.h"
#include "evaluation/endgame.h"
#include "evaluation/features.h"

namespace {
double nanosecondsPer(long calls, std::chrono::steady_clock::time_point start) {
    auto elapsed = std::chrono::steady_clock::now() - start;
    return double(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count()) / double(calls);
}
} // namespace

int main(int argc, char** argv) {
    std::string file = argc > 1 ? argv[1] : std::string(VIREO_SHARED_DIR) + "/training/positions.txt";
    long wanted = argc > 2 ? atol(argv[2]) : 20000;
    int rounds = argc > 3 ? atoi(argv[3]) : 20;
    initColours();
    initSliders();
    FILE* in = fopen(file.c_str(), "r");
    if (!in) {
        fprintf(stderr, "Cannot open '%s'\n", file.c_str());
        return 1;
    }
    std::vector<Ply> positions;
    positions.reserve(size_t(wanted));
    char line[256];
    while (long(positions.size()) < wanted && fgets(line, sizeof line, in)) {
        if (char* semicolon = strchr(line, ';')) *semicolon = 0;
        if (!parseFen(line)) continue;
        computeAttacks();
        if (curr_ply->player->attacks->checkers) continue;
        positions.push_back(*curr_ply);
    }
    fclose(in);
    // The copies' own pointers must lead into the copies.
    for (Ply& p : positions) {
        bool white = whiteToMove(&p);
        p.black.attacks = &p.black_attacks;
        p.white.attacks = &p.white_attacks;
        p.player = white ? &p.white : &p.black;
        p.opponent = white ? &p.black : &p.white;
    }
    long calls = long(positions.size()) * rounds;
    printf("%zu positions, %d rounds\n", positions.size(), rounds);

    long sum = 0;
    auto start = std::chrono::steady_clock::now();
    for (int r = 0; r < rounds; r++)
        for (Ply& p : positions) sum += evaluate(&p);
    printf("evaluate        %7.1f ns per call (checksum %ld)\n", nanosecondsPer(calls, start), sum);

    start = std::chrono::steady_clock::now();
    for (int r = 0; r < rounds; r++)
        for (Ply& p : positions) {
            computeFeatures(p.player, p.opponent);
            sum += _features_[0];
        }
    printf("computeFeatures %7.1f ns per call\n", nanosecondsPer(calls, start));

    start = std::chrono::steady_clock::now();
    for (int r = 0; r < rounds; r++)
        for (Ply& p : positions) {
            int score = 0;
            sum += probeEndgame(&p, &score) + score;
        }
    printf("probeEndgame    %7.1f ns per call (no tables)\n", nanosecondsPer(calls, start));
    return sum == 42 ? 1 : 0; // keeps the loops from being optimised away
}
