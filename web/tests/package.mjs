// The package as its users meet it, from the tarball that npm pack makes:
//   node package.mjs CASE|all [--native vireo] [--out folder]
//   install   npm pack of web/, installed with npm into web/tests/consumers (the others need it)
//   vite, webpack, esbuild
//             the consumer application built for production by that bundler with its defaults,
//             served on 127.0.0.1 and opened in headless Chromium, answers a search with a legal
//             move; the worker, the glue and the .wasm are files of their own in the build
//   types     tsc --strict on consumers/consumer.ts, which uses the whole API
//   node      the same import in Node: a search, a stopped infinite search, calls after the end
//             rejecting at once, and the process ending by itself after terminate()
//   bin       npx vireo-chess over pipes: its "uci" answer and bench count are the native engine's,
//             "isready" during a search answers at once, the end of input finishes a search
// Exit status 77 (skipped) when Chromium or the npm packages are missing.
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { cpSync, existsSync, mkdirSync, readdirSync, rmSync, statSync, symlinkSync } from 'node:fs';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import { WEB, DIST, OUT_DIR, missingTools, openBrowser, runCases, NativeEngine, BENCH_LINE } from './browser.mjs';
import { serve } from './server.mjs';

const { positionals, values } = parseArgs({
    allowPositionals: true,
    options: { native: { type: 'string' }, out: { type: 'string', default: OUT_DIR } },
});
const CONSUMERS = fileURLToPath(new URL('./consumers/', import.meta.url));
const OUT = `${values.out}/consumers`;
const INSTALLED = CONSUMERS + 'node_modules/vireo-chess/';

const missing = missingTools();
if (!existsSync(CONSUMERS + 'node_modules/vite'))
    missing.push('web/tests/consumers/node_modules (npm ci --prefix web/tests/consumers)');
if (missing.length) {
    console.log(`SKIPPED: the package tests need ${missing.join(' and ')}`);
    process.exit(77);
}
if (!existsSync(DIST + 'vireo-wasm.wasm')) {
    console.log('FAILED: web/dist/ holds no engine: run make web first');
    process.exit(1);
}

function run(command, args, options = {}) {
    const started = Date.now();
    const result = spawnSync(command, args, { encoding: 'utf8', ...options });
    assert.equal(result.status, 0, `${command} ${args.join(' ')}:\n${result.stdout}\n${result.stderr}`);
    return { ...result, ms: Date.now() - started };
}

// The moves that are legal after `moves` from the start position, in coordinates.
async function legalMoves(moves = []) {
    const { Chess } = await import('chess.js');
    const game = new Chess();
    for (const move of moves) game.move(move);
    return game.moves({ verbose: true }).map((m) => m.from + m.to + (m.promotion ?? ''));
}

// Every file under a folder with its size, as "path size".
function listing(folder, prefix = '') {
    return readdirSync(folder).flatMap((name) => {
        const path = `${folder}/${name}`;
        return statSync(path).isDirectory()
            ? listing(path, `${prefix}${name}/`)
            : [`${prefix}${name} ${statSync(path).size}`];
    });
}

// Each bundler: the command that builds the copy of its application, and the folder to serve.
const BUNDLERS = {
    vite: { build: ['vite', 'build'], serve: 'dist' },
    webpack: { build: ['webpack', '--mode', 'production'], serve: '.' },
    esbuild: { build: ['esbuild', 'app.js', '--bundle', '--format=esm', '--minify', '--outdir=dist'], serve: '.' },
};

async function bundle(name, session) {
    assert.ok(existsSync(INSTALLED + 'package.json'), 'the package is not installed: run the install case first');
    const app = `${OUT}/${name}`;
    rmSync(app, { recursive: true, force: true });
    mkdirSync(OUT, { recursive: true });
    cpSync(CONSUMERS + name, app, { recursive: true });
    cpSync(CONSUMERS + 'app.js', `${app}/app.js`);
    symlinkSync(CONSUMERS + 'node_modules', `${app}/node_modules`);
    const [command, ...args] = BUNDLERS[name].build;
    const { ms } = run(CONSUMERS + 'node_modules/.bin/' + command, args, { cwd: app });
    const files = listing(`${app}/dist`);
    console.log(`${name} built in ${ms} ms:\n  ${files.join('\n  ')}`);
    const server = await serve(`${app}/${BUNDLERS[name].serve}`);
    const page = await session.browser.newPage();
    const errors = [];
    const requested = [];
    page.on('pageerror', (error) => errors.push(error.message));
    page.context().on('request', (request) => requested.push(new URL(request.url()).pathname));
    try {
        const started = Date.now();
        await page.goto(server.url);
        await page.waitForFunction(() => document.getElementById('result').textContent !== 'starting', null, {
            timeout: 30000,
        });
        const text = await page.textContent('#result');
        console.log(`${name} in Chromium: "${text}" after ${Date.now() - started} ms`);
        assert.match(text, /^bestmove /, `${text} ${errors.join(' ')}`);
        assert.ok((await legalMoves(['e4'])).includes(text.split(' ')[1]), text);
    } finally {
        await page.close();
        await server.close();
    }
    console.log(`requested: ${requested.join(' ')}`);
    return { files, requested };
}

// The build holds the engine's worker (with its glue) and its .wasm as files of their own, and the
// page loaded those, not the engine inside a bundle.
function assertSeparateFiles({ files, requested }) {
    const wasm = files.find((f) => /\.wasm \d+$/.test(f))?.split(' ')[0];
    const worker = files.find((f) => /worker[^/]*\.js \d+$/.test(f) || /^\d+\.js \d+$/.test(f))?.split(' ')[0];
    assert.ok(wasm && worker, `no .wasm or worker among ${files}`);
    assert.ok(
        requested.some((path) => path.endsWith(wasm)),
        `${wasm} was not loaded: ${requested}`,
    );
    assert.ok(!requested.some((path) => path.includes('inline')), `the bundled engine was loaded: ${requested}`);
}

// Runs `npx vireo-chess` from the installed package, with `script(engine)` talking to it.
function startBin() {
    const child = spawn('npx', ['--no-install', 'vireo-chess'], { cwd: CONSUMERS, stdio: ['pipe', 'pipe', 'inherit'] });
    const engine = new NativeEngine(null, child);
    return engine;
}

const tests = {
    async install() {
        const destination = `${values.out}/package`;
        rmSync(destination, { recursive: true, force: true });
        mkdirSync(destination, { recursive: true });
        const pack = run('npm', ['pack', '--json', '--pack-destination', destination], { cwd: WEB });
        const [{ filename, size, unpackedSize, files }] = JSON.parse(pack.stdout);
        console.log(`${filename}: ${size} bytes packed, ${unpackedSize} unpacked, ${files.length} files`);
        const install = run('npm', ['install', '--no-save', '--no-audit', '--no-fund', `${destination}/${filename}`], {
            cwd: CONSUMERS,
        });
        console.log(`installed in ${install.ms} ms`);
        assert.ok(existsSync(INSTALLED + 'dist/vireo-wasm.wasm'));
    },

    async vite(session) {
        assertSeparateFiles(await bundle('vite', session));
    },

    async webpack(session) {
        assertSeparateFiles(await bundle('webpack', session));
    },

    // esbuild does not follow new URL(..., import.meta.url): the engine comes inside the bundle.
    async esbuild(session) {
        await bundle('esbuild', session);
    },

    async types() {
        const { ms } = run(CONSUMERS + 'node_modules/.bin/tsc', [
            '--strict',
            '--noEmit',
            '--target',
            'es2022',
            '--module',
            'esnext',
            '--moduleResolution',
            'bundler',
            '--lib',
            'es2022,dom',
            CONSUMERS + 'consumer.ts',
        ]);
        console.log(`tsc --strict passed in ${ms} ms`);
    },

    async node() {
        const script = `
            import { Vireo } from 'vireo-chess';
            const started = Date.now();
            const engine = await Vireo.start({ hash: 16 });
            console.log('ready', Date.now() - started);
            const first = await engine.search({ moves: ['e2e4'] }, { depth: 8 });
            console.log('search', first.bestmove, first.info.depth, JSON.stringify(first.info.score), first.info.pv.join(' '));
            const infinite = engine.search({}, { infinite: true });
            await new Promise((resolve) => setTimeout(resolve, 300));
            const sent = Date.now();
            const stopped = await engine.stop();
            console.log('stopped', stopped.bestmove, Date.now() - sent);
            const explanation = await engine.explain('8/8/8/4k3/8/8/4P3/4K3 w - - 0 1').catch((e) => ({ error: e.message }));
            console.log('explain', JSON.stringify(explanation).slice(0, 60));
            engine.terminate();
            const after = Date.now();
            const rejected = await engine.search({}, 'depth 1').then(() => 'resolved', (error) => error.message);
            console.log('after terminate', rejected, Date.now() - after);
        `;
        const started = Date.now();
        const result = spawnSync(process.execPath, ['--input-type=module', '-e', script], {
            cwd: CONSUMERS,
            encoding: 'utf8',
            timeout: 60000,
        });
        console.log(`${result.stdout}${result.stderr}exit ${result.status} after ${Date.now() - started} ms`);
        assert.equal(result.status, 0, 'the process ends by itself after terminate()');
        const lines = result.stdout.trim().split('\n');
        const [, move, depth] = lines[1].split(' ');
        assert.ok((await legalMoves(['e4'])).includes(move), lines[1]);
        assert.equal(depth, '8');
        const [, stoppedMove, stopMs] = lines[2].split(' ');
        assert.ok((await legalMoves()).includes(stoppedMove), lines[2]);
        assert.ok(Number(stopMs) < 500, `stop() took ${stopMs} ms`);
        assert.match(lines[4], /^after terminate vireo-chess: the engine was terminated \d+$/);
        assert.ok(Number(lines[4].split(' ').at(-1)) < 50, 'a call after the end rejects at once');
    },

    async bin() {
        assert.ok(values.native, 'the bin test compares with the native engine: give --native PATH');
        const native = new NativeEngine(values.native);
        native.send('uci');
        const nativeUci = (await native.until(/^uciok$/)).filter((l) => !l.startsWith('info debug'));
        native.send('bench');
        const nativeBench = (await native.until(BENCH_LINE)).at(-1);
        await native.quit();

        const engine = startBin();
        engine.send('uci');
        const uci = (await engine.until(/^uciok$/)).filter((l) => !l.startsWith('info debug'));
        assert.deepEqual(uci, nativeUci);
        engine.send('position startpos moves e2e4', 'go infinite');
        await engine.until(/^info depth 5 /);
        const sent = Date.now();
        engine.send('isready');
        const answer = await engine.until(/^readyok$/);
        assert.match(answer.at(-2), /^bestmove /, 'isready ends the search: bestmove, then readyok');
        const readyMs = Date.now() - sent;
        engine.send('bench');
        const bench = (await engine.until(BENCH_LINE)).at(-1);
        console.log(`npx vireo-chess: ${bench}\nnative:          ${nativeBench}\nreadyok ${readyMs} ms after isready`);
        assert.equal(bench.match(BENCH_LINE)[1], nativeBench.match(BENCH_LINE)[1]);
        assert.ok(readyMs < 500, `readyok came ${readyMs} ms after isready`);
        assert.equal(await engine.quit(), 0);

        // The end of input finishes the search under way, then the engine ends as on "quit".
        const piped = spawnSync('sh', ['-c', 'echo "go depth 6" | npx --no-install vireo-chess'], {
            cwd: CONSUMERS,
            encoding: 'utf8',
            timeout: 60000,
        });
        assert.equal(piped.status, 0);
        assert.match(piped.stdout.trim().split('\n').at(-1), /^bestmove [a-h][1-8][a-h][1-8]/);
    },
};

await runCases(tests, positionals[0], (names) => (names.some((n) => n in BUNDLERS) ? openBrowser() : null));
