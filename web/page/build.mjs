// Puts the play page beside the package's files in the given folder (make web calls it with web/dist):
// the page's own files, and the board and rules libraries from web/node_modules under lib/. Then it
// writes the service worker's list of the files the page uses (the page, the modules it imports, the
// stylesheets and sprites, the engine) with a hash of their contents as the version of the offline copy,
// and prints the size of that first download.
//     node web/page/build.mjs OUT
import { createHash } from 'node:crypto';
import { cpSync, existsSync, mkdirSync, readFileSync, readdirSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { dirname, join, normalize, relative } from 'node:path';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

const out = process.argv[2];
if (!out) {
    console.error('usage: node web/page/build.mjs OUT');
    process.exit(2);
}
const page = fileURLToPath(new URL('.', import.meta.url));
const modules = fileURLToPath(new URL('../node_modules/', import.meta.url));

for (const name of readdirSync(page)) {
    if (name !== 'build.mjs') cpSync(page + name, `${out}/${name}`, { recursive: true });
}
rmSync(`${out}/lib`, { recursive: true, force: true });
mkdirSync(`${out}/lib`, { recursive: true });
cpSync(modules + 'chess.js/dist/esm/chess.js', `${out}/lib/chess.js`);
cpSync(modules + 'chess.js/LICENSE', `${out}/lib/chess.js.LICENSE`);
cpSync(modules + 'cm-chessboard/src', `${out}/lib/cm-chessboard`, { recursive: true });
cpSync(modules + 'cm-chessboard/LICENSE', `${out}/lib/cm-chessboard/LICENSE`);
cpSync(modules + 'cm-chessboard/assets', `${out}/lib/cm-chessboard-assets`, { recursive: true });

// ---- the files of the offline copy ----

const root = normalize(out + '/');
const indexHtml = readFileSync(root + 'index.html', 'utf8');
const importMap = JSON.parse(/<script type="importmap">([\s\S]*?)<\/script>/.exec(indexHtml)[1]).imports;
// What the page loads by name rather than by import: the board's sprites, and the engine's WebAssembly
// when the worker names it in a way the scan below does not see.
const named = [
    'lib/cm-chessboard-assets/pieces/standard.svg',
    'lib/cm-chessboard-assets/extensions/markers/markers.svg',
    'vireo-wasm.wasm',
];

// The package's worker with everything inside, which vireo.js loads only when a bundler has left the
// worker out; this page serves the worker itself.
const unused = new Set(['vireo.inline.js']);

const files = new Set(['index.html', ...named]);
const pageFiles = readdirSync(page, { recursive: true }).filter((name) => {
    const path = page + name;
    return statSync(path).isFile() && name !== 'build.mjs' && name !== 'sw.js' && !name.startsWith('.');
});
for (const name of pageFiles) files.add(name.split('\\').join('/'));
for (const [, href] of indexHtml.matchAll(/<link[^>]+href="([^"#?:]+)"/g)) files.add(href);
for (const [, src] of indexHtml.matchAll(/<script[^>]+src="([^"#?:]+)"/g)) files.add(src);
files.add('vireo.worker.js');

// Follows the static and dynamic imports, export-froms and new URL(..., import.meta.url) of every module.
const pending = [...files].filter((name) => name.endsWith('.js'));
while (pending.length) {
    const name = pending.pop();
    if (!existsSync(root + name)) continue;
    const source = readFileSync(root + name, 'utf8');
    const found = [
        ...source.matchAll(/(?:^|[\s;})])(?:import|export)\s[^'"`;]*?from\s*['"]([^'"]+)['"]/g),
        ...source.matchAll(/(?:^|[\s;])import\s*['"]([^'"]+)['"]/g),
        ...source.matchAll(/import\(\s*['"]([^'"]+)['"]\s*\)/g),
        ...source.matchAll(/new URL\(\s*['"]([^'"]+)['"]\s*,\s*import\.meta\.url\s*\)/g),
    ].map((match) => match[1]);
    for (const specifier of found) {
        const target = resolve(specifier, name);
        if (target && !files.has(target) && !unused.has(target)) {
            files.add(target);
            if (target.endsWith('.js')) pending.push(target);
        }
    }
}

function resolve(specifier, from) {
    let path = specifier;
    if (!/^\.{0,2}\//.test(specifier)) {
        const key = Object.keys(importMap).find((k) => (k.endsWith('/') ? specifier.startsWith(k) : specifier === k));
        if (!key) return null;
        path = importMap[key] + specifier.slice(key.length);
        from = 'index.html';
    }
    const target = relative(root, join(root, dirname(from), path))
        .split('\\')
        .join('/');
    return target.startsWith('..') ? null : target;
}

const missing = [...files].filter((name) => !existsSync(root + name));
for (const name of missing) files.delete(name);
if (missing.length) console.log(`build.mjs: not in ${out}, left out of the offline copy: ${missing.join(', ')}`);
const list = ['./', ...[...files].sort()];

const hash = createHash('sha256');
let bytes = 0;
let gzipped = 0;
for (const name of list.slice(1)) {
    const content = readFileSync(root + name);
    hash.update(name).update('\0').update(content);
    bytes += content.length;
    gzipped += gzipSync(content, { level: 9 }).length;
}
const version = hash.digest('hex').slice(0, 16);
const worker = readFileSync(page + 'sw.js', 'utf8');
const written = worker
    .replace("const VERSION = 'development';", `const VERSION = '${version}';`)
    .replace('const FILES = [];', `const FILES = ${JSON.stringify(list, null, 4)};`);
if (!written.includes(version) || written.includes('const FILES = [];')) {
    throw new Error('sw.js: the VERSION and FILES lines were not found');
}
writeFileSync(root + 'sw.js', written);
const kb = (n) => `${(n / 1024).toFixed(1)} kB`;
console.log(`offline copy ${version}: ${list.length - 1} files, ${kb(bytes)} (${kb(gzipped)} gzipped)`);
