// Writes labelled positions for fitting the evaluation: "FEN;score" lines, the score in pawns from
// the side to move's point of view, as "vireo -analyse=" and "-score=" read them.
//
//   generate_data [--count=N] [--seed=S] [--depth=D] [--output=FILE] [--stockfish=PATH]
//                 [--endgames=PERCENT] [--lopsided=PERCENT] [--random-moves=PERCENT]
//   (a value may also follow its option as the next argument: --count 1000)
//
// Stockfish plays games against itself: 70% start from 4 to 14 random legal moves from the initial
// position, the others from a random placement of the two kings and 2 to 4 other men. Every
// position reached is searched to the given depth; the score of that search is the label and its
// best move is played, except that 8% of the moves are replaced by a random legal move so that
// the games leave the well-trodden lines. Positions in check, with a mate score, with fewer than
// 4 men or with a score of 30 pawns or more are not written; the lines of one game are
// consecutive. --lopsided games (0% by default, taken out of the random endings' share) start from
// a random placement where one side has 2 to 6 men beside its king and the other at most one, and
// are played to the end: their decisive scores and mates are written as 30 pawns, so that the fit
// sees how much such an advantage is worth (a bare king above all) and what the winning side
// should do with it. Legality comes from stockfish itself ("go perft 1" lists the legal moves, "d"
// shows the checkers), so the program needs no move generator of its own. A stockfish that dies or
// stops answering (10 s for a question about a position, 5 minutes of silence in a search) ends
// the run with status 1; the positions written so far stay in the output.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "file_handle.h"
#include "option_values.h"
#include "uci/stockfish.h"

namespace {

using namespace vireo_tools;

struct Options {
    long count = 1000;
    uint64_t seed = 1;
    int depth = 8;
    std::string output = "positions.txt";
    std::string stockfish = STOCKFISH;
    int endgames = 30;    // percent of the games that start from a random ending
    int lopsided = 0;     // percent of those that start from a lopsided one
    int random_moves = 8; // percent of the moves that are random instead of the best
};

constexpr int MAX_GAME_PLIES = 400;
constexpr int MAX_CENTIPAWNS = 3000;

int menOf(const std::string& fen) {
    int men = 0;
    for (char c : fen) {
        if (c == ' ') break;
        if (strchr("pnbrqkPNBRQK", c)) men++;
    }
    return men;
}

// Two kings and 2 to 4 other men on random squares (lopsided: 2 to 6 for one side, 0 or 1 for the
// other), pawns off the first and last ranks, with the side not to move out of check; a placement
// that breaks that rule is drawn again. Returns false only when stockfish fails.
bool randomEnding(Process& engine, std::mt19937_64& rng, bool lopsided, std::string* fen) {
    for (;;) {
        char squares[64];
        memset(squares, 0, sizeof squares);
        auto place = [&](char piece) {
            while (true) {
                int s = int(rng() % 64);
                bool pawn = piece == 'p' || piece == 'P';
                if (squares[s] || (pawn && (s < 8 || s >= 56))) continue;
                squares[s] = piece;
                return;
            }
        };
        place('K');
        place('k');
        if (lopsided) {
            bool strong_white = rng() % 2;
            int strong = 2 + int(rng() % 5), weak = int(rng() % 2);
            for (int i = 0; i < strong + weak; i++) {
                char piece = "pnbrq"[rng() % 5];
                place((i < strong) == strong_white ? char(piece - 'a' + 'A') : piece);
            }
        } else {
            int others = 2 + int(rng() % 3);
            for (int i = 0; i < others; i++) {
                char piece = "pnbrq"[rng() % 5];
                place(rng() % 2 ? char(piece - 'a' + 'A') : piece);
            }
        }
        std::string board;
        for (int rank = 7; rank >= 0; rank--) {
            int empty = 0;
            for (int file = 0; file < 8; file++) {
                char c = squares[rank * 8 + file];
                if (!c) {
                    empty++;
                    continue;
                }
                if (empty) board += char('0' + empty);
                empty = 0;
                board += c;
            }
            if (empty) board += char('0' + empty);
            if (rank) board += '/';
        }
        bool white = rng() % 2;
        // Seen from the other side: its checkers would be the side to move capturing a king. Only the
        // board is asked for; a move list of such a position is not to be trusted.
        Position other;
        if (!writeLine(engine, "position fen " + board + (white ? " b" : " w") + " - - 0 1") ||
            !readBoard(engine, other, Clock::now() + ANSWER_TIME))
            return false;
        if (other.in_check) continue;
        *fen = board + (white ? " w" : " b") + " - - 0 1";
        return true;
    }
}

// Plays one game and appends its positions to the output. Returns false if stockfish fails.
bool playGame(Process& engine, const Options& options, std::mt19937_64& rng, FILE* out, long* written) {
    if (!writeLine(engine, "ucinewgame") || !synchronise(engine)) return false;
    std::string position;
    Position board;
    bool lopsided = false;
    if (int(rng() % 100) < options.endgames) {
        std::string fen;
        lopsided = options.lopsided > 0 && int(rng() % 100) < options.lopsided;
        if (!randomEnding(engine, rng, lopsided, &fen)) return false;
        position = "fen " + fen;
    } else {
        int opening = 4 + int(rng() % 11);
        position = "startpos";
        for (int i = 0; i < opening; i++) {
            if (!queryStockfish(engine, "position " + position, board)) return false;
            const std::vector<std::string>& moves = board.legal_moves;
            if (moves.empty()) return true; // over before it began
            position = "fen " + board.fen + " moves " + moves[rng() % moves.size()];
        }
    }
    std::map<std::string, int> seen;
    for (int ply = 0; ply < MAX_GAME_PLIES && *written < options.count; ply++) {
        if (!queryStockfish(engine, "position " + position, board)) return false;
        const std::vector<std::string>& moves = board.legal_moves;
        if (moves.empty() || menOf(board.fen) < 4 || halfmoveClock(board.fen) >= 100 || ++seen[board.key] >= 3)
            return true;
        SearchResult result;
        if (!searchPosition(engine, options.depth, &result)) return false;
        // Once a mate is seen or the score is out of range the game is decided: stop here, except in
        // a lopsided game, which is about exactly that.
        bool decided = result.mate || std::abs(result.centipawns) >= MAX_CENTIPAWNS;
        if (decided && !lopsided) return true;
        int label = decided ? (result.centipawns > 0 ? MAX_CENTIPAWNS : -MAX_CENTIPAWNS) : result.centipawns;
        if (!board.in_check) {
            fprintf(out, "%s;%.2f\n", board.fen.c_str(), label / 100.0);
            ++*written;
        }
        std::string move = int(rng() % 100) < options.random_moves ? moves[rng() % moves.size()] : result.best;
        position = "fen " + board.fen + " moves " + move;
    }
    return true;
}

// Reads "--name=value" and "--name value" alike.
bool parseOptions(int argc, char** argv, Options* options) {
    if (!readValueOptions(OptionReader(argc, argv), {{"--count", &options->count},
                                                     {"--seed", &options->seed},
                                                     {"--depth", &options->depth},
                                                     {"--output", &options->output},
                                                     {"--stockfish", &options->stockfish},
                                                     {"--endgames", &options->endgames},
                                                     {"--lopsided", &options->lopsided},
                                                     {"--random-moves", &options->random_moves}}))
        return false;
    if (options->count < 0 || options->depth < 1 || options->endgames < 0 || options->endgames > 100 ||
        options->lopsided < 0 || options->lopsided > 100 || options->random_moves < 0 || options->random_moves > 100) {
        fprintf(stderr, "Need --count >= 0, --depth >= 1 and percentages from 0 to 100\n");
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
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
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, killChildrenAndExit);
    signal(SIGTERM, killChildrenAndExit);
    Process engine;
    if (!startStockfish(engine, options.stockfish)) {
        fprintf(stderr, "Cannot talk to '%s'\n", options.stockfish.c_str());
        return 1;
    }
    std::mt19937_64 rng(options.seed);
    long written = 0, games = 0;
    bool ok = true;
    while (written < options.count) {
        if (!playGame(engine, options, rng, out.get(), &written)) {
            ok = false;
            break;
        }
        games++;
    }
    stopProcess(engine);
    if (!closeFile(out)) {
        fprintf(stderr, "Cannot write '%s'\n", options.output.c_str());
        return 1;
    }
    if (!ok) {
        fprintf(stderr, "Stockfish stopped answering after %ld positions\n", written);
        return 1;
    }
    printf("%ld positions from %ld games in %s\n", written, games, options.output.c_str());
    return 0;
}
