// The native engine (build/vireo) behind the browser's Promise API: the same Vireo class drives it,
// with a child process in place of the worker, so that search() behaves here as it does in the page.
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';
import { Vireo } from '../src/vireo.js';

// A child process that looks like a worker to Vireo: postMessage() writes a line, onmessage
// receives each line printed, onerror hears of a failed start or an early exit.
class ProcessWorker {
    constructor(path) {
        this.onmessage = null;
        this.onerror = null;
        this.ended = false;
        this.pending = null;
        this.failure = null;
        this.child = spawn(path, [], { stdio: ['pipe', 'pipe', 'ignore'] });
        this.child.stdin.on('error', () => {}); // a closed pipe is reported by 'exit'
        createInterface({ input: this.child.stdout }).on('line', (line) => this.onmessage?.({ data: line }));
        this.child.on('error', (error) => this.#fail(error));
        this.child.on('exit', (code, signal) => this.#fail(new Error(`engine exited (${signal ?? code})`)));
    }

    // The lines posted in one turn of the event loop ("position" and "go") leave in one write.
    postMessage(line) {
        // The API's own requests to a worker (its greeting, breakdowns) mean nothing to a UCI engine.
        if (typeof line !== 'string') return;
        if (this.ended) {
            // A search asked of an engine that has gone fails rather than waits for ever.
            if (this.failure) queueMicrotask(() => this.onerror?.({ message: this.failure }));
            return;
        }
        if (!this.pending) {
            this.pending = [];
            queueMicrotask(() => {
                if (!this.ended) this.child.stdin.write(this.pending.join(''));
                this.pending = null;
            });
        }
        this.pending.push(`${line}\n`);
    }

    terminate() {
        if (this.ended) return;
        this.ended = true;
        this.child.stdin.end(`${(this.pending ?? []).join('')}quit\n`);
        this.pending = null;
        // An engine stuck in a search still ends.
        setTimeout(() => this.child.exitCode === null && this.child.kill(), 2000).unref();
    }

    #fail(error) {
        if (this.ended) return;
        this.ended = true;
        this.failure = error.message;
        this.onerror?.({ message: error.message });
    }
}

// Starts the engine at `path` and waits until it has answered "uci" and "isready".
export async function startNativeEngine(path, { hash = 16 } = {}) {
    const engine = new Vireo(new ProcessWorker(path));
    engine.send('uci');
    await engine.waitFor('uciok');
    engine.send(`setoption name Hash value ${hash}`);
    engine.send('isready');
    await engine.waitFor('readyok');
    return engine;
}
