// Playing levels: how strongly the engine plays for a person. Each level is a limit of the engine's own
// "go" (a depth, so that a move is the same on a desktop, a phone or the native engine) and, at the lowest
// levels, a choice made here among the legal moves: each is rated by a short search of the position after
// it, and one is drawn among those rated within a margin of the best, the better ones more often;
// sometimes any legal move at all. The strength of each step was measured in games (bench/levels.sh).
import { Chess } from 'chess.js';

// handicap: rateDepth, the depth of the search that rates each move; margin (centipawns), how far below
// the best a move may be rated and still be chosen; softness (centipawns), how quickly the chances fall
// with the distance from the best (a move `softness` worse is chosen e times less often); randomShare,
// the share of moves drawn among all legal moves.
export const LEVELS = [
    {
        level: 1,
        name: 'Beginner',
        description: 'Two moves in five are any legal move; the others often leave pieces hanging',
        handicap: { rateDepth: 1, margin: 400, softness: 200, randomShare: 0.42 },
    },
    {
        level: 2,
        name: 'Novice',
        description: 'One move in three is any legal move; gives material away often',
        handicap: { rateDepth: 1, margin: 300, softness: 150, randomShare: 0.35 },
    },
    {
        level: 3,
        name: 'Learner',
        description: 'More than one move in four is any legal move',
        handicap: { rateDepth: 1, margin: 250, softness: 125, randomShare: 0.28 },
    },
    {
        level: 4,
        name: 'Casual',
        description: 'More than one move in five is any legal move; sees what its pieces attack',
        handicap: { rateDepth: 1, margin: 200, softness: 100, randomShare: 0.22 },
    },
    {
        level: 5,
        name: 'Improver',
        description: 'About one move in seven is any legal move; otherwise a fair move two plies ahead',
        handicap: { rateDepth: 1, margin: 145, softness: 72, randomShare: 0.15 },
    },
    {
        level: 6,
        name: 'Intermediate',
        description: 'About one move in nine is any legal move; otherwise a decent move two plies ahead',
        handicap: { rateDepth: 1, margin: 115, softness: 57, randomShare: 0.11 },
    },
    {
        level: 7,
        name: 'Club',
        description: 'One move in twelve is any legal move; otherwise a good move two plies ahead',
        handicap: { rateDepth: 1, margin: 95, softness: 47, randomShare: 0.08 },
    },
    {
        level: 8,
        name: 'Strong club',
        description: 'Rarely any legal move; otherwise a move close to the best two plies ahead',
        handicap: { rateDepth: 1, margin: 75, softness: 37, randomShare: 0.03 },
    },
    {
        level: 9,
        name: 'Expert',
        description: 'A move close to the best two plies ahead, never a blunder it can see',
        handicap: { rateDepth: 1, margin: 50, softness: 25, randomShare: 0 },
    },
    { level: 10, name: 'Advanced', description: 'The engine searching 2 plies deep', depth: 2 },
    {
        level: 11,
        name: 'Sharp',
        description: 'A move close to the best three plies ahead',
        handicap: { rateDepth: 2, margin: 40, softness: 20, randomShare: 0 },
    },
    { level: 12, name: 'Tactician', description: 'The engine searching 3 plies deep', depth: 3 },
    { level: 13, name: 'Strong', description: 'The engine searching 4 plies deep', depth: 4 },
    { level: 14, name: 'Very strong', description: 'The engine searching 5 plies deep', depth: 5 },
    { level: 15, name: 'Formidable', description: 'The engine searching 6 plies deep', depth: 6 },
    { level: 16, name: 'Master', description: 'The engine searching 7 plies deep', depth: 7 },
    { level: 17, name: 'Senior master', description: 'The engine searching 8 plies deep', depth: 8 },
    { level: 18, name: 'Near full strength', description: 'The engine searching 9 plies deep', depth: 9 },
    {
        level: 19,
        name: 'Vireo',
        description: 'The full engine searching 11 plies deep (mostly under a second a move in a browser)',
        depth: 11,
    },
];

// A mate is worth more than any material; the nearer the better.
const MATE_VALUE = 100000;

// The level object for a number (1-based) or a level object itself.
export function levelOf(level) {
    const found = typeof level === 'number' ? LEVELS[level - 1] : level;
    if (!found || typeof found !== 'object' || (!found.depth && !found.handicap)) {
        throw new RangeError(`no such level: ${level}`);
    }
    return found;
}

// The game at `position` ({ fen?, moves }) in chess.js; throws on an illegal FEN or move.
export function gameAt({ fen, moves = [] } = {}) {
    const game = fen ? new Chess(fen) : new Chess();
    for (const move of moves) {
        if (!/^[a-h][1-8][a-h][1-8][qrbn]?$/.test(move)) throw new Error(`not a move: ${move}`);
        game.move({ from: move.slice(0, 2), to: move.slice(2, 4), promotion: move[4] });
    }
    return game;
}

// The legal moves at `position` in coordinates (e2e4, e7e8q), in chess.js's order.
export function legalMoves(position) {
    return gameAt(position)
        .moves({ verbose: true })
        .map((move) => move.from + move.to + (move.promotion ?? ''));
}

// A score ({ cp } or { mate }) as one number that orders all scores.
export function scoreValue(score) {
    if (score?.mate !== undefined) return score.mate > 0 ? MATE_VALUE - score.mate : -MATE_VALUE - score.mate;
    return score?.cp ?? 0;
}

// The score of a move for the side that plays it, from the score of the position after it for the
// opponent (who mates in n, or is mated in n further moves of ours).
function scoreAfter(score) {
    if (score?.mate !== undefined) return { mate: score.mate > 0 ? -score.mate : 1 - score.mate };
    return { cp: -(score?.cp ?? 0) };
}

// Rates each of the legal `moves` (chess.js's) at `position` with a search of `depth` of the position after it.
async function rateMoves(engine, position, game, depth, legal) {
    const moves = position.moves ?? [];
    const rated = [];
    for (const move of legal) {
        const uci = move.from + move.to + (move.promotion ?? '');
        game.move({ from: move.from, to: move.to, promotion: move.promotion });
        let score = { cp: 0 };
        if (game.isCheckmate()) score = { mate: 1 };
        else if (!game.isDraw()) {
            const { info } = await engine.search({ fen: position.fen, moves: [...moves, uci] }, { depth });
            score = scoreAfter(info?.score);
        }
        game.undo();
        rated.push({ move: uci, score, value: scoreValue(score) });
    }
    return rated;
}

// A rated move as the Promise API's info: its score, the move alone as pv, and the depth of the rating
// counting the move itself.
function ratingInfo(rated, handicap) {
    return { score: rated.score, pv: [rated.move], depth: handicap.rateDepth + 1 };
}

// Draws one entry of `items` with chances proportional to `weights`.
function drawWeighted(items, weights, random) {
    const total = weights.reduce((sum, w) => sum + w, 0);
    let r = random() * total;
    for (let i = 0; i < items.length; i++) {
        r -= weights[i];
        if (r < 0) return items[i];
    }
    return items[items.length - 1];
}

// The move the level plays at `position` ({ fen?, moves }), as { bestmove, info }: bestmove in
// coordinates ("0000" when there is none), info as the Promise API gives it (at the handicapped levels,
// the chosen move's rating). `engine` is anything with the Promise API's search(position, limits);
// `random` returns numbers in [0, 1) like Math.random.
export async function chooseMove(engine, position, level, random = Math.random) {
    const { depth, handicap } = levelOf(level);
    const game = gameAt(position);
    if (!handicap || game.moves().length === 0) {
        const { bestmove, info } = await engine.search(position, { depth: depth ?? 1 });
        return { bestmove, info };
    }
    if (random() < handicap.randomShare) {
        const moves = game.moves({ verbose: true });
        const move = moves[Math.min(moves.length - 1, Math.floor(random() * moves.length))];
        const [chosen] = await rateMoves(engine, position, game, handicap.rateDepth, [move]);
        return { bestmove: chosen.move, info: ratingInfo(chosen, handicap) };
    }
    const rated = await rateMoves(engine, position, game, handicap.rateDepth, game.moves({ verbose: true }));
    const best = Math.max(...rated.map((r) => r.value));
    const candidates = rated.filter((r) => r.value >= best - handicap.margin);
    const weights = candidates.map((r) => Math.exp(-(best - r.value) / handicap.softness));
    const chosen = drawWeighted(candidates, weights, random);
    return { bestmove: chosen.move, info: ratingInfo(chosen, handicap) };
}

// A repeatable stand-in for Math.random (mulberry32), for matches and tests that must draw the same moves.
export function seededRandom(seed) {
    let a = seed >>> 0;
    return () => {
        a = (a + 0x6d2b79f5) >>> 0;
        let t = a;
        t = Math.imul(t ^ (t >>> 15), t | 1);
        t ^= t + Math.imul(t ^ (t >>> 7), t | 61);
        return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
    };
}
