// Writes labelled positions of the kind the engine itself meets, for fitting its evaluation:
// "FEN;score" lines, the score in pawns from the side to move's point of view, labelled by stockfish.
//
//   sample_positions [--count=N] [--floor=N] [--seed=S] [--depth=D] [--label-depth=D]
//                    [--output=FILE] [--stockfish=PATH] [--per-game=N] [--walks=N]
//                    [--window=CP] [--opening=N]
//   (a value may also follow its option as the next argument: --count 1000)
//
// Defaults: 1000 positions, no floor, seed 1, games at depth 5, labels at depth 8, samples.txt,
// /usr/games/stockfish, 10 positions a game with one walk each, a window of 200 cp, openings of
// 6 to 12 random plies.
//
// The engine plays fast games against itself in this process (fixed depth, no tablebases), each
// from a few random plies after the initial position. Of each game at most --per-game positions
// are kept, drawn at random, and from each of them --walks positions such as its search
// evaluates: a walk of 1 to 6 random legal plies (blunders and hanging pieces included), kept
// when its static evaluation lies within --window of the game position's search score seen from
// the walk's end, as the alpha-beta window would keep it near the scores it is searching for.
// A position where an exchange is pending is not dropped but resolved: the material-only capture
// search (material_search.h, the same test fit_model --quiet-only uses) is played out and the
// quiet position at its end is labelled. Positions in check, without a move, of fewer than 4 men or
// seen before are left out.
//
// --floor=N: afterwards every number of men from 4 to 32 gets at least N positions, so that every
// weight vector is identified by data. Short games are played from positions with the missing
// number of men, made by taking random men (kings excepted) off a position after random opening
// plies, until each count has its floor.
//
// Labels: stockfish's score at --label-depth; scores beyond 20 pawns are capped at 20, and mates
// are mapped to 20 to 30 pawns, the nearer the higher (decisive_label.h). Stockfish searches the
// last position while the engine looks for the next. Everything follows from the seed: the same
// options give the same file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "../engine/board/board.h"
#include "../engine/board/makemove.h"
#include "../engine/board/movegen.h"
#include "../engine/board/notation.h"
#include "../engine/search/alphabeta.h"
#include "../engine/search/ordering.h"
#include "../engine/search/score.h"
#include "../engine/search/draw.h"
#include "../engine/search/record.h"
#include "../engine/search/search.h"
#include "../engine/search/think.h"
#include "../evaluation/evaluation.h"
#include "../evaluation/syzygy.h"
#include "../evaluation/model.h"
#include "../sliders/sliders.h"
#include "../transposition/tt.h"
#include "decisive_label.h"
#include "file_handle.h"
#include "material_search.h"
#include "option_values.h"
#include "uci/stockfish.h"

namespace {

using namespace vireo_tools;

struct Options {
    long count = 1000;
    long floor = 0;
    uint64_t seed = 1;
    int depth = 5;
    int label_depth = 8;
    std::string output = "samples.txt";
    std::string stockfish = STOCKFISH;
    int per_game = 10;
    int walks = 1;
    int window = 200;
    int opening = 12;
};

constexpr int MAX_GAME_PLIES = 400;
constexpr int FLOOR_GAME_PLIES = 24;
constexpr int MAX_WALK = 6;
constexpr int MAX_MEN = MAX_MODEL_MEN;
constexpr int MIN_MEN = MIN_MODEL_MEN;

struct Stats {
    long games = 0, from_lines = 0, from_walks = 0, outside_window = 0, in_check = 0, resolved = 0, unresolved = 0,
         no_move = 0, too_few = 0, repeated = 0, written = 0;
    long men[MAX_MEN + 1] = {};
};

// The run's state: options, random numbers, what was written, and stockfish working one position
// behind the engine.
struct Sampler {
    Options options;
    std::mt19937_64 rng;
    Process stockfish;
    FILE* out = nullptr;
    std::set<std::string> seen;
    Stats stats;
    std::string pending;  // the FEN stockfish is searching, empty when idle
    long wanted = 0;      // positions still to take, before the floor
    bool filling = false; // working toward the floor: every new position counts
};

Sampler sampler;

uint64_t draw(uint64_t n) { return sampler.rng() % n; }

// Reads stockfish's answer for the pending position and writes its line.
bool finishLabel() {
    if (sampler.pending.empty()) return true;
    SearchResult result;
    if (!finishSearch(sampler.stockfish, &result)) return false;
    fprintf(sampler.out, "%s;%.2f\n", sampler.pending.c_str(), labelPawns(result));
    sampler.pending.clear();
    sampler.stats.written++;
    return true;
}

bool startLabel(const std::string& fen) {
    if (!finishLabel()) return false;
    sampler.pending = fen;
    return writeLine(sampler.stockfish, "position fen " + fen) &&
           startSearch(sampler.stockfish, sampler.options.label_depth);
}

bool inCheck() { return curr_ply->player->attacks->checkers != 0; }

// Labels curr_ply, a position the engine met, or the quiet end of the exchange pending in it.
// False only when stockfish fails.
bool keep() {
    Stats& stats = sampler.stats;
    computeAttacks();
    if (inCheck()) {
        stats.in_check++;
        return true;
    }
    if (!isQuiet()) {
        stats.resolved++;
        playOutCaptures();
        if (inCheck() || !isQuiet()) {
            stats.unresolved++;
            return true;
        }
    }
    generateMoves(GEN_ALL);
    if (!curr_ply->generated) {
        stats.no_move++;
        return true;
    }
    int men = popcount(curr_ply->occupancy);
    if (men < MIN_MEN) {
        stats.too_few++;
        return true;
    }
    if (!sampler.filling && sampler.wanted == 0) return true;
    std::string fen = fenText();
    // The same position with other move counters is no new position.
    size_t counters = fen.find(' ', fen.find(' ', fen.find(' ', fen.find(' ') + 1) + 1) + 1);
    if (!sampler.seen.insert(fen.substr(0, counters)).second) {
        stats.repeated++;
        return true;
    }
    stats.men[men]++;
    if (!sampler.filling) sampler.wanted--;
    return startLabel(fen);
}

// A walk of 1 to MAX_WALK random legal plies from curr_ply, whose search score is `score`, kept
// when the static evaluation at its end lies within the window around that score.
bool walk(int score) {
    int plies = 1 + int(draw(MAX_WALK)), made = 0;
    for (; made < plies; made++) {
        computeAttacks();
        generateMoves(GEN_ALL);
        if (!curr_ply->generated) break;
        makeMove(curr_ply->moves[draw(curr_ply->generated)]);
    }
    if (made == 0) return true;
    computeAttacks();
    if (inCheck()) {
        sampler.stats.in_check++;
        return true;
    }
    int expected = std::clamp(made % 2 ? -score : score, -MATE_BOUND, MATE_BOUND);
    if (std::abs(evaluate(curr_ply) - expected) > sampler.options.window) {
        sampler.stats.outside_window++;
        return true;
    }
    sampler.stats.from_walks++;
    return keep();
}

struct GamePosition {
    std::string fen;
    int score; // of the engine's search, side to move's view
    bool in_check;
};

// The engine plays curr_ply out against itself at the fixed depth, for at most `plies` moves.
std::vector<GamePosition> playGame(int plies) {
    std::vector<GamePosition> game;
    newGame();
    for (int ply = 0; ply < plies; ply++) {
        computeAttacks();
        generateMoves(GEN_ALL);
        if (!curr_ply->generated || drawByRule()) break;
        bool check = inCheck();
        resetSearch();
        search.limit = LIMIT_DEPTH;
        search.depth = sampler.options.depth;
        think();
        Move best = search.bestmove;
        int score = search.score;
        resetSearch();
        if (!best) break;
        game.push_back({fenText(), score, check});
        makeMove(best);
    }
    sampler.stats.games++;
    return game;
}

// Keeps up to --per-game positions of a game, and --walks walks from each.
bool sampleGame(const std::vector<GamePosition>& game) {
    std::vector<int> candidates;
    for (int i = 0; i < int(game.size()); i++)
        if (!game[i].in_check) candidates.push_back(i);
    int take = std::min(int(candidates.size()), sampler.options.per_game);
    for (int i = 0; i < take; i++) std::swap(candidates[i], candidates[i + draw(candidates.size() - i)]);
    candidates.resize(take);
    std::sort(candidates.begin(), candidates.end());
    for (int i : candidates) {
        const GamePosition& position = game[i];
        setPosition(position.fen.c_str(), nullptr, nullptr);
        sampler.stats.from_lines++;
        if (!keep()) return false;
        for (int w = 0; w < sampler.options.walks; w++) {
            setPosition(position.fen.c_str(), nullptr, nullptr);
            if (!walk(position.score)) return false;
        }
    }
    return true;
}

// The initial position after 6 to 12 (--opening) random legal plies; false if the plies ended
// the game.
bool randomOpening() {
    setPosition(START_FEN, nullptr, nullptr);
    int low = sampler.options.opening / 2;
    int plies = low + int(draw(sampler.options.opening - low + 1));
    for (int i = 0; i < plies; i++) {
        computeAttacks();
        generateMoves(GEN_ALL);
        if (!curr_ply->generated) return false;
        makeMove(curr_ply->moves[draw(curr_ply->generated)]);
    }
    return true;
}

// Takes random men other than kings off curr_ply until `men` are left; the side to move stays,
// castling and en passant go. False when the result is no legal position (the side not to move
// in check) or has too few men to start with.
bool thinOut(int men) {
    std::string fen = fenText();
    std::string board(64, ' ');
    int square = 0;
    for (char c : fen.substr(0, fen.find(' '))) {
        if (c == '/') continue;
        if (c >= '1' && c <= '8') square += c - '0';
        else board[square++] = c;
    }
    std::vector<int> others;
    for (int s = 0; s < 64; s++)
        if (board[s] != ' ' && board[s] != 'k' && board[s] != 'K') others.push_back(s);
    if (int(others.size()) + 2 < men) return false;
    while (int(others.size()) + 2 > men) {
        size_t i = draw(others.size());
        board[others[i]] = ' ';
        others.erase(others.begin() + long(i));
    }
    std::string placement;
    for (int rank = 0; rank < 8; rank++) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            char c = board[rank * 8 + file];
            if (c == ' ') {
                empty++;
                continue;
            }
            if (empty) placement += char('0' + empty);
            empty = 0;
            placement += c;
        }
        if (empty) placement += char('0' + empty);
        if (rank < 7) placement += '/';
    }
    std::string side = fen.substr(fen.find(' ') + 1, 1);
    return setPosition((placement + " " + side + " - - 0 1").c_str(), nullptr, nullptr);
}

// The number of men with the fewest positions below the floor, 0 when every count has its floor.
int neediestCount() {
    int neediest = 0;
    for (int men = MIN_MEN; men <= MAX_MEN; men++)
        if (sampler.stats.men[men] < sampler.options.floor &&
            (!neediest || sampler.stats.men[men] < sampler.stats.men[neediest]))
            neediest = men;
    return neediest;
}

// Returns the exit status.
int run() {
    sampler.wanted = sampler.options.count;
    while (sampler.wanted > 0) {
        if (!randomOpening()) continue;
        if (!sampleGame(playGame(MAX_GAME_PLIES))) return 1;
    }
    // Each attempt adds a few positions of the count it aims at; a count that stays short after
    // this many attempts cannot be reached.
    sampler.filling = true;
    long attempts = 50 + 4 * (MAX_MEN - MIN_MEN + 1) * sampler.options.floor;
    while (int men = neediestCount()) {
        if (attempts-- == 0) {
            fprintf(stderr, "Gave up on the floor of %ld positions of %d men\n", sampler.options.floor, men);
            return 1;
        }
        if (!randomOpening() || !thinOut(men)) continue;
        if (!sampleGame(playGame(FLOOR_GAME_PLIES))) return 1;
    }
    return finishLabel() ? 0 : 1;
}

bool parseOptions(int argc, char** argv, Options* options) {
    if (!readValueOptions(OptionReader(argc, argv), {{"--count", &options->count},
                                                     {"--floor", &options->floor},
                                                     {"--seed", &options->seed},
                                                     {"--depth", &options->depth},
                                                     {"--label-depth", &options->label_depth},
                                                     {"--output", &options->output},
                                                     {"--stockfish", &options->stockfish},
                                                     {"--per-game", &options->per_game},
                                                     {"--walks", &options->walks},
                                                     {"--window", &options->window},
                                                     {"--opening", &options->opening}}))
        return false;
    if (options->count < 0 || options->floor < 0 || options->depth < 1 || options->depth > MAX_DEPTH ||
        options->label_depth < 1 || options->per_game < 1 || options->walks < 0 || options->window < 0 ||
        options->opening < 0 || options->opening > 40) {
        fprintf(stderr,
                "Need --count, --floor, --walks and --window >= 0, --depth from 1 to %d, --label-depth "
                "and --per-game >= 1, --opening from 0 to 40\n",
                MAX_DEPTH);
        return false;
    }
    return true;
}

// The engine's searches print their info lines on standard output and stop at waiting input: both
// go to /dev/null, and the report goes to the standard output as it was. Null on failure.
FILE* detachEngineStreams() {
    fflush(stdout);
    int report = dup(1);
    int null_output = open("/dev/null", O_WRONLY), null_input = open("/dev/null", O_RDONLY);
    if (report < 0 || null_output < 0 || null_input < 0 || dup2(null_output, 1) < 0 || dup2(null_input, 0) < 0)
        return nullptr;
    close(null_output);
    close(null_input);
    return fdopen(report, "w");
}

void printReport(FILE* report, const Stats& s) {
    fprintf(report, "%ld positions from %ld games in %s\n", s.written, s.games, sampler.options.output.c_str());
    fprintf(report,
            "%ld from game lines, %ld from walks (%ld outside the window), %ld resolved (%ld could not "
            "be), left out: %ld in check, %ld without a move, %ld under 4 men, %ld repeated\n",
            s.from_lines, s.from_walks, s.outside_window, s.resolved, s.unresolved, s.in_check, s.no_move, s.too_few,
            s.repeated);
    fprintf(report, "men:");
    for (int men = MIN_MEN; men <= MAX_MEN; men++) fprintf(report, " %d:%ld", men, s.men[men]);
    fprintf(report, "\n");
}

} // namespace

int main(int argc, char** argv) {
    Options& options = sampler.options;
    if (!parseOptions(argc, argv, &options)) return 1;
    if (!canRun(options.stockfish)) {
        fprintf(stderr, "Cannot run '%s' (apt-get install stockfish)\n", options.stockfish.c_str());
        return 1;
    }
    FileHandle out = openFile(options.output, "w");
    if (!out) {
        fprintf(stderr, "Cannot open '%s'\n", options.output.c_str());
        return 1;
    }
    FILE* report = detachEngineStreams();
    if (!report) {
        fprintf(stderr, "Cannot redirect the engine's output\n");
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, killChildrenAndExit);
    signal(SIGTERM, killChildrenAndExit);
    if (!startStockfish(sampler.stockfish, options.stockfish)) {
        fprintf(stderr, "Cannot talk to '%s'\n", options.stockfish.c_str());
        return 1;
    }
    initColours();
    initSliders();
    initCentrality();
    initReductions();
    initSyzygy("<empty>");
    createTT(16);
    sampler.rng.seed(options.seed);
    sampler.out = out.get();

    int status = run();
    stopProcess(sampler.stockfish);
    if (!closeFile(out)) {
        fprintf(stderr, "Cannot write '%s'\n", options.output.c_str());
        return 1;
    }
    if (status) fprintf(stderr, "Stopped after %ld positions\n", sampler.stats.written);
    printReport(report, sampler.stats);
    fclose(report);
    return status;
}
