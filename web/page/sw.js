// The page's service worker: it keeps a copy of every file the page needs (the page, its modules,
// the board and rules libraries, the engine and its WebAssembly) and answers from that copy first,
// so that the page loads and plays without a network once it has been opened. A new build has a new
// VERSION (a hash of the files), which makes a new copy and deletes the old one.

// build.mjs writes these two lines for each build.
const VERSION = 'development';
const FILES = [];

const CACHE = `vireo-${VERSION}`;
const PAGE = new URL('index.html', self.registration.scope).href;

self.addEventListener('install', (event) => {
    event.waitUntil(
        caches
            .open(CACHE)
            .then((cache) => cache.addAll(FILES))
            .then(() => self.skipWaiting()),
    );
});

self.addEventListener('activate', (event) => {
    event.waitUntil(
        caches
            .keys()
            .then((names) => names.filter((name) => name.startsWith('vireo-') && name !== CACHE))
            .then((old) => Promise.all(old.map((name) => caches.delete(name))))
            .then(() => self.clients.claim()),
    );
});

self.addEventListener('fetch', (event) => {
    const request = event.request;
    if (request.method !== 'GET' || new URL(request.url).origin !== self.location.origin) return;
    event.respondWith(fromCache(request));
});

// The copy when there is one (the page itself for any address of it, whatever its ?fen= or ?pgn=),
// the network otherwise.
async function fromCache(request) {
    const cache = await caches.open(CACHE);
    const url = new URL(request.url);
    const inScope = url.href.startsWith(self.registration.scope);
    const page = request.mode === 'navigate' && inScope && /\/(index\.html)?$/.test(url.pathname);
    const cached = await cache.match(page ? PAGE : request, { ignoreSearch: page });
    return cached ?? fetch(request);
}
