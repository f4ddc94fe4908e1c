// The transposition table: report lines, bucket replacement, piece-count ageing, bounds and fill.
#include <gtest/gtest.h>
#include <cstring>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include "tests/position_fixture.h"
#include "transposition/tt.h"

namespace {
// A stand-in position: the table reads only the key and the occupancy.
Ply positionWith(uint64_t key, int pieces) {
    Ply ply;
    memset(&ply, 0, sizeof ply);
    ply.key = key;
    ply.occupancy = pieces >= 64 ? ~Bitboard(0) : (Bitboard(1) << pieces) - 1;
    return ply;
}

std::string createReport(int size) {
    return printedBy([size] { createTT(size); });
}

// Moves to store: 1.e4, 1.Nf3 and exd5 after 1.e4 d5.
const Move E2E4 = makeMoveWord(12, 28, PAWN), G1F3 = makeMoveWord(6, 21, KNIGHT),
           E4D5 = makeMoveWord(28, 35, PAWN, PAWN);

// Keys that all fall into the bucket of entry 0 of a 1 MB table.
uint64_t keyInBucketZero(int n) { return uint64_t(n + 1) << 20; }

class TTTest : public testing::Test {
protected:
    void SetUp() override {
        createReport(1);
        clearTT();
        setRootPieces(32);
    }
    void TearDown() override { createReport(1); }
};
} // namespace

TEST(TTCreate, ReportLinesAndSizes) {
    EXPECT_EQ(createReport(64), "info debug Creation of Transposition Table : success (64 MB)\n");
    EXPECT_EQ(transposition.count, 64u * 65536);
    for (int bad : {0, -1, 100, 65537}) {
        char expected[200];
        snprintf(expected, sizeof expected,
                 "info debug Creation of Transposition Table : invalid size (%i MB, reset to default)\n"
                 "info debug Creation of Transposition Table : success (128 MB)\n",
                 bad);
        EXPECT_EQ(createReport(bad), expected) << bad;
        EXPECT_EQ(transposition.count, 128u * 65536);
    }
    EXPECT_EQ(createReport(1), "info debug Creation of Transposition Table : success (1 MB)\n");
    EXPECT_EQ(transposition.count, 65536u);
}

TEST_F(TTTest, ProbeWordAndBounds) {
    Ply p = positionWith(0xabcdef0123456789ULL, 20);
    EXPECT_EQ(probeTT(&p), 0u);
    storeTT(p.key, 20, 7, -5000, 5000, E4D5, -1234);
    uint64_t word = probeTT(&p);
    EXPECT_EQ(probeBound(word), BOUND_EXACT);
    EXPECT_EQ(probeDepth(word), 7);
    EXPECT_EQ(probeScore(word), -1234);
    EXPECT_EQ(probeHashMove(word), E4D5);

    // score <= alpha: upper bound; score >= beta (beta itself included): lower bound.
    storeTT(p.key, 20, 1, 10, 20, 0, 10);
    EXPECT_EQ(probeBound(probeTT(&p)), BOUND_UPPER);
    storeTT(p.key, 20, 1, 10, 20, 0, 20);
    EXPECT_EQ(probeBound(probeTT(&p)), BOUND_LOWER);
    storeTT(p.key, 20, 1, 10, 20, 0, 11);
    EXPECT_EQ(probeBound(probeTT(&p)), BOUND_EXACT);
    // Mate scores are stored as they come.
    storeTT(p.key, 20, 1, -60000, 60000, 0, 29997);
    EXPECT_EQ(probeScore(probeTT(&p)), 29997);
    // The hash-move mark never reaches the table.
    storeTT(p.key, 20, 1, 10, 20, E2E4 | HASH_MOVE, 15);
    EXPECT_EQ(probeHashMove(probeTT(&p)), E2E4);
}

TEST_F(TTTest, PieceCountMustMatchButNotForProbeMove) {
    Ply p = positionWith(0x1111222233334444ULL, 12);
    storeTT(p.key, 12, 3, 0, 1, G1F3, 40);
    Ply other = positionWith(p.key, 11);
    EXPECT_EQ(probeTT(&other), 0u);
    EXPECT_EQ(probeMove(p.key), G1F3);
    EXPECT_NE(probeTT(&p), 0u);
    EXPECT_EQ(probeMove(p.key ^ 0x100000000ULL), 0u);
}

TEST_F(TTTest, SameKeyOverwritesWithoutCounting) {
    storeTT(keyInBucketZero(0), 10, 20, 0, 1, 1, 5);
    EXPECT_EQ(transposition.used, 1u);
    // Even a shallower (quiescence) result replaces a deep one.
    storeTT(keyInBucketZero(0), 10, 0, 0, 1, 2, 6);
    EXPECT_EQ(transposition.used, 1u);
    EXPECT_EQ(transposition.entries[0].depth, 0);
    EXPECT_EQ(transposition.entries[0].move, 2u);
    EXPECT_EQ(hashfull(), 1000u / 65536);
}

TEST_F(TTTest, ReplacementOrder) {
    TTEntry* bucket = transposition.entries;
    // Four positions fill the bucket in order.
    int depths[4] = {5, 3, 7, 3};
    for (int i = 0; i < 4; i++) storeTT(keyInBucketZero(i), 20, uint8_t(depths[i]), 0, 1, 0, 0);
    for (int i = 0; i < 4; i++) EXPECT_EQ(bucket[i].key, keyInBucketZero(i));
    EXPECT_EQ(transposition.used, 4u);

    // No dead entry: the shallowest goes, the earlier one on a tie.
    storeTT(keyInBucketZero(4), 20, 9, 0, 1, 0, 0);
    EXPECT_EQ(bucket[1].key, keyInBucketZero(4));
    EXPECT_EQ(transposition.used, 4u);
    storeTT(keyInBucketZero(5), 20, 9, 0, 1, 0, 0);
    EXPECT_EQ(bucket[3].key, keyInBucketZero(5));

    // Entries with more pieces than the root are replaced first, whatever their depth.
    bucket[2].info = entryInfo(25, BOUND_UPPER);
    bucket[3].info = entryInfo(26, BOUND_UPPER);
    setRootPieces(24);
    storeTT(keyInBucketZero(6), 20, 1, 0, 1, 0, 0);
    EXPECT_EQ(bucket[2].key, keyInBucketZero(6));
    storeTT(keyInBucketZero(7), 20, 1, 0, 1, 0, 0);
    EXPECT_EQ(bucket[3].key, keyInBucketZero(7));
    // An entry with exactly the root's count is alive.
    bucket[0].info = entryInfo(24, BOUND_EXACT);
    storeTT(keyInBucketZero(8), 20, 2, 0, 1, 0, 0);
    EXPECT_EQ(bucket[2].key, keyInBucketZero(8)); // depth 1 was the shallowest
    EXPECT_EQ(transposition.used, 4u);
}

TEST_F(TTTest, HashfullCountsFirstFillsOnlyAndClearResets) {
    for (int i = 0; i < 1000; i++) storeTT(uint64_t(i + 1) * 4, 10, 1, 0, 1, 0, 0);
    EXPECT_EQ(transposition.used, 1000u);
    EXPECT_EQ(hashfull(), 1000u * 1000 / 65536);
    for (int i = 0; i < 1000; i++) storeTT(uint64_t(i + 1) * 4, 10, 2, 0, 1, 0, 0);
    EXPECT_EQ(transposition.used, 1000u);
    clearTT();
    EXPECT_EQ(hashfull(), 0u);
    Ply p = positionWith(8, 10);
    EXPECT_EQ(probeTT(&p), 0u);
    EXPECT_EQ(probeMove(8), 0u);
}

namespace {
// createTT(size) with the address space allowed to grow by at most `room` bytes; its report goes to
// the error stream, where the death test reads it.
void createUnderLimit(int size, size_t room) {
    dup2(2, 1);
    setvbuf(stdout, nullptr, _IONBF, 0);
    freeTT();
    long pages = 0;
    if (FILE* f = fopen("/proc/self/statm", "r")) {
        if (fscanf(f, "%ld", &pages) != 1) pages = 0;
        fclose(f);
    }
    rlimit limit;
    limit.rlim_cur = limit.rlim_max = rlim_t(pages) * sysconf(_SC_PAGESIZE) + room;
    setrlimit(RLIMIT_AS, &limit);
    createTT(size);
    exit(0);
}
} // namespace

// The child runs in a freshly started copy of this test program, so that memory freed by earlier
// tests cannot satisfy the allocation.
TEST(TTCreateDeathTest, HalvesOnFailureAndHaltsBelowOneMegabyte) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer reserves terabytes of address space for its shadow memory at start-up, "
                    "so a limit on the address space cannot be imposed on this build";
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(createUnderLimit(16, size_t(3) << 20), testing::ExitedWithCode(0),
                "info debug Creation of Transposition Table : failure \\(16 MB\\)\n"
                "info debug Creation of Transposition Table : failure \\(8 MB\\)\n"
                "info debug Creation of Transposition Table : failure \\(4 MB\\)\n"
                "info debug Creation of Transposition Table : success \\(2 MB\\)\n");
    EXPECT_EXIT(createUnderLimit(4, size_t(256) << 10), testing::ExitedWithCode(1),
                "info debug Creation of Transposition Table : failure \\(4 MB\\)\n"
                "info debug Creation of Transposition Table : failure \\(2 MB\\)\n"
                "info debug Creation of Transposition Table : failure \\(1 MB\\)\n"
                "info string Vireo will now halt\\.\\.\\.\n");
}
