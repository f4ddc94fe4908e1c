// The Vireo chess engine in a browser: the Promise API (client.js) over a module worker. The worker
// is made by the one expression that bundlers (Vite, webpack, Parcel, Rollup) recognise, so that
// they build it, the engine's glue and its .wasm into the application with no option set.
import { EngineClient, START_TIMEOUT_MS } from './client.js';

export { parseInfo } from './client.js';

export class Vireo extends EngineClient {
    // Starts the engine and waits until it has answered "uci" and "isready". workerUrl: where
    // vireo.worker.js is served, when it is not beside this module; timeout: at most this many ms.
    static async start({ workerUrl, hash, timeout = START_TIMEOUT_MS } = {}) {
        const deadline = Date.now() + timeout;
        let worker;
        if (workerUrl) {
            worker = new Worker(workerUrl, { type: 'module' });
        } else {
            worker = new Worker(new URL('./vireo.worker.js', import.meta.url), { type: 'module' });
            // A bundler that leaves the worker out of the build (esbuild) is made up for by the
            // worker with everything inside, loaded only then.
            if (!(await loads(worker, timeout))) {
                worker.terminate();
                const { default: source } = await import('./vireo.inline.js');
                const url = URL.createObjectURL(new Blob([source], { type: 'text/javascript' }));
                worker = new Worker(url, { type: 'module' });
                setTimeout(() => URL.revokeObjectURL(url), Math.max(0, deadline - Date.now()));
            }
        }
        const where = workerUrl ? ` (worker ${new URL(workerUrl, location.href).href})` : '';
        const engine = new Vireo(worker, workerUrl);
        return this.launch(engine, { hash, timeout, left: Math.max(0, deadline - Date.now()), where });
    }

    constructor(worker, workerUrl) {
        super({
            worker,
            post: (message) => worker.postMessage(message),
            terminate: () => worker.terminate(),
            listen(onMessage, onFailure) {
                worker.postMessage({ type: 'hello' });
                worker.onmessage = (event) => onMessage(event.data);
                worker.onerror = (event) => {
                    event.preventDefault?.();
                    workerFailure(event, workerUrl).then(onFailure);
                };
            },
        });
    }
}

// What went wrong with the worker. A script that cannot load gives no reason of its own: the URL is
// asked once more, to tell a missing file (often answered by a server's index page) from a fault.
async function workerFailure(event, workerUrl) {
    if (event.message) return new Error(`vireo-chess: the engine's worker failed: ${event.message}`);
    if (!workerUrl) {
        return new Error(
            "vireo-chess: the engine's worker (vireo.worker.js beside vireo.js) did not load: is it missing from the build?",
        );
    }
    const url = new URL(workerUrl, location.href).href;
    try {
        const response = await fetch(url);
        const type = response.headers.get('Content-Type') ?? '';
        if (!response.ok)
            return new Error(
                `vireo-chess: the engine's worker ${url} answered ${response.status} ${response.statusText}`.trim(),
            );
        if (!/javascript|ecmascript/.test(type)) {
            return new Error(
                `vireo-chess: the engine's worker ${url} answered ${type || 'a file'}, not JavaScript: is the file missing?`,
            );
        }
        return new Error(`vireo-chess: the engine's worker ${url} did not start`);
    } catch (error) {
        return new Error(`vireo-chess: the engine's worker ${url} could not be fetched: ${error.message}`);
    }
}

// Whether the worker's script loads: true once it has answered the greeting, false if it fails
// first or says nothing within `timeout` ms.
function loads(worker, timeout) {
    return new Promise((resolve) => {
        const timer = setTimeout(() => finish(false), timeout);
        const finish = (loaded) => {
            clearTimeout(timer);
            worker.removeEventListener('message', answered);
            worker.removeEventListener('error', failed);
            resolve(loaded);
        };
        const answered = (event) => event.data?.type === 'loaded' && finish(true);
        const failed = (event) => {
            event.preventDefault();
            finish(false);
        };
        worker.addEventListener('message', answered);
        worker.addEventListener('error', failed);
        worker.postMessage({ type: 'hello' });
    });
}
