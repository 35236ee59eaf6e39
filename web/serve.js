// Serves a folder on the loopback address, as a web server should serve the page: with the types and
// the security policy that README.md names. `node serve.js [FOLDER [PORT]]`
import { createReadStream, realpathSync, statSync } from 'node:fs';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';
import { fileURLToPath } from 'node:url';

const types = {
    '.css': 'text/css; charset=utf-8',
    '.html': 'text/html; charset=utf-8',
    '.js': 'text/javascript; charset=utf-8',
    '.json': 'application/json',
    '.png': 'image/png',
    '.svg': 'image/svg+xml',
    '.wasm': 'application/wasm',
    '.webmanifest': 'application/manifest+json',
};

export const headers = {
    'Content-Security-Policy':
        "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; style-src 'self'; img-src 'self'; " +
        "connect-src 'self'; worker-src 'self'; manifest-src 'self'; base-uri 'none'; " +
        "form-action 'none'; frame-ancestors 'none'",
    'Permissions-Policy': 'microphone=(self), screen-wake-lock=(self)',
    'Referrer-Policy': 'no-referrer',
    'X-Content-Type-Options': 'nosniff',
    'Cache-Control': 'no-cache',
};

function isFile(path) {
    return statSync(path, { throwIfNoEntry: false })?.isFile() ?? false;
}

function answer(folder, request, response) {
    const { pathname } = new URL(request.url, 'http://localhost');
    const path = join(folder, normalize(decodeURIComponent(pathname)));
    const file = path.endsWith('/') ? join(path, 'index.html') : path;
    const isThere = (request.method === 'GET' || request.method === 'HEAD') && isFile(file);
    const type = isThere ? (types[extname(file)] ?? 'application/octet-stream') : 'text/plain';
    response.writeHead(isThere ? 200 : 404, { ...headers, 'Content-Type': type });
    if (!isThere) response.end('not found\n');
    else if (request.method === 'HEAD') response.end();
    else createReadStream(file).on('error', () => response.destroy()).pipe(response);
}

/** Serves `folder`; port 0 takes one that is free. Resolves to {url, close()}. */
export function serve(folder, port = 0) {
    const server = createServer((request, response) => {
        try {
            answer(folder, request, response);
        } catch {
            response.writeHead(400).end();
        }
    });
    return new Promise((resolve, reject) => {
        server.once('error', reject);
        server.listen(port, '127.0.0.1', () => {
            const url = `http://127.0.0.1:${server.address().port}/`;
            const close = () => {
                server.closeAllConnections?.();
                return new Promise((closed) => server.close(closed));
            };
            resolve({ url, close });
        });
    });
}

function isProgram() {
    const [, program] = process.argv;
    return program !== undefined && realpathSync(program) === fileURLToPath(import.meta.url);
}

if (isProgram()) {
    const [folder = fileURLToPath(new URL('../build/web', import.meta.url)), port = '8000'] =
        process.argv.slice(2);
    if (!/^\d{1,5}$/.test(port) || Number(port) > 65535) {
        console.error('usage: node serve.js [FOLDER [PORT]]');
        process.exit(2);
    }
    const { url } = await serve(folder, Number(port));
    console.log(url);
}
