// The engine in a module worker of a browser: each message posted to the worker is one input line,
// and each line the engine prints comes back as one message (engine-host.js has the rest). The
// imports are static and nothing is awaited at the top, so that bundlers can bundle this worker in
// any output format, and the .wasm is named by new URL(..., import.meta.url), which bundlers emit
// as a file of its own.
import createVireo from './vireo-wasm.js';
import { hostInWebWorker } from './engine-host.js';

const WASM_URL = new URL('./vireo-wasm.wasm', import.meta.url);

hostInWebWorker(createVireo, instantiate);

// Compiles the .wasm while it streams in when it is served as application/wasm, from its bytes
// otherwise; an answer that is not WebAssembly (a missing file answered by an index page) is named.
async function instantiate(imports) {
    const where = `the engine's WebAssembly ${WASM_URL.href}`;
    let response;
    try {
        response = await fetch(WASM_URL, { credentials: 'same-origin' });
    } catch (error) {
        throw new Error(`vireo-chess: ${where} could not be fetched: ${error.message}`, { cause: error });
    }
    if (!response.ok) {
        throw new Error(`vireo-chess: ${where} answered ${response.status} ${response.statusText}`.trim());
    }
    const type = response.headers.get('Content-Type') ?? '';
    if (type.startsWith('application/wasm')) return named(where, WebAssembly.instantiateStreaming(response, imports));
    const bytes = new Uint8Array(await named(where, response.arrayBuffer()));
    if (bytes[0] !== 0 || bytes[1] !== 0x61 || bytes[2] !== 0x73 || bytes[3] !== 0x6d) {
        throw new Error(
            `vireo-chess: ${where} answered ${type || 'a file'} that is not WebAssembly: is the file missing?`,
        );
    }
    return named(where, WebAssembly.instantiate(bytes, imports));
}

// What the step gives, or an error that names the file.
async function named(where, step) {
    try {
        return await step;
    } catch (error) {
        throw new Error(`vireo-chess: ${where} failed: ${error.message}`, { cause: error });
    }
}
