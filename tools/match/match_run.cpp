#include "match_run.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "../file_handle.h"
#include "game_loop.h"
#include "openings.h"
#include "pgn.h"

namespace vireo_match {

namespace {

// What the workers share; the mutex guards the result, the PGN and the error.
struct MatchInProgress {
    MatchInProgress(const MatchConfig& config, MatchResult& match) : config(config), match(match) {}
    const MatchConfig& config;
    MatchResult& match;
    std::vector<Opening> listed; // empty: random openings
    FILE* pgn = nullptr;
    std::atomic<int> next_game{0};
    std::mutex mutex;
    std::string fatal_error;
};

// The referee is tried once before any game. Listed openings are checked here; random ones are
// made by each worker when a pair starts, so that a long sequential test does not prepare
// thousands of openings it may never play.
std::vector<Opening> listedOpenings(const MatchConfig& config) {
    Referee setup_referee{config.referee, {}};
    std::string error;
    if (!startReferee(setup_referee, error)) throw std::runtime_error("referee: " + error);
    std::vector<Opening> listed;
    if (!config.openings_path.empty()) listed = readOpenings(config.openings_path, setup_referee);
    stopProcess(setup_referee.process);
    return listed;
}

// Counts the pair of the game just finished once both of its games are in, and runs the test on it.
void countPair(MatchResult& match, const MatchConfig& config, int index) {
    int first = index & ~1, second = first + 1;
    if (second >= config.games || match.games[size_t(first)].number == 0 || match.games[size_t(second)].number == 0)
        return;
    double points = engineScore(match.games[size_t(first)], 0) + engineScore(match.games[size_t(second)], 0);
    match.pairs[size_t(std::lround(2 * points))]++;
    match.llr = sprtLlr(match.pairs, config.sprt_elo0, config.sprt_elo1);
    if (match.decision == SprtDecision::None) match.decision = sprtDecision(match.llr);
}

// "Game 3: ...   [3/100: W 1 D 1 L 1, LLR 0.12]" and the game's incidents.
void printProgress(const GameRecord& game, const MatchResult& match, const MatchConfig& config) {
    std::string test;
    if (config.sprt) {
        char text[32];
        snprintf(text, sizeof text, ", LLR %.2f", match.llr);
        test = text;
    }
    printf("%s   [%d/%d: W %d D %d L %d%s]\n", describeGame(game).c_str(), match.wins + match.draws + match.losses,
           config.games, match.wins, match.draws, match.losses, test.c_str());
    for (auto& i : game.incidents) printf("  %s by engine%d: %s\n", faultName(i.fault), i.engine + 1, i.detail.c_str());
    fflush(stdout);
}

// Counts a finished game, prints it and writes it to the PGN.
void recordGame(MatchInProgress& run, int index, GameRecord game) {
    MatchResult& match = run.match;
    std::lock_guard<std::mutex> lock(run.mutex);
    double s = engineScore(game, 0);
    if (s == 1) match.wins++;
    else if (s == 0) match.losses++;
    else match.draws++;
    for (int e = 0; e < 2; e++)
        if (match.names[e].empty() && !game.names[e].empty()) match.names[e] = game.names[e];
    match.games[size_t(index)] = std::move(game);
    const GameRecord& done = match.games[size_t(index)];
    if (run.config.sprt) countPair(match, run.config, index);
    if (!run.config.quiet) printProgress(done, match, run.config);
    if (run.pgn) {
        fputs(pgnGame(done, run.config).c_str(), run.pgn);
        fflush(run.pgn);
    }
}

bool mayStartAnother(MatchInProgress& run) {
    std::lock_guard<std::mutex> lock(run.mutex);
    return run.fatal_error.empty() && run.match.decision == SprtDecision::None && !interrupted;
}

// One worker: takes the next game until none is left or the match must stop.
void playGames(MatchInProgress& run) {
    const MatchConfig& config = run.config;
    Worker worker;
    worker.referee.command = config.referee;
    try {
        for (;;) {
            int index = run.next_game.fetch_add(1);
            if (index >= config.games || !mayStartAnother(run)) break;
            // Each opening is played twice, engine 1 taking White in the first game of the pair.
            int pair = index / 2, white = index % 2;
            Opening opening = run.listed.empty() ? randomOpening(worker.referee, config.seed, pair, config.random_plies)
                                                 : run.listed[size_t(pair) % run.listed.size()];
            GameRecord game = playGame(worker, config, index + 1, opening, white);
            if (game.unfinished) break;
            recordGame(run, index, std::move(game));
        }
    } catch (const std::exception& ex) {
        // Once interrupted, a referee killed under a question is no fault of the match.
        std::lock_guard<std::mutex> lock(run.mutex);
        if (run.fatal_error.empty() && !interrupted) run.fatal_error = ex.what();
    }
    for (auto& engine : worker.engines) stopEngine(engine);
    stopProcess(worker.referee.process);
}

} // namespace

MatchResult runMatch(const MatchConfig& config) {
    MatchResult match;
    match.games.resize(size_t(config.games));
    MatchInProgress run{config, match};
    try {
        run.listed = listedOpenings(config);
    } catch (const std::exception&) {
        if (!interrupted) throw;
    }
    vireo_tools::FileHandle pgn;
    if (!config.pgn_path.empty()) {
        pgn = vireo_tools::openFile(config.pgn_path, "w");
        if (!pgn) throw std::runtime_error("cannot create '" + config.pgn_path + "'");
        run.pgn = pgn.get();
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < std::max(1, config.concurrency); t++) threads.emplace_back(playGames, std::ref(run));
    for (auto& t : threads) t.join();
    if (pgn && !vireo_tools::closeFile(pgn)) fprintf(stderr, "match: cannot write '%s'\n", config.pgn_path.c_str());
    if (!run.fatal_error.empty()) throw std::runtime_error(run.fatal_error);
    for (int e = 0; e < 2; e++)
        if (match.names[e].empty()) match.names[e] = config.engines[e].command;
    return match;
}

} // namespace vireo_match
