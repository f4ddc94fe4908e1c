// Puts the play page beside the package's files in the given folder (make web calls it with web/dist):
// the page's own files, and the board and rules libraries from web/node_modules under lib/.
//     node web/page/build.mjs OUT
import { cpSync, mkdirSync, readdirSync, rmSync } from 'node:fs';
import { fileURLToPath } from 'node:url';

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
