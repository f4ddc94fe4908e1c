// The engine in a module worker of a browser: each message posted to the worker is one input line,
// and each line the engine prints comes back as one message (engine-host.js has the rest). The
// imports are static and nothing is awaited at the top, so that bundlers can bundle this worker in
// any output format, and the .wasm is named by new URL(..., import.meta.url), which bundlers emit
// as a file of its own.
import createVireo from './vireo-wasm.js';
import { hostEngine } from './engine-host.js';

const WASM_URL = new URL('./vireo-wasm.wasm', import.meta.url);

const receive = hostEngine({
    createVireo,
    instantiate,
    post: (message) => self.postMessage(message),
    close: (status, client) => {
        if (client) self.postMessage({ type: 'exit', status });
        self.close();
    },
});
self.onmessage = (event) => receive(event.data);

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
    if (!response.ok)
        throw new Error(`vireo-chess: ${where} answered ${response.status} ${response.statusText}`.trim());
    const type = response.headers.get('Content-Type') ?? '';
    try {
        if (type.startsWith('application/wasm')) return await WebAssembly.instantiateStreaming(response, imports);
        const bytes = new Uint8Array(await response.arrayBuffer());
        if (bytes[0] !== 0 || bytes[1] !== 0x61 || bytes[2] !== 0x73 || bytes[3] !== 0x6d) {
            throw new Error(`answered ${type || 'a file'} that is not WebAssembly: is the file missing?`);
        }
        return await WebAssembly.instantiate(bytes, imports);
    } catch (error) {
        throw new Error(
            `vireo-chess: ${where} ${error.message.startsWith('answered') ? '' : 'failed: '}${error.message}`,
            {
                cause: error,
            },
        );
    }
}
