// The engine in a Node worker thread: the same engine and protocol as the browser's worker
// (engine-host.js), with the .wasm read from beside this file. The engine's glue is built for a
// Web Worker, so the two names it looks up there are given.
import { readFile } from 'node:fs/promises';
import { parentPort } from 'node:worker_threads';
import createVireo from './vireo-wasm.js';
import { hostEngine } from './engine-host.js';

const WASM_URL = new URL('./vireo-wasm.wasm', import.meta.url);

globalThis.self ??= globalThis;
self.location ??= { href: import.meta.url };

const receive = hostEngine({
    createVireo,
    instantiate: async (imports) => {
        let bytes;
        try {
            bytes = await readFile(WASM_URL);
        } catch (error) {
            throw new Error(
                `vireo-chess: the engine's WebAssembly ${WASM_URL.pathname} could not be read: ${error.message}`,
                {
                    cause: error,
                },
            );
        }
        try {
            return await WebAssembly.instantiate(bytes, imports);
        } catch (error) {
            throw new Error(
                `vireo-chess: the engine's WebAssembly ${WASM_URL.pathname} does not compile: ${error.message}`,
                {
                    cause: error,
                },
            );
        }
    },
    post: (message) => parentPort.postMessage(message),
    // The search lets the thread's messages in through the event loop's check phase.
    pause: () => new Promise((resolve) => setImmediate(resolve)),
    close: (status) => {
        // The thread ends with the engine's status, which the parent sees as the worker's exit code.
        process.exit(status);
    },
});
parentPort.on('message', receive);
