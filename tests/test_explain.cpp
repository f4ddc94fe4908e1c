// The evaluation's breakdown into named terms, in-process: the terms add up to the evaluation, the
// positions that a rule settles carry a note instead of terms, the JSON of the browser build's
// vireoExplain, and that explaining a position changes nothing of the engine's state.
#include <cstring>
#include <cmath>
#include <map>
#include <regex>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "tests/evaluation_fixture.h"
#include "tests/explain_positions.h"
#include "tests/search_fixture.h"
#include "engine/frontend/frontend.h"
#include "engine/search/record.h"
#include "engine/search/think.h"
#include "evaluation/explanation.h"
#include "evaluation/model.h"

namespace {

// The positions of the file and those reached from each by a few dozen moves of a fixed
// pseudo-random game.
std::vector<std::string> manyPositions() {
    std::vector<std::string> fens = positionsFile();
    uint64_t seed = 12345;
    playOn(fens, 40, seed);
    return fens;
}

int termSum(const Explanation& e) {
    int sum = 0;
    for (const ExplanationTerm& t : e.terms) sum += t.cp;
    return sum;
}

} // namespace

TEST(Explain, PositionsFileHoldsFiftyValidPositions) {
    initTables();
    std::vector<std::string> fens = positionsFile();
    EXPECT_GE(fens.size(), 50u);
    for (const std::string& fen : fens) {
        Explanation e;
        std::string reason;
        EXPECT_TRUE(explainFen(fen.c_str(), &e, &reason)) << fen << ": " << reason;
    }
}

TEST(Explain, TermsAddUpToTheEvaluation) {
    std::vector<std::string> fens = manyPositions();
    ASSERT_GT(fens.size(), 1000u);
    int explained = 0;
    for (const std::string& fen : fens) {
        int score = evaluationOf(fen.c_str());
        Explanation e;
        std::string reason;
        ASSERT_TRUE(explainFen(fen.c_str(), &e, &reason)) << fen << ": " << reason;
        EXPECT_EQ(e.total, score) << fen;
        if (e.terms.empty()) {
            EXPECT_FALSE(e.note.empty()) << fen;
            continue;
        }
        explained++;
        EXPECT_EQ(termSum(e), e.total) << fen;
        EXPECT_STREQ(e.terms.front().name, "Material") << fen;
        EXPECT_STREQ(e.terms.back().name, "Rounding") << fen;
        // Thirteen rounded shares and the truncation of the sum: never more than 8 cp apart.
        EXPECT_LE(std::abs(e.terms.back().cp), 8) << fen;
        int men = popcount(curr_ply->occupancy);
        EXPECT_EQ(e.terms.size(), men <= 6 ? 14u : 13u) << fen;
    }
    EXPECT_GT(explained, 1000);
}

TEST(Explain, RulesSettleWithoutTerms) {
    initTables();
    struct Case {
        const char* fen;
        int total;
        const char* note;
    };
    const Case cases[] = {
        {"8/8/8/4k3/8/8/8/4K3 w - - 0 1", 0, "Bare kings: a draw"},
        {"7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1", 0, "Bare king with no free square"},
        {"8/8/8/4k3/8/8/4P3/4K3 w - - 0 1", 0,
         "Three men: the endgame rules settle the position, not the model "
         "(king and pawn against king: the bitbase): a draw"},
        {"8/8/8/4k3/8/8/8/3RK3 w - - 0 1", 13440,
         "Three men: the endgame rules settle the position, not the "
         "model: won for the side to move"},
        {"8/8/8/4k3/8/8/8/3BK3 w - - 0 1", 0, "Three men"},
    };
    for (const Case& c : cases) {
        Explanation e;
        std::string reason;
        ASSERT_TRUE(explainFen(c.fen, &e, &reason)) << c.fen;
        EXPECT_EQ(e.total, c.total) << c.fen;
        EXPECT_TRUE(e.terms.empty()) << c.fen;
        EXPECT_EQ(e.note.rfind(c.note, 0), 0u) << c.fen << ": " << e.note;
    }
    // The same material with a free square for the bare king is the model's.
    Explanation e;
    ASSERT_TRUE(explainFen("7k/5K2/8/6Q1/8/8/P7/8 b - - 0 1", &e, nullptr));
    EXPECT_FALSE(e.terms.empty());
    EXPECT_LT(e.total, -500);
    EXPECT_EQ(e.note, "");
}

TEST(Explain, EndgameMaterialOnlyWithFourToSixMen) {
    initTables();
    auto names = [](const char* fen) {
        Explanation e;
        EXPECT_TRUE(explainFen(fen, &e, nullptr)) << fen;
        std::string all;
        for (const ExplanationTerm& t : e.terms) all += std::string(t.name) + ";";
        return all;
    };
    const std::string with = "Material;Endgame material;Pawn ranks/passed;Piece placement;Threats;Defence;Mobility;"
                             "Safe pawn pushes;Pawn structure;Pins;Centre;King safety;Side to move / base;Rounding;";
    EXPECT_EQ(names("6k1/8/8/8/8/8/1r6/R5K1 w - - 0 1"), with);
    EXPECT_EQ(names("6k1/5ppp/8/8/8/8/5PPP/6K1 w - - 0 1"),
              std::regex_replace(with, std::regex("Endgame material;"), ""));
}

TEST(Explain, CheckmateAndStalemateAreNoted) {
    initTables();
    Explanation e;
    ASSERT_TRUE(explainFen("3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1", &e, nullptr));
    EXPECT_EQ(e.note, "Checkmate: the side to move has no legal move.");
    EXPECT_EQ(termSum(e), e.total);
    ASSERT_TRUE(explainFen("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1", &e, nullptr));
    EXPECT_TRUE(e.terms.empty()); // three men: the rules' score
}

TEST(Explain, BadFenIsRejectedAsPositionFenRejectsIt) {
    initTables();
    const char* bad[] = {
        "",
        "garbage",
        "8/8/8/8/8/8/8/8 w - - 0 1",
        "8/8/8/8/8/8/k7/K7 w - - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - -1 1",
        "rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "4k3/8/8/8/8/8/8/P3K3 w - - 0 1",
    };
    for (const char* fen : bad) {
        std::string expected, reason;
        Explanation e;
        EXPECT_FALSE(setPosition(fen, nullptr, &expected)) << fen;
        EXPECT_FALSE(explainFen(fen, &e, &reason)) << fen;
        EXPECT_EQ(reason, expected) << fen;
    }
    std::string long_line(20000, 'p');
    EXPECT_EQ(std::string(vireoExplain(long_line.c_str())).rfind("{\"error\":\"invalid fen: ", 0), 0u);
    EXPECT_EQ(std::string(vireoExplain(nullptr)), "{\"error\":\"invalid fen: a FEN needs 4 or 6 fields\"}");
}

TEST(Explain, Json) {
    initTables();
    EXPECT_EQ(std::string(vireoExplain(" 8/8/8/4k3/8/8/8/4K3 w - - 0 1 ")),
              "{\"fen\":\"8/8/8/4k3/8/8/8/4K3 w - - 0 1\",\"total\":0,\"terms\":[],"
              "\"note\":\"Bare kings: a draw, scored without the model.\"}");
    EXPECT_EQ(std::string(vireoExplain("rnbqk\"\x01/8 w - -")),
              "{\"error\":\"invalid fen: bad character '\\\"' in piece placement\"}");
    std::string json = vireoExplain(START_FEN);
    std::regex shape(
        "\\{\"fen\":\"[^\"]*\",\"total\":(-?[0-9]+),\"terms\":\\[(\\{\"name\":\"[^\"]+\",\"cp\":-?[0-9]+\\},)*"
        "\\{\"name\":\"Rounding\",\"cp\":-?[0-9]+\\}\\],\"note\":\"\"\\}");
    EXPECT_TRUE(std::regex_match(json, shape)) << json;
    std::smatch total;
    ASSERT_TRUE(std::regex_search(json, total, std::regex("\"total\":(-?[0-9]+)")));
    int sum = 0;
    std::regex cp("\"cp\":(-?[0-9]+)");
    for (auto it = std::sregex_iterator(json.begin(), json.end(), cp); it != std::sregex_iterator(); ++it)
        sum += std::stoi((*it)[1]);
    EXPECT_EQ(sum, std::stoi(total[1])) << json;
    EXPECT_EQ(std::stoi(total[1]), evaluationOf(START_FEN));
}

namespace {
// Everything a game in progress keeps between commands, byte for byte.
struct EngineState {
    std::vector<char> plies_bytes, features, record, history_bytes, root, versions, table;
    int index;
    Ply* current;
    TranspositionTable table_record;

    static std::vector<char> bytes(const void* p, size_t n) {
        const char* c = static_cast<const char*>(p);
        return std::vector<char>(c, c + n);
    }
    static EngineState now() {
        return {bytes(plies, sizeof plies),
                bytes(_features_, sizeof _features_),
                bytes(&search, sizeof search),
                bytes(history, sizeof history),
                bytes(root_nodes, sizeof root_nodes),
                bytes(history_version, sizeof history_version),
                bytes(transposition.entries, transposition.count * sizeof(TTEntry)),
                ply_index,
                curr_ply,
                transposition};
    }
    bool operator==(const EngineState& o) const {
        return plies_bytes == o.plies_bytes && features == o.features && record == o.record &&
               history_bytes == o.history_bytes && root == o.root && versions == o.versions && table == o.table &&
               index == o.index && current == o.current && !memcmp(&table_record, &o.table_record, sizeof table_record);
    }
};
} // namespace

TEST_F(SearchTest, ExplainingLeavesTheEngineAsItWas) {
    // A game in progress: moves played, a search run (record, history, table filled), and "debug".
    setUp(START_FEN, "e2e4 e7e5 g1f3 b8c6 f1b5 a7a6");
    search.limit = LIMIT_DEPTH;
    search.depth = 6;
    printedBy([] { think(); });
    ASSERT_GT(search.nodes, 0u);
    ASSERT_EQ(ply_index, 6);
    std::string before = printedBy([] { debugCommand(); });
    EngineState state = EngineState::now();

    const char* fens[] = {"2r1k2r/pq1p1ppp/1pbPpn2/8/2P2B2/P2B1P2/1PQ3PP/R3K2R b KQk - 2 16",
                          "8/8/8/4k3/8/8/4P3/4K3 w - - 0 1",
                          "8/8/8/4k3/8/8/8/4K3 w - - 0 1",
                          "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1",
                          "6k1/8/8/8/8/8/1r6/Q5K1 w - - 0 1",
                          "not a fen",
                          "8/8/8/8/8/8/k7/K7 w - - 0 1",
                          START_FEN};
    for (const char* fen : fens) {
        std::string answer = printedBy([&] { vireoExplain(fen); });
        EXPECT_EQ(answer, "") << fen; // nothing reaches the GUI's channel
        EXPECT_TRUE(EngineState::now() == state) << "after explaining " << fen;
    }
    EXPECT_EQ(printedBy([] { debugCommand(); }), before);
}

TEST(Explain, TermsGroupTheModelsProducts) {
    initTables();
    for (const std::string& fen : positionsFile()) {
        Explanation e;
        ASSERT_TRUE(explainFen(fen.c_str(), &e, nullptr)) << fen;
        if (e.terms.empty()) continue;
        setUp(fen.c_str());
        computeAttacks();
        int men = popcount(curr_ply->occupancy);
        computeFeatures(curr_ply->player, curr_ply->opponent);
        double products[MODEL_WEIGHTS];
        modelTerms(_features_, men, products);
        auto range = [&](int first, int last) {
            double sum = 0;
            for (int i = first; i <= last; i++) sum += products[i];
            return int(std::lround(sum));
        };
        double threats = 0, defence = 0;
        for (int a = PAWN; a <= KING; a++)
            for (int v = PAWN; v <= QUEEN; v++) {
                threats += products[threatFeature(a, v)];
                defence += products[defenceFeature(a, v)];
            }
        std::map<std::string, int> cp;
        for (const ExplanationTerm& t : e.terms) cp[t.name] = t.cp;
        EXPECT_EQ(cp["Threats"], int(std::lround(threats))) << fen;
        EXPECT_EQ(cp["Defence"], int(std::lround(defence))) << fen;
        EXPECT_EQ(cp["Safe pawn pushes"], range(109, 109)) << fen;
        EXPECT_EQ(cp["Mobility"], range(110, 114)) << fen;
        EXPECT_EQ(cp["Pawn structure"], range(115, 116)) << fen;
        EXPECT_EQ(cp["Pins"], range(117, 121)) << fen;
        EXPECT_EQ(cp["Centre"], range(122, 122)) << fen;
        EXPECT_EQ(cp["King safety"], range(123, 126)) << fen;
        EXPECT_EQ(cp["Side to move / base"], range(127, 127)) << fen;
        // Material, pawns and placement share features 0..48 between them.
        EXPECT_NEAR(cp["Material"] + cp["Pawn ranks/passed"] + cp["Piece placement"], range(0, 48), 1) << fen;
        if (men <= 6) {
            float class_term = materialClassTerm(curr_ply->player, curr_ply->opponent, men);
            EXPECT_EQ(cp["Endgame material"], int(std::lround(class_term))) << fen;
        }
    }
}

TEST(Explain, MaterialCountsAPawnAndAPieceAtAboutTheirValue) {
    initTables();
    auto material = [](const char* fen) {
        Explanation e;
        EXPECT_TRUE(explainFen(fen, &e, nullptr)) << fen;
        return e.terms.empty() ? 0 : e.terms.front().cp;
    };
    // The start position without White's a-pawn, then without its b1 knight: Black to move is ahead.
    int pawn = material("rnbqkbnr/pppppppp/8/8/8/8/1PPPPPPP/RNBQKBNR b KQkq - 0 1");
    int knight = material("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/R1BQKBNR b KQkq - 0 1");
    EXPECT_GT(pawn, 40);
    EXPECT_LT(pawn, 200);
    EXPECT_GT(knight, 200);
    EXPECT_LT(knight, 500);
}
