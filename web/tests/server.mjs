// A static file server on 127.0.0.1 for the browser tests and the measurements: module workers do
// not load from file:// pages. It serves one folder, on a free port, to this machine only.
import { createServer } from 'node:http';
import { readFile } from 'node:fs/promises';
import { extname, join, normalize, sep } from 'node:path';

const TYPES = {
    '.html': 'text/html; charset=utf-8',
    '.js': 'text/javascript; charset=utf-8',
    '.mjs': 'text/javascript; charset=utf-8',
    '.css': 'text/css; charset=utf-8',
    '.svg': 'image/svg+xml',
    '.wasm': 'application/wasm',
    '.json': 'application/json',
    '.png': 'image/png',
    '.webmanifest': 'application/manifest+json',
};

// Resolves to { url, close } once the server listens.
export function serve(root) {
    const server = createServer(async (request, response) => {
        const path = decodeURIComponent(new URL(request.url, 'http://127.0.0.1').pathname);
        if (path === '/blank.html') {
            // An empty page of the same origin, from which a test starts workers of its own.
            response.writeHead(200, { 'Content-Type': TYPES['.html'] }).end('<!doctype html><title>blank</title>');
            return;
        }
        const file = normalize(join(root, path.endsWith('/') ? path + 'index.html' : path));
        if (!file.startsWith(normalize(root + sep))) {
            response.writeHead(403).end();
            return;
        }
        try {
            const body = await readFile(file);
            response.writeHead(200, { 'Content-Type': TYPES[extname(file)] ?? 'application/octet-stream' });
            response.end(body);
        } catch {
            response.writeHead(404).end();
        }
    });
    return new Promise((resolve) => {
        server.listen(0, '127.0.0.1', () => {
            resolve({
                url: `http://127.0.0.1:${server.address().port}/`,
                close: () => new Promise((done) => server.close(done)),
            });
        });
    });
}
