#include "command_line.h"

#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "../option_values.h"
#include "engine.h"
#include "match_run.h"
#include "statistics.h"
#include "summary.h"

namespace vireo_match {

namespace {

const char* USAGE =
    "usage: match --engine1 CMD --engine2 CMD [options]\n"
    "  (every option takes its value as --name VALUE or --name=VALUE)\n"
    "  --engine1 CMD, --engine2 CMD   engine command lines (words split like a shell, quotes group)\n"
    "  --option1 \"Name=Value\"         UCI option for engine 1 (repeatable); --option2 likewise\n"
    "  --name1 NAME, --name2 NAME     names for the summary and PGN (default: the engine's \"id name\")\n"
    "  --games N                      number of games (default 2; each opening is played twice);\n"
    "                                 with --sprt the most to play (default 20000)\n"
    "  --sprt ELO0,ELO1               stop when a sequential test accepts elo0 or elo1 as engine 1's\n"
    "                                 Elo advantage (logistic; alpha = beta = 0.05; on game pairs)\n"
    "  --tc BASE+INC                  time control in seconds, e.g. 10+0.1 (default)\n"
    "  --random-plies N               random opening plies (default 4)\n"
    "  --openings FILE                openings, one per line: coordinate moves, or a FEN or EPD\n"
    "                                 followed by \"moves ...\" if any (instead of random)\n"
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
    "  --quiet                        print only the summary\n"
    "SIGINT or SIGTERM stop the match at once; the summary counts the games finished before.\n";

bool parseOption(const std::string& text, std::pair<std::string, std::string>& option) {
    size_t eq = text.find('=');
    if (eq == std::string::npos || eq == 0) return false;
    option = {text.substr(0, eq), text.substr(eq + 1)};
    return true;
}

// Sets the option a to the value v; returns an error text, empty when fine.
std::string setOption(const std::string& a, const std::string& v, MatchConfig& config, bool& games_given) {
    long long n = 0;
    auto number = [&](long long low, long long high) { return parseWholeNumber(v.c_str(), low, high, &n); };
    if (a == "--engine1" || a == "--engine2") config.engines[a.back() - '1'].command = v;
    else if (a == "--name1" || a == "--name2") config.engines[a.back() - '1'].name = v;
    else if (a == "--option1" || a == "--option2") {
        std::pair<std::string, std::string> option;
        if (!parseOption(v, option)) return "bad option '" + v + "' (expected Name=Value)";
        config.engines[a.back() - '1'].options.push_back(option);
    } else if (a == "--tc") {
        if (!parseTimeControl(v, config.base_ms, config.increment_ms)) return "bad time control '" + v + "'";
        config.tc_text = v;
    } else if (a == "--games") {
        if (!number(1, INT_MAX)) return "bad number of games '" + v + "'";
        config.games = int(n);
        games_given = true;
    } else if (a == "--random-plies") {
        if (!number(0, INT_MAX)) return "bad number of plies '" + v + "'";
        config.random_plies = int(n);
    } else if (a == "--seed") {
        if (!number(0, LLONG_MAX)) return "bad seed '" + v + "'";
        config.seed = uint64_t(n);
    } else if (a == "--concurrency") {
        if (!number(1, 16)) return "bad concurrency '" + v + "' (1 to 16)";
        config.concurrency = int(n);
    } else if (a == "--max-plies") {
        if (!number(0, INT_MAX)) return "bad ply limit '" + v + "'";
        config.max_plies = int(n);
    } else if (a == "--tolerance") {
        if (!number(0, LLONG_MAX)) return "bad tolerance '" + v + "'";
        config.tolerance_ms = n;
    } else if (a == "--grace") {
        if (!number(0, INT_MAX)) return "bad grace '" + v + "'";
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
    return "";
}

// A command that cannot even start is a mistake on the command line, not a lost game.
bool enginesStart(const MatchConfig& config) {
    for (int e = 0; e < 2; e++) {
        Engine probe(e);
        std::string error;
        bool crashed = false;
        if (!startEngine(probe, config, 0, error, crashed)) {
            if (!interrupted)
                fprintf(stderr, "match: engine%d (%s): %s\n", e + 1, config.engines[e].command.c_str(), error.c_str());
            return false;
        }
        stopEngine(probe);
    }
    return true;
}

} // namespace

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

std::string parseArguments(const std::vector<std::string>& args, MatchConfig& config) {
    OptionReader options(args);
    bool games_given = false;
    while (options.next()) {
        const std::string& a = options.name();
        if (a == "--stderr" || a == "--quiet") {
            if (!options.isSwitch()) return a + " takes no value";
            (a == "--stderr" ? config.show_stderr : config.quiet) = true;
            continue;
        }
        std::string v;
        if (!options.value(v)) return "missing value after " + a;
        std::string error = setOption(a, v, config, games_given);
        if (!error.empty()) return error;
    }
    if (config.engines[0].command.empty() || config.engines[1].command.empty())
        return "both --engine1 and --engine2 are needed";
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
    onInterrupt(killChildrenAndStop);
    if (!config.log_path.empty() && !openTrafficLog(config.log_path)) {
        fprintf(stderr, "match: cannot create '%s'\n", config.log_path.c_str());
        return 1;
    }
    if (!enginesStart(config) && !interrupted) return 1;
    try {
        MatchResult match = runMatch(config);
        printSummary(stdout, match, config);
        if (interrupted) {
            fflush(stdout);
            fprintf(stderr, "match: interrupted by signal %d; the summary counts the %d games finished before it\n",
                    interrupt_signal.load(), match.wins + match.draws + match.losses);
        }
    } catch (const std::exception& ex) {
        fprintf(stderr, "match: %s\n", ex.what());
        return 2;
    }
    return interrupted ? 128 + interrupt_signal : 0;
}

} // namespace vireo_match
