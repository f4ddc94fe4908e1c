// Types of the Promise API of the Vireo chess engine, the same in browsers (vireo.js) and Node (vireo.node.js).

export interface Score {
    /** centipawns from the point of view of the side to move */
    cp?: number;
    /** moves to mate, negative when the side to move is mated */
    mate?: number;
}

export interface Info {
    /** the whole "info" line as the engine printed it */
    line: string;
    depth?: number;
    seldepth?: number;
    score?: Score;
    bound?: 'lowerbound' | 'upperbound';
    /** the principal variation in coordinate notation (e2e4, e7e8q) */
    pv?: string[];
    time?: number;
    nodes?: number;
    nps?: number;
    hashfull?: number;
}

export interface SearchResult {
    /** the move in coordinate notation, "0000" when there is none */
    bestmove: string;
    ponder?: string;
    /** the last "info" line with a score and a principal variation, or null when none came */
    info: Info | null;
}

export interface Position {
    /** FEN of the position; the start position when omitted */
    fen?: string;
    /** moves played from it, in coordinate notation */
    moves?: string[];
}

export interface Limits {
    depth?: number;
    movetime?: number;
    wtime?: number;
    btime?: number;
    winc?: number;
    binc?: number;
    movestogo?: number;
    infinite?: boolean;
}

export interface StartOptions {
    /**
     * Where vireo.worker.js is served, when it is not beside vireo.js (in Node: another worker file).
     * By default the worker beside the module, as bundlers emit it.
     */
    workerUrl?: string | URL;
    /** transposition table in megabytes (a power of two); the engine's default is 128 */
    hash?: number;
    /** start() rejects when the engine has not answered "uciok" and "readyok" within this many ms (default 15000) */
    timeout?: number;
}

export interface Term {
    /** a named part of the evaluation, e.g. "Material" or "King safety" */
    name: string;
    /** its share in centipawns, from the side to move's point of view */
    cp: number;
}

export interface Explanation {
    fen: string;
    /** the static evaluation in centipawns from the side to move's view (the "score cp" of "debug") */
    total: number;
    /** terms that add up exactly to total */
    terms: Term[];
    /** set when the position is settled by rule or endgame knowledge rather than the model */
    note?: string;
}

/** The engine's worker: a Web Worker in browsers, a worker thread in Node. */
export interface EngineWorker {
    postMessage(message: unknown): void;
    terminate(): unknown;
}

export declare class Vireo {
    /**
     * Starts the engine in a worker and waits for "uciok" and "readyok". Rejects within
     * `timeout` ms with an Error that names what failed (a URL that did not answer with JavaScript
     * or WebAssembly, a compile error, a worker that ended).
     */
    static start(options?: StartOptions): Promise<Vireo>;
    readonly worker: EngineWorker;
    /** null while the engine runs; the Error that ended it afterwards (every call then rejects at once) */
    readonly ended: Error | null;
    /** Posts one UCI line to the engine. */
    send(line: string): void;
    /** Calls the listener for every line the engine prints; returns a function that removes it. */
    onLine(listener: (line: string) => void): () => void;
    /** Resolves to the next line that equals, matches or passes `match`. */
    waitFor(match: string | RegExp | ((line: string) => boolean), options?: { timeout?: number }): Promise<string>;
    /**
     * Searches a position; `limits` is a "go" text ("movetime 1000") or an object. `onInfo` sees every
     * "info" line with a score and a principal variation. A search asked for while another runs
     * starts once that one has answered.
     */
    search(
        position?: Position,
        limits?: string | Limits,
        options?: { onInfo?: (info: Info) => void },
    ): Promise<SearchResult>;
    /** Makes the search under way move at once and resolves to its result (null when none runs); searches asked for after it still follow. */
    stop(): Promise<SearchResult> | null;
    /**
     * The static evaluation of a position as named terms that add up to it. Answered between
     * commands (after a running search); rejects for a FEN the engine refuses.
     */
    explain(fen: string): Promise<Explanation>;
    /** Ends the worker at once; every later call rejects. */
    terminate(): void;
}

/** Reads an "info" line of the engine into its parts. */
export declare function parseInfo(line: string): Info;
