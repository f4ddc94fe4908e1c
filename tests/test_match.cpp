// The match tool: its statistics, its reading of the command line, the draw rules it applies to the
// referee's FEN, SAN for the PGN, whole games between scripted engines that end by the rules or by
// every kind of engine fault, and the program itself stopped by a signal.

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/engine_process.h"
#include "tests/scratch_dir.h"
#include "tools/match/command_line.h"
#include "tools/match/game_loop.h"
#include "tools/match/match_run.h"
#include "tools/match/openings.h"
#include "tools/match/pgn.h"
#include "tools/match/rules.h"
#include "tools/match/summary.h"

namespace {

using namespace vireo_match;

bool haveStockfish() { return canRun(STOCKFISH); }

TEST(Match, EloEstimate) {
    EXPECT_DOUBLE_EQ(eloFromScore(0.5), 0.0);
    EXPECT_NEAR(eloFromScore(0.75), 190.85, 0.01);
    EXPECT_NEAR(eloFromScore(0.25), -190.85, 0.01);

    // 30 wins, 40 draws, 30 losses: per-game deviation sqrt(0.15), 95% bounds 0.5 +- 0.0759.
    EloEstimate even = estimateElo(30, 40, 30);
    EXPECT_DOUBLE_EQ(even.score, 0.5);
    EXPECT_NEAR(even.elo, 0.0, 1e-9);
    EXPECT_NEAR(even.margin, 53.2, 0.1);
    EXPECT_NEAR(even.los, 0.5, 1e-9);
    EXPECT_EQ(formatElo(even), "+0.0 +/- 53.2");

    EloEstimate ahead = estimateElo(60, 20, 20);
    EXPECT_DOUBLE_EQ(ahead.score, 0.7);
    EXPECT_NEAR(ahead.elo, 147.19, 0.01);
    EXPECT_GT(ahead.los, 0.999);

    // A clean sweep has no finite estimate; nor has an interval that reaches a score of 1.
    EloEstimate sweep = estimateElo(10, 0, 0);
    EXPECT_TRUE(std::isnan(sweep.elo));
    EXPECT_EQ(formatElo(sweep), "+inf");
    EXPECT_EQ(formatElo(estimateElo(0, 0, 4)), "-inf");
    EXPECT_TRUE(std::isnan(estimateElo(9, 1, 0).margin));
    EXPECT_DOUBLE_EQ(estimateElo(0, 0, 0).score, 0.5);
}

TEST(Match, SequentialTest) {
    EXPECT_NEAR(sprtLowerBound(), -2.944439, 1e-6); // ln(0.05 / 0.95)
    EXPECT_NEAR(sprtUpperBound(), 2.944439, 1e-6);  // ln(0.95 / 0.05)
    EXPECT_NEAR(scoreFromElo(10), 0.514387, 1e-6);  // 1 / (1 + 10^(-10/400))
    EXPECT_NEAR(eloFromScore(scoreFromElo(-37.5)), -37.5, 1e-9);

    // Pairs by engine 1's points: 0, 1/2, 1, 3/2, 2.
    EXPECT_EQ(sprtLlr({0, 0, 0, 0, 0}, 0, 10), 0.0);

    // Near the hypotheses the likelihood ratio agrees with the normal shortcut: 10 20 40 20 10 has
    // mean 0.5 and variance 0.075 per pair, so N (s1 - s0) (2 s - s0 - s1) / (2 var)
    // = 100 * 0.014387 * -0.014387 / 0.15 = -0.1380; swapping the bounds to -10,0 flips the sign.
    EXPECT_NEAR(sprtLlr({10, 20, 40, 20, 10}, 0, 10), -0.1380, 3e-4);
    EXPECT_NEAR(sprtLlr({10, 20, 40, 20, 10}, -10, 0), 0.1380, 3e-4);
    EXPECT_NEAR(sprtLlr({10, 20, 40, 20, 10}, 0, 10), -sprtLlr({10, 20, 40, 20, 10}, -10, 0), 1e-9);
    EXPECT_NEAR(sprtLlr({1, 0, 2, 0, 1}, -5, 5), 0.0, 1e-9);

    // One pair won 2-0: the nearest distribution with mean s puts s on a 2-0 pair and the rest on a
    // 0-2 pair, so the ratio is s1 / s0: ln(0.514387 / 0.5) = 0.02837 (plus 0.00006 from counting
    // each unseen outcome as 0.001 pair). The shortcut would find no variance and accept H1 at once.
    EXPECT_NEAR(sprtLlr({0, 0, 0, 0, 1}, 0, 10), 0.02842, 2e-5);
    // Three pairs lost 0-2: 3 ln((1 - s1) / (1 - s0)) = 3 ln(0.485613 / 0.5) = -0.08758.
    EXPECT_NEAR(sprtLlr({3, 0, 0, 0, 0}, 0, 10), -0.08765, 2e-4);

    // Far from both hypotheses the shortcut (3.04 here) overstates the evidence; 2.3135 comes from
    // maximising both likelihoods numerically by a separate program.
    EXPECT_NEAR(sprtLlr({2, 10, 40, 30, 18}, 0, 10), 2.3135, 1e-4);
    EXPECT_NEAR(sprtLlr({20, 80, 200, 90, 10}, -3, 1), -0.2457, 1e-4);
    EXPECT_NEAR(sprtLlr({5, 60, 200, 110, 25}, 0, 10), 6.4202, 1e-4);
    EXPECT_NEAR(sprtLlr({20, 80, 180, 100, 20}, 0, 10), 0.5737, 1e-4);

    EXPECT_EQ(sprtDecision(2.94), SprtDecision::None);
    EXPECT_EQ(sprtDecision(2.95), SprtDecision::H1);
    EXPECT_EQ(sprtDecision(-2.95), SprtDecision::H0);
    EXPECT_EQ(sprtDecision(sprtLlr({5, 60, 200, 110, 25}, 0, 10)), SprtDecision::H1);

    // Elo from the pairs: mean 0.63, variance 0.455 - 0.63^2 = 0.0581, standard error sqrt(0.0581/100)
    // = 0.024104; 0.63 +- 1.96 * 0.024104 gives 58.0 and 128.7 Elo around 92.5.
    EloEstimate e = pairElo({2, 10, 40, 30, 18});
    EXPECT_NEAR(e.score, 0.63, 1e-12);
    EXPECT_EQ(formatElo(e), "+92.5 +/- 35.4");
    EXPECT_GT(e.los, 0.9999);
    EXPECT_EQ(formatElo(pairElo({0, 0, 0, 0, 3})), "+inf");
}

TEST(Match, CommandLine) {
    int64_t base = 0, increment = 0;
    EXPECT_TRUE(parseTimeControl("10+0.1", base, increment));
    EXPECT_EQ(base, 10000);
    EXPECT_EQ(increment, 100);
    EXPECT_TRUE(parseTimeControl("2", base, increment));
    EXPECT_EQ(base, 2000);
    EXPECT_EQ(increment, 0);
    EXPECT_FALSE(parseTimeControl("10+", base, increment));
    EXPECT_FALSE(parseTimeControl("fast", base, increment));
    EXPECT_FALSE(parseTimeControl("0+1", base, increment));

    EXPECT_EQ(splitCommand("sh 'a b' \"c\\\"d\" e\\ f  ''"),
              (std::vector<std::string>{"sh", "a b", "c\"d", "e f", ""}));

    MatchConfig config;
    EXPECT_EQ(parseArguments({"--engine1", "a", "--engine2", "b c", "--option2", "Skill Level=5", "--games", "10",
                              "--tc", "1+0.01", "--concurrency", "2", "--resign", "800:4"},
                             config),
              "");
    EXPECT_EQ(config.engines[1].command, "b c");
    ASSERT_EQ(config.engines[1].options.size(), 1u);
    EXPECT_EQ(config.engines[1].options[0].first, "Skill Level");
    EXPECT_EQ(config.engines[1].options[0].second, "5");
    EXPECT_EQ(config.games, 10);
    EXPECT_EQ(config.base_ms, 1000);
    EXPECT_EQ(config.increment_ms, 10);
    EXPECT_EQ(config.concurrency, 2);
    EXPECT_EQ(config.resign_cp, 800);
    EXPECT_EQ(config.resign_moves, 4);

    MatchConfig bad;
    EXPECT_EQ(parseArguments({"--engine1", "a"}, bad), "both --engine1 and --engine2 are needed");
    EXPECT_EQ(parseArguments({"--games", "0"}, bad), "bad number of games '0'");
    EXPECT_EQ(parseArguments({"--option1", "Hash"}, bad), "bad option 'Hash' (expected Name=Value)");
    EXPECT_EQ(parseArguments({"--frobnicate", "1"}, bad), "unknown argument '--frobnicate'");
    EXPECT_EQ(parseArguments({"--tc"}, bad), "missing value after --tc");

    // Numbers beyond what the setting can hold are refused, not wrapped: 4294967295 random plies
    // would become -1 and the opening could never be completed.
    EXPECT_EQ(parseArguments({"--random-plies", "4294967295"}, bad), "bad number of plies '4294967295'");
    EXPECT_EQ(parseArguments({"--games", "4294967297"}, bad), "bad number of games '4294967297'");
    EXPECT_EQ(parseArguments({"--max-plies", "2147483648"}, bad), "bad ply limit '2147483648'");
    EXPECT_EQ(parseArguments({"--grace", "2147483648"}, bad), "bad grace '2147483648'");
    EXPECT_EQ(parseArguments({"--seed", "99999999999999999999"}, bad), "bad seed '99999999999999999999'");
    EXPECT_EQ(parseArguments({"--tolerance", "9223372036854775808"}, bad), "bad tolerance '9223372036854775808'");
    EXPECT_EQ(parseArguments({"--concurrency", "17"}, bad), "bad concurrency '17' (1 to 16)");
    MatchConfig largest;
    EXPECT_EQ(parseArguments(
                  {"--engine1", "a", "--engine2", "b", "--max-plies", "2147483647", "--seed", "9223372036854775807"},
                  largest),
              "");
    EXPECT_EQ(largest.max_plies, 2147483647);
    EXPECT_FALSE(largest.sprt);

    // --sprt makes --games a maximum, 20000 unless given.
    MatchConfig sprt;
    EXPECT_EQ(parseArguments({"--engine1", "a", "--engine2", "b", "--sprt", "-1.5,4"}, sprt), "");
    EXPECT_TRUE(sprt.sprt);
    EXPECT_EQ(sprt.sprt_elo0, -1.5);
    EXPECT_EQ(sprt.sprt_elo1, 4);
    EXPECT_EQ(sprt.games, 20000);
    MatchConfig capped;
    EXPECT_EQ(parseArguments({"--engine1", "a", "--sprt", "0,10", "--games", "400", "--engine2", "b"}, capped), "");
    EXPECT_EQ(capped.games, 400);
    for (const char* text : {"10", "10,0", "5,5", "0,10,20", "0,", ",10", "a,b", "0,10x", "0, 10", "nan,10", "0,inf",
                             "-2000,0", "0;10", ""}) {
        MatchConfig refused;
        EXPECT_EQ(parseArguments({"--engine1", "a", "--engine2", "b", "--sprt", text}, refused),
                  "bad SPRT bounds '" + std::string(text) + "' (expected elo0,elo1 with elo0 < elo1)");
        EXPECT_FALSE(refused.sprt) << text;
    }
    EXPECT_EQ(largest.seed, 9223372036854775807u);

    // Either spelling gives an option its value; a switch takes none.
    MatchConfig joined;
    EXPECT_EQ(parseArguments({"--engine1=a b", "--engine2", "c", "--option2=Hash=16", "--games=4", "--quiet"}, joined),
              "");
    EXPECT_EQ(joined.engines[0].command, "a b");
    ASSERT_EQ(joined.engines[1].options.size(), 1u);
    EXPECT_EQ(joined.engines[1].options[0], (std::pair<std::string, std::string>{"Hash", "16"}));
    EXPECT_EQ(joined.games, 4);
    EXPECT_TRUE(joined.quiet);
    EXPECT_EQ(parseArguments({"--quiet=yes"}, bad), "--quiet takes no value");
    EXPECT_EQ(parseArguments({"--games="}, bad), "bad number of games ''");
}

TEST(Match, Summary) {
    MatchConfig config;
    config.tc_text = "10+0.1";
    MatchResult match;
    match.names[0] = "One";
    match.names[1] = "Two";
    match.wins = 1;
    match.losses = 1;
    GameRecord first, second;
    first.number = 1;
    first.ending = "checkmate";
    second.number = 2;
    second.ending = "time loss";
    second.incidents.push_back({2, 1, Fault::TimeLoss, "late by 70 ms at ply 31"});
    second.incidents.push_back({2, 0, Fault::Late, "late by 20 ms at ply 12"});
    match.games = {first, second};

    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    printSummary(out, match, config);
    fclose(out);
    EXPECT_EQ(std::string(text, size), "\n=== One vs Two: 2 games at 10+0.1 ===\n"
                                       "Score of One: W 1  D 0  L 1  (50.0%)\n"
                                       "Elo difference: +0.0 +/- inf (95%), LOS 50.0%\n"
                                       "Endings:  checkmate 1  time loss 1\n"
                                       "illegal move: 0 (engine1 0, engine2 0)\n"
                                       "crash: 0 (engine1 0, engine2 0)\n"
                                       "protocol error: 0 (engine1 0, engine2 0)\n"
                                       "time loss: 1 (engine1 0, engine2 1)\n"
                                       "  game 2, engine2 (Two): late by 70 ms at ply 31\n"
                                       "late move within tolerance: 1 (engine1 1, engine2 0)\n"
                                       "  game 2, engine1 (One): late by 20 ms at ply 12\n");
    free(text);

    // A sequential test that stopped early: games never started are left out.
    config.sprt = true;
    config.sprt_elo0 = 0;
    config.sprt_elo1 = 10;
    match.games.resize(6);
    match.games[1].incidents.clear();
    match.pairs = {0, 0, 1, 0, 0};
    match.llr = sprtLlr(match.pairs, 0, 10);
    out = open_memstream(&text, &size);
    printSummary(out, match, config);
    fclose(out);
    EXPECT_EQ(std::string(text, size),
              "\n=== One vs Two: 2 games at 10+0.1 ===\n"
              "Score of One: W 1  D 0  L 1  (50.0%)\n"
              "Elo difference: +0.0 +/- inf (95%), LOS 50.0%\n"
              "SPRT elo0 0, elo1 10: LLR -0.03 (-2.94, 2.94), no decision yet after 2 games (1 pairs)\n"
              "Pairs by points 0 1/2 1 3/2 2: 0 0 1 0 0; Elo from pairs +0.0 +/- inf (95%), LOS 50.0%\n"
              "Endings:  checkmate 1  time loss 1\n"
              "illegal move: 0 (engine1 0, engine2 0)\n"
              "crash: 0 (engine1 0, engine2 0)\n"
              "protocol error: 0 (engine1 0, engine2 0)\n"
              "time loss: 0 (engine1 0, engine2 0)\n"
              "late move within tolerance: 0 (engine1 0, engine2 0)\n");
    free(text);
}

TEST(Match, DrawRulesOnFen) {
    EXPECT_TRUE(insufficientMaterial("8/8/4k3/8/8/3K4/8/8 w - - 0 1"));
    EXPECT_TRUE(insufficientMaterial("8/8/4k3/8/8/3K4/8/6N1 w - - 0 1"));
    EXPECT_TRUE(insufficientMaterial("8/8/4k3/8/8/3K4/8/5b2 b - - 0 1"));
    // Bishops on c1 and f8 both stand on dark squares; c1 and c8 differ.
    EXPECT_TRUE(insufficientMaterial("5b2/8/4k3/8/8/3K4/8/2B5 w - - 0 1"));
    EXPECT_FALSE(insufficientMaterial("2b5/8/4k3/8/8/3K4/8/2B5 w - - 0 1"));
    EXPECT_FALSE(insufficientMaterial("8/8/4k3/8/8/3K4/8/5NN1 w - - 0 1"));
    EXPECT_FALSE(insufficientMaterial("8/8/4k3/8/8/3K4/8/4N1b1 w - - 0 1"));
    EXPECT_FALSE(insufficientMaterial("8/8/4k3/8/8/3K4/7P/8 w - - 0 1"));
    EXPECT_FALSE(insufficientMaterial("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"));

    EXPECT_EQ(repetitionKey("8/8/4k3/8/8/3K4/8/8 w - - 17 60"), repetitionKey("8/8/4k3/8/8/3K4/8/8 w - - 21 62"));
    EXPECT_NE(repetitionKey("8/8/4k3/8/8/3K4/8/8 w - - 0 1"), repetitionKey("8/8/4k3/8/8/3K4/8/8 b - - 0 1"));
    EXPECT_EQ(halfmoveClock("8/8/4k3/8/8/3K4/8/R7 b - - 100 80"), 100);
    EXPECT_EQ(halfmoveClock("8/8/4k3/8/8/3K4/8/R7 b -"), 0);
}

TEST(Match, RefereeAndSan) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    signal(SIGPIPE, SIG_IGN); // writing to an engine that died must fail, not end the test process
    Referee referee{STOCKFISH, {}};
    std::string error;
    ASSERT_TRUE(startReferee(referee, error)) << error;

    Position start = queryPosition(referee, {});
    EXPECT_EQ(start.legal_moves.size(), 20u);
    EXPECT_EQ(start.fen, "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_FALSE(start.in_check);

    // Plays the moves and returns the SAN the PGN would get for each.
    auto sanOf = [&](const std::vector<std::string>& moves) {
        std::vector<std::string> played, san;
        Position before = queryPosition(referee, played);
        for (auto& m : moves) {
            played.push_back(m);
            Position after = queryPosition(referee, played);
            san.push_back(sanMove(before, m, after));
            before = after;
        }
        return san;
    };
    EXPECT_EQ(sanOf({"f2f3", "e7e5", "g2g4", "d8h4"}), (std::vector<std::string>{"f3", "e5", "g4", "Qh4#"}));
    Position mated = queryPosition(referee, {"f2f3", "e7e5", "g2g4", "d8h4"});
    EXPECT_TRUE(mated.legal_moves.empty());
    EXPECT_TRUE(mated.in_check);

    // En passant, both castlings, a promotion with capture and check, knights that need a file or a rank.
    EXPECT_EQ(sanOf({"e2e4", "g8f6", "e4e5", "d7d5", "e5d6", "b8c6", "g1f3", "c8g4", "f1e2", "d8d7", "e1g1", "e8c8",
                     "d6c7", "h7h6", "c7d8q", "c8d8"}),
              (std::vector<std::string>{"e4", "Nf6", "e5", "d5", "exd6", "Nc6", "Nf3", "Bg4", "Be2", "Qd7", "O-O",
                                        "O-O-O", "dxc7", "h6", "cxd8=Q+", "Kxd8"}));
    EXPECT_EQ(sanOf({"g1f3", "a7a6", "b1c3", "a6a5", "c3e4", "a5a4", "e4g5", "a4a3", "b2a3", "a8a3"}),
              (std::vector<std::string>{"Nf3", "a6", "Nc3", "a5", "Ne4", "a4", "Neg5", "a3", "bxa3", "Rxa3"}));
    EXPECT_EQ(sanOf({"b1c3", "a7a6", "c3e4", "a6a5", "e4g5", "a5a4", "g5f3"}),
              (std::vector<std::string>{"Nc3", "a6", "Ne4", "a5", "Ng5", "a4", "N5f3"}));
    stopProcess(referee.process);
}

// A referee that notes each start in the file $1 and then either answers without a "Checkers:" line
// (so that check cannot be told), or, for "flaky" from its second start on, is stockfish.
const char* FAULTY_REFEREE = R"(echo start >> "$1"
if [ "$2" = flaky ] && [ $(wc -l < "$1") -gt 1 ]; then exec /usr/games/stockfish; fi
while read -r line; do
  case "$line" in
    uci) echo uciok;;
    isready) echo readyok;;
    "go perft 1") echo "e2e4: 1"; echo "Nodes searched: 1";;
    d) echo "Fen: rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";;
    quit) exit 0;;
  esac
done
)";

TEST(Match, RefereeIsRestartedOnce) {
    signal(SIGPIPE, SIG_IGN); // writing to a referee that died must fail, not end the test process
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string dir = scratch.path() + "/";
    scratch.write("referee.sh", FAULTY_REFEREE);
    auto starts = [&](const std::string& log) {
        std::string text = scratch.read(log);
        return std::count(text.begin(), text.end(), '\n');
    };

    // The first start is not the restart: a referee that fails its first answer gets one more chance.
    if (haveStockfish()) {
        Referee flaky{"/bin/sh " + dir + "referee.sh " + dir + "flaky.log flaky", {}};
        Position start = queryPosition(flaky, {});
        EXPECT_EQ(start.legal_moves.size(), 20u);
        EXPECT_EQ(starts("flaky.log"), 2);
        stopProcess(flaky.process);
    }

    // One that never answers usably ends the match after two starts, and none is left running.
    Referee broken{"/bin/sh " + dir + "referee.sh " + dir + "broken.log broken", {}};
    try {
        queryPosition(broken, {});
        ADD_FAILURE() << "a referee without usable answers was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "referee '" + broken.command + "' gives no usable answers");
    }
    EXPECT_EQ(starts("broken.log"), 2);
    EXPECT_LE(broken.process.pid, 0);

    Referee missing{dir + "no-such-referee", {}};
    EXPECT_THROW(queryPosition(missing, {}), std::runtime_error);
}

// A UCI engine in a few lines of shell that plays the given game, or misbehaves as its mode says.
const char* SCRIPTED_ENGINE = R"(mode=$1; script=$2; n=0
while read -r line; do
  case "$line" in
    uci) echo "id name Scripted $mode"; echo uciok;;
    isready) echo readyok;;
    position*) set -- $line; while [ $# -gt 0 ] && [ "$1" != moves ]; do shift; done; n=0; [ $# -gt 0 ] && n=$(($# - 1));;
    go*)
      case $mode in
        crash) exit 3;;
        hang) sleep 30;;
        garbage) echo "bestmove";;
        illegal) echo "bestmove e2e5";;
      esac
      set -- $script; shift $n; echo "info depth 3 score cp 25 pv $1"; echo "bestmove $1";;
    ucinewgame) [ $mode = newgame-crash ] && exit 3;;
    quit) exit 0;;
  esac
done
)";

TEST(Match, GamesEndByRulesAndFaults) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    signal(SIGPIPE, SIG_IGN); // writing to an engine that died must fail, not end the test process
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    scratch.write("scripted.sh", SCRIPTED_ENGINE);
    const std::string script = scratch.path() + "/scripted.sh";

    // Plays one game, engine 1 as White, both engines following the same script.
    auto scripted = [&](const std::string& mode, const std::string& moves) {
        return "/bin/sh " + script + " " + mode + " '" + moves + "'";
    };
    auto playCommands = [&](const std::string& command1, const std::string& command2, const Opening& opening) {
        MatchConfig config;
        config.engines[0].command = command1;
        config.engines[1].command = command2;
        config.base_ms = 300;
        config.increment_ms = 0;
        config.grace_ms = 200;
        config.referee = STOCKFISH;
        Worker worker;
        worker.referee.command = STOCKFISH;
        GameRecord game = playGame(worker, config, 1, opening, 0);
        for (auto& e : worker.engines) stopEngine(e);
        stopProcess(worker.referee.process);
        return game;
    };
    auto play = [&](const std::string& mode1, const std::string& mode2, const std::string& moves,
                    const Opening& opening = {}) {
        return playCommands(scripted(mode1, moves), scripted(mode2, moves), opening);
    };

    GameRecord mate = play("ok", "ok", "f2f3 e7e5 g2g4 d8h4");
    EXPECT_EQ(mate.result, "0-1");
    EXPECT_EQ(mate.reason, "Black mates");
    EXPECT_EQ(mate.ending, "checkmate");
    EXPECT_EQ(mate.san.back(), "Qh4#");
    EXPECT_TRUE(mate.incidents.empty());

    // The opening's moves are played for the engines and marked as book moves.
    GameRecord stalemate = play("ok", "ok",
                                "e2e3 a7a5 d1h5 a8a6 h5a5 h7h5 h2h4 a6h6 a5c7 f7f6 c7d7 e8f7 d7b7 d8d3 b7b8 d3h7 "
                                "b8c8 f7g6 c8e6",
                                {{}, {"e2e3", "a7a5"}});
    EXPECT_EQ(stalemate.result, "1/2-1/2");
    EXPECT_EQ(stalemate.reason, "stalemate");
    EXPECT_EQ(stalemate.moves.size(), 19u);
    EXPECT_EQ(stalemate.comments[0], "book");
    EXPECT_EQ(stalemate.comments[2].substr(0, 8), "+0.25/3 ");

    // From a FEN: the engines get "position fen", the PGN the FEN and the move numbers that go on from it.
    MatchConfig pgn_config;
    pgn_config.tc_text = "10+0.1";
    GameRecord back_rank = play("ok", "ok", "a1a8", {"6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 30", {}});
    EXPECT_EQ(back_rank.result, "1-0");
    EXPECT_EQ(back_rank.reason, "White mates");
    std::string pgn = pgnGame(back_rank, pgn_config);
    EXPECT_NE(pgn.find("[SetUp \"1\"]\n[FEN \"6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 30\"]\n"), std::string::npos) << pgn;
    EXPECT_NE(pgn.find("\n30. Ra8# {+0.25/3 "), std::string::npos) << pgn;
    GameRecord black_mates = play("ok", "ok", "g1h1 a8a1", {"r3k3/8/8/8/8/8/5PPP/6K1 w - - 3 12", {"g1h1"}});
    EXPECT_EQ(black_mates.result, "0-1");
    EXPECT_EQ(black_mates.san, (std::vector<std::string>{"Kh1", "Ra1#"}));
    pgn = pgnGame(black_mates, pgn_config);
    EXPECT_NE(pgn.find("\n12. Kh1 {book} Ra1# {+0.25/3 "), std::string::npos) << pgn;
    back_rank.start_fen = "6k1/5ppp/8/8/8/8/8/R3K3 b - - 0 30"; // numbering only: Black moves first
    pgn = pgnGame(back_rank, pgn_config);
    EXPECT_NE(pgn.find("\n30... Ra8#"), std::string::npos) << pgn;
    GameRecord from_start = play("ok", "ok", "f2f3 e7e5 g2g4 d8h4");
    EXPECT_EQ(pgnGame(from_start, pgn_config).find("[FEN "), std::string::npos);

    GameRecord repetition = play("ok", "ok", "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3 g8f6");
    EXPECT_EQ(repetition.result, "1/2-1/2");
    EXPECT_EQ(repetition.reason, "threefold repetition");
    EXPECT_EQ(repetition.ending, "repetition");
    EXPECT_EQ(repetition.moves.size(), 8u);

    struct Fault_case {
        const char* mode;
        Fault fault;
        const char* ending;
        const char* detail;
    };
    for (auto [mode, fault, ending, detail] :
         {Fault_case{"crash", Fault::Crash, "crash", "exited with status 3 at ply 2"},
          Fault_case{"garbage", Fault::Protocol, "protocol error", "\"bestmove\" at ply 2"},
          Fault_case{"illegal", Fault::Illegal, "illegal move",
                     "e2e5 in rnbqkbnr/pppppppp/8/8/8/5P2/PPPPP1PP/RNBQKBNR b KQkq - 0 1 at ply 2"},
          Fault_case{"hang", Fault::TimeLoss, "time loss",
                     "no bestmove within clock + 200 ms (hung, restarted) at ply 2"}}) {
        GameRecord game = play("ok", mode, "f2f3 e7e5 g2g4 d8h4");
        EXPECT_EQ(game.result, "1-0") << mode;
        EXPECT_EQ(game.ending, ending) << mode;
        ASSERT_EQ(game.incidents.size(), 1u) << mode;
        EXPECT_EQ(game.incidents[0].engine, 1) << mode;
        EXPECT_EQ(game.incidents[0].fault, fault) << mode;
        EXPECT_EQ(game.incidents[0].detail, detail) << mode;
    }

    // An engine that dies at start-up, or on the "ucinewgame" that follows, loses before a move is
    // played, and its death counts as a crash.
    GameRecord absent = playCommands("/bin/sh -c 'exit 5'", scripted("ok", "e2e4"), {});
    EXPECT_EQ(absent.result, "0-1");
    EXPECT_TRUE(absent.moves.empty());
    ASSERT_EQ(absent.incidents.size(), 1u);
    EXPECT_EQ(absent.incidents[0].engine, 0);
    EXPECT_EQ(absent.incidents[0].fault, Fault::Crash);

    GameRecord dies = play("ok", "newgame-crash", "e2e4");
    EXPECT_EQ(dies.result, "1-0");
    EXPECT_EQ(dies.ending, "failed start");
    EXPECT_TRUE(dies.moves.empty());
    ASSERT_EQ(dies.incidents.size(), 1u);
    EXPECT_EQ(dies.incidents[0].engine, 1);
    EXPECT_EQ(dies.incidents[0].fault, Fault::Crash);
    // Whether the pipe or the wait for "readyok" notices first is up to the scheduler.
    EXPECT_EQ(dies.incidents[0].detail.rfind("at game start: crashed ", 0), 0u) << dies.incidents[0].detail;
    EXPECT_TRUE(dies.incidents[0].detail.ends_with(" (exited with status 3)")) << dies.incidents[0].detail;
}

// A decided test starts no more games. Engine 2 answers every move with an illegal one, so engine 1
// wins every pair 2-0; against H1 = +400 Elo (score 0.909) each such pair adds about
// ln(0.909 / 0.5) = 0.6 to the LLR, which crosses 2.94 at the fifth pair.
TEST(Match, SequentialTestStopsTheMatch) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    signal(SIGPIPE, SIG_IGN);
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    scratch.write("scripted.sh", SCRIPTED_ENGINE);
    const std::string script = scratch.path() + "/scripted.sh";

    MatchConfig config;
    ASSERT_EQ(parseArguments({"--engine1", "/bin/sh " + script + " ok 'e2e4 e7e5'", "--engine2",
                              "/bin/sh " + script + " illegal 'e2e4 e7e5'", "--games", "40", "--sprt", "0,400",
                              "--random-plies", "0", "--tc", "1+0.01", "--quiet"},
                             config),
              "");
    MatchResult match = runMatch(config);
    EXPECT_EQ(match.wins, 10);
    EXPECT_EQ(match.draws + match.losses, 0);
    EXPECT_EQ(match.pairs, (PairCounts{0, 0, 0, 0, 5}));
    EXPECT_EQ(match.decision, SprtDecision::H1);
    EXPECT_GT(match.llr, sprtUpperBound());
    EXPECT_EQ(match.games[9].number, 10);
    EXPECT_EQ(match.games[10].number, 0);
}

// The openings file: one line of coordinate moves or a FEN (or EPD) per opening, '#' comments and
// blank lines ignored, lines with a malformed FEN, an illegal move or that end the game skipped, and
// a file without a usable line refused.
TEST(Match, OpeningsFile) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    signal(SIGPIPE, SIG_IGN);
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string dir = scratch.path() + "/";
    Referee referee{STOCKFISH, {}};
    auto read = [&](const std::string& name, const std::string& text) {
        scratch.write(name, text);
        return readOpenings(dir + name, referee);
    };

    auto openings = read("mixed.txt",
                         "# made by hand\n"
                         "e2e4 e7e5 g1f3   # the king's knight\n"
                         "\n"
                         "   \t\n"
                         "d2d4 d7d5 e2e5\n"      // the pawn cannot go three squares
                         "d2d4 d7d5 c2c4 x9z9\n" // not a move at all
                         "f2f3 e7e5 g2g4 d8h4\n" // mate: nothing left to play
                         "e7e5\n"                // Black's move with White to move
                         "g1f3 g8f6 c2c4 e7e6 b1c3 f8b4\n"
                         "d2d4"); // the last line without its newline
    EXPECT_EQ(openings, (std::vector<Opening>{{{}, {"e2e4", "e7e5", "g1f3"}},
                                              {{}, {"g1f3", "g8f6", "c2c4", "e7e6", "b1c3", "f8b4"}},
                                              {{}, {"d2d4"}}}));

    openings = read("fen.txt",
                    "8/8/8/4k3/8/8/4P3/4K2Q w - - 0 1\n"                          // a FEN alone
                    "8/8/8/4k3/8/8/4P3/4K2R b - - 5 60 moves e5e4 h1h4\n"         // with moves
                    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - bm e1g1; id \"castles\";\n" // EPD
                    "8/8/8/4k3/8/8/4P3/4K2R w - - 0 1 moves e1e3\n"               // illegal move
                    "8/8/8/4k3/8/8/4P3/4K3/8 w - - 0 1\n"                         // nine ranks
                    "8/8/8/8/8/8/4P3/4K2R w - - 0 1\n"                            // no black king
                    "8/8/8/4k3/8/8/8/4K2p b - - 0 1\n"                            // pawn on the last rank
                    "8/8/8/4k3/8/8/4P3/4K2R x - - 0 1\n"                          // side to move
                    "8/8/8/4k3/8/8/4P3/4K2R w KK - 0 1\n"                         // castling twice
                    "8/8/8/4k3/8/8/4P3/4K2R w - e4 0 1\n"                         // en passant rank
                    "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1\n");                          // stalemate
    EXPECT_EQ(openings, (std::vector<Opening>{{"8/8/8/4k3/8/8/4P3/4K2Q w - - 0 1", {}},
                                              {"8/8/8/4k3/8/8/4P3/4K2R b - - 5 60", {"e5e4", "h1h4"}},
                                              {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", {}}}));

    try {
        read("useless.txt", "# nothing but comments\n\ne2e5\nf2f3 e7e5 g2g4 d8h4\n");
        ADD_FAILURE() << "a file without a usable opening was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "no usable opening in '" + dir + "useless.txt'");
    }
    EXPECT_THROW(readOpenings(dir + "missing.txt", referee), std::runtime_error);
    stopProcess(referee.process);
}

// The committed opening set is what bench/sprt.sh plays: every line must be usable, and none twice.
TEST(Match, CommittedOpenings) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    signal(SIGPIPE, SIG_IGN);
    std::string path = std::string(VIREO_SOURCE_DIR) + "/bench/openings.txt";
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::set<std::string> lines;
    size_t listed = 0;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') {
            listed++;
            lines.insert(line);
        }
    EXPECT_EQ(lines.size(), listed) << "an opening is listed twice";
    EXPECT_GE(listed, 500u);
    Referee referee{STOCKFISH, {}};
    auto openings = readOpenings(path, referee);
    stopProcess(referee.process);
    EXPECT_EQ(openings.size(), listed);
    for (auto& opening : openings) EXPECT_EQ(opening.moves.size(), 8u);
}

// Interrupted, the match stops at once: it kills the engines, prints the summary (with the
// sequential test) of the games that finished, and neither counts nor writes the games it was
// playing. Vireo plays itself, two games at a time, and the signal comes when the first has ended.
TEST(Match, InterruptedMatchCountsOnlyFinishedGames) {
    if (!haveStockfish()) GTEST_SKIP() << "no referee: " << STOCKFISH << " is not installed";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    // Each engine notes its process id, so that the test can tell whether one outlives the match.
    std::string engine = "/bin/sh -c 'echo $$ >> " + scratch.path() + "/pids; exec " VIREO_BINARY "'";
    EngineProcess match({VIREO_MATCH_BINARY, "--engine1", engine, "--engine2=" + engine, "--games", "100",
                         "--tc=0.5+0.01", "--concurrency", "2", "--sprt", "0,10", "--pgn",
                         scratch.path() + "/games.pgn"});
    std::vector<std::string> lines = match.readUntil("Game ", 120000);
    ASSERT_FALSE(lines.empty());
    ASSERT_EQ(lines.back().rfind("Game ", 0), 0u) << "no game ended";
    kill(match.pid(), SIGTERM);
    std::string rest = match.readAll(30000);
    ASSERT_TRUE(match.waitExit(30000)) << "the match goes on after SIGTERM";
    EXPECT_TRUE(WIFEXITED(match.status()) && WEXITSTATUS(match.status()) == 128 + SIGTERM) << match.status();

    std::set<int> finished;
    std::istringstream output(lines.back() + "\n" + rest);
    for (std::string line; std::getline(output, line);) {
        int number = 0;
        if (sscanf(line.c_str(), "Game %d:", &number) == 1) finished.insert(number);
    }
    int complete_pairs = 0;
    for (int number : finished)
        if (number % 2 == 1 && finished.count(number + 1)) complete_pairs++;
    std::string games = std::to_string(finished.size()) + " games";
    EXPECT_NE(rest.find(": " + games + " at 0.5+0.01 ===\n"), std::string::npos) << rest;
    EXPECT_NE(rest.find("after " + games + " (" + std::to_string(complete_pairs) + " pairs)"), std::string::npos)
        << rest;

    std::set<int> written;
    std::istringstream pgn(scratch.read("games.pgn"));
    for (std::string line; std::getline(pgn, line);) {
        int round = 0;
        if (sscanf(line.c_str(), "[Round \"%d\"]", &round) == 1) written.insert(round);
        EXPECT_NE(line, "[Result \"*\"]");
        EXPECT_NE(line, "[Termination \"abandoned\"]");
    }
    EXPECT_EQ(written, finished);

    std::istringstream pids(scratch.read("pids"));
    int engines = 0;
    for (std::string pid; pids >> pid; engines++) {
        std::ifstream command("/proc/" + pid + "/cmdline");
        std::string text((std::istreambuf_iterator<char>(command)), std::istreambuf_iterator<char>());
        EXPECT_EQ(text.find(VIREO_BINARY), std::string::npos) << "engine " << pid << " outlives the match";
    }
    EXPECT_GE(engines, 4); // two probes at the start and a pair for each worker
}

} // namespace
