#!/usr/bin/env node
// One playing level of the web page as a small UCI engine, for the match tool: it chooses its moves with
// the page's own code (web/page/levels.js), which drives the native engine over pipes. "go" ignores the
// clock: the level's own limits decide.
//
//   node web/levels/level-engine.mjs --level N --engine build/vireo [--seed S]
//   node web/levels/level-engine.mjs --random --engine build/vireo [--seed S]
//
// --random plays a legal move drawn uniformly; it still reports the native engine's depth-1 score of
// the position, so that the match tool can end a lost game by its score agreement.
// --seed makes the draws repeatable (a fixed sequence of numbers instead of Math.random).
import { createInterface } from 'node:readline';
import { parseArgs } from 'node:util';
import { LEVELS, chooseMove, gameAt, legalMoves, seededRandom } from '../page/levels.js';
import { startNativeEngine } from './native-engine.mjs';

const USAGE = 'usage: level-engine.mjs (--level N | --random) --engine PATH [--seed S]';

function fail(message) {
    process.stderr.write(`level-engine: ${message}\n${USAGE}\n`);
    process.exit(1);
}

let options;
try {
    ({ values: options } = parseArgs({
        options: {
            level: { type: 'string' },
            random: { type: 'boolean', default: false },
            engine: { type: 'string' },
            seed: { type: 'string' },
        },
    }));
} catch (error) {
    fail(error.message);
}
const level = Number(options.level);
if (options.random === (options.level !== undefined)) fail('give either --level or --random');
if (!options.random && !(Number.isInteger(level) && level >= 1 && level <= LEVELS.length)) {
    fail(`--level takes 1 to ${LEVELS.length}`);
}
if (!options.engine) fail('--engine PATH is needed');
if (options.seed !== undefined && !/^\d+$/.test(options.seed)) fail('--seed takes a whole number');

const random = options.seed === undefined ? Math.random : seededRandom(Number(options.seed));
const name = options.random ? 'Vireo random mover' : `Vireo level ${level}`;

let engine;
try {
    engine = await startNativeEngine(options.engine);
} catch (error) {
    fail(`cannot start ${options.engine}: ${error.message}`);
}

const say = (line) => process.stdout.write(`${line}\n`);

// "position startpos|fen F [moves ...]" as { fen?, moves }; null when it does not parse.
function parsePosition(words) {
    const movesAt = words.indexOf('moves');
    const head = movesAt < 0 ? words.slice(1) : words.slice(1, movesAt);
    const moves = movesAt < 0 ? [] : words.slice(movesAt + 1);
    let position;
    if (head[0] === 'startpos' && head.length === 1) position = { moves };
    else if (head[0] === 'fen' && head.length > 1) position = { fen: head.slice(1).join(' '), moves };
    else return null;
    try {
        gameAt(position);
    } catch {
        return null;
    }
    return position;
}

function infoLine(info) {
    if (!info?.score) return null;
    const [kind, value] = Object.entries(info.score)[0];
    const pv = info.pv?.length ? ` pv ${info.pv.join(' ')}` : '';
    return `info depth ${info.depth ?? 1} score ${kind} ${value}${pv}`;
}

async function randomMove(position) {
    const moves = legalMoves(position);
    if (moves.length === 0) return { bestmove: '0000', info: null };
    const move = moves[Math.min(moves.length - 1, Math.floor(random() * moves.length))];
    const { info } = await engine.search(position, { depth: 1 });
    return { bestmove: move, info: info && { score: info.score, depth: 1 } };
}

async function play(position) {
    if (!position) return { bestmove: '0000', info: null };
    return options.random ? randomMove(position) : chooseMove(engine, position, level, random);
}

let position = { moves: [] };
// The searches answer in the order they were asked for.
let pending = Promise.resolve();

function handle(line) {
    const words = line.trim().split(/\s+/);
    switch (words[0]) {
        case 'uci':
            say(`id name ${name}`);
            say('id author the Vireo developers');
            say('uciok');
            break;
        case 'isready':
            pending = pending.then(() => say('readyok'));
            break;
        case 'ucinewgame':
            pending = pending.then(() => engine.send('ucinewgame'));
            break;
        case 'position':
            position = parsePosition(words);
            if (!position) say('info string bad position');
            break;
        case 'go': {
            const asked = position;
            pending = pending.then(async () => {
                try {
                    const { bestmove, info } = await play(asked);
                    const text = infoLine(info);
                    if (text) say(text);
                    say(`bestmove ${bestmove}`);
                } catch (error) {
                    say(`info string ${error.message}`);
                    say('bestmove 0000');
                }
            });
            break;
        }
        case 'stop':
            engine.send('stop');
            break;
        case 'quit':
            quit();
            break;
        default:
            break;
    }
}

function quit() {
    pending.finally(() => {
        engine.terminate();
        process.exit(0);
    });
}

const input = createInterface({ input: process.stdin });
input.on('line', handle);
input.on('close', quit);
