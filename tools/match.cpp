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
// Child processes and the questions put to the referee live in uci_process.h. Layout of this file:
// configuration, engines, referee, board helpers (SAN, draw rules), the game loop, statistics, PGN,
// the match driver and main().

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "option_values.h"
#include "uci_process.h"

namespace vireo_match {

using namespace vireo_tools;

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
    bool sprt = false;            // stop once a sequential test between two Elo differences decides
    double sprt_elo0 = 0, sprt_elo1 = 0;
    bool show_stderr = false;
    bool quiet = false;
};

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
    explicit Engine(int index) : index(index) {}  // no default: the index picks the engine's configuration
    int index;  // 0 for engine 1, 1 for engine 2
    Process process;
    std::string name;
    std::set<std::string> advertised_options;
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

// Stops an engine that failed to get ready; crashed tells whether the process died (rather than
// misbehaved). A write that failed leaves no error text, only a dead child behind the pipe.
void stopFailedEngine(Engine& engine, const std::string& when, std::string& error, bool& crashed) {
    if (error.empty()) error = "crashed " + when + " (" + exitDescription(engine.process) + ")";
    crashed = engine.process.eof || error.find("crashed") != std::string::npos;
    stopProcess(engine.process);
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
        stopFailedEngine(engine, "during start-up", error, crashed);
        return false;
    }
    if (engine.name.empty()) engine.name = ec.command;
    if (!ec.name.empty()) engine.name = ec.name;
    return true;
}

void stopEngine(Engine& engine) {
    stopProcess(engine.process);
}

// ---------------------------------------------------------------------------------------------------
// Referee: a stockfish process that knows the rules
// ---------------------------------------------------------------------------------------------------

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

bool startReferee(Referee& referee, std::string& error) {
    if (!startProcess(referee.process, referee.command, false, error)) return false;
    if (!writeLine(referee.process, "uci")) {
        error = "referee does not accept input";
        stopProcess(referee.process);
        return false;
    }
    auto deadline = Clock::now() + ANSWER_TIME;
    std::string line;
    while (readLine(referee.process, line, deadline) == ReadResult::Line)
        if (line == "uciok") return true;
    error = "referee did not answer \"uci\"";
    stopProcess(referee.process);
    return false;
}

// Asks the referee about the position after the moves. A referee that is not running is started; one
// that gives no usable answer is restarted once, after that the match cannot go on.
Position queryPosition(Referee& referee, const std::vector<std::string>& moves) {
    Position position;
    for (int attempt = 0;; attempt++) {
        std::string error;
        if (referee.process.pid <= 0 && !startReferee(referee, error)) throw std::runtime_error("referee: " + error);
        if (queryStockfish(referee.process, positionCommand(moves), position)) return position;
        stopProcess(referee.process);
        if (attempt == 1) throw std::runtime_error("referee '" + referee.command + "' gives no usable answers");
    }
}

// ---------------------------------------------------------------------------------------------------
// Board helpers on FEN text: draw rules and SAN for the PGN
// ---------------------------------------------------------------------------------------------------

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
    Engine engines[2] = {Engine(0), Engine(1)};
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

// Tells a running engine that a new game begins and waits until it is ready for it. On failure the
// engine is stopped, and crashed tells whether it died, as after a failed start.
bool startNewGame(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed) {
    crashed = false;
    if (sendToEngine(engine, game, "ucinewgame") && sendToEngine(engine, game, "isready") &&
        expectLine(engine, game, "readyok", config.startup_ms, error))
        return true;
    stopFailedEngine(engine, "at \"ucinewgame\"", error, crashed);
    return false;
}

// Brings an engine to a fresh game; a stopped engine is restarted first.
bool prepareEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed) {
    if (engine.process.pid > 0) {
        if (startNewGame(engine, config, game, error, crashed)) return true;
        error.clear();  // it misbehaves: try once more from scratch
    }
    return startEngine(engine, config, game, error, crashed) && startNewGame(engine, config, game, error, crashed);
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
            if (!isLegal(position, move))
                throw std::runtime_error("opening move " + move + " is illegal in " + position.fen);
        } else {
            Engine& engine = worker.engines[mover];
            EngineAnswer answer = askMove(engine, number, game.moves, clock_us, white_to_move, white, config);
            std::string at_ply = " at ply " + std::to_string(game.moves.size() + 1);
            // The mover loses the game by its fault; the caller leaves the game loop.
            auto forfeit = [&](Fault fault, const std::string& detail, const std::string& ending,
                               const std::string& reason, const std::string& termination) {
                game.incidents.push_back({number, mover, fault, detail + at_ply});
                lose(game, mover, ending, reason, termination);
            };
            if (answer.kind == EngineAnswer::Crash) {
                std::string how = exitDescription(engine.process);
                stopEngine(engine);
                forfeit(Fault::Crash, how, "crash", game.names[mover] + " crashed (" + how + ")", "rules infraction");
                break;
            }
            if (answer.kind == EngineAnswer::Hang) {
                stopEngine(engine);
                forfeit(Fault::TimeLoss,
                        "no bestmove within clock + " + std::to_string(config.grace_ms) + " ms (hung, restarted)",
                        "time loss", side + " loses on time (no bestmove)", "time forfeit");
                break;
            }
            if (answer.kind == EngineAnswer::Garbage) {
                forfeit(Fault::Protocol, "\"" + answer.text + "\"", "protocol error", side + " sends a malformed bestmove",
                        "rules infraction");
                break;
            }
            // A flag that fell counts before the move's legality: the move came too late to be played.
            int64_t over_ms = (answer.elapsed_us - clock_us[mover]) / 1000;
            std::string late = "late by " + std::to_string(over_ms) + " ms";
            if (over_ms > config.tolerance_ms) {
                forfeit(Fault::TimeLoss, late, "time loss", side + " loses on time", "time forfeit");
                break;
            }
            if (!isLegal(position, answer.move)) {
                forfeit(Fault::Illegal, answer.move + " in " + position.fen, "illegal move",
                        side + " makes an illegal move: " + answer.move, "rules infraction");
                break;
            }
            if (answer.elapsed_us > clock_us[mover]) game.incidents.push_back({number, mover, Fault::Late, late + at_ply});
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
// Sequential probability ratio test
// ---------------------------------------------------------------------------------------------------
//
// The test decides between H0, "engine 1 is elo0 stronger than engine 2", and H1, "it is elo1
// stronger" (logistic Elo), with error rates alpha = beta = 0.05. It counts game pairs rather than
// games (the pentanomial model): both games of a pair start from the same opening with the colours
// swapped, so their results are not independent (an opening that favours one colour tends to give one
// win each way). Pairs measure that and need fewer games than the trinomial count of single games,
// which would take the two results of an opening for two independent samples.
//
// The likelihood ratio is the generalised SPRT's, as fishtest computes it: the observed frequencies of
// the five pair outcomes stand for the unknown distribution, and each hypothesis is represented by the
// distribution closest to them (maximum likelihood) whose mean score per game is s0 or s1, the scores
// that elo0 and elo1 stand for. The common shortcut LLR = N (s1 - s0) (2 s - s0 - s1) / (2 var) agrees
// with it when the score is near s0 and s1, but not on a short run of one-sided results: after a
// single pair won 2-0 its variance is about zero and it would accept H1 at once.

constexpr double SPRT_ALPHA = 0.05;
constexpr double SPRT_BETA = 0.05;

// Pairs by engine 1's points in them: 0, 1/2, 1, 3/2, 2.
using PairCounts = std::array<int, 5>;

enum class SprtDecision { None, H0, H1 };

const char* decisionName(SprtDecision d) {
    switch (d) {
        case SprtDecision::None: return "no decision yet";
        case SprtDecision::H0: return "H0 accepted";
        case SprtDecision::H1: return "H1 accepted";
    }
    return "?";
}

// Expected score on the logistic curve for an Elo difference.
double scoreFromElo(double elo) {
    return 1.0 / (1.0 + std::pow(10.0, -elo / 400.0));
}

double sprtLowerBound() {
    return std::log(SPRT_BETA / (1 - SPRT_ALPHA));
}

double sprtUpperBound() {
    return std::log((1 - SPRT_BETA) / SPRT_ALPHA);
}

struct PairMoments {
    double pairs = 0;     // number of complete pairs
    double mean = 0.5;    // score per game
    double variance = 0;  // of one pair's score per game
};

PairMoments pairMoments(const PairCounts& counts) {
    PairMoments m;
    double sum = 0, squares = 0;
    for (int i = 0; i < 5; i++) {
        double score = i / 4.0;
        m.pairs += counts[size_t(i)];
        sum += counts[size_t(i)] * score;
        squares += counts[size_t(i)] * score * score;
    }
    if (m.pairs == 0) return m;
    m.mean = sum / m.pairs;
    m.variance = std::max(0.0, squares / m.pairs - m.mean * m.mean);
    return m;
}

// How far (Kullback-Leibler divergence) the frequencies p of the scores a_i = i/4 are from the nearest
// distribution q with mean s. That q is q_i = p_i / (1 + lambda (a_i - s)), where lambda solves
// sum p_i (a_i - s) / (1 + lambda (a_i - s)) = 0; the left side falls from +inf to -inf as lambda
// runs over (-1 / (1 - s), 1 / s), where every 1 + lambda (a_i - s) stays positive, so bisection finds
// it. The divergence is then sum p_i log(1 + lambda (a_i - s)).
double divergenceFromMean(const double p[5], double s) {
    double low = -1 / (1 - s), high = 1 / s;
    for (int step = 0; step < 200; step++) {
        double lambda = (low + high) / 2;
        double slope = 0;
        for (int i = 0; i < 5; i++) slope += p[i] * (i / 4.0 - s) / (1 + lambda * (i / 4.0 - s));
        (slope > 0 ? low : high) = lambda;
    }
    double lambda = (low + high) / 2, divergence = 0;
    for (int i = 0; i < 5; i++) divergence += p[i] * std::log(1 + lambda * (i / 4.0 - s));
    return divergence;
}

// Log-likelihood ratio of H1 against H0 after the counted pairs; 0 before the first pair. An outcome
// not seen yet counts as 0.001 pair (as fishtest does), so that every outcome stays possible.
double sprtLlr(const PairCounts& counts, double elo0, double elo1) {
    double total = 0, p[5];
    for (int i = 0; i < 5; i++) {
        p[i] = counts[size_t(i)] > 0 ? counts[size_t(i)] : 1e-3;
        total += p[i];
    }
    if (total < 0.01) return 0;
    for (double& x : p) x /= total;
    return total * (divergenceFromMean(p, scoreFromElo(elo0)) - divergenceFromMean(p, scoreFromElo(elo1)));
}

SprtDecision sprtDecision(double llr) {
    if (llr >= sprtUpperBound()) return SprtDecision::H1;
    if (llr <= sprtLowerBound()) return SprtDecision::H0;
    return SprtDecision::None;
}

// Elo and its 95% margin from the pairs: the error bar that goes with the test.
EloEstimate pairElo(const PairCounts& counts) {
    EloEstimate e;
    PairMoments m = pairMoments(counts);
    if (m.pairs == 0) return e;
    double s = e.score = m.mean;
    e.elo = (s > 0 && s < 1) ? eloFromScore(s) : std::nan("");
    double deviation = std::sqrt(m.variance / m.pairs);
    double low = s - 1.959963985 * deviation, high = s + 1.959963985 * deviation;
    // Pairs that all came out alike say nothing yet about the spread: no error bar then.
    bool spread = deviation > 0 && low > 0 && high < 1;
    e.margin = spread ? (eloFromScore(high) - eloFromScore(low)) / 2 : std::nan("");
    e.los = deviation > 0 ? 0.5 * (1 + std::erf((s - 0.5) / (deviation * std::sqrt(2.0)))) : (s > 0.5 ? 1 : s < 0.5 ? 0 : 0.5);
    return e;
}

// "elo0,elo1": two finite Elo differences, the first below the second, neither beyond 1000.
bool parseSprt(const std::string& text, double& elo0, double& elo1) {
    size_t comma = text.find(',');
    if (comma == std::string::npos) return false;
    auto number = [](const std::string& part, double& out) {
        char* end = nullptr;
        out = strtod(part.c_str(), &end);
        return !part.empty() && !isspace(uint8_t(part[0])) && *end == 0 && std::isfinite(out) && std::fabs(out) <= 1000;
    };
    double a = 0, b = 0;
    if (!number(text.substr(0, comma), a) || !number(text.substr(comma + 1), b) || !(a < b)) return false;
    elo0 = a;
    elo1 = b;
    return true;
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
            if (!isLegal(p, m)) {
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
    std::vector<GameRecord> games;  // by game number - 1; games never started keep number 0
    std::string names[2];
    int wins = 0, draws = 0, losses = 0;  // engine 1's view
    // With the sequential test: the complete pairs, the LLR over them, and the decision that stopped
    // the match. Games still in flight at the decision count too, so the final LLR may have moved on.
    PairCounts pairs{};
    double llr = 0;
    SprtDecision decision = SprtDecision::None;
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
    if (config.sprt) {
        int pairs = 0;
        for (int c : match.pairs) pairs += c;
        EloEstimate pe = pairElo(match.pairs);
        fprintf(out, "SPRT elo0 %g, elo1 %g: LLR %.2f (%.2f, %.2f), %s after %d games (%d pairs)\n", config.sprt_elo0,
                config.sprt_elo1, match.llr, sprtLowerBound(), sprtUpperBound(), decisionName(match.decision), n, pairs);
        fprintf(out, "Pairs by points 0 1/2 1 3/2 2: %d %d %d %d %d; Elo from pairs %s (95%%), LOS %.1f%%\n",
                match.pairs[0], match.pairs[1], match.pairs[2], match.pairs[3], match.pairs[4], formatElo(pe).c_str(),
                100.0 * pe.los);
    }

    std::map<std::string, int> endings;
    for (auto& g : match.games) {
        if (g.number > 0) endings[g.ending]++;
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

MatchResult runMatch(const MatchConfig& config) {
    MatchResult match;
    match.games.resize(size_t(config.games));

    // The referee is tried once before any game. Listed openings are checked here; random ones are
    // made by each worker when a pair starts, so that a long sequential test does not prepare
    // thousands of openings it may never play.
    Referee setup_referee{config.referee, {}};
    std::string error;
    if (!startReferee(setup_referee, error)) throw std::runtime_error("referee: " + error);
    std::vector<std::vector<std::string>> listed;
    if (!config.openings_path.empty()) listed = readOpenings(config.openings_path, setup_referee);
    stopProcess(setup_referee.process);

    FILE* pgn = nullptr;
    if (!config.pgn_path.empty()) {
        pgn = fopen(config.pgn_path.c_str(), "w");
        if (!pgn) throw std::runtime_error("cannot create '" + config.pgn_path + "'");
    }

    std::atomic<int> next_game{0};
    std::mutex result_mutex;
    std::string fatal_error;
    auto work = [&]() {
        Worker worker;
        worker.referee.command = config.referee;
        try {
            for (;;) {
                int index = next_game.fetch_add(1);
                if (index >= config.games) break;
                {
                    std::lock_guard<std::mutex> lock(result_mutex);
                    if (!fatal_error.empty() || match.decision != SprtDecision::None) break;
                }
                // Each opening is played twice, engine 1 taking White in the first game of the pair.
                int pair = index / 2, white = index % 2;
                std::vector<std::string> opening =
                    listed.empty() ? randomOpening(worker.referee, config.seed, pair, config.random_plies)
                                   : listed[size_t(pair) % listed.size()];
                GameRecord game = playGame(worker, config, index + 1, opening, white);
                std::lock_guard<std::mutex> lock(result_mutex);
                double s = engineScore(game, 0);
                if (s == 1) match.wins++;
                else if (s == 0) match.losses++;
                else match.draws++;
                for (int e = 0; e < 2; e++)
                    if (match.names[e].empty() && !game.names[e].empty()) match.names[e] = game.names[e];
                match.games[size_t(index)] = std::move(game);
                const GameRecord& done = match.games[size_t(index)];
                if (config.sprt) countPair(match, config, index);
                if (!config.quiet) {
                    std::string test;
                    if (config.sprt) {
                        char text[32];
                        snprintf(text, sizeof text, ", LLR %.2f", match.llr);
                        test = text;
                    }
                    printf("%s   [%d/%d: W %d D %d L %d%s]\n", describeGame(done).c_str(),
                           match.wins + match.draws + match.losses, config.games, match.wins, match.draws, match.losses,
                           test.c_str());
                    for (auto& i : done.incidents)
                        printf("  %s by engine%d: %s\n", faultName(i.fault), i.engine + 1, i.detail.c_str());
                    fflush(stdout);
                }
                if (pgn) {
                    fputs(pgnGame(done, config).c_str(), pgn);
                    fflush(pgn);
                }
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
    "  --games N                      number of games (default 2; each opening is played twice);\n"
    "                                 with --sprt the most to play (default 20000)\n"
    "  --sprt ELO0,ELO1               stop when a sequential test accepts elo0 or elo1 as engine 1's\n"
    "                                 Elo advantage (logistic; alpha = beta = 0.05; on game pairs)\n"
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
    bool games_given = false;
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
        auto number = [&](long long low, long long high, long long& out) { return parseWholeNumber(v.c_str(), low, high, &out); };
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
            if (!number(1, INT_MAX, n)) return "bad number of games '" + v + "'";
            config.games = int(n);
            games_given = true;
        } else if (a == "--random-plies") {
            if (!number(0, INT_MAX, n)) return "bad number of plies '" + v + "'";
            config.random_plies = int(n);
        } else if (a == "--seed") {
            if (!number(0, LLONG_MAX, n)) return "bad seed '" + v + "'";
            config.seed = uint64_t(n);
        } else if (a == "--concurrency") {
            if (!number(1, 16, n)) return "bad concurrency '" + v + "' (1 to 16)";
            config.concurrency = int(n);
        } else if (a == "--max-plies") {
            if (!number(0, INT_MAX, n)) return "bad ply limit '" + v + "'";
            config.max_plies = int(n);
        } else if (a == "--tolerance") {
            if (!number(0, LLONG_MAX, n)) return "bad tolerance '" + v + "'";
            config.tolerance_ms = n;
        } else if (a == "--grace") {
            if (!number(0, INT_MAX, n)) return "bad grace '" + v + "'";
            config.grace_ms = n;
        } else if (a == "--resign") {
            int cp = 0, moves = 0;
            if (sscanf(v.c_str(), "%d:%d", &cp, &moves) != 2 || cp <= 0 || moves <= 0) return "bad resign rule '" + v + "'";
            config.resign_cp = cp;
            config.resign_moves = moves;
        } else if (a == "--sprt") {
            if (!parseSprt(v, config.sprt_elo0, config.sprt_elo1))
                return "bad SPRT bounds '" + v + "' (expected elo0,elo1 with elo0 < elo1)";
            config.sprt = true;
        } else if (a == "--openings") config.openings_path = v;
        else if (a == "--referee") config.referee = v;
        else if (a == "--pgn") config.pgn_path = v;
        else if (a == "--log") config.log_path = v;
        else return "unknown argument '" + a + "'";
    }
    if (config.engines[0].command.empty() || config.engines[1].command.empty()) return "both --engine1 and --engine2 are needed";
    if (config.sprt && !games_given) config.games = 20000;
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
        Engine probe(e);
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
