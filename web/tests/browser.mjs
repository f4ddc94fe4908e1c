/* global received, engine */
// Headless Chromium and the engine's worker, for the browser tests and the measurements: a page of
// the local server starts the worker, keeps every line it prints with the time it came, and posts
// lines to it; times are taken inside the page, so that the driver's own delays do not count.
import { spawn } from 'node:child_process';
import { existsSync } from 'node:fs';
import { fileURLToPath } from 'node:url';
import { serve } from './server.mjs';

export const WEB = fileURLToPath(new URL('..', import.meta.url));
// Another build to measure can be served instead: VIREO_WEB_DIST=folder.
export const DIST = process.env.VIREO_WEB_DIST ?? WEB + 'dist/';
// Where screenshots and builds go unless --out says otherwise: the build tree, never the sources.
export const OUT_DIR = WEB + '../build/web-tests';
export const CHROMIUM = process.env.CHROMIUM ?? '/usr/bin/chromium';

// What a run needs besides the build; each missing piece named.
export function missingTools() {
    const missing = [];
    if (!existsSync(CHROMIUM)) missing.push(`${CHROMIUM} (Debian: apt-get install chromium)`);
    if (!existsSync(WEB + 'node_modules/playwright-core')) missing.push('web/node_modules (npm ci --prefix web)');
    return missing;
}

// Headless Chromium with nothing of its own on the network, and the browser build served to it.
// --no-sandbox: CI runs as root, where Chromium's sandbox refuses to start.
export async function openBrowser() {
    const { chromium } = await import('playwright-core');
    const server = await serve(DIST);
    const args = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run'];
    args.push('--disable-background-networking', '--disable-component-update', '--disable-sync');
    const browser = await chromium.launch({ executablePath: CHROMIUM, args });
    return {
        server,
        browser,
        async close() {
            await browser.close();
            await server.close();
        },
    };
}

// Runs the named case of `tests` (or all of them in turn) with one session (`open()`, by default
// the browser and the server), prints PASSED or FAILED with the time of each, and sets the exit
// status. Each case is an async function of the session.
export async function runCases(tests, name, open = openBrowser) {
    const names = name === 'all' ? Object.keys(tests) : [name];
    if (!names.every((n) => tests[n])) {
        console.log(`unknown test '${name}': all, ${Object.keys(tests).join(', ')}`);
        process.exit(2);
    }
    const session = await open(names);
    let failed = 0;
    for (const test of names) {
        const started = Date.now();
        try {
            await tests[test](session);
            console.log(`PASSED: ${test} (${Date.now() - started} ms)`);
        } catch (error) {
            console.log(`FAILED: ${test}\n${error.stack ?? error}`);
            failed++;
        }
    }
    await session?.close();
    if (names.length > 1) console.log(`${names.length - failed} passed, ${failed} failed`);
    process.exitCode = failed ? 1 : 0;
}

// The engine in a worker of a blank page. Lines posted at once are the first the engine reads.
export async function startWorker(session, firstLines = []) {
    const page = await session.browser.newPage();
    await page.goto(session.server.url + 'blank.html');
    await page.evaluate((lines) => {
        window.received = [];
        window.engine = new Worker('vireo.worker.js', { type: 'module' });
        engine.onmessage = (event) => received.push({ line: event.data, at: performance.now() });
        engine.onerror = (event) => received.push({ line: `worker error: ${event.message}`, at: performance.now() });
        for (const line of lines) engine.postMessage(line);
    }, firstLines);
    return new PageEngine(page);
}

class PageEngine {
    constructor(page) {
        this.page = page;
        this.seen = 0; // lines before this index have been looked at by waitFor
    }

    // Posts the lines and returns the page's time just before posting them.
    send(...lines) {
        return this.page.evaluate((lines) => {
            const at = performance.now();
            for (const line of lines) engine.postMessage(line);
            return at;
        }, lines);
    }

    // The next line (after those already waited for) that matches; { line, at }.
    async waitFor(pattern, timeout = 30000) {
        const handle = await this.page.waitForFunction(
            ([source, from]) => {
                const re = new RegExp(source);
                for (let i = from; i < received.length; i++)
                    if (re.test(received[i].line)) return { ...received[i], index: i };
                return null;
            },
            [pattern.source, this.seen],
            { timeout, polling: 20 },
        );
        const found = await handle.jsonValue();
        this.seen = found.index + 1;
        return found;
    }

    lines(from = 0) {
        return this.page.evaluate((from) => received.slice(from).map((r) => r.line), from);
    }

    close() {
        return this.page.close();
    }
}

// The native engine as a GUI runs it: lines on its standard input, its answer read until a line matches.
// A child process already started (the package's command-line entry) is driven the same way.
export class NativeEngine {
    constructor(binary, child = null) {
        this.process = child ?? spawn(binary, [], { stdio: ['pipe', 'pipe', 'inherit'] });
        this.buffer = '';
        this.lines = [];
        this.waiters = [];
        this.process.stdout.setEncoding('latin1');
        this.process.stdout.on('data', (data) => {
            this.buffer += data;
            let end;
            while ((end = this.buffer.indexOf('\n')) >= 0) {
                this.lines.push(this.buffer.slice(0, end));
                this.buffer = this.buffer.slice(end + 1);
            }
            this.waiters = this.waiters.filter((check) => !check());
        });
    }

    send(...lines) {
        for (const line of lines) this.process.stdin.write(line + '\n');
    }

    // All lines up to and including the first that matches, from the lines not yet returned.
    until(pattern) {
        return new Promise((resolve) => {
            const check = () => {
                const index = this.lines.findIndex((line) => pattern.test(line));
                if (index < 0) return false;
                resolve(this.lines.splice(0, index + 1));
                return true;
            };
            if (!check()) this.waiters.push(check);
        });
    }

    // Resolves to the exit status.
    quit() {
        this.send('quit');
        return new Promise((resolve) => this.process.on('exit', resolve));
    }
}

// The node count and time of the "bench" command's last line.
export const BENCH_LINE = /^(\d+) nodes in (\d+) ms/;
