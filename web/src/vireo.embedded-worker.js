// The engine's worker with its WebAssembly inside, for bundlers that do not follow
// new URL(..., import.meta.url) (esbuild): make web bundles this file into one script, which
// vireo.js starts from a Blob only when the worker beside it cannot be loaded.
import createVireo from './vireo-wasm.js';
import { hostInWebWorker } from './engine-host.js';
import wasm from './vireo-wasm.base64.js';

hostInWebWorker(createVireo, (imports) =>
    WebAssembly.instantiate(
        Uint8Array.from(atob(wasm), (c) => c.charCodeAt(0)),
        imports,
    ),
);
