// Makes dist/vireo.inline.js: the engine's worker, its glue and its WebAssembly (base64) bundled
// into one script and exported as a string, from which vireo.js starts a worker when the files
// beside it are missing (a bundler that does not follow new URL(..., import.meta.url)). make web
// runs it after the engine is built:  node web/build-inline.mjs
import { readFileSync, writeFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const web = fileURLToPath(new URL('.', import.meta.url));
const wasm = readFileSync(web + 'dist/vireo-wasm.wasm').toString('base64');
const result = await build({
    entryPoints: [web + 'src/vireo.embedded-worker.js'],
    bundle: true,
    format: 'esm',
    minify: true,
    write: false,
    logLevel: 'warning',
    plugins: [
        {
            name: 'engine-files',
            setup(context) {
                // The glue is the one just built; the WebAssembly comes as a module of its own.
                context.onResolve({ filter: /^\.\/vireo-wasm\.js$/ }, () => ({ path: web + 'dist/vireo-wasm.js' }));
                context.onResolve({ filter: /^\.\/vireo-wasm\.base64\.js$/ }, () => ({
                    path: 'wasm',
                    namespace: 'engine',
                }));
                context.onLoad({ filter: /.*/, namespace: 'engine' }, () => ({
                    contents: `export default ${JSON.stringify(wasm)};`,
                    loader: 'js',
                }));
            },
        },
    ],
});
const source = result.outputFiles[0].text;
writeFileSync(
    web + 'dist/vireo.inline.js',
    "// The engine's worker with its WebAssembly inside, as the text of a module (see vireo.js).\n" +
        `export default ${JSON.stringify(source)};\n`,
);
console.log(`dist/vireo.inline.js: ${source.length} bytes of worker`);
