// Searches fixed-shift magic multipliers (shift 52 for rooks, 55 for bishops) and prints them as
// the source of sliders/magics.cpp. Squares whose multiplier is already known keep it.
//   find_magics [--seed N] > sliders/magics.cpp
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <random>
#include <string>
#include <vector>
#include "sliders/sliders.h"
#include "option_values.h"

using namespace sliders;

static bool works(int square, bool rook, uint64_t magic) {
    int shift = rook ? 52 : 55;
    Bitboard mask = relevantMask(square, rook);
    int bits = __builtin_popcountll(mask);
    std::vector<Bitboard> table(size_t(1) << (64 - shift), ~Bitboard(0));
    for (uint64_t i = 0; i < (uint64_t(1) << bits); i++) {
        Bitboard occupancy = depositBits(i, mask);
        Bitboard attacks = walkAttacks(square, occupancy, rook);
        Bitboard& slot = table[(occupancy * magic) >> shift];
        if (slot != ~Bitboard(0) && slot != attacks) return false;
        slot = attacks;
    }
    return true;
}

int main(int argc, char** argv) {
    uint64_t seed = 1;
    vireo_tools::OptionReader options(argc, argv);
    while (options.next()) {
        std::string value;
        if (options.name() != "--seed" || !options.value(value) || !vireo_tools::parseUnsigned(value.c_str(), &seed)) {
            fprintf(stderr, "usage: find_magics [--seed N] > sliders/magics.cpp\n");
            return 1;
        }
    }
    std::mt19937_64 random(seed);
    // The first four squares of each kind have established multipliers.
    const uint64_t known_rook[4] = {0x2380004000201080, 0xc0084100401024, 0x6020022008002401, 0x2010002400020090};
    const uint64_t known_bishop[4] = {0x20041844091814, 0x404021044210181, 0x190e120900082210, 0xa4080150002d0};
    printf("// Magic multipliers, found by tools/find_magics.cpp and checked again at start-up.\n");
    printf("#include \"sliders.h\"\n\nnamespace sliders {\n");
    for (bool rook : {true, false}) {
        printf("const Bitboard %s_magics[64] = {\n", rook ? "rook" : "bishop");
        for (int square = 0; square < 64; square++) {
            uint64_t magic = square < 4 ? (rook ? known_rook : known_bishop)[square] : 0;
            while (!magic || !works(square, rook, magic)) magic = random() & random() & random();
            printf("%s0x%016llxULL,%s", square % 3 ? " " : "    ", (unsigned long long)magic,
                   square % 3 == 2 ? "\n" : "");
        }
        printf("\n};\n");
    }
    printf("} // namespace sliders\n");
}
