// The page's one engine, started by the first script of the page, before the board and the rest of
// the page have loaded: the engine is then ready by the time a first move is asked of it. app.js
// imports the same start.
import { Vireo } from './vireo.js';

// A phone holds 32 MB of table easily; the engine's own default of 128 MB is meant for a desktop GUI.
const HASH_MB = 32;

export const enginePromise = Vireo.start({ hash: HASH_MB });
// A failed start is reported by app.js, which waits for it; this keeps it from being reported twice.
enginePromise.catch(() => {});
