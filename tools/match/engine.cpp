#include "engine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "../file_handle.h"
#include "referee.h"
#include "../uci/info_line.h"
#include "../uci/words.h"

namespace vireo_match {

namespace {

// Missing options are reported once per engine, not at every restart.
std::atomic<bool> options_checked[2];

FileHandle traffic_log;
std::mutex traffic_mutex;
auto traffic_start = Clock::now();

// One line of the log; direction is "<" for what the tool sent, ">" for what the engine said.
void logTraffic(int game, const std::string& who, const char* direction, const std::string& line) {
    if (!traffic_log) return;
    std::lock_guard<std::mutex> lock(traffic_mutex);
    double seconds = std::chrono::duration<double>(Clock::now() - traffic_start).count();
    fprintf(traffic_log.get(), "%10.3f game %d %s %s %s\n", seconds, game, who.c_str(), direction, line.c_str());
    fflush(traffic_log.get());
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

// The depth and score of an info line go to the PGN comment; a bound counts, as the engine's
// latest word.
void readInfo(const std::string& line, EngineAnswer& answer) {
    InfoLine info = readInfoLine(line);
    if (info.depth >= 0) answer.depth = info.depth;
    if (!info.has_score) return;
    answer.have_score = true;
    answer.score_is_mate = info.mate;
    if (info.mate) {
        answer.mate_in = info.value;
        answer.score_cp = info.value > 0 ? 100000 - info.value : -100000 - info.value;
    } else {
        answer.score_cp = info.value;
    }
}

// Reads the engine's lines up to its "bestmove" or the deadline.
void awaitBestMove(Engine& engine, int game, Clock::time_point start, Clock::time_point deadline,
                   EngineAnswer& answer) {
    std::string line;
    for (;;) {
        ReadResult result = readFromEngine(engine, game, line, deadline);
        answer.elapsed_us = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
        if (result == ReadResult::Eof) {
            answer.kind = EngineAnswer::Crash;
            return;
        }
        if (result == ReadResult::Timeout) {
            answer.kind = EngineAnswer::Hang;
            return;
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
        return;
    }
}

} // namespace

bool openTrafficLog(const std::string& path) {
    traffic_log = openFile(path, "w");
    return traffic_log != nullptr;
}

std::string engineLabel(const Engine& engine) { return "engine" + std::to_string(engine.index + 1); }

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
        ok = ok && sendToEngine(engine, game, "isready") &&
             expectLine(engine, game, "readyok", config.startup_ms, error);
    }
    if (!ok) {
        stopFailedEngine(engine, "during start-up", error, crashed);
        return false;
    }
    if (engine.name.empty()) engine.name = ec.command;
    if (!ec.name.empty()) engine.name = ec.name;
    return true;
}

bool prepareEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed) {
    if (engine.process.pid > 0) {
        if (startNewGame(engine, config, game, error, crashed)) return true;
        error.clear(); // it misbehaves: try once more from scratch
    }
    return startEngine(engine, config, game, error, crashed) && startNewGame(engine, config, game, error, crashed);
}

void stopEngine(Engine& engine) { stopProcess(engine.process); }

EngineAnswer askMove(Engine& engine, int game, const std::string& start_fen, const std::vector<std::string>& moves,
                     const int64_t clock_us[2], bool white_to_move, int white, const MatchConfig& config) {
    EngineAnswer answer;
    int64_t wtime = std::max<int64_t>(1, clock_us[white] / 1000);
    int64_t btime = std::max<int64_t>(1, clock_us[1 - white] / 1000);
    std::string go = "go wtime " + std::to_string(wtime) + " btime " + std::to_string(btime) + " winc " +
                     std::to_string(config.increment_ms) + " binc " + std::to_string(config.increment_ms);
    if (!sendToEngine(engine, game, positionCommand(moves, start_fen))) {
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
    awaitBestMove(engine, game, start, start + std::chrono::milliseconds(own_clock + config.grace_ms), answer);
    return answer;
}

std::string formatScore(const EngineAnswer& answer) {
    if (!answer.have_score) return "";
    char text[32];
    if (answer.score_is_mate)
        snprintf(text, sizeof text, "%sM%d", answer.mate_in > 0 ? "+" : "-", std::abs(answer.mate_in));
    else snprintf(text, sizeof text, "%+.2f", answer.score_cp / 100.0);
    return std::string(text) + "/" + std::to_string(answer.depth) + " ";
}

} // namespace vireo_match
