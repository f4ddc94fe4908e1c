// The Vireo chess engine in Node: the same Promise API (client.js) and the same WebAssembly engine
// as in a browser, in a worker thread. The process ends by itself once the engine is terminated.
import { Worker } from 'node:worker_threads';
import { EngineClient, START_TIMEOUT_MS } from './client.js';

export { parseInfo } from './client.js';

export class Vireo extends EngineClient {
    // Starts the engine and waits until it has answered "uci" and "isready", at most `timeout` ms.
    // workerUrl: another worker file (a path or file: URL), for tests.
    static start({ workerUrl, hash, timeout = START_TIMEOUT_MS } = {}) {
        const url = workerUrl ?? new URL('./vireo.node-worker.js', import.meta.url);
        const worker = new Worker(url, { execArgv: workerArguments() });
        return this.launch(new Vireo(worker), { hash, timeout, where: ` (worker ${url})` });
    }

    constructor(worker) {
        super({
            worker,
            post: (message) => worker.postMessage(message),
            terminate: () => worker.terminate(),
            listen(onMessage, onFailure) {
                worker.postMessage({ type: 'hello' });
                worker.on('message', onMessage);
                worker.on('error', (error) =>
                    onFailure(new Error(`vireo-chess: the engine's worker failed: ${error.message}`)),
                );
                worker.on('exit', (code) => onFailure(new Error(`vireo-chess: the engine ended (status ${code})`)));
            },
        });
    }
}

// Node's options for the worker thread: the process's own, but for those that apply to a script
// given on the command line (node --input-type=module -e ...), which would stop the thread.
export function workerArguments() {
    return process.execArgv.filter((option) => !/^--(input-type|eval|print)\b|^-[ep]$/.test(option));
}
