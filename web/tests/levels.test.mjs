// The playing levels (web/page/levels.js) with the native engine, and the UCI adapter that plays them
// in matches (web/levels/level-engine.mjs), driven over pipes as the match tool drives it.
//   node web/tests/levels.test.mjs --native build/vireo
// Exit status 0 when all pass, 77 (with a SKIPPED line) without the native engine or chess.js.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { accessSync, constants } from 'node:fs';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';

const { values } = parseArgs({ options: { native: { type: 'string' } } });
const ADAPTER = fileURLToPath(new URL('../levels/level-engine.mjs', import.meta.url));

function skip(reason) {
    console.log(`SKIPPED: ${reason}`);
    process.exit(77);
}

if (!values.native) skip('no native engine given (--native build/vireo)');
try {
    accessSync(values.native, constants.X_OK);
} catch {
    skip(`no native engine at ${values.native} (build it: cmake --build build --target vireo)`);
}
let levels;
let startNativeEngine;
try {
    levels = await import('../page/levels.js');
    ({ startNativeEngine } = await import('../levels/native-engine.mjs'));
} catch (error) {
    if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
    skip(`chess.js is missing (npm ci --prefix web): ${error.message}`);
}
const { LEVELS, chooseMove, legalMoves, levelOf, seededRandom: seeded } = levels;

const START = { moves: [] };
const POSITIONS = [
    START,
    { moves: ['e2e4', 'e7e5', 'g1f3', 'b8c6', 'f1b5', 'a7a6'] },
    // Promotions ahead: a queen and a knight to make, and a capture that promotes.
    { fen: '1n6/P6k/8/8/8/8/6p1/K4R2 w - - 0 1', moves: [] },
    // Just after promotions, one to a queen and one to a knight.
    { fen: '1n6/P6k/8/8/8/8/6p1/K4R2 w - - 0 1', moves: ['a7b8q', 'g2f1n'] },
    { fen: 'rn2k2r/pPpp1ppp/8/8/8/8/PpPP1PPP/RN2K2R w KQkq - 0 1', moves: ['b7a8r', 'b2a1b'] },
];
// Mate in one for the side to move, and the mating moves.
const MATES = [
    { position: { fen: '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1', moves: [] }, mates: ['a1a8'] },
    { position: { fen: '6k1/5ppp/8/8/8/8/5PPP/3Q2K1 w - - 0 1', moves: [] }, mates: ['d1d8'] },
    // A promotion mates (to a queen or a rook).
    { position: { fen: '3k4/1P6/3K4/8/8/8/6p1/8 w - - 0 1', moves: [] }, mates: ['b7b8q', 'b7b8r'] },
    { position: { moves: ['f2f3', 'e7e5', 'g2g4'] }, mates: ['d8h4'] },
];
// The king in check with a single way out.
const ONE_MOVE = { fen: '7k/8/8/8/8/8/r7/K1r5 w - - 0 1', moves: [] };
const NO_MOVE = { fen: 'k7/1Q6/1K6/8/8/8/8/8 b - - 0 1', moves: [] };

const tests = [];
const test = (name, run) => tests.push({ name, run });

test('the level table is well formed', () => {
    assert.ok(LEVELS.length >= 8);
    let depth = 0;
    LEVELS.forEach((level, i) => {
        assert.equal(level.level, i + 1);
        assert.equal(levelOf(i + 1), level);
        assert.ok(typeof level.name === 'string' && level.name.length > 0);
        assert.ok(typeof level.description === 'string' && level.description.length > 0);
        assert.ok(
            (level.depth === undefined) !== (level.handicap === undefined),
            `level ${i + 1}: a depth or a handicap`,
        );
        if (level.handicap) {
            const { rateDepth, margin, softness, randomShare } = level.handicap;
            assert.ok(Number.isInteger(rateDepth) && rateDepth >= 1);
            assert.ok(margin >= 0 && softness > 0 && randomShare >= 0 && randomShare < 1);
        } else {
            assert.ok(Number.isInteger(level.depth) && level.depth > depth, 'depths grow');
            depth = level.depth;
        }
    });
    const first = LEVELS[0].handicap;
    const second = LEVELS[1].handicap;
    assert.ok(first && second && first.randomShare >= second.randomShare && first.margin >= second.margin);
    assert.ok(LEVELS.at(-1).depth >= 8, 'the top level is the full engine');
    assert.throws(() => levelOf(0), RangeError);
    assert.throws(() => levelOf(LEVELS.length + 1), RangeError);
    assert.throws(() => levelOf({ level: 99 }), RangeError);
});

test('legalMoves gives coordinates with the promotion piece', () => {
    assert.equal(legalMoves(START).length, 20);
    const moves = legalMoves(POSITIONS[2]);
    for (const move of ['a7a8q', 'a7a8n', 'a7b8q', 'a7b8r', 'f1f8']) assert.ok(moves.includes(move), move);
    assert.ok(!moves.includes('a7a8'));
    assert.deepEqual(legalMoves(NO_MOVE), []);
    assert.deepEqual(legalMoves(ONE_MOVE), ['a1a2']);
    assert.throws(() => legalMoves({ moves: ['e2e5'] }));
    assert.throws(() => legalMoves({ moves: ['<b>'] }));
    assert.throws(() => legalMoves({ fen: 'not a position', moves: [] }));
});

// An engine that scores each position by a hash of its moves: chooseMove's own draws, without a search.
function fakeEngine() {
    const calls = [];
    return {
        calls,
        async search(position, limits) {
            calls.push({ position, limits });
            const text = `${position.fen ?? ''} ${position.moves.join(' ')}`;
            let h = 0;
            for (const c of text) h = (Math.imul(h, 31) + c.charCodeAt(0)) | 0;
            const moves = legalMoves(position);
            return {
                bestmove: moves[0] ?? '0000',
                info: { score: { cp: (h % 400) - 200 }, pv: moves.slice(0, 1), depth: 1 },
            };
        },
    };
}

test('chooseMove draws the same moves from the same numbers', async () => {
    for (const level of LEVELS.filter((l) => l.handicap)) {
        const played = [];
        for (let run = 0; run < 2; run++) {
            const random = seeded(7);
            const moves = [];
            for (let i = 0; i < 30; i++)
                moves.push((await chooseMove(fakeEngine(), POSITIONS[i % 2], level.level, random)).bestmove);
            played.push(moves);
        }
        assert.deepEqual(played[0], played[1]);
        assert.ok(new Set(played[0]).size > 1, `level ${level.level} varies its moves`);
    }
});

test('chooseMove asks a depth-limited level for its depth alone', async () => {
    const engine = fakeEngine();
    const level = LEVELS.find((l) => l.depth);
    await chooseMove(engine, POSITIONS[1], level.level, () => 0);
    assert.deepEqual(engine.calls, [{ position: POSITIONS[1], limits: { depth: level.depth } }]);
});

test('chooseMove stays legal at the ends of the random range', async () => {
    for (const level of LEVELS.filter((l) => l.handicap)) {
        for (const r of [0, 0.5, 1 - Number.EPSILON]) {
            for (const position of POSITIONS) {
                const { bestmove } = await chooseMove(fakeEngine(), position, level.level, () => r);
                assert.ok(legalMoves(position).includes(bestmove), `level ${level.level}: ${bestmove}`);
            }
        }
    }
});

test('chooseMove refuses an illegal position or level', async () => {
    await assert.rejects(chooseMove(fakeEngine(), { moves: ['e2e5'] }, 1));
    await assert.rejects(chooseMove(fakeEngine(), START, 0), RangeError);
    await assert.rejects(chooseMove(fakeEngine(), START, LEVELS.length + 1), RangeError);
});

test('every level plays legal moves with the native engine', async () => {
    const engine = await startNativeEngine(values.native);
    try {
        const random = seeded(1);
        for (const level of LEVELS) {
            for (const position of POSITIONS) {
                const { bestmove, info } = await chooseMove(engine, position, level.level, random);
                assert.ok(legalMoves(position).includes(bestmove), `level ${level.level}: ${bestmove}`);
                assert.ok(info && ('cp' in info.score || 'mate' in info.score), `level ${level.level}: a score`);
            }
            const only = await chooseMove(engine, ONE_MOVE, level.level, random);
            assert.equal(only.bestmove, 'a1a2', `level ${level.level}`);
            const none = await chooseMove(engine, NO_MOVE, level.level, random);
            assert.equal(none.bestmove, '0000', `level ${level.level}`);
        }
    } finally {
        engine.terminate();
    }
});

test('the levels that never play a random move find a mate in one', async () => {
    const engine = await startNativeEngine(values.native);
    try {
        for (const level of LEVELS.filter((l) => !l.handicap?.randomShare)) {
            for (const { position, mates } of MATES) {
                for (const seed of [1, 2, 3]) {
                    const { bestmove, info } = await chooseMove(engine, position, level.level, seeded(seed));
                    assert.ok(mates.includes(bestmove), `level ${level.level} played ${bestmove}`);
                    assert.deepEqual(info.score, { mate: 1 }, `level ${level.level}`);
                }
            }
        }
    } finally {
        engine.terminate();
    }
});

test('the native engine gives the same choices after a new game', async () => {
    const engine = await startNativeEngine(values.native);
    try {
        const played = [];
        for (let run = 0; run < 2; run++) {
            engine.send('ucinewgame');
            const random = seeded(11);
            const moves = [];
            for (const level of LEVELS.slice(0, 4)) {
                for (const position of POSITIONS)
                    moves.push((await chooseMove(engine, position, level.level, random)).bestmove);
            }
            played.push(moves);
        }
        assert.deepEqual(played[0], played[1]);
    } finally {
        engine.terminate();
    }
});

// The adapter over pipes: lines in, lines out, as the match tool speaks to it. A wait for a line fails
// with the adapter's error output when it exits first.
class Adapter {
    constructor(args) {
        this.child = spawn(process.execPath, [ADAPTER, ...args, '--engine', values.native]);
        this.lines = [];
        this.stderr = '';
        this.waiters = [];
        this.child.stderr.on('data', (data) => (this.stderr += data));
        this.child.stdin.on('error', () => {}); // a closed pipe shows as the exit
        this.exited = new Promise((resolve) =>
            this.child.on('close', (code) => {
                for (const { reject } of this.waiters)
                    reject(new Error(`the adapter exited (${code}): ${this.stderr}`));
                this.waiters = [];
                resolve(code);
            }),
        );
        createInterface({ input: this.child.stdout }).on('line', (line) => {
            this.lines.push(line);
            this.waiters = this.waiters.filter(
                ({ test, resolve }) => !(test(line) && (resolve(this.lines.slice()), true)),
            );
        });
    }

    send(...lines) {
        for (const line of lines) this.child.stdin.write(`${line}\n`);
    }

    // All lines so far once one matches `pattern`.
    until(pattern) {
        const test = (line) => pattern.test(line);
        return new Promise((resolve, reject) => this.waiters.push({ test, resolve, reject }));
    }

    async bestmove(...lines) {
        const from = this.lines.length;
        this.send(...lines);
        await this.until(/^bestmove /);
        return this.lines.slice(from);
    }
}

test('the adapter answers uci, isready and go with a legal move', async () => {
    // A level that chooses among rated moves and never plays a random one.
    const { level } = LEVELS.find((l) => l.handicap && !l.handicap.randomShare);
    const adapter = new Adapter(['--level', String(level)]);
    adapter.send('uci');
    assert.deepEqual(await adapter.until(/^uciok$/), [
        `id name Vireo level ${level}`,
        'id author the Vireo developers',
        'uciok',
    ]);
    adapter.send('isready');
    await adapter.until(/^readyok$/);
    adapter.send('ucinewgame');
    const position = POSITIONS[1];
    const answer = await adapter.bestmove(
        `position startpos moves ${position.moves.join(' ')}`,
        'go wtime 1000 btime 1000 winc 10 binc 10',
    );
    const move = answer.at(-1).split(' ')[1];
    assert.ok(legalMoves(position).includes(move), move);
    assert.match(answer.at(-2), new RegExp(`^info depth 2 score (cp -?\\d+|mate -?\\d+) pv ${move}$`));
    const promotion = await adapter.bestmove(
        `position fen ${POSITIONS[3].fen} moves ${POSITIONS[3].moves.join(' ')}`,
        'go depth 30',
    );
    assert.ok(legalMoves(POSITIONS[3]).includes(promotion.at(-1).split(' ')[1]));
    const mate = await adapter.bestmove(`position fen ${MATES[0].position.fen}`, 'go movetime 10');
    assert.deepEqual(mate.slice(-2), ['info depth 2 score mate 1 pv a1a8', 'bestmove a1a8']);
    // Bad input answers without harm: a position that does not parse moves nothing.
    const bad = await adapter.bestmove('position startpos moves e2e5', 'go');
    assert.deepEqual(bad, ['info string bad position', 'bestmove 0000']);
    await adapter.bestmove('flip the board', 'position fen', 'go');
    const after = await adapter.bestmove('position startpos', 'go');
    assert.ok(legalMoves(START).includes(after.at(-1).split(' ')[1]));
    adapter.send('isready');
    await adapter.until(/^readyok$/);
    adapter.send('quit');
    assert.equal(await adapter.exited, 0);
});

test('the top level through the adapter plays the engine at its depth', async () => {
    const top = LEVELS.at(-1);
    const adapter = new Adapter(['--level', String(top.level)]);
    const answer = await adapter.bestmove('uci', 'position startpos moves e2e4', 'go infinite');
    assert.match(
        answer.at(-2),
        new RegExp(`^info depth ${top.depth} score cp -?\\d+ pv( [a-h][1-8][a-h][1-8][qrbn]?)+$`),
    );
    assert.ok(legalMoves({ moves: ['e2e4'] }).includes(answer.at(-1).split(' ')[1]));
    adapter.child.stdin.end(); // the end of the input ends it as "quit" does
    assert.equal(await adapter.exited, 0);
});

test("the random mover plays legal moves and reports the engine's score", async () => {
    const adapter = new Adapter(['--random', '--seed', '5']);
    adapter.send('uci');
    assert.equal((await adapter.until(/^uciok$/))[0], 'id name Vireo random mover');
    const moves = new Set();
    for (let i = 0; i < 10; i++) {
        const answer = await adapter.bestmove('position startpos', 'go');
        assert.match(answer.at(-2), /^info depth 1 score cp -?\d+$/);
        moves.add(answer.at(-1).split(' ')[1]);
    }
    for (const move of moves) assert.ok(legalMoves(START).includes(move), move);
    assert.ok(moves.size > 3);
    const none = await adapter.bestmove(`position fen ${NO_MOVE.fen}`, 'go');
    assert.equal(none.at(-1), 'bestmove 0000');
    adapter.send('quit');
    assert.equal(await adapter.exited, 0);
});

test('the adapter refuses a bad command line', async () => {
    for (const args of [
        [],
        ['--level', '0'],
        ['--level', String(LEVELS.length + 1)],
        ['--level', '2', '--random'],
        ['--level', 'x'],
    ]) {
        const adapter = new Adapter(args);
        adapter.child.stdin.end();
        assert.equal(await adapter.exited, 1, args.join(' '));
        assert.match(adapter.stderr, /^level-engine: .+\nusage: /);
    }
});

let failed = 0;
for (const { name, run } of tests) {
    try {
        await run();
        console.log(`ok: ${name}`);
    } catch (error) {
        failed++;
        console.log(`FAILED: ${name}\n${error.stack}`);
    }
}
console.log(failed ? `${failed} of ${tests.length} failed` : `all ${tests.length} passed`);
process.exit(failed ? 1 : 0);
