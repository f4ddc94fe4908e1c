// The browser tests, one per run (or all of them in turn: all):
//   node run.mjs CASE|all [--native vireo] [--out folder]
//   uci      "uci" (posted before the engine has loaded) answers as the native engine does, "isready" readyok
//   go       "position startpos moves e2e4" and "go depth 8" give a legal "bestmove"
//   stop     "stop" during "go infinite" gives "bestmove" within half a second
//   isready  "isready" during "go infinite" ends the search: "bestmove", then "readyok"
//   bench    "bench" counts the native engine's nodes
//   page     a game on the play page by clicks, the engine's replies, "Move now", take-back, new game,
//            a promotion chosen in the board's dialog
//   api      the Promise API: a search, a search stopped, and a search asked for meanwhile
//   pack     npm pack takes the engine, the workers, the API with its types, the README and the licence
//   failure  Vireo.start() rejects within its limit, naming what failed, for a worker URL that answers
//            404, one that answers HTML, and one that never answers; calls after "quit" reject at once
// Exit status 77 (skipped) when Chromium or the npm packages are missing.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdirSync } from 'node:fs';
import { parseArgs } from 'node:util';
import { WEB, DIST, OUT_DIR, missingTools, runCases, startWorker, NativeEngine, BENCH_LINE } from './browser.mjs';

const { positionals, values } = parseArgs({
    allowPositionals: true,
    options: { native: { type: 'string' }, out: { type: 'string', default: OUT_DIR } },
});
const name = positionals[0];

const missing = missingTools();
if (missing.length) {
    console.log(`SKIPPED: the browser tests need ${missing.join(' and ')}`);
    process.exit(77);
}
if (!existsSync(DIST + 'vireo-wasm.wasm')) {
    if (spawnSync('sh', ['-c', 'command -v em++']).status !== 0) {
        console.log(
            'SKIPPED: no browser build in web/dist/, and no em++ to make one (Debian: apt-get install emscripten)',
        );
        process.exit(77);
    }
    console.log('FAILED: web/dist/ holds no engine: run make web first');
    process.exit(1);
}

// Half a second from "stop" to "bestmove": the input test comes every 10,000 nodes, some
// milliseconds apart even at the browser's speed.
const STOP_LIMIT_MS = 500;

const tests = {
    async uci(session) {
        const engine = await startWorker(session, ['uci', 'isready']);
        await engine.waitFor(/^readyok$/);
        const lines = await engine.lines();
        const browserAnswer = lines.slice(lines.indexOf('id name Vireo 0.7 x64'), lines.indexOf('uciok') + 1);
        const native = new NativeEngine(values.native);
        native.send('uci');
        const nativeLines = await native.until(/^uciok$/);
        await native.quit();
        const nativeAnswer = nativeLines.slice(nativeLines.findIndex((l) => l.startsWith('id name')));
        assert.deepEqual(browserAnswer, nativeAnswer);
        assert.equal(browserAnswer.length, 5);
        engine.send('isready');
        await engine.waitFor(/^readyok$/, 5000);
        // "quit" ends the engine and its worker: nothing answers any more.
        const count = (await engine.lines()).length;
        engine.send('quit', 'isready');
        await new Promise((resolve) => setTimeout(resolve, 1000));
        assert.equal((await engine.lines()).length, count);
    },

    async go(session) {
        const { Chess } = await import('chess.js');
        const engine = await startWorker(session, ['position startpos moves e2e4', 'go depth 8']);
        await engine.waitFor(/^info depth 8 /);
        const { line } = await engine.waitFor(/^bestmove /);
        const move = line.split(' ')[1];
        const game = new Chess();
        game.move('e4');
        const legal = game.moves({ verbose: true }).map((m) => m.from + m.to + (m.promotion ?? ''));
        assert.ok(legal.includes(move), `${line}: not one of the legal moves ${legal.join(' ')}`);
    },

    async stop(session) {
        const engine = await startWorker(session, ['go infinite']);
        await engine.waitFor(/^info depth 6 /);
        const sent = await engine.send('stop');
        const { at } = await engine.waitFor(/^bestmove /, 5000);
        console.log(`bestmove ${(at - sent).toFixed(1)} ms after "stop"`);
        assert.ok(at - sent < STOP_LIMIT_MS, `bestmove came ${at - sent} ms after "stop"`);
        // "stop" while idle says nothing; the engine still answers.
        engine.send('stop', 'isready');
        const next = await engine.waitFor(/./, 5000);
        assert.equal(next.line, 'readyok');
    },

    async isready(session) {
        const engine = await startWorker(session, ['position startpos', 'go infinite']);
        await engine.waitFor(/^info depth 6 /);
        const sent = await engine.send('isready');
        const best = await engine.waitFor(/^(bestmove|readyok)/, 5000);
        assert.match(best.line, /^bestmove /, 'the search answers first');
        assert.ok(best.at - sent < STOP_LIMIT_MS, `bestmove came ${best.at - sent} ms after "isready"`);
        const ready = await engine.waitFor(/^readyok$/, 5000);
        assert.ok(ready.at - sent < STOP_LIMIT_MS, `readyok came ${ready.at - sent} ms after "isready"`);
    },

    async bench(session) {
        const native = new NativeEngine(values.native);
        native.send('bench');
        const nativeLines = await native.until(BENCH_LINE);
        await native.quit();
        const nativeNodes = nativeLines.at(-1).match(BENCH_LINE)[1];
        const engine = await startWorker(session, ['bench']);
        const { line } = await engine.waitFor(BENCH_LINE, 120000);
        console.log(`browser: ${line}\nnative:  ${nativeLines.at(-1)}`);
        assert.equal(line.match(BENCH_LINE)[1], nativeNodes);
    },

    async api(session) {
        const { Chess } = await import('chess.js');
        const page = await session.browser.newPage();
        await page.goto(session.server.url + 'blank.html');
        const [first, stopped, queued, stopMs] = await page.evaluate(async () => {
            const { Vireo } = await import('./vireo.js');
            const engine = await Vireo.start({ hash: 16 });
            const first = await engine.search({ moves: ['e2e4', 'e7e5'] }, { depth: 8 });
            engine.search({}, { infinite: true });
            const queued = engine.search({ fen: '8/8/8/8/8/8/k7/2K4R w - - 0 1' }, 'depth 6');
            await new Promise((resolve) => setTimeout(resolve, 300));
            const sent = performance.now();
            const stopped = await engine.stop();
            const stopMs = performance.now() - sent;
            const result = [first, stopped, await queued, stopMs];
            engine.terminate();
            return result;
        });
        const legal = (fen, moves = []) => {
            const game = new Chess(fen);
            for (const move of moves) game.move(move);
            return game.moves({ verbose: true }).map((m) => m.from + m.to + (m.promotion ?? ''));
        };
        assert.ok(legal(undefined, ['e4', 'e5']).includes(first.bestmove), JSON.stringify(first));
        assert.equal(first.info.depth, 8);
        assert.ok(first.info.pv[0] === first.bestmove && 'cp' in first.info.score, JSON.stringify(first.info));
        assert.ok(legal().includes(stopped.bestmove), JSON.stringify(stopped));
        assert.ok(stopMs < STOP_LIMIT_MS, `stop() resolved after ${stopMs} ms`);
        assert.ok(legal('8/8/8/8/8/8/k7/2K4R w - - 0 1').includes(queued.bestmove), JSON.stringify(queued));
        assert.equal(queued.info.depth, 6);
        await page.close();
    },

    async pack() {
        const pack = spawnSync('npm', ['pack', '--dry-run', '--json'], { cwd: WEB, encoding: 'utf8' });
        assert.equal(pack.status, 0, pack.stderr);
        const [{ files, size }] = JSON.parse(pack.stdout);
        console.log(
            `${files.length} files, ${size} bytes packed:\n  ${files.map((f) => `${f.path} ${f.size}`).join('\n  ')}`,
        );
        assert.deepEqual(files.map((f) => f.path).sort(), [
            'README.md',
            'dist/LICENSE',
            'dist/cli.js',
            'dist/client.js',
            'dist/engine-host.js',
            'dist/vireo-wasm.js',
            'dist/vireo-wasm.wasm',
            'dist/vireo.d.ts',
            'dist/vireo.inline.js',
            'dist/vireo.js',
            'dist/vireo.node-worker.js',
            'dist/vireo.node.js',
            'dist/vireo.worker.js',
            'package.json',
        ]);
    },

    async failure(session) {
        const page = await session.browser.newPage();
        await page.goto(session.server.url + 'blank.html');
        const attempts = await page.evaluate(async () => {
            const { Vireo } = await import('./vireo.js');
            const attempt = async (options) => {
                const started = performance.now();
                const message = await Vireo.start(options).then(
                    () => 'started',
                    (error) => error.message,
                );
                return { options, message, ms: Math.round(performance.now() - started) };
            };
            const results = [
                await attempt({ workerUrl: 'missing/vireo.worker.js', timeout: 5000 }),
                await attempt({ workerUrl: 'index.html', timeout: 5000 }),
                await attempt({ workerUrl: 'data:text/javascript,', timeout: 1000 }),
            ];
            // An engine that has ended answers every later call at once.
            const engine = await Vireo.start({ hash: 16 });
            engine.send('quit');
            await new Promise((resolve) => setTimeout(resolve, 500));
            const started = performance.now();
            const message = await engine.search({}, 'depth 1').then(
                () => 'resolved',
                (error) => error.message,
            );
            results.push({ options: 'search after quit', message, ms: Math.round(performance.now() - started) });
            return results;
        });
        for (const { options, message, ms } of attempts)
            console.log(`${JSON.stringify(options)}: ${ms} ms: ${message}`);
        const [missing, html, silent, ended] = attempts;
        const url = session.server.url;
        assert.equal(
            missing.message,
            `vireo-chess: the engine's worker ${url}missing/vireo.worker.js answered 404 Not Found`,
        );
        assert.match(html.message, /worker .*index\.html answered text\/html.*, not JavaScript/);
        assert.ok(missing.ms < 5000 && html.ms < 5000);
        assert.equal(
            silent.message,
            'vireo-chess: the engine did not start within 1000 ms (worker data:text/javascript,)',
        );
        assert.ok(silent.ms >= 1000 && silent.ms < 2000, `${silent.ms} ms`);
        assert.equal(ended.message, 'vireo-chess: the engine ended (status 0)');
        assert.ok(ended.ms < 50);
        await page.close();
    },

    async page(session) {
        const { playGame, promote } = await import('./page.mjs');
        mkdirSync(values.out, { recursive: true });
        await playGame(session, `${values.out}/web-page.png`);
        await promote(session);
    },
};

if ((name === 'all' || ['uci', 'bench'].includes(name)) && !values.native) {
    console.log('the uci and bench tests compare with the native engine: give --native PATH');
    process.exit(2);
}
await runCases(tests, name);
