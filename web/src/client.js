// The Promise API over the engine's worker, shared by the browser's entry (vireo.js) and Node's
// (vireo.node.js), which differ only in how they make the worker. The worker stays reachable
// underneath: send() and onLine() give the raw protocol.

export const START_TIMEOUT_MS = 15000;

export class EngineClient {
    // Waits until the engine has answered "uci" and "isready", at most `timeout` ms; an engine that
    // does not start is ended and the promise rejects with what failed. The entries' start() use it.
    // `left`: what remains of the limit when the worker took some of it to load.
    static async launch(engine, { hash, timeout = START_TIMEOUT_MS, left = timeout, where = '' } = {}) {
        let timer = 0;
        const limit = new Promise((resolve, reject) => {
            timer = setTimeout(() => {
                reject(new Error(`vireo-chess: the engine did not start within ${timeout} ms${where}`));
            }, left);
        });
        try {
            engine.send('uci');
            await Promise.race([engine.waitFor('uciok'), limit]);
            if (hash) engine.send(`setoption name Hash value ${hash}`);
            engine.send('isready');
            await Promise.race([engine.waitFor('readyok'), limit]);
            return engine;
        } catch (error) {
            engine.terminate(error);
            throw error;
        } finally {
            clearTimeout(timer);
        }
    }

    #port;
    #listeners = new Set();
    #explanations = new Map();
    #explained = 0;
    #ended = null; // the Error that ended the engine, once it has ended
    #queued = null; // the last search asked for
    #running = null; // the search the engine is carrying out

    // port: { worker, post(message), terminate(), listen(onMessage, onFailure) }, made by the entry.
    constructor(port) {
        this.#port = port;
        this.worker = port.worker;
        port.listen(
            (message) => this.#receive(message),
            (error) => this.#end(error),
        );
    }

    // Null while the engine runs; the Error that ended it afterwards.
    get ended() {
        return this.#ended;
    }

    #receive(message) {
        if (typeof message === 'string') {
            for (const listener of [...this.#listeners]) listener(message);
        } else if (message?.type === 'explain') {
            const pending = this.#explanations.get(message.id);
            this.#explanations.delete(message.id);
            if (message.result?.error) pending?.reject(new Error(message.result.error));
            else pending?.resolve(message.result);
        } else if (message?.type === 'error') {
            this.#end(new Error(message.message));
        } else if (message?.type === 'exit') {
            this.#end(new Error(`vireo-chess: the engine ended (status ${message.status})`));
        }
    }

    // Every waiting call rejects with the reason, and every later one at once.
    #end(error) {
        if (this.#ended) return;
        this.#ended = error;
        for (const listener of [...this.#listeners]) listener(null);
        this.#listeners.clear();
        for (const pending of this.#explanations.values()) pending.reject(error);
        this.#explanations.clear();
    }

    send(line) {
        if (this.#ended) throw this.#ended;
        this.#port.post(String(line));
    }

    // Calls `listener(line)` for every line the engine prints; returns the function that ends it.
    onLine(listener) {
        const wrapped = (line) => line !== null && listener(line);
        this.#listeners.add(wrapped);
        return () => this.#listeners.delete(wrapped);
    }

    // The next line that equals `match` (a string), matches it (a RegExp) or passes it (a function).
    waitFor(match, { timeout = 0 } = {}) {
        if (this.#ended) return Promise.reject(this.#ended);
        const test =
            typeof match === 'string'
                ? (line) => line === match
                : match instanceof RegExp
                  ? (line) => match.test(line)
                  : match;
        return new Promise((resolve, reject) => {
            let timer = 0;
            const listener = (line) => {
                if (line === null) finish(() => reject(this.#ended));
                else if (test(line)) finish(() => resolve(line));
            };
            const finish = (settle) => {
                this.#listeners.delete(listener);
                clearTimeout(timer);
                settle();
            };
            if (timeout) {
                timer = setTimeout(() => {
                    finish(() => reject(new Error(`vireo-chess: no line matching ${match} within ${timeout} ms`)));
                }, timeout);
            }
            this.#listeners.add(listener);
        });
    }

    // Searches a position and resolves to its best move with the last "info" line that carried a
    // score and a principal variation; onInfo sees each such line as it comes. position: { fen,
    // moves } (fen omitted: the start position); limits: a "go" text such as "movetime 1000" or an
    // object { depth, movetime, wtime, btime, winc, binc, movestogo, infinite }. A search asked for
    // while another runs starts after that one's "bestmove", so that each search gets its own.
    search(position = {}, limits = 'depth 10', { onInfo } = {}) {
        if (this.#ended) return Promise.reject(this.#ended);
        const previous = this.#queued ?? Promise.resolve();
        const result = previous.catch(() => {}).then(() => this.#run(position, limits, onInfo));
        this.#queued = result;
        const settled = () => {
            if (this.#queued === result) this.#queued = null;
        };
        result.then(settled, settled);
        return result;
    }

    #run({ fen, moves = [] }, limits, onInfo) {
        if (this.#ended) return Promise.reject(this.#ended);
        const base = fen ? `position fen ${fen}` : 'position startpos';
        this.send(moves.length ? `${base} moves ${moves.join(' ')}` : base);
        let info = null;
        const stopListening = this.onLine((line) => {
            if (!line.startsWith('info ') || !line.includes(' score ') || !line.includes(' pv ')) return;
            info = parseInfo(line);
            if (onInfo) onInfo(info);
        });
        const result = this.waitFor((line) => line.startsWith('bestmove '))
            .then((line) => {
                const [, bestmove, , ponder] = line.split(' ');
                return { bestmove, ponder, info };
            })
            .finally(() => {
                stopListening();
                if (this.#running === result) this.#running = null;
            });
        this.#running = result;
        this.send(`go ${typeof limits === 'string' ? limits : goText(limits)}`.trim());
        return result;
    }

    // Makes the search under way move at once and resolves to its result (null when none runs);
    // searches asked for after it still follow.
    stop() {
        if (this.#ended) return Promise.reject(this.#ended);
        this.send('stop');
        return this.#running;
    }

    // The static evaluation of a position (FEN) as named terms that add up to it, in centipawns from
    // the side to move's view: { fen, total, terms: [{ name, cp }], note? }. Answered between
    // commands: during a search it waits for the search's end.
    explain(fen) {
        if (this.#ended) return Promise.reject(this.#ended);
        const id = ++this.#explained;
        return new Promise((resolve, reject) => {
            this.#explanations.set(id, { resolve, reject });
            this.#port.post({ type: 'explain', id, fen: String(fen) });
        });
    }

    // Ends the worker at once; every call after it rejects.
    terminate(reason = new Error('vireo-chess: the engine was terminated')) {
        this.#end(reason);
        this.#port.terminate();
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
