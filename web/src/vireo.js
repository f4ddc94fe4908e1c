// A Promise API over the engine's worker, for pages that would rather not speak UCI line by line.
// The worker stays reachable underneath: send() and onLine() give the raw protocol.

const WORKER_URL = new URL('./vireo.worker.js', import.meta.url);

export class Vireo {
    // Starts the engine and waits until it has answered "uci" and "isready".
    static async start({ workerUrl = WORKER_URL, hash } = {}) {
        const engine = new Vireo(new Worker(workerUrl, { type: 'module' }));
        engine.send('uci');
        await engine.waitFor('uciok');
        if (hash) engine.send(`setoption name Hash value ${hash}`);
        engine.send('isready');
        await engine.waitFor('readyok');
        return engine;
    }

    constructor(worker) {
        this.worker = worker;
        this.listeners = new Set();
        this.queued = null; // the last search asked for
        this.running = null; // the search the engine is carrying out
        worker.onmessage = (event) => {
            for (const listener of [...this.listeners]) listener(event.data);
        };
        worker.onerror = (event) => {
            for (const listener of [...this.listeners]) listener(null, event);
        };
    }

    send(line) {
        this.worker.postMessage(line);
    }

    // Calls `listener(line)` for every line the engine prints; returns the function that ends it.
    onLine(listener) {
        const wrapped = (line) => line !== null && listener(line);
        this.listeners.add(wrapped);
        return () => this.listeners.delete(wrapped);
    }

    // The next line that equals `match` (a string), matches it (a RegExp) or passes it (a function).
    waitFor(match, { timeout = 0 } = {}) {
        const test = typeof match === 'string' ? (line) => line === match
            : match instanceof RegExp ? (line) => match.test(line) : match;
        return new Promise((resolve, reject) => {
            let timer = 0;
            const listener = (line, error) => {
                if (line === null) finish(() => reject(new Error(`engine failed: ${error?.message ?? 'worker error'}`)));
                else if (test(line)) finish(() => resolve(line));
            };
            const finish = (settle) => {
                this.listeners.delete(listener);
                clearTimeout(timer);
                settle();
            };
            if (timeout) timer = setTimeout(() => finish(() => reject(new Error(`no line matching ${match} within ${timeout} ms`))), timeout);
            this.listeners.add(listener);
        });
    }

    // Searches a position and resolves to its best move with the last "info" line that carried a
    // score and a principal variation; onInfo sees each such line as it comes. position: { fen, moves } (fen omitted: the start position); limits: a "go" text such as
    // "movetime 1000" or an object { depth, movetime, wtime, btime, winc, binc, movestogo, infinite }.
    // A search asked for while another runs starts after that one's "bestmove", so that each search
    // gets its own.
    search(position = {}, limits = 'depth 10', { onInfo } = {}) {
        const previous = this.queued ?? Promise.resolve();
        const result = previous.catch(() => {}).then(() => this.#run(position, limits, onInfo));
        this.queued = result;
        const settled = () => {
            if (this.queued === result) this.queued = null;
        };
        result.then(settled, settled);
        return result;
    }

    #run({ fen, moves = [] }, limits, onInfo) {
        const base = fen ? `position fen ${fen}` : 'position startpos';
        this.send(moves.length ? `${base} moves ${moves.join(' ')}` : base);
        let info = null;
        const stopListening = this.onLine((line) => {
            if (!line.startsWith('info ') || !line.includes(' score ') || !line.includes(' pv ')) return;
            info = parseInfo(line);
            if (onInfo) onInfo(info);
        });
        const result = this.waitFor((line) => line.startsWith('bestmove ')).then((line) => {
            const [, bestmove, , ponder] = line.split(' ');
            return { bestmove, ponder, info };
        }).finally(() => {
            stopListening();
            if (this.running === result) this.running = null;
        });
        this.running = result;
        this.send(`go ${typeof limits === 'string' ? limits : goText(limits)}`.trim());
        return result;
    }

    // Makes the search under way move at once and resolves to its result (null when none runs);
    // searches asked for after it still follow.
    stop() {
        this.send('stop');
        return this.running;
    }

    terminate() {
        this.worker.terminate();
        this.listeners.clear();
    }
}

function goText(limits) {
    return Object.entries(limits)
        .map(([key, value]) => (key === 'infinite' ? (value ? 'infinite' : '') : `${key} ${value}`))
        .join(' ');
}

// "info depth 9 seldepth 14 score cp 31 pv e2e4 e7e5 ... time 120 nodes 1000 ..." as an object.
export function parseInfo(line) {
    const words = line.split(' ');
    const info = { line };
    for (let i = 1; i < words.length; i++) {
        const word = words[i];
        if (word === 'score') {
            info.score = { [words[i + 1]]: Number(words[i + 2]) };
            i += 2;
        } else if (word === 'lowerbound' || word === 'upperbound') {
            info.bound = word;
        } else if (word === 'pv') {
            info.pv = [];
            while (i + 1 < words.length && /^[a-h][1-8][a-h][1-8][qrbn]?$/.test(words[i + 1])) info.pv.push(words[++i]);
        } else if (['depth', 'seldepth', 'time', 'nodes', 'nps', 'hashfull'].includes(word)) {
            info[word] = Number(words[++i]);
        }
    }
    return info;
}
