// Gets the module of WebAssembly, once for a page.

import { ToneLinkError } from './errors.js';

// A function that needs vectors of 128 bits.
const vectorProbe = new Uint8Array([
    0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15,
    253, 98, 11,
]);

let ours; // the promise of the module beside this file

async function bytesOf(url) {
    if (url.protocol === 'file:') {
        // In Node, whose fetch reads no file; bundlers shall not look for it.
        const files = 'node:fs/promises';
        const { readFile } = await import(/* webpackIgnore: true */ /* @vite-ignore */ files);
        return readFile(url);
    }
    const response = await fetch(url);
    if (!response.ok) throw new Error(`${url}: ${response.status} ${response.statusText}`);
    return response.arrayBuffer();
}

async function compile(url) {
    const forbidden = 'this browser has no WebAssembly, or forbids it';
    if (typeof WebAssembly === 'undefined') throw new ToneLinkError('no-webassembly', forbidden);
    if (!WebAssembly.validate(vectorProbe))
        throw new ToneLinkError('no-simd', 'this browser has no WebAssembly with vectors');
    await WebAssembly.compile(vectorProbe).catch((error) => {
        throw new ToneLinkError('no-webassembly', forbidden, error); // by the page's policy
    });
    try {
        return await WebAssembly.compile(await bytesOf(url));
    } catch (error) {
        throw new ToneLinkError('no-module', `the module cannot be loaded: ${error.message}`, error);
    }
}

/**
 * The compiled module. Without a place it is tonelink.wasm beside this file, fetched and compiled
 * once; after a failure the next call tries again.
 */
export async function loadModule(url) {
    if (url !== undefined) return compile(new URL(url, globalThis.location?.href));
    ours ??= compile(new URL('./tonelink.wasm', import.meta.url)).catch((error) => {
        ours = undefined;
        throw error;
    });
    return ours;
}
