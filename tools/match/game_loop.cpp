#include "game_loop.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <stdexcept>

#include "rules.h"

namespace vireo_match {

namespace {

// What the loop carries from move to move.
struct GameState {
    GameRecord game;
    Position position; // the referee's account of the position reached
    // By engine index, in microseconds so that rounding does not add up over a long game.
    int64_t clock_us[2] = {0, 0};
    // The engines' scores from White's view, for the score adjudication; none for book moves.
    std::vector<std::optional<int>> white_scores;
    std::map<std::string, int> seen; // repetition keys of the positions reached

    bool whiteToMove() const { return game.moves.size() % 2 == 0; }
    int mover() const { return whiteToMove() ? game.white : 1 - game.white; }
    std::string side() const { return whiteToMove() ? "White" : "Black"; }
};

// Brings both engines to a new game. A game that one of them cannot start is decided here.
bool prepareEngines(Worker& worker, const MatchConfig& config, GameRecord& game) {
    bool failed[2] = {false, false};
    for (int e = 0; e < 2; e++) {
        std::string error;
        bool crashed = false;
        if (!prepareEngine(worker.engines[e], config, game.number, error, crashed)) {
            failed[e] = true;
            game.incidents.push_back(
                {game.number, e, crashed ? Fault::Crash : Fault::Protocol, "at game start: " + error});
            stopEngine(worker.engines[e]);
        }
        game.names[e] = worker.engines[e].name.empty() ? config.engines[e].command : worker.engines[e].name;
    }
    if (failed[0] && failed[1]) {
        draw(game, "failed start", "both engines failed to start", "abandoned");
        return false;
    }
    for (int e = 0; e < 2; e++)
        if (failed[e]) {
            lose(game, e, "failed start", game.names[e] + " failed to start", "abandoned");
            return false;
        }
    return true;
}

// Mate, stalemate, dead material, repetition, the fifty-move rule and the ply limit, in the
// position reached. True when one of them ends the game.
bool endedByRules(GameState& state, const MatchConfig& config) {
    GameRecord& game = state.game;
    const Position& position = state.position;
    if (position.legal_moves.empty()) {
        if (position.in_check)
            lose(game, state.mover(), "checkmate", (state.whiteToMove() ? "Black" : "White") + std::string(" mates"),
                 "normal");
        else draw(game, "stalemate", "stalemate");
    } else if (insufficientMaterial(position.fen)) {
        draw(game, "insufficient material", "insufficient material");
    } else if (state.seen[repetitionKey(position.fen)] >= 3) {
        draw(game, "repetition", "threefold repetition");
    } else if (halfmoveClock(position.fen) >= 100) {
        draw(game, "fifty moves", "fifty-move rule");
    } else if (config.max_plies > 0 && int(game.moves.size()) >= config.max_plies) {
        draw(game, "ply limit", "adjudication: " + std::to_string(config.max_plies) + " plies", "adjudication");
    } else {
        return false;
    }
    return true;
}

// The opening's next move, played for the engine; an opening that breaks the rules ends the match.
std::string bookMove(const GameState& state, const Opening& opening, std::string& comment) {
    std::string move = opening.moves[state.game.moves.size()];
    comment = "book";
    if (!isLegal(state.position, move))
        throw std::runtime_error("opening move " + move + " is illegal in " + state.position.fen);
    return move;
}

// The mover loses the game by its fault.
void forfeit(GameState& state, Fault fault, const std::string& detail, const std::string& ending,
             const std::string& reason, const std::string& termination) {
    int mover = state.mover();
    std::string at_ply = " at ply " + std::to_string(state.game.moves.size() + 1);
    state.game.incidents.push_back({state.game.number, mover, fault, detail + at_ply});
    lose(state.game, mover, ending, reason, termination);
}

// Whether the engine's answer is a move that can be played: a crash, a hang, a malformed
// bestmove, a fallen flag or an illegal move forfeit the game instead.
bool answerStands(Engine& engine, GameState& state, const EngineAnswer& answer, const MatchConfig& config) {
    const std::string& name = state.game.names[state.mover()];
    if (answer.kind == EngineAnswer::Crash) {
        std::string how = exitDescription(engine.process);
        stopEngine(engine);
        forfeit(state, Fault::Crash, how, "crash", name + " crashed (" + how + ")", "rules infraction");
        return false;
    }
    if (answer.kind == EngineAnswer::Hang) {
        stopEngine(engine);
        forfeit(state, Fault::TimeLoss,
                "no bestmove within clock + " + std::to_string(config.grace_ms) + " ms (hung, restarted)", "time loss",
                state.side() + " loses on time (no bestmove)", "time forfeit");
        return false;
    }
    if (answer.kind == EngineAnswer::Garbage) {
        forfeit(state, Fault::Protocol, "\"" + answer.text + "\"", "protocol error",
                state.side() + " sends a malformed bestmove", "rules infraction");
        return false;
    }
    // A flag that fell counts before the move's legality: the move came too late to be played.
    int64_t over_ms = (answer.elapsed_us - state.clock_us[state.mover()]) / 1000;
    if (over_ms > config.tolerance_ms) {
        forfeit(state, Fault::TimeLoss, "late by " + std::to_string(over_ms) + " ms", "time loss",
                state.side() + " loses on time", "time forfeit");
        return false;
    }
    if (!isLegal(state.position, answer.move)) {
        forfeit(state, Fault::Illegal, answer.move + " in " + state.position.fen, "illegal move",
                state.side() + " makes an illegal move: " + answer.move, "rules infraction");
        return false;
    }
    return true;
}

// Asks the mover for its move and runs its clock. False when the engine forfeits the game instead.
bool engineMove(Worker& worker, GameState& state, const MatchConfig& config, std::string& move, std::string& comment) {
    int mover = state.mover();
    Engine& engine = worker.engines[mover];
    EngineAnswer answer = askMove(engine, state.game.number, state.game.start_fen, state.game.moves, state.clock_us,
                                  state.whiteToMove(), state.game.white, config);
    if (!answerStands(engine, state, answer, config)) return false;
    int64_t& clock = state.clock_us[mover];
    if (answer.elapsed_us > clock) {
        std::string late = "late by " + std::to_string((answer.elapsed_us - clock) / 1000) + " ms";
        state.game.incidents.push_back(
            {state.game.number, mover, Fault::Late, late + " at ply " + std::to_string(state.game.moves.size() + 1)});
    }
    clock = std::max<int64_t>(0, clock - answer.elapsed_us) + config.increment_ms * 1000;
    move = answer.move;
    char seconds[32];
    snprintf(seconds, sizeof seconds, "%.3fs", answer.elapsed_us / 1e6);
    comment = formatScore(answer) + seconds;
    if (answer.have_score) state.white_scores.push_back(state.whiteToMove() ? answer.score_cp : -answer.score_cp);
    else state.white_scores.push_back(std::nullopt);
    return true;
}

// Plays the move on the record and asks the referee about the position it leads to.
void playMove(Referee& referee, GameState& state, const std::string& move, const std::string& comment) {
    std::vector<std::string> moves = state.game.moves;
    moves.push_back(move);
    Position next = queryPosition(referee, moves, state.game.start_fen);
    state.game.san.push_back(sanMove(state.position, move, next));
    state.game.moves.push_back(move);
    state.game.comments.push_back(comment);
    state.position = next;
    state.seen[repetitionKey(state.position.fen)]++;
}

// Score adjudication: both engines have agreed for the last resign_moves moves each.
bool adjudicatedByScores(GameState& state, const MatchConfig& config) {
    const auto& scores = state.white_scores;
    if (config.resign_moves <= 0 || int(scores.size()) < 2 * config.resign_moves) return false;
    int white_wins = 0, black_wins = 0;
    for (size_t i = scores.size() - 2 * size_t(config.resign_moves); i < scores.size(); i++) {
        if (!scores[i]) continue;
        if (*scores[i] >= config.resign_cp) white_wins++;
        if (*scores[i] <= -config.resign_cp) black_wins++;
    }
    int white = state.game.white;
    std::string below = " score below -" + std::to_string(config.resign_cp);
    if (white_wins == 2 * config.resign_moves) {
        lose(state.game, 1 - white, "score adjudication", "adjudication: Black's" + below, "adjudication");
        return true;
    }
    if (black_wins == 2 * config.resign_moves) {
        lose(state.game, white, "score adjudication", "adjudication: White's" + below, "adjudication");
        return true;
    }
    return false;
}

} // namespace

GameRecord playGame(Worker& worker, const MatchConfig& config, int number, const Opening& opening, int white) {
    GameState state;
    state.game.number = number;
    state.game.white = white;
    state.game.start_fen = opening.fen;
    state.game.opening_plies = opening.moves.size();
    if (!prepareEngines(worker, config, state.game)) return state.game;

    state.clock_us[0] = state.clock_us[1] = config.base_ms * 1000;
    state.position = queryPosition(worker.referee, state.game.moves, state.game.start_fen);
    state.seen[repetitionKey(state.position.fen)]++;
    for (;;) {
        if (interrupted) {
            state.game.unfinished = true;
            break;
        }
        if (endedByRules(state, config)) break;
        std::string move, comment;
        if (state.game.moves.size() < opening.moves.size()) move = bookMove(state, opening, comment);
        else if (!engineMove(worker, state, config, move, comment)) break;
        playMove(worker.referee, state, move, comment);
        if (adjudicatedByScores(state, config)) break;
    }
    return state.game;
}

} // namespace vireo_match
