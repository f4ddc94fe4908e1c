// Writes labelled positions for fitting the evaluation: "FEN;score" lines, the score in pawns from
// the side to move's point of view, as "vireo -analyse=" and "-score=" read them.
//
//   generate_data [--count=N] [--seed=S] [--depth=D] [--output=FILE] [--stockfish=PATH]
//                 [--endgames=PERCENT] [--random-moves=PERCENT]
//
// Stockfish plays games against itself: 70% start from 4 to 14 random legal moves from the initial
// position, the others from a random placement of the two kings and 2 to 4 other men. Every
// position reached is searched to the given depth; the score of that search is the label and its
// best move is played, except that 8% of the moves are replaced by a random legal move so that
// the games leave the well-trodden lines. Positions in check, with a mate score, with fewer than
// 4 men or with a score of 30 pawns or more are not written; the lines of one game are
// consecutive. Legality comes from stockfish itself ("go perft 1" lists the legal moves, "d"
// shows the checkers), so the program needs no move generator of its own.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

struct Options {
    long count = 1000;
    uint64_t seed = 1;
    int depth = 8;
    std::string output = "positions.txt";
    std::string stockfish = "/usr/games/stockfish";
    int endgames = 30;     // percent of the games that start from a random ending
    int random_moves = 8;  // percent of the moves that are random instead of the best
};

// The child process and what has been read from it but not yet used.
struct Engine {
    pid_t pid = -1;
    int to_engine = -1;
    int from_engine = -1;
    std::string pending;
};

struct Board {
    std::string fen;
    std::string key;
    bool in_check = false;
};

struct SearchResult {
    bool mate = false;
    int centipawns = 0;
    std::string best;
};

constexpr int MAX_GAME_PLIES = 400;
constexpr int MAX_CENTIPAWNS = 3000;

bool startEngine(Engine* engine, const std::string& path) {
    int down[2], up[2];
    if (pipe(down) != 0 || pipe(up) != 0) return false;
    pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        dup2(down[0], 0);
        dup2(up[1], 1);
        close(down[0]); close(down[1]); close(up[0]); close(up[1]);
        execl(path.c_str(), path.c_str(), (char*)nullptr);
        _exit(127);
    }
    close(down[0]);
    close(up[1]);
    engine->pid = pid;
    engine->to_engine = down[1];
    engine->from_engine = up[0];
    return true;
}

bool send(Engine* engine, const std::string& command) {
    std::string text = command + "\n";
    const char* p = text.data();
    size_t left = text.size();
    while (left) {
        ssize_t n = write(engine->to_engine, p, left);
        if (n <= 0) return false;
        p += n;
        left -= size_t(n);
    }
    return true;
}

bool receive(Engine* engine, std::string* line) {
    while (true) {
        size_t end = engine->pending.find('\n');
        if (end != std::string::npos) {
            *line = engine->pending.substr(0, end);
            if (!line->empty() && line->back() == '\r') line->pop_back();
            engine->pending.erase(0, end + 1);
            return true;
        }
        char buffer[4096];
        ssize_t n = read(engine->from_engine, buffer, sizeof buffer);
        if (n <= 0) return false;
        engine->pending.append(buffer, size_t(n));
    }
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, strlen(prefix), prefix) == 0;
}

// Sends "isready" and drops everything up to the answer.
bool synchronise(Engine* engine) {
    if (!send(engine, "isready")) return false;
    std::string line;
    while (receive(engine, &line))
        if (line == "readyok") return true;
    return false;
}

// Sets up a position and reads back its FEN, key and whether the side to move is in check.
bool showPosition(Engine* engine, const std::string& position, Board* board) {
    if (!send(engine, "position " + position) || !send(engine, "d") || !send(engine, "isready")) return false;
    std::string line;
    board->fen.clear();
    while (receive(engine, &line)) {
        if (startsWith(line, "Fen: ")) board->fen = line.substr(5);
        else if (startsWith(line, "Key: ")) board->key = line.substr(5);
        else if (startsWith(line, "Checkers:")) board->in_check = line.find_first_not_of(' ', 9) != std::string::npos;
        else if (line == "readyok") return !board->fen.empty();
    }
    return false;
}

bool legalMoves(Engine* engine, std::vector<std::string>* moves) {
    moves->clear();
    if (!send(engine, "go perft 1")) return false;
    std::string line;
    while (receive(engine, &line)) {
        if (startsWith(line, "Nodes searched")) return true;
        size_t colon = line.find(':');
        if (colon >= 4 && colon <= 5 && line.find(' ') == colon + 1) moves->push_back(line.substr(0, colon));
    }
    return false;
}

bool searchPosition(Engine* engine, int depth, SearchResult* result) {
    if (!send(engine, "go depth " + std::to_string(depth))) return false;
    std::string line;
    *result = SearchResult();
    while (receive(engine, &line)) {
        if (startsWith(line, "bestmove ")) {
            size_t end = line.find(' ', 9);
            result->best = line.substr(9, end == std::string::npos ? std::string::npos : end - 9);
            return true;
        }
        if (!startsWith(line, "info ") ||
            line.find("lowerbound") != std::string::npos || line.find("upperbound") != std::string::npos)
            continue;
        size_t at = line.find(" score ");
        if (at == std::string::npos) continue;
        char kind[8] = "";
        int value = 0;
        if (sscanf(line.c_str() + at, " score %7s %d", kind, &value) != 2) continue;
        result->mate = strcmp(kind, "mate") == 0;
        result->centipawns = value;
    }
    return false;
}

int menOf(const std::string& fen) {
    int men = 0;
    for (char c : fen) {
        if (c == ' ') break;
        if (strchr("pnbrqkPNBRQK", c)) men++;
    }
    return men;
}

int halfmoveClock(const std::string& fen) {
    // The fifth field of the FEN.
    size_t at = 0;
    for (int field = 0; field < 4 && at != std::string::npos; field++) at = fen.find(' ', at + 1);
    return at == std::string::npos ? 0 : atoi(fen.c_str() + at + 1);
}

// Two kings and 2 to 4 other men on random squares, pawns off the first and last ranks, with the
// side not to move out of check. Gives up (returns false) when a try is illegal; the caller retries.
bool randomEnding(Engine* engine, std::mt19937_64& rng, std::string* fen) {
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
    int others = 2 + int(rng() % 3);
    for (int i = 0; i < others; i++) {
        char piece = "pnbrq"[rng() % 5];
        place(rng() % 2 ? char(piece - 'a' + 'A') : piece);
    }
    std::string board;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            char c = squares[rank * 8 + file];
            if (!c) { empty++; continue; }
            if (empty) board += char('0' + empty);
            empty = 0;
            board += c;
        }
        if (empty) board += char('0' + empty);
        if (rank) board += '/';
    }
    bool white = rng() % 2;
    // Seen from the other side: its checkers would be the side to move capturing a king.
    Board other;
    if (!showPosition(engine, "fen " + board + (white ? " b" : " w") + " - - 0 1", &other) || other.in_check)
        return false;
    *fen = board + (white ? " w" : " b") + " - - 0 1";
    return true;
}

// Plays one game and appends its positions to the output. Returns false if stockfish fails.
bool playGame(Engine* engine, const Options& options, std::mt19937_64& rng, FILE* out, long* written) {
    if (!send(engine, "ucinewgame") || !synchronise(engine)) return false;
    std::string position;
    Board board;
    std::vector<std::string> moves;
    if (int(rng() % 100) < options.endgames) {
        std::string fen;
        while (!randomEnding(engine, rng, &fen))
            ;
        position = "fen " + fen;
    } else {
        int opening = 4 + int(rng() % 11);
        position = "startpos";
        for (int i = 0; i < opening; i++) {
            if (!showPosition(engine, position, &board) || !legalMoves(engine, &moves)) return false;
            if (moves.empty()) return true; // over before it began
            position = "fen " + board.fen + " moves " + moves[rng() % moves.size()];
        }
    }
    std::map<std::string, int> seen;
    for (int ply = 0; ply < MAX_GAME_PLIES && *written < options.count; ply++) {
        if (!showPosition(engine, position, &board) || !legalMoves(engine, &moves)) return false;
        if (moves.empty() || menOf(board.fen) < 4 || halfmoveClock(board.fen) >= 100 || ++seen[board.key] >= 3)
            return true;
        SearchResult result;
        if (!searchPosition(engine, options.depth, &result)) return false;
        // Once a mate is seen or the score is out of range the game is decided; stop here.
        if (result.mate || std::abs(result.centipawns) >= MAX_CENTIPAWNS) return true;
        if (!board.in_check) {
            fprintf(out, "%s;%.2f\n", board.fen.c_str(), result.centipawns / 100.0);
            ++*written;
        }
        std::string move = int(rng() % 100) < options.random_moves ? moves[rng() % moves.size()] : result.best;
        position = "fen " + board.fen + " moves " + move;
    }
    return true;
}

bool parseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; i++) {
        const char* arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            size_t n = strlen(name);
            return strncmp(arg, name, n) == 0 ? arg + n : nullptr;
        };
        const char* v;
        if ((v = value("--count="))) options->count = atol(v);
        else if ((v = value("--seed="))) options->seed = strtoull(v, nullptr, 10);
        else if ((v = value("--depth="))) options->depth = atoi(v);
        else if ((v = value("--output="))) options->output = v;
        else if ((v = value("--stockfish="))) options->stockfish = v;
        else if ((v = value("--endgames="))) options->endgames = atoi(v);
        else if ((v = value("--random-moves="))) options->random_moves = atoi(v);
        else {
            fprintf(stderr, "Unknown option '%s'\n", arg);
            return false;
        }
    }
    if (options->count < 0 || options->depth < 1 || options->endgames < 0 || options->endgames > 100 ||
        options->random_moves < 0 || options->random_moves > 100) {
        fprintf(stderr, "Need --count >= 0, --depth >= 1 and percentages from 0 to 100\n");
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, &options)) return 1;
    if (access(options.stockfish.c_str(), X_OK) != 0) {
        fprintf(stderr, "Cannot run '%s' (apt-get install stockfish)\n", options.stockfish.c_str());
        return 1;
    }
    FILE* out = fopen(options.output.c_str(), "w");
    if (!out) {
        fprintf(stderr, "Cannot open '%s'\n", options.output.c_str());
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    Engine engine;
    if (!startEngine(&engine, options.stockfish) || !send(&engine, "uci") ||
        !send(&engine, "setoption name Threads value 1") || !send(&engine, "setoption name Hash value 16") ||
        !synchronise(&engine)) {
        fprintf(stderr, "Cannot talk to '%s'\n", options.stockfish.c_str());
        return 1;
    }
    std::mt19937_64 rng(options.seed);
    long written = 0, games = 0;
    bool ok = true;
    while (written < options.count) {
        if (!playGame(&engine, options, rng, out, &written)) {
            ok = false;
            break;
        }
        games++;
    }
    send(&engine, "quit");
    close(engine.to_engine);
    close(engine.from_engine);
    waitpid(engine.pid, nullptr, 0);
    bool written_ok = !ferror(out);
    if (fclose(out) != 0 || !written_ok) {
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
