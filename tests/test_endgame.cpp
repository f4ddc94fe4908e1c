// Endgame knowledge: the king and pawn bitbase (regenerated and compared, and checked against the
// Syzygy tables), the three-man rules, and the tablebase probe with its conditions.
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <tbprobe.h>
#include "tests/evaluation_fixture.h"
#include "tests/scratch_dir.h"
#include "tests/shared_data.h"
#include "engine/board/attacks.h"
#include "evaluation/endgame.h"
#include "evaluation/syzygy.h"
#include "evaluation/kpk.h"
#include "evaluation/syzygy_check.h"
#include "evaluation/syzygy_path.h"

namespace {
// The endgame answer for a FEN: {known, score}.
std::pair<int, int> probe(const char* fen) {
    setUp(fen);
    int score = 0;
    int known = probeEndgame(curr_ply, &score);
    return {known, score};
}

// Loads tables inside a scratch working directory (the load appends to "vireo.log" there);
// returns what the load printed, and the log when asked.
std::string loadSyzygy(const std::string& path, std::string* log = nullptr) {
    ScratchDir dir;
    WorkingDirectory here(dir.path());
    std::string printed = printedBy([&] { initSyzygy(path.c_str()); });
    if (log) *log = dir.read("vireo.log");
    return printed;
}

// The tests of this suite load tables now and then; each ends with none loaded, also when an
// assertion ends it early, so that the other tests in this process see the engine without tables.
class Endgame : public testing::Test {
protected:
    void TearDown() override {
        printedBy([] { initSyzygy("<empty>"); });
    }
};
} // namespace

TEST_F(Endgame, KpkBitbaseIsReproducedByItsGenerator) {
    static uint64_t table[KPK_WORDS];
    buildKpkBitbase(table);
    int pawn_side = 0, defender = 0, mismatches = 0;
    for (int i = 0; i < KPK_WORDS; i++) {
        mismatches += table[i] != kpk_bitbase[i];
        ((i & 64) ? pawn_side : defender) += popcount(kpk_bitbase[i]);
    }
    EXPECT_EQ(mismatches, 0) << "regenerate evaluation/kpk_bitbase.cpp with tools/generate_kpk";
    EXPECT_EQ(pawn_side, 19184);
    EXPECT_EQ(defender, 35210);
}

TEST_F(Endgame, TwoAndThreeMen) {
    EXPECT_EQ(probe("8/8/4k3/8/8/3K4/8/8 w - - 0 1"), std::make_pair(1, 0));
    // Minor piece against a bare king: a draw whoever moves.
    for (const char* fen : {"8/8/4k3/8/8/3KN3/8/8 w - - 0 1", "8/8/4k3/8/8/3KN3/8/8 b - - 0 1",
                            "8/b7/4k3/8/8/3K4/8/8 w - - 0 1", "8/b7/4k3/8/8/3K4/8/8 b - - 0 1"})
        EXPECT_EQ(probe(fen), std::make_pair(1, 0)) << fen;
    // Rook pawn with the defender in the corner.
    EXPECT_EQ(probe("k7/8/K7/P7/8/8/8/8 w - - 0 1"), std::make_pair(1, 0));
    EXPECT_EQ(probe("k7/8/K7/P7/8/8/8/8 b - - 0 1"), std::make_pair(1, 0));
    // Won pawn endings: 13000 + 100 + 10 * rank - king distance, from the mover's view.
    EXPECT_EQ(probe("4k3/8/4K3/4P3/8/8/8/8 w - - 0 1"), std::make_pair(1, 13139));
    EXPECT_EQ(probe("4k3/8/4K3/4P3/8/8/8/8 b - - 0 1"), std::make_pair(1, -13139));
    EXPECT_EQ(probe("8/3k4/8/3K4/3P4/8/8/8 w - - 0 1"), std::make_pair(1, 0));
    EXPECT_EQ(probe("8/3k4/8/3K4/3P4/8/8/8 b - - 0 1"), std::make_pair(1, -13129));
    // The same with colours exchanged.
    EXPECT_EQ(probe("8/8/8/8/4p3/4k3/8/4K3 b - - 0 1"), std::make_pair(1, 13139));
    EXPECT_EQ(probe("8/8/8/3p4/3k4/8/3K4/8 w - - 0 1"), std::make_pair(1, -13129));
    // Rook and queen: material plus ten times the centralisation difference.
    EXPECT_EQ(probe("7k/8/8/8/8/8/8/R3K3 w - - 0 1"), std::make_pair(1, 13500));
    EXPECT_EQ(probe("8/8/8/8/4k3/8/8/R3K3 b - - 0 1"), std::make_pair(1, -13440));
    // The bare king takes an undefended queen next to it.
    EXPECT_EQ(probe("8/8/8/8/8/2k5/1Q6/5K2 b - - 0 1"), std::make_pair(1, 0));
    // Defended, it cannot: a won ending.
    EXPECT_EQ(probe("8/8/8/8/8/2k5/1Q6/K7 b - - 0 1").second, -13000 - 900 + 10 * (5 - 0));
    EXPECT_EQ(king_centre[27], 6);
    EXPECT_EQ(king_centre[9], 2);
    EXPECT_EQ(king_centre[63], 0);
    // Four men without tables: unknown.
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/7R/4K3 w - - 0 1").first, 0);
}

TEST_F(Endgame, SyzygyProbes) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    std::string log;
    EXPECT_EQ(loadSyzygy(syzygyDir(), &log), "info debug Initialisation of Syzygy : success (4 pieces)\n");
    EXPECT_EQ(log, "Syzygy ok\n");
    EXPECT_EQ(tablebase_men, 4u);

    // Queen against pawn: win for the queen, loss for the pawn side; score = 10000 + material
    // + centralisation difference.
    EXPECT_EQ(probe("k7/7p/8/8/3K4/8/8/3Q4 w - - 0 1"), std::make_pair(1, 10000 + 800 + 6 - 0));
    EXPECT_EQ(probe("k7/7p/8/8/3K4/8/8/3Q4 b - - 0 1"), std::make_pair(1, -10000 - 800 + 0 - 6));
    // Rook against rook: a draw.
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/7R/4K3 w - - 0 1"), std::make_pair(1, 0));
    // Pawn against pawn.
    EXPECT_EQ(probe("8/8/8/8/3pP3/8/8/4K2k b - - 0 1").first, 1);
    // The probe is exact only without castling rights, en passant square and fifty-move count.
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/8/4K2R w K - 0 1").first, 0);
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/8/4K2R w - - 0 1").first, 1);
    EXPECT_EQ(probe("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1").first, 0);
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/7R/4K3 w - - 1 1").first, 0);
    // Five men are beyond these tables.
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/6PR/4K3 w - - 0 1").first, 0);

    // Every king and pawn against king position: the bitbase agrees with the tables, both sides
    // to move, pawns of both colours on all files.
    int compared = 0, disagreements = 0;
    for (int pawn = 8; pawn < 56; pawn++)
        for (int wk = 0; wk < 64; wk++)
            for (int bk = 0; bk < 64; bk++) {
                if (wk == bk || wk == pawn || bk == pawn || (king_attacks[wk] & bit(bk))) continue;
                for (int white_to_move = 0; white_to_move < 2; white_to_move++) {
                    if (white_to_move && (pawn_attacks[WHITE][pawn] & bit(bk))) continue;
                    unsigned wdl = tb_probe_wdl(bit(wk) | bit(pawn), bit(bk), bit(wk) | bit(bk), 0, 0, 0, 0, bit(pawn),
                                                0, 0, 0, white_to_move);
                    ASSERT_NE(wdl, TB_RESULT_FAILED);
                    bool draw = kpkDraw(wk, pawn, bk, true, white_to_move);
                    disagreements += draw != (wdl == TB_DRAW);
                    // Mirrored: a black pawn, Black's king and the other side to move.
                    bool mirrored = kpkDraw(wk ^ 56, pawn ^ 56, bk ^ 56, false, white_to_move);
                    disagreements += mirrored != draw;
                    compared++;
                }
            }
    EXPECT_EQ(disagreements, 0);
    EXPECT_GT(compared, 300000);

    // "<empty>" switches the tables off again.
    EXPECT_EQ(loadSyzygy("<empty>"), "info debug Initialisation of Syzygy : failure\n");
    EXPECT_EQ(tablebase_men, 0u);
    EXPECT_EQ(probe("4k3/8/8/r7/8/8/7R/4K3 w - - 0 1").first, 0);
}

TEST_F(Endgame, FailedTablebaseLoads) {
    std::string log = "unset";
    EXPECT_EQ(loadSyzygy("/nonexistent/vireo/tables", &log), "info debug Initialisation of Syzygy : failure\n");
    EXPECT_EQ(log, "");
    EXPECT_EQ(tablebase_men, 0u);
}

// Empty parts of the directory list (a leading, trailing or doubled ":") are dropped before the
// library sees the value: it reads past its own list on them (the sanitizer build catches that).
TEST_F(Endgame, SyzygyPathWithEmptyParts) {
    EXPECT_EQ(cleanSyzygyPath(":"), "<empty>");
    EXPECT_EQ(cleanSyzygyPath("::::"), "<empty>");
    EXPECT_EQ(cleanSyzygyPath(""), "<empty>");
    EXPECT_EQ(cleanSyzygyPath("/nonexistent:"), "/nonexistent");
    EXPECT_EQ(cleanSyzygyPath("::/a::/b c:"), "/a:/b c");
    EXPECT_EQ(cleanSyzygyPath("/a:/b"), "/a:/b");
    EXPECT_EQ(cleanSyzygyPath("<empty>"), "<empty>");
}

// The look at table files before the library gets them: every real table passes; damage to the
// header, to the sizes or to the pairs tree is named.
TEST_F(Endgame, TableFileChecks) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    int checked = 0;
    for (const auto& entry : std::filesystem::directory_iterator(syzygyDir())) {
        std::string reason;
        EXPECT_TRUE(checkTableFile(entry.path().string(), &reason)) << entry.path() << ": " << reason;
        checked++;
    }
    EXPECT_GE(checked, 2);

    ScratchDir dir;
    std::string good = fileBytes(syzygyDir() + "/KRvKR.rtbw");
    ASSERT_GT(good.size(), 600u);
    auto reasonFor = [&](const std::string& name, const std::string& bytes) {
        writeBytes(dir.path() + "/" + name, bytes);
        std::string reason = "passed";
        checkTableFile(dir.path() + "/" + name, &reason);
        return reason;
    };
    EXPECT_EQ(reasonFor("KRvKR.rtbw", good), "passed");
    EXPECT_EQ(reasonFor("KRvKR.rtbz", good), "wrong magic number");
    EXPECT_EQ(reasonFor("KQvKQ.rtbw", good), "the pieces do not fit the name");
    EXPECT_EQ(reasonFor("KRvKB.rtbw", good), "the side flag does not fit the material");
    EXPECT_EQ(reasonFor("KRvKR.rtbw", good.substr(0, good.size() - 64)), "the data passes the end");
    EXPECT_EQ(reasonFor("KRvKR.rtbw", good + std::string(64, 0)), "its size does not match its header");
    EXPECT_EQ(reasonFor("KRvKR.rtbw", good.substr(0, 3)), "shorter than its header");
    std::string flags = good;
    flags[4] ^= 2; // the pawn flag on a table without pawns
    EXPECT_EQ(reasonFor("KRvKR.rtbw", flags), "the pawn flag does not fit the material");
    EXPECT_EQ(reasonFor("KRvKR.rtbw.bak", good), "not the name of a table");
    // The right magic number followed by random bytes, as a damaged copy may look.
    std::mt19937 random(2024);
    for (int round = 0; round < 50; round++) {
        std::string noise = good;
        for (size_t i = 4; i < noise.size(); i++) noise[i] = char(random());
        EXPECT_NE(reasonFor("KRvKR.rtbw", noise), "passed") << "round " << round;
    }
}
