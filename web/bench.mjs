// Measures the browser engine against the native one on this machine:
//   node bench.mjs --native ../vireo [--runs 3] [--tries 20]
// - "bench" in the worker and in the native engine, each run --runs times: node counts (which
//   must be equal) and the browser's speed as a ratio of native, from the fastest run of each;
// - the time from posting "stop" during "go infinite" to receiving "bestmove", --tries times,
//   after a search of 200 to 1,000 ms: median and worst.
// VIREO_WEB_DIST=folder measures another build of web/dist/ (say, with other compiler options).
import { parseArgs } from 'node:util';
import { openBrowser, startWorker, NativeEngine, BENCH_LINE, missingTools } from './tests/browser.mjs';

const { values } = parseArgs({
    options: {
        native: { type: 'string', default: new URL('../vireo', import.meta.url).pathname },
        runs: { type: 'string', default: '3' },
        tries: { type: 'string', default: '20' },
    },
});
const missing = missingTools();
if (missing.length) {
    console.error(`needs ${missing.join(' and ')}`);
    process.exit(1);
}

async function nativeBench() {
    const native = new NativeEngine(values.native);
    native.send('bench');
    const lines = await native.until(BENCH_LINE);
    await native.quit();
    const [, nodes, ms] = lines.at(-1).match(BENCH_LINE);
    return { nodes: Number(nodes), ms: Number(ms) };
}

async function browserBench(session) {
    const engine = await startWorker(session, ['bench']);
    const { line } = await engine.waitFor(BENCH_LINE, 300000);
    await engine.close();
    const [, nodes, ms] = line.match(BENCH_LINE);
    return { nodes: Number(nodes), ms: Number(ms) };
}

const session = await openBrowser();
try {
    const native = [],
        browser = [];
    for (let run = 0; run < Number(values.runs); run++) {
        native.push(await nativeBench());
        browser.push(await browserBench(session));
    }
    const fastest = (runs) => Math.min(...runs.map((r) => r.ms));
    const nodes = browser[0].nodes;
    console.log(
        `bench nodes: browser ${browser.map((r) => r.nodes).join(', ')}; native ${native.map((r) => r.nodes).join(', ')}`,
    );
    console.log(
        `bench time (ms): browser ${browser.map((r) => r.ms).join(', ')}; native ${native.map((r) => r.ms).join(', ')}`,
    );
    console.log(
        `browser speed: ${Math.round((nodes / fastest(browser)) * 1000)} nodes/s, ` +
            `${(fastest(native) / fastest(browser)).toFixed(2)} of native (fastest runs)`,
    );

    const engine = await startWorker(session, ['isready']);
    await engine.waitFor(/^readyok$/);
    const latencies = [];
    for (let attempt = 0; attempt < Number(values.tries); attempt++) {
        await engine.send('position startpos', 'go infinite');
        await new Promise((resolve) => setTimeout(resolve, 200 + Math.random() * 800));
        const sent = await engine.send('stop');
        const { at } = await engine.waitFor(/^bestmove /, 10000);
        latencies.push(at - sent);
    }
    await engine.close();
    latencies.sort((a, b) => a - b);
    const middle = (latencies.length - 1) / 2;
    const median = (latencies[Math.floor(middle)] + latencies[Math.ceil(middle)]) / 2;
    console.log(
        `stop -> bestmove over ${latencies.length} tries: median ${median.toFixed(1)} ms, ` +
            `worst ${latencies.at(-1).toFixed(1)} ms (all: ${latencies.map((l) => l.toFixed(0)).join(' ')})`,
    );
} finally {
    await session.close();
}
