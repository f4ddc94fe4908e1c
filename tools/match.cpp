// match: plays games between two UCI engines the way a tournament manager does.
//
// Each engine runs as a child process over pipes. The tool keeps the clocks itself (monotonic clock,
// increment after every move), and never trusts either player about the rules: a third engine, the
// referee (stockfish by default), lists the legal moves and tells the FEN and the checkers of every
// position, from which the tool decides illegal moves, mate, stalemate, repetition, the fifty-move rule
// and dead material. Engines that crash, hang or talk nonsense lose the game and are restarted.
//
// Only the C++ standard library and POSIX are used, so the tool builds even when the engine does not:
//   g++ -std=c++20 -O2 -pthread tools/match.cpp -o match
//
// Layout of this file: configuration, child processes, engines, referee, board helpers (SAN, draw
// rules), the game loop, statistics, PGN, the match driver and main().

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <poll.h>
#include <random>
#include <set>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace vireo_match {

using Clock = std::chrono::steady_clock;

// ---------------------------------------------------------------------------------------------------
// Configuration
// ---------------------------------------------------------------------------------------------------

struct EngineConfig {
    std::string command;
    std::vector<std::pair<std::string, std::string>> options;  // UCI option name, value
    std::string name;                                          // display name; empty: the engine's "id name"
};

struct MatchConfig {
    EngineConfig engines[2];
    int games = 2;
    int64_t base_ms = 10000;
    int64_t increment_ms = 100;
    std::string tc_text = "10+0.1";
    int random_plies = 4;
    std::string openings_path;
    uint64_t seed = 1;
    int concurrency = 1;
    std::string referee = "/usr/games/stockfish";
    std::string pgn_path;
    std::string log_path;
    int max_plies = 300;          // the game is adjudicated a draw when it reaches this many plies
    int64_t tolerance_ms = 50;    // a move this much past the flag still counts (reported as "late")
    int64_t grace_ms = 2000;      // how long past the flag we wait for a bestmove before calling it a hang
    int64_t startup_ms = 10000;   // for "uciok" and "readyok"
    int resign_cp = 0;            // score adjudication: both engines agree on at least this many centipawns
    int resign_moves = 0;         //   for this many moves each; 0 switches it off
    bool show_stderr = false;
    bool quiet = false;
};

// ---------------------------------------------------------------------------------------------------
// Child processes
// ---------------------------------------------------------------------------------------------------

struct Process {
    pid_t pid = -1;
    int to_child = -1;
    int from_child = -1;
    std::string buffer;  // bytes read but not yet returned as lines
    bool eof = false;
    bool reaped = false;
    int status = 0;      // wait status once reaped
};

// Every live child is listed here so that an interrupted match does not leave engines behind.
constexpr int MAX_CHILDREN = 64;
std::atomic<pid_t> live_children[MAX_CHILDREN];

void registerChild(pid_t pid) {
    for (auto& slot : live_children) {
        pid_t empty = 0;
        if (slot.compare_exchange_strong(empty, pid)) return;
    }
}

void unregisterChild(pid_t pid) {
    for (auto& slot : live_children) {
        pid_t expected = pid;
        if (slot.compare_exchange_strong(expected, 0)) return;
    }
}

std::atomic<bool> interrupted{false};

// Kills every child's process group and reaps what it can within a second. The workers may be
// restarting an engine that just died meanwhile, so the list is read again on every round and no
// call here ever blocks.
extern "C" void killChildrenAndExit(int signal_number) {
    interrupted = true;
    for (int round = 0; round < 100; round++) {
        bool any = false;
        for (auto& slot : live_children) {
            pid_t pid = slot.load();
            if (pid <= 0) continue;
            kill(-pid, SIGKILL);
            if (waitpid(pid, nullptr, WNOHANG) == 0) any = true;  // not dead yet
            else slot.compare_exchange_strong(pid, 0);
        }
        if (!any) break;
        timespec pause{0, 10 * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
    _exit(128 + signal_number);
}

// Splits a command line into words; single and double quotes group words, a backslash escapes.
std::vector<std::string> splitCommand(const std::string& command) {
    std::vector<std::string> words;
    std::string word;
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < command.size(); i++) {
        char c = command[i];
        if (quote) {
            if (c == quote) quote = 0;
            else if (c == '\\' && quote == '"' && i + 1 < command.size()) word += command[++i];
            else word += c;
        } else if (c == '\'' || c == '"') {
            quote = c;
            in_word = true;
        } else if (c == '\\' && i + 1 < command.size()) {
            word += command[++i];
            in_word = true;
        } else if (c == ' ' || c == '\t') {
            if (in_word) words.push_back(word);
            word.clear();
            in_word = false;
        } else {
            word += c;
            in_word = true;
        }
    }
    if (in_word) words.push_back(word);
    return words;
}

// Finds the program like a shell would; Debian puts its engines into /usr/games, which root's PATH
// often lacks, so that is searched last.
std::string resolveProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    std::string path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    path += ":/usr/games:/usr/local/games";
    std::stringstream dirs(path);
    std::string dir;
    while (std::getline(dirs, dir, ':')) {
        if (dir.empty()) continue;
        std::string candidate = dir + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

// Starts the command with its standard input and output on pipes, in a process group of its own
// (so that a wrapper script and the engine it runs can be stopped together). Returns false with a
// reason when the program cannot be started.
bool startProcess(Process& process, const std::string& command, bool show_stderr, std::string& error) {
    process = Process();
    if (interrupted) {
        error = "interrupted";
        return false;
    }
    std::vector<std::string> words = splitCommand(command);
    if (words.empty()) {
        error = "empty command";
        return false;
    }
    std::string program = resolveProgram(words[0]);

    // The program's own directory joins PATH: wrapper scripts such as gnuchessu call their sibling.
    std::vector<std::string> environment;
    std::string program_dir = program.substr(0, program.rfind('/'));
    for (char** e = environ; *e; e++) {
        if (strncmp(*e, "PATH=", 5) != 0) environment.push_back(*e);
    }
    std::string path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    if (!program_dir.empty()) path += ":" + program_dir;
    environment.push_back("PATH=" + path);

    std::vector<char*> argv, envp;
    for (auto& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);
    for (auto& e : environment) envp.push_back(e.data());
    envp.push_back(nullptr);

    int in_pipe[2], out_pipe[2];
    if (pipe2(in_pipe, O_CLOEXEC) != 0) {
        error = std::string("pipe: ") + strerror(errno);
        return false;
    }
    if (pipe2(out_pipe, O_CLOEXEC) != 0) {
        error = std::string("pipe: ") + strerror(errno);
        close(in_pipe[0]);
        close(in_pipe[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in_pipe[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out_pipe[1], 1);
    if (!show_stderr) posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t default_signals;
    sigemptyset(&default_signals);
    sigaddset(&default_signals, SIGPIPE);
    sigaddset(&default_signals, SIGINT);
    posix_spawnattr_setsigdefault(&attributes, &default_signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    pid_t pid = -1;
    int rc = posix_spawn(&pid, program.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(in_pipe[0]);
    close(out_pipe[1]);
    if (rc != 0) {
        error = "cannot start '" + program + "': " + strerror(rc);
        close(in_pipe[1]);
        close(out_pipe[0]);
        return false;
    }
    registerChild(pid);
    process.pid = pid;
    process.to_child = in_pipe[1];
    process.from_child = out_pipe[0];
    return true;
}

bool writeLine(Process& process, const std::string& line) {
    if (process.to_child < 0) return false;
    std::string text = line + "\n";
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(process.to_child, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;  // EPIPE: the child is gone
        done += size_t(n);
    }
    return true;
}

enum class ReadResult { Line, Timeout, Eof };

// Returns the next line the child wrote, waiting at most until the deadline.
ReadResult readLine(Process& process, std::string& line, Clock::time_point deadline) {
    for (;;) {
        size_t newline = process.buffer.find('\n');
        if (newline != std::string::npos) {
            line = process.buffer.substr(0, newline);
            process.buffer.erase(0, newline + 1);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            return ReadResult::Line;
        }
        if (process.eof || process.from_child < 0) return ReadResult::Eof;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left < 0) return ReadResult::Timeout;
        pollfd descriptor{process.from_child, POLLIN, 0};
        int ready = poll(&descriptor, 1, int(std::min<int64_t>(left + 1, 1000)));
        if (ready < 0 && errno != EINTR) return ReadResult::Eof;
        if (ready <= 0) continue;
        char chunk[4096];
        ssize_t n = read(process.from_child, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            process.eof = true;  // a last line without its newline still counts
            if (!process.buffer.empty()) process.buffer += '\n';
            continue;
        }
        process.buffer.append(chunk, size_t(n));
    }
}

bool waitForExit(Process& process, int64_t wait_ms) {
    if (process.reaped) return true;
    auto deadline = Clock::now() + std::chrono::milliseconds(wait_ms);
    for (;;) {
        siginfo_t info{};
        // WNOWAIT leaves the zombie in place, so its pid (and group id) cannot be reused before
        // the group has been cleaned up in stopProcess.
        if (waitid(P_PID, id_t(process.pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == process.pid)
            return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// Asks the child to quit, gives it a moment, then kills its whole process group.
void stopProcess(Process& process, const std::string& quit_line = "quit", int64_t wait_ms = 500) {
    if (process.pid <= 0) return;
    if (!process.reaped) {
        if (!quit_line.empty() && !process.eof) writeLine(process, quit_line);
        if (process.to_child >= 0) close(process.to_child);
        process.to_child = -1;
        if (!waitForExit(process, wait_ms)) kill(-process.pid, SIGKILL);
        waitForExit(process, 2000);
        kill(-process.pid, SIGKILL);  // helpers the engine may have left running
        waitpid(process.pid, &process.status, 0);
        process.reaped = true;
    }
    unregisterChild(process.pid);
    if (process.to_child >= 0) close(process.to_child);
    if (process.from_child >= 0) close(process.from_child);
    process.to_child = process.from_child = -1;
    process.pid = -1;
}

// Describes how a child that closed its output ended (waits briefly for it to finish dying).
std::string exitDescription(Process& process) {
    if (process.pid <= 0) return "not running";
    if (!waitForExit(process, 300)) return "closed its output but is still running";
    siginfo_t info{};
    waitid(P_PID, id_t(process.pid), &info, WEXITED | WNOHANG | WNOWAIT);
    if (info.si_code == CLD_EXITED) return "exited with status " + std::to_string(info.si_status);
    return std::string("killed by signal ") + std::to_string(info.si_status) + " (" + strsignal(info.si_status) + ")";
}

// ---------------------------------------------------------------------------------------------------
// UCI traffic log (optional, shared by all games)
// ---------------------------------------------------------------------------------------------------

FILE* traffic_log = nullptr;
std::mutex traffic_mutex;
auto traffic_start = Clock::now();

void logTraffic(int game, const std::string& who, const char* direction, const std::string& line) {
    if (!traffic_log) return;
    std::lock_guard<std::mutex> lock(traffic_mutex);
    double seconds = std::chrono::duration<double>(Clock::now() - traffic_start).count();
    fprintf(traffic_log, "%10.3f game %d %s %s %s\n", seconds, game, who.c_str(), direction, line.c_str());
    fflush(traffic_log);
}

// ---------------------------------------------------------------------------------------------------
// Engines
// ---------------------------------------------------------------------------------------------------

struct Engine {
    int index = 0;  // 0 for engine 1, 1 for engine 2
    Process process;
    std::string name;
    std::set<std::string> advertised_options;
    bool running = false;
};

// Missing options are reported once per engine, not at every restart.
std::atomic<bool> options_checked[2];

std::string engineLabel(const Engine& engine) {
    return "engine" + std::to_string(engine.index + 1);
}

bool sendToEngine(Engine& engine, int game, const std::string& line) {
    logTraffic(game, engineLabel(engine), "<", line);
    return writeLine(engine.process, line);
}

ReadResult readFromEngine(Engine& engine, int game, std::string& line, Clock::time_point deadline) {
    ReadResult result = readLine(engine.process, line, deadline);
    if (result == ReadResult::Line) logTraffic(game, engineLabel(engine), ">", line);
    return result;
}

// Waits for a line that starts with the expected word; other lines are skipped.
bool expectLine(Engine& engine, int game, const std::string& word, int64_t timeout_ms, std::string& error) {
    auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    std::string line;
    for (;;) {
        ReadResult result = readFromEngine(engine, game, line, deadline);
        if (result == ReadResult::Eof) {
            error = "crashed while waiting for \"" + word + "\" (" + exitDescription(engine.process) + ")";
            return false;
        }
        if (result == ReadResult::Timeout) {
            error = "no \"" + word + "\" within " + std::to_string(timeout_ms) + " ms";
            return false;
        }
        if (line == word || line.rfind(word + " ", 0) == 0) return true;
        if (word == "uciok") {
            if (line.rfind("id name ", 0) == 0) engine.name = line.substr(8);
            size_t at = line.find("option name ");
            if (at == 0) {
                std::string rest = line.substr(12);
                size_t type = rest.find(" type ");
                engine.advertised_options.insert(rest.substr(0, type));
            }
        }
    }
}

// Starts the engine and brings it to "readyok" with the configured options. On failure the engine is
// left stopped and the error says why; crashed tells whether the process died (rather than misbehaved).
bool startEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed) {
    const EngineConfig& ec = config.engines[engine.index];
    crashed = false;
    engine.advertised_options.clear();
    engine.name.clear();
    if (!startProcess(engine.process, ec.command, config.show_stderr, error)) {
        crashed = true;
        return false;
    }
    logTraffic(game, engineLabel(engine), "*", "started: " + ec.command);
    bool ok = sendToEngine(engine, game, "uci") && expectLine(engine, game, "uciok", config.startup_ms, error);
    if (ok) {
        for (auto& [name, value] : ec.options) {
            if (!engine.advertised_options.count(name) && !options_checked[engine.index].load()) {
                fprintf(stderr, "warning: %s (%s) does not list the option '%s'; sending it anyway\n",
                        engineLabel(engine).c_str(), ec.command.c_str(), name.c_str());
            }
            ok = ok && sendToEngine(engine, game, "setoption name " + name + " value " + value);
        }
        options_checked[engine.index] = true;
        ok = ok && sendToEngine(engine, game, "isready") && expectLine(engine, game, "readyok", config.startup_ms, error);
    }
    if (!ok) {
        if (error.empty()) error = "crashed during start-up (" + exitDescription(engine.process) + ")";
        crashed = engine.process.eof || error.find("crashed") != std::string::npos;
        stopProcess(engine.process);
        engine.running = false;
        return false;
    }
    if (engine.name.empty()) engine.name = ec.command;
    if (!ec.name.empty()) engine.name = ec.name;
    engine.running = true;
    return true;
}

void stopEngine(Engine& engine) {
    if (engine.process.pid > 0) stopProcess(engine.process);
    engine.running = false;
}

// ---------------------------------------------------------------------------------------------------
// Referee: a stockfish process that knows the rules
// ---------------------------------------------------------------------------------------------------

struct Position {
    std::vector<std::string> legal_moves;
    std::string fen;
    bool in_check = false;
};

struct Referee {
    std::string command;
    Process process;
};

std::string positionCommand(const std::vector<std::string>& moves) {
    std::string text = "position startpos";
    if (!moves.empty()) {
        text += " moves";
        for (auto& m : moves) text += " " + m;
    }
    return text;
}

bool isCoordinateMove(const std::string& text) {
    if (text.size() != 4 && text.size() != 5) return false;
    if (text[0] < 'a' || text[0] > 'h' || text[2] < 'a' || text[2] > 'h') return false;
    if (text[1] < '1' || text[1] > '8' || text[3] < '1' || text[3] > '8') return false;
    return text.size() == 4 || std::string("qrbn").find(text[4]) != std::string::npos;
}

bool queryOnce(Referee& referee, const std::vector<std::string>& moves, Position& position) {
    Process& p = referee.process;
    auto deadline = Clock::now() + std::chrono::seconds(10);
    position = Position();
    // "go perft" runs on stockfish's search thread, so its answer is awaited before "d" is sent.
    if (!writeLine(p, positionCommand(moves)) || !writeLine(p, "go perft 1")) return false;
    std::string line;
    for (;;) {
        if (readLine(p, line, deadline) != ReadResult::Line) return false;
        if (line.rfind("Nodes searched:", 0) == 0) break;
        size_t colon = line.find(": ");
        if (colon != std::string::npos && isCoordinateMove(line.substr(0, colon)))
            position.legal_moves.push_back(line.substr(0, colon));
    }
    if (!writeLine(p, "d") || !writeLine(p, "isready")) return false;
    bool have_checkers = false;
    for (;;) {
        if (readLine(p, line, deadline) != ReadResult::Line) return false;
        if (line == "readyok") break;
        if (line.rfind("Fen: ", 0) == 0) position.fen = line.substr(5);
        if (line.rfind("Checkers:", 0) == 0) {
            have_checkers = true;
            position.in_check = line.find_first_not_of(' ', 9) != std::string::npos;
        }
    }
    return !position.fen.empty() && have_checkers;
}

bool startReferee(Referee& referee, std::string& error) {
    if (!startProcess(referee.process, referee.command, false, error)) return false;
    if (!writeLine(referee.process, "uci")) {
        error = "referee does not accept input";
        return false;
    }
    auto deadline = Clock::now() + std::chrono::seconds(10);
    std::string line;
    while (readLine(referee.process, line, deadline) == ReadResult::Line)
        if (line == "uciok") return true;
    error = "referee did not answer \"uci\"";
    stopProcess(referee.process);
    return false;
}

// Asks the referee about the position after the moves; a referee that fails is restarted once,
// after that the match cannot go on.
Position queryPosition(Referee& referee, const std::vector<std::string>& moves) {
    Position position;
    for (int attempt = 0; attempt < 2; attempt++) {
        if (referee.process.pid > 0 && queryOnce(referee, moves, position)) return position;
        stopProcess(referee.process);
        std::string error;
        if (!startReferee(referee, error)) throw std::runtime_error("referee: " + error);
    }
    throw std::runtime_error("referee '" + referee.command + "' gives no usable answers");
}

// ---------------------------------------------------------------------------------------------------
// Board helpers on FEN text: draw rules and SAN for the PGN
// ---------------------------------------------------------------------------------------------------

std::vector<std::string> splitWords(const std::string& text) {
    std::vector<std::string> words;
    std::istringstream in(text);
    std::string w;
    while (in >> w) words.push_back(w);
    return words;
}

// Piece letters by square, a1 = 0 ... h8 = 63; '.' for empty.
std::string boardFromFen(const std::string& fen) {
    std::string board(64, '.');
    int rank = 7, file = 0;
    for (char c : fen) {
        if (c == ' ') break;
        if (c == '/') {
            rank--;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else if (rank >= 0 && file < 8) {
            board[size_t(rank * 8 + file)] = c;
            file++;
        }
    }
    return board;
}

// Placement, side to move, castling and en passant: what makes two positions the same for repetition.
std::string repetitionKey(const std::string& fen) {
    auto words = splitWords(fen);
    std::string key;
    for (size_t i = 0; i < words.size() && i < 4; i++) key += words[i] + " ";
    return key;
}

int halfmoveClock(const std::string& fen) {
    auto words = splitWords(fen);
    return words.size() > 4 ? atoi(words[4].c_str()) : 0;
}

// Positions where neither side can ever mate: bare kings, a lone minor piece, or bishops that all
// stand on squares of one colour.
bool insufficientMaterial(const std::string& fen) {
    std::string board = boardFromFen(fen);
    int minors = 0, knights = 0;
    int bishop_square_colours = 0;  // bit 0: a dark-square bishop, bit 1: a light-square bishop
    for (int sq = 0; sq < 64; sq++) {
        char c = board[size_t(sq)];
        switch (c) {
            case '.': case 'k': case 'K': break;
            case 'n': case 'N': knights++; minors++; break;
            case 'b': case 'B':
                minors++;
                bishop_square_colours |= ((sq / 8 + sq % 8) % 2 == 0) ? 1 : 2;
                break;
            default: return false;  // pawn, rook or queen
        }
    }
    if (minors <= 1) return true;
    return knights == 0 && bishop_square_colours != 3;
}

int squareOf(const std::string& text) {
    return (text[1] - '1') * 8 + (text[0] - 'a');
}

// The move in standard algebraic notation, from the position before it (FEN and legal moves) and
// what the referee said about the position after it.
std::string sanMove(const Position& before, const std::string& move, const Position& after) {
    std::string board = boardFromFen(before.fen);
    int from = squareOf(move.substr(0, 2)), to = squareOf(move.substr(2, 2));
    char piece = char(toupper(board[size_t(from)]));
    bool capture = board[size_t(to)] != '.';
    std::string san;
    if (piece == 'K' && std::abs(from % 8 - to % 8) == 2) {
        san = (to % 8 == 6) ? "O-O" : "O-O-O";
    } else if (piece == 'P') {
        if (from % 8 != to % 8) san = std::string(1, move[0]) + "x";  // en passant lands on an empty square
        san += move.substr(2, 2);
        if (move.size() == 5) san += std::string("=") + char(toupper(move[4]));
    } else {
        san = std::string(1, piece);
        bool ambiguous = false, same_file = false, same_rank = false;
        for (auto& other : before.legal_moves) {
            if (other == move || other.substr(2, 2) != move.substr(2, 2)) continue;
            int other_from = squareOf(other.substr(0, 2));
            if (toupper(board[size_t(other_from)]) != piece) continue;
            ambiguous = true;
            if (other_from % 8 == from % 8) same_file = true;
            if (other_from / 8 == from / 8) same_rank = true;
        }
        if (ambiguous) {
            if (!same_file) san += move[0];
            else if (!same_rank) san += move[1];
            else san += move.substr(0, 2);
        }
        if (capture) san += "x";
        san += move.substr(2, 2);
    }
    if (after.in_check) san += after.legal_moves.empty() ? "#" : "+";
    return san;
}

// ---------------------------------------------------------------------------------------------------
// The game loop
// ---------------------------------------------------------------------------------------------------

// Faults an engine can commit; each is listed with game and engine in the summary.
enum class Fault { Illegal, Crash, Protocol, TimeLoss, Late };
const char* faultName(Fault f) {
    switch (f) {
        case Fault::Illegal: return "illegal move";
        case Fault::Crash: return "crash";
        case Fault::Protocol: return "protocol error";
        case Fault::TimeLoss: return "time loss";
        case Fault::Late: return "late move within tolerance";
    }
    return "?";
}

struct Incident {
    int game = 0;
    int engine = 0;  // 0 or 1
    Fault fault = Fault::Crash;
    std::string detail;
};

struct GameRecord {
    int number = 0;       // 1-based
    int white = 0;        // engine index playing White
    std::string names[2]; // engine names by index
    std::vector<std::string> moves;
    std::vector<std::string> san;
    std::vector<std::string> comments;
    size_t opening_plies = 0;
    std::string result = "*";  // "1-0", "0-1", "1/2-1/2"
    std::string ending;                  // kind of ending for the summary, e.g. "checkmate", "time loss"
    std::string reason;                  // the same for this game in words
    std::string termination = "normal";  // PGN Termination tag
    std::vector<Incident> incidents;
};

// Resources of one game slot: a pair of engines and a referee, reused from game to game.
struct Worker {
    Engine engines[2];
    Referee referee;
};

double engineScore(const GameRecord& game, int engine) {
    if (game.result == "1/2-1/2") return 0.5;
    bool white_won = game.result == "1-0";
    return (white_won == (game.white == engine)) ? 1.0 : 0.0;
}

void lose(GameRecord& game, int loser, const std::string& ending, const std::string& reason,
          const std::string& termination) {
    game.result = (loser == game.white) ? "0-1" : "1-0";
    game.ending = ending;
    game.reason = reason;
    game.termination = termination;
}

void draw(GameRecord& game, const std::string& ending, const std::string& reason,
          const std::string& termination = "normal") {
    game.result = "1/2-1/2";
    game.ending = ending;
    game.reason = reason;
    game.termination = termination;
}

// What an engine said while thinking about one move.
struct EngineAnswer {
    enum Kind { Move, Crash, Hang, Garbage } kind = Hang;
    std::string move;
    std::string text;        // the offending line for Garbage
    int64_t elapsed_us = 0;
    bool have_score = false;
    int score_cp = 0;        // from the mover's view; mates as +-(100000 - plies)
    bool score_is_mate = false;
    int mate_in = 0;
    int depth = 0;
};

void readInfo(const std::string& line, EngineAnswer& answer) {
    auto words = splitWords(line);
    for (size_t i = 1; i + 1 < words.size(); i++) {
        if (words[i] == "depth") {
            answer.depth = atoi(words[i + 1].c_str());
        } else if (words[i] == "score" && i + 2 < words.size()) {
            if (words[i + 1] == "cp") {
                answer.have_score = true;
                answer.score_is_mate = false;
                answer.score_cp = atoi(words[i + 2].c_str());
            } else if (words[i + 1] == "mate") {
                answer.have_score = true;
                answer.score_is_mate = true;
                answer.mate_in = atoi(words[i + 2].c_str());
                answer.score_cp = answer.mate_in > 0 ? 100000 - answer.mate_in : -100000 - answer.mate_in;
            }
        } else if (words[i] == "pv") {
            break;
        }
    }
}

// Sends the position and the clocks, then waits for "bestmove" until the flag plus the grace time.
EngineAnswer askMove(Engine& engine, int game, const std::vector<std::string>& moves, const int64_t clock_us[2],
                     bool white_to_move, int white, const MatchConfig& config) {
    EngineAnswer answer;
    int64_t wtime = std::max<int64_t>(1, clock_us[white] / 1000);
    int64_t btime = std::max<int64_t>(1, clock_us[1 - white] / 1000);
    std::string go = "go wtime " + std::to_string(wtime) + " btime " + std::to_string(btime) + " winc " +
                     std::to_string(config.increment_ms) + " binc " + std::to_string(config.increment_ms);
    if (!sendToEngine(engine, game, positionCommand(moves))) {
        answer.kind = EngineAnswer::Crash;
        return answer;
    }
    bool sent = sendToEngine(engine, game, go);
    auto start = Clock::now();
    if (!sent) {
        answer.kind = EngineAnswer::Crash;
        return answer;
    }
    int64_t own_clock = white_to_move ? wtime : btime;
    auto deadline = start + std::chrono::milliseconds(own_clock + config.grace_ms);
    std::string line;
    for (;;) {
        ReadResult result = readFromEngine(engine, game, line, deadline);
        answer.elapsed_us = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
        if (result == ReadResult::Eof) {
            answer.kind = EngineAnswer::Crash;
            return answer;
        }
        if (result == ReadResult::Timeout) {
            answer.kind = EngineAnswer::Hang;
            return answer;
        }
        if (line.rfind("info ", 0) == 0) {
            readInfo(line, answer);
            continue;
        }
        auto words = splitWords(line);
        if (words.empty() || words[0] != "bestmove") continue;
        if (words.size() >= 2 && isCoordinateMove(words[1])) {
            answer.kind = EngineAnswer::Move;
            answer.move = words[1];
        } else {
            answer.kind = EngineAnswer::Garbage;
            answer.text = line;
        }
        return answer;
    }
}

std::string formatScore(const EngineAnswer& answer) {
    if (!answer.have_score) return "";
    char text[32];
    if (answer.score_is_mate) snprintf(text, sizeof text, "%sM%d", answer.mate_in > 0 ? "+" : "-", std::abs(answer.mate_in));
    else snprintf(text, sizeof text, "%+.2f", answer.score_cp / 100.0);
    return std::string(text) + "/" + std::to_string(answer.depth) + " ";
}

// Brings an engine to a fresh game; a stopped engine is restarted first.
bool prepareEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed) {
    crashed = false;
    if (engine.running) {
        if (sendToEngine(engine, game, "ucinewgame") && sendToEngine(engine, game, "isready") &&
            expectLine(engine, game, "readyok", config.startup_ms, error))
            return true;
        stopEngine(engine);  // it misbehaves: try once more from scratch
        error.clear();
    }
    if (!startEngine(engine, config, game, error, crashed)) return false;
    return sendToEngine(engine, game, "ucinewgame") && sendToEngine(engine, game, "isready") &&
           expectLine(engine, game, "readyok", config.startup_ms, error);
}

// Plays one game from the opening moves; white is the index of the engine playing White.
GameRecord playGame(Worker& worker, const MatchConfig& config, int number, const std::vector<std::string>& opening,
                    int white) {
    GameRecord game;
    game.number = number;
    game.white = white;
    game.opening_plies = opening.size();

    bool failed[2] = {false, false};
    for (int e = 0; e < 2; e++) {
        std::string error;
        bool crashed = false;
        if (!prepareEngine(worker.engines[e], config, number, error, crashed)) {
            failed[e] = true;
            game.incidents.push_back({number, e, crashed ? Fault::Crash : Fault::Protocol, "at game start: " + error});
            stopEngine(worker.engines[e]);
        }
        game.names[e] = worker.engines[e].name.empty() ? config.engines[e].command : worker.engines[e].name;
    }
    if (failed[0] && failed[1]) {
        draw(game, "failed start", "both engines failed to start", "abandoned");
        return game;
    }
    for (int e = 0; e < 2; e++)
        if (failed[e]) {
            lose(game, e, "failed start", game.names[e] + " failed to start", "abandoned");
            return game;
        }

    // By engine index, in microseconds so that rounding does not add up over a long game.
    int64_t clock_us[2] = {config.base_ms * 1000, config.base_ms * 1000};
    // Side-by-side resign adjudication needs the last scores from White's view.
    std::vector<std::optional<int>> white_scores;
    std::map<std::string, int> seen;
    Position position = queryPosition(worker.referee, game.moves);
    seen[repetitionKey(position.fen)]++;

    for (;;) {
        bool white_to_move = game.moves.size() % 2 == 0;
        std::string side = white_to_move ? "White" : "Black";
        if (position.legal_moves.empty()) {
            if (position.in_check)
                lose(game, white_to_move ? white : 1 - white, "checkmate",
                     (white_to_move ? "Black" : "White") + std::string(" mates"), "normal");
            else
                draw(game, "stalemate", "stalemate");
            break;
        }
        if (insufficientMaterial(position.fen)) {
            draw(game, "insufficient material", "insufficient material");
            break;
        }
        if (seen[repetitionKey(position.fen)] >= 3) {
            draw(game, "repetition", "threefold repetition");
            break;
        }
        if (halfmoveClock(position.fen) >= 100) {
            draw(game, "fifty moves", "fifty-move rule");
            break;
        }
        if (config.max_plies > 0 && int(game.moves.size()) >= config.max_plies) {
            draw(game, "ply limit", "adjudication: " + std::to_string(config.max_plies) + " plies", "adjudication");
            break;
        }

        int mover = white_to_move ? white : 1 - white;
        std::string move, comment;
        if (game.moves.size() < opening.size()) {
            move = opening[game.moves.size()];
            comment = "book";
            if (std::find(position.legal_moves.begin(), position.legal_moves.end(), move) == position.legal_moves.end())
                throw std::runtime_error("opening move " + move + " is illegal in " + position.fen);
        } else {
            Engine& engine = worker.engines[mover];
            EngineAnswer answer = askMove(engine, number, game.moves, clock_us, white_to_move, white, config);
            if (answer.kind == EngineAnswer::Crash) {
                std::string how = exitDescription(engine.process);
                game.incidents.push_back({number, mover, Fault::Crash, how + " at ply " + std::to_string(game.moves.size() + 1)});
                stopEngine(engine);
                lose(game, mover, "crash", game.names[mover] + " crashed (" + how + ")", "rules infraction");
                break;
            }
            if (answer.kind == EngineAnswer::Hang) {
                game.incidents.push_back({number, mover, Fault::TimeLoss,
                    "no bestmove within clock + " + std::to_string(config.grace_ms) + " ms (hung, restarted) at ply " +
                        std::to_string(game.moves.size() + 1)});
                stopEngine(engine);
                lose(game, mover, "time loss", side + " loses on time (no bestmove)", "time forfeit");
                break;
            }
            if (answer.kind == EngineAnswer::Garbage) {
                game.incidents.push_back({number, mover, Fault::Protocol,
                    "\"" + answer.text + "\" at ply " + std::to_string(game.moves.size() + 1)});
                lose(game, mover, "protocol error", side + " sends a malformed bestmove", "rules infraction");
                break;
            }
            // A flag that fell counts before the move's legality: the move came too late to be played.
            int64_t over_ms = (answer.elapsed_us - clock_us[mover]) / 1000;
            if (over_ms > config.tolerance_ms) {
                game.incidents.push_back({number, mover, Fault::TimeLoss,
                    "late by " + std::to_string(over_ms) + " ms at ply " + std::to_string(game.moves.size() + 1)});
                lose(game, mover, "time loss", side + " loses on time", "time forfeit");
                break;
            }
            if (std::find(position.legal_moves.begin(), position.legal_moves.end(), answer.move) == position.legal_moves.end()) {
                game.incidents.push_back({number, mover, Fault::Illegal,
                    answer.move + " in " + position.fen + " at ply " + std::to_string(game.moves.size() + 1)});
                lose(game, mover, "illegal move", side + " makes an illegal move: " + answer.move, "rules infraction");
                break;
            }
            if (answer.elapsed_us > clock_us[mover]) {
                game.incidents.push_back({number, mover, Fault::Late,
                    "late by " + std::to_string(over_ms) + " ms at ply " + std::to_string(game.moves.size() + 1)});
            }
            clock_us[mover] = std::max<int64_t>(0, clock_us[mover] - answer.elapsed_us) + config.increment_ms * 1000;
            move = answer.move;
            char seconds[32];
            snprintf(seconds, sizeof seconds, "%.3fs", answer.elapsed_us / 1e6);
            comment = formatScore(answer) + seconds;
            if (answer.have_score)
                white_scores.push_back(white_to_move ? answer.score_cp : -answer.score_cp);
            else
                white_scores.push_back(std::nullopt);
        }

        Position next = queryPosition(worker.referee, [&] { auto m = game.moves; m.push_back(move); return m; }());
        game.san.push_back(sanMove(position, move, next));
        game.moves.push_back(move);
        game.comments.push_back(comment);
        position = next;
        seen[repetitionKey(position.fen)]++;

        // Score adjudication: both engines have agreed for the last resign_moves moves each.
        if (config.resign_moves > 0 && int(white_scores.size()) >= 2 * config.resign_moves) {
            int white_wins = 0, black_wins = 0;
            for (size_t i = white_scores.size() - 2 * size_t(config.resign_moves); i < white_scores.size(); i++) {
                if (!white_scores[i]) continue;
                if (*white_scores[i] >= config.resign_cp) white_wins++;
                if (*white_scores[i] <= -config.resign_cp) black_wins++;
            }
            if (white_wins == 2 * config.resign_moves) {
                lose(game, 1 - white, "score adjudication", "adjudication: Black's score below -" + std::to_string(config.resign_cp), "adjudication");
                break;
            }
            if (black_wins == 2 * config.resign_moves) {
                lose(game, white, "score adjudication", "adjudication: White's score below -" + std::to_string(config.resign_cp), "adjudication");
                break;
            }
        }
    }
    return game;
}

// ---------------------------------------------------------------------------------------------------
// Statistics
// ---------------------------------------------------------------------------------------------------

// Elo difference that an expected score s (0 < s < 1) stands for on the logistic curve.
double eloFromScore(double s) {
    return -400.0 * std::log10(1.0 / s - 1.0) + 0.0;  // + 0.0 turns -0 into 0 for printing
}

struct EloEstimate {
    double score = 0.5;   // fraction of the points
    double elo = 0;       // NaN when the score is 0 or 1
    double margin = 0;    // half width of the 95% interval, NaN when it reaches 0 or 1
    double los = 0.5;     // likelihood of superiority from wins and losses
};

EloEstimate estimateElo(int wins, int draws, int losses) {
    EloEstimate e;
    int n = wins + draws + losses;
    if (n == 0) return e;
    e.score = (wins + 0.5 * draws) / n;
    double s = e.score;
    e.elo = (s > 0 && s < 1) ? eloFromScore(s) : std::nan("");
    // Standard deviation of one game's score, then of the mean over n games.
    double variance = (wins * (1 - s) * (1 - s) + draws * (0.5 - s) * (0.5 - s) + losses * s * s) / n;
    double deviation = std::sqrt(variance / n);
    double low = s - 1.959963985 * deviation, high = s + 1.959963985 * deviation;
    e.margin = (low > 0 && high < 1) ? (eloFromScore(high) - eloFromScore(low)) / 2 : std::nan("");
    e.los = (wins + losses) > 0 ? 0.5 * (1 + std::erf((wins - losses) / std::sqrt(2.0 * (wins + losses)))) : 0.5;
    return e;
}

std::string formatElo(const EloEstimate& e) {
    char text[128];
    if (std::isnan(e.elo)) snprintf(text, sizeof text, "%s", e.score >= 1 ? "+inf" : "-inf");
    else if (std::isnan(e.margin)) snprintf(text, sizeof text, "%+.1f +/- inf", e.elo);
    else snprintf(text, sizeof text, "%+.1f +/- %.1f", e.elo, e.margin);
    return text;
}

// ---------------------------------------------------------------------------------------------------
// PGN
// ---------------------------------------------------------------------------------------------------

std::string pgnQuote(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

std::string pgnGame(const GameRecord& game, const MatchConfig& config) {
    char date[16];
    time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    strftime(date, sizeof date, "%Y.%m.%d", &utc);
    std::string text;
    text += "[Event \"" + pgnQuote(game.names[0] + " vs " + game.names[1]) + "\"]\n";
    text += "[Site \"?\"]\n";
    text += std::string("[Date \"") + date + "\"]\n";
    text += "[Round \"" + std::to_string(game.number) + "\"]\n";
    text += "[White \"" + pgnQuote(game.names[game.white]) + "\"]\n";
    text += "[Black \"" + pgnQuote(game.names[1 - game.white]) + "\"]\n";
    text += "[Result \"" + game.result + "\"]\n";
    text += "[TimeControl \"" + pgnQuote(config.tc_text) + "\"]\n";
    text += "[PlyCount \"" + std::to_string(game.moves.size()) + "\"]\n";
    text += "[Termination \"" + game.termination + "\"]\n\n";

    std::string movetext, line;
    auto emit = [&](const std::string& token) {
        if (!line.empty() && line.size() + 1 + token.size() > 79) {
            movetext += line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + token;
    };
    for (size_t i = 0; i < game.san.size(); i++) {
        if (i % 2 == 0) emit(std::to_string(i / 2 + 1) + ".");
        emit(game.san[i]);
        if (!game.comments[i].empty()) emit("{" + game.comments[i] + "}");
    }
    if (!game.reason.empty()) emit("{" + game.reason + "}");
    emit(game.result);
    movetext += line + "\n\n";
    return text + movetext;
}

// ---------------------------------------------------------------------------------------------------
// Openings
// ---------------------------------------------------------------------------------------------------

// Reads one opening per line as coordinate moves ("e2e4 e7e5 g1f3"); '#' starts a comment.
std::vector<std::vector<std::string>> readOpenings(const std::string& path, Referee& referee) {
    FILE* file = fopen(path.c_str(), "r");
    if (!file) throw std::runtime_error("cannot open openings file '" + path + "'");
    std::vector<std::vector<std::string>> openings;
    char buffer[8192];
    int line_number = 0;
    while (fgets(buffer, sizeof buffer, file)) {
        line_number++;
        std::string line = buffer;
        line = line.substr(0, line.find('#'));
        auto moves = splitWords(line);
        if (moves.empty()) continue;
        std::vector<std::string> played;
        bool ok = true;
        for (auto& m : moves) {
            Position p = queryPosition(referee, played);
            if (std::find(p.legal_moves.begin(), p.legal_moves.end(), m) == p.legal_moves.end()) {
                fprintf(stderr, "warning: %s:%d: move %s is illegal, line skipped\n", path.c_str(), line_number, m.c_str());
                ok = false;
                break;
            }
            played.push_back(m);
        }
        if (ok && queryPosition(referee, played).legal_moves.empty()) {
            fprintf(stderr, "warning: %s:%d: the opening ends the game, line skipped\n", path.c_str(), line_number);
            ok = false;
        }
        if (ok) openings.push_back(played);
    }
    fclose(file);
    if (openings.empty()) throw std::runtime_error("no usable opening in '" + path + "'");
    return openings;
}

// Plies chosen uniformly among the legal moves; the generator is seeded per game pair so that the
// openings do not depend on the order in which parallel games finish.
std::vector<std::string> randomOpening(Referee& referee, uint64_t seed, int pair, int plies) {
    std::mt19937_64 rng(seed * 0x9E3779B97F4A7C15ULL + uint64_t(pair) + 1);
    for (;;) {
        std::vector<std::string> moves;
        for (int i = 0; i < plies; i++) {
            Position p = queryPosition(referee, moves);
            if (p.legal_moves.empty()) break;
            moves.push_back(p.legal_moves[rng() % p.legal_moves.size()]);
        }
        if (int(moves.size()) == plies && !queryPosition(referee, moves).legal_moves.empty()) return moves;
    }
}

// ---------------------------------------------------------------------------------------------------
// The match
// ---------------------------------------------------------------------------------------------------

struct MatchResult {
    std::vector<GameRecord> games;  // by game number - 1
    std::string names[2];
    int wins = 0, draws = 0, losses = 0;  // engine 1's view
};

std::string describeGame(const GameRecord& game) {
    return "Game " + std::to_string(game.number) + ": " + game.names[game.white] + " - " + game.names[1 - game.white] +
           "  " + game.result + "  {" + game.reason + "}  " + std::to_string(game.moves.size()) + " plies";
}

void printSummary(FILE* out, const MatchResult& match, const MatchConfig& config) {
    int n = match.wins + match.draws + match.losses;
    EloEstimate e = estimateElo(match.wins, match.draws, match.losses);
    fprintf(out, "\n=== %s vs %s: %d games at %s ===\n", match.names[0].c_str(), match.names[1].c_str(), n,
            config.tc_text.c_str());
    fprintf(out, "Score of %s: W %d  D %d  L %d  (%.1f%%)\n", match.names[0].c_str(), match.wins, match.draws,
            match.losses, 100.0 * e.score);
    fprintf(out, "Elo difference: %s (95%%), LOS %.1f%%\n", formatElo(e).c_str(), 100.0 * e.los);

    std::map<std::string, int> endings;
    for (auto& g : match.games) {
        endings[g.ending]++;
    }
    fprintf(out, "Endings:");
    for (auto& [kind, count] : endings) fprintf(out, "  %s %d", kind.c_str(), count);
    fprintf(out, "\n");

    for (Fault fault : {Fault::Illegal, Fault::Crash, Fault::Protocol, Fault::TimeLoss, Fault::Late}) {
        int counts[2] = {0, 0};
        std::vector<const Incident*> list;
        for (auto& g : match.games)
            for (auto& i : g.incidents)
                if (i.fault == fault) {
                    counts[i.engine]++;
                    list.push_back(&i);
                }
        fprintf(out, "%s: %zu (engine1 %d, engine2 %d)\n", faultName(fault), list.size(), counts[0], counts[1]);
        for (auto* i : list)
            fprintf(out, "  game %d, engine%d (%s): %s\n", i->game, i->engine + 1, match.names[i->engine].c_str(),
                    i->detail.c_str());
    }
}

MatchResult runMatch(const MatchConfig& config) {
    MatchResult match;
    match.games.resize(size_t(config.games));

    // One referee prepares the openings; each worker then has its own.
    Referee setup_referee{config.referee, {}};
    std::string error;
    if (!startReferee(setup_referee, error)) throw std::runtime_error("referee: " + error);
    int pairs = (config.games + 1) / 2;
    std::vector<std::vector<std::string>> openings;
    if (!config.openings_path.empty()) {
        auto listed = readOpenings(config.openings_path, setup_referee);
        for (int p = 0; p < pairs; p++) openings.push_back(listed[size_t(p) % listed.size()]);
    } else {
        for (int p = 0; p < pairs; p++) openings.push_back(randomOpening(setup_referee, config.seed, p, config.random_plies));
    }
    stopProcess(setup_referee.process);

    FILE* pgn = nullptr;
    if (!config.pgn_path.empty()) {
        pgn = fopen(config.pgn_path.c_str(), "w");
        if (!pgn) throw std::runtime_error("cannot create '" + config.pgn_path + "'");
    }

    std::atomic<int> next_game{0};
    std::mutex result_mutex;
    std::string fatal_error;
    int finished = 0;
    auto work = [&]() {
        Worker worker;
        worker.referee.command = config.referee;
        for (int e = 0; e < 2; e++) worker.engines[e].index = e;
        try {
            for (;;) {
                int index = next_game.fetch_add(1);
                if (index >= config.games) break;
                {
                    std::lock_guard<std::mutex> lock(result_mutex);
                    if (!fatal_error.empty()) break;
                }
                // Each opening is played twice, engine 1 taking White in the first game of the pair.
                int white = index % 2;
                GameRecord game = playGame(worker, config, index + 1, openings[size_t(index / 2)], white);
                std::lock_guard<std::mutex> lock(result_mutex);
                double s = engineScore(game, 0);
                if (s == 1) match.wins++;
                else if (s == 0) match.losses++;
                else match.draws++;
                for (int e = 0; e < 2; e++)
                    if (match.names[e].empty() && !game.names[e].empty()) match.names[e] = game.names[e];
                finished++;
                if (!config.quiet) {
                    printf("%s   [%d/%d: W %d D %d L %d]\n", describeGame(game).c_str(), finished, config.games,
                           match.wins, match.draws, match.losses);
                    for (auto& i : game.incidents)
                        printf("  %s by engine%d: %s\n", faultName(i.fault), i.engine + 1, i.detail.c_str());
                    fflush(stdout);
                }
                if (pgn) {
                    fputs(pgnGame(game, config).c_str(), pgn);
                    fflush(pgn);
                }
                match.games[size_t(index)] = std::move(game);
            }
        } catch (const std::exception& ex) {
            std::lock_guard<std::mutex> lock(result_mutex);
            if (fatal_error.empty()) fatal_error = ex.what();
        }
        for (auto& engine : worker.engines) stopEngine(engine);
        stopProcess(worker.referee.process);
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < std::max(1, config.concurrency); t++) threads.emplace_back(work);
    for (auto& t : threads) t.join();
    if (pgn) fclose(pgn);
    if (!fatal_error.empty()) throw std::runtime_error(fatal_error);
    for (int e = 0; e < 2; e++)
        if (match.names[e].empty()) match.names[e] = config.engines[e].command;
    return match;
}

// ---------------------------------------------------------------------------------------------------
// Command line
// ---------------------------------------------------------------------------------------------------

const char* USAGE =
    "usage: match --engine1 CMD --engine2 CMD [options]\n"
    "  --engine1 CMD, --engine2 CMD   engine command lines (words split like a shell, quotes group)\n"
    "  --option1 \"Name=Value\"         UCI option for engine 1 (repeatable); --option2 likewise\n"
    "  --name1 NAME, --name2 NAME     names for the summary and PGN (default: the engine's \"id name\")\n"
    "  --games N                      number of games (default 2; each opening is played twice)\n"
    "  --tc BASE+INC                  time control in seconds, e.g. 10+0.1 (default)\n"
    "  --random-plies N               random opening plies (default 4)\n"
    "  --openings FILE                openings, one per line as coordinate moves (instead of random)\n"
    "  --seed N                       seed for the random openings (default 1)\n"
    "  --concurrency N                games played at once (default 1)\n"
    "  --referee CMD                  engine that judges the rules (default /usr/games/stockfish)\n"
    "  --pgn FILE                     write the games as PGN\n"
    "  --log FILE                     write all UCI traffic with timestamps\n"
    "  --max-plies N                  adjudicate a draw at N plies (default 300, 0: never)\n"
    "  --resign CP:MOVES              adjudicate a win when both engines agree for MOVES moves each\n"
    "  --tolerance MS                 a move this late still counts (default 50)\n"
    "  --grace MS                     wait this long past the flag before declaring a hang (default 2000)\n"
    "  --stderr                       let the engines' error output through\n"
    "  --quiet                        print only the summary\n";

bool parseTimeControl(const std::string& text, int64_t& base_ms, int64_t& increment_ms) {
    char* end = nullptr;
    double base = strtod(text.c_str(), &end);
    double increment = 0;
    if (end == text.c_str() || base <= 0) return false;
    if (*end == '+') {
        const char* start = end + 1;
        increment = strtod(start, &end);
        if (end == start || increment < 0) return false;
    }
    if (*end != 0) return false;
    base_ms = int64_t(std::llround(base * 1000));
    increment_ms = int64_t(std::llround(increment * 1000));
    return true;
}

bool parseOption(const std::string& text, std::pair<std::string, std::string>& option) {
    size_t eq = text.find('=');
    if (eq == std::string::npos || eq == 0) return false;
    option = {text.substr(0, eq), text.substr(eq + 1)};
    return true;
}

// Fills the configuration; returns an error text, empty when the command line is fine.
std::string parseArguments(const std::vector<std::string>& args, MatchConfig& config) {
    for (size_t i = 0; i < args.size(); i++) {
        const std::string& a = args[i];
        if (a == "--stderr") {
            config.show_stderr = true;
            continue;
        }
        if (a == "--quiet") {
            config.quiet = true;
            continue;
        }
        if (i + 1 >= args.size()) return "missing value after " + a;
        const std::string& v = args[++i];
        auto number = [&](long long low, long long& out) {
            char* end = nullptr;
            out = strtoll(v.c_str(), &end, 10);
            return *v.c_str() && *end == 0 && out >= low;
        };
        long long n = 0;
        if (a == "--engine1") config.engines[0].command = v;
        else if (a == "--engine2") config.engines[1].command = v;
        else if (a == "--name1") config.engines[0].name = v;
        else if (a == "--name2") config.engines[1].name = v;
        else if (a == "--option1" || a == "--option2") {
            std::pair<std::string, std::string> option;
            if (!parseOption(v, option)) return "bad option '" + v + "' (expected Name=Value)";
            config.engines[a == "--option1" ? 0 : 1].options.push_back(option);
        } else if (a == "--tc") {
            if (!parseTimeControl(v, config.base_ms, config.increment_ms)) return "bad time control '" + v + "'";
            config.tc_text = v;
        } else if (a == "--games") {
            if (!number(1, n)) return "bad number of games '" + v + "'";
            config.games = int(n);
        } else if (a == "--random-plies") {
            if (!number(0, n)) return "bad number of plies '" + v + "'";
            config.random_plies = int(n);
        } else if (a == "--seed") {
            if (!number(0, n)) return "bad seed '" + v + "'";
            config.seed = uint64_t(n);
        } else if (a == "--concurrency") {
            if (!number(1, n) || n > 16) return "bad concurrency '" + v + "' (1 to 16)";
            config.concurrency = int(n);
        } else if (a == "--max-plies") {
            if (!number(0, n)) return "bad ply limit '" + v + "'";
            config.max_plies = int(n);
        } else if (a == "--tolerance") {
            if (!number(0, n)) return "bad tolerance '" + v + "'";
            config.tolerance_ms = n;
        } else if (a == "--grace") {
            if (!number(0, n)) return "bad grace '" + v + "'";
            config.grace_ms = n;
        } else if (a == "--resign") {
            int cp = 0, moves = 0;
            if (sscanf(v.c_str(), "%d:%d", &cp, &moves) != 2 || cp <= 0 || moves <= 0) return "bad resign rule '" + v + "'";
            config.resign_cp = cp;
            config.resign_moves = moves;
        } else if (a == "--openings") config.openings_path = v;
        else if (a == "--referee") config.referee = v;
        else if (a == "--pgn") config.pgn_path = v;
        else if (a == "--log") config.log_path = v;
        else return "unknown argument '" + a + "'";
    }
    if (config.engines[0].command.empty() || config.engines[1].command.empty()) return "both --engine1 and --engine2 are needed";
    return "";
}

int runFromCommandLine(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty() || args[0] == "--help" || args[0] == "-h") {
        fputs(USAGE, args.empty() ? stderr : stdout);
        return args.empty() ? 1 : 0;
    }
    MatchConfig config;
    std::string error = parseArguments(args, config);
    if (!error.empty()) {
        fprintf(stderr, "match: %s\n%s", error.c_str(), USAGE);
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, killChildrenAndExit);
    signal(SIGTERM, killChildrenAndExit);
    if (!config.log_path.empty()) {
        traffic_log = fopen(config.log_path.c_str(), "w");
        if (!traffic_log) {
            fprintf(stderr, "match: cannot create '%s'\n", config.log_path.c_str());
            return 1;
        }
    }
    // A command that cannot even start is a mistake on the command line, not a lost game.
    for (int e = 0; e < 2; e++) {
        Engine probe;
        probe.index = e;
        bool crashed = false;
        if (!startEngine(probe, config, 0, error, crashed)) {
            fprintf(stderr, "match: engine%d (%s): %s\n", e + 1, config.engines[e].command.c_str(), error.c_str());
            return 1;
        }
        stopEngine(probe);
    }
    try {
        MatchResult match = runMatch(config);
        printSummary(stdout, match, config);
    } catch (const std::exception& ex) {
        fprintf(stderr, "match: %s\n", ex.what());
        return 2;
    }
    if (traffic_log) fclose(traffic_log);
    return 0;
}

}  // namespace vireo_match

#ifndef VIREO_MATCH_NO_MAIN
int main(int argc, char** argv) {
    return vireo_match::runFromCommandLine(argc, argv);
}
#endif
