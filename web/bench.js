// Times the module in Node: how many seconds of sound a second of processor time is enough for, the
// dearest block of 10 ms, and the memory that it takes.
//
//   node web/bench.js MODULE.wasm...
//
// Each time is the least of several runs that do the same work; for a block, of the same block.

import { readFile } from 'node:fs/promises';

import { Core, StreamReceiver } from './tonelink/core.js';

const sampleRate = 48000;
const block = sampleRate / 100;
const seconds = 10;
const runs = 7;

/** Noise of full scale's hundredth; the same in every run. */
function makeNoise(length) {
    const samples = new Float32Array(length);
    let state = 1;
    for (let i = 0; i < length; ++i) {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        samples[i] = (state / 2 ** 32 - 0.5) * 0.02;
    }
    return samples;
}

/** Bursts one behind the other, in noise. */
function addBursts(noise, core) {
    const samples = noise.slice();
    const burst = core.makeBurst([0x12, 0x67, 0xee, 0xff], sampleRate);
    for (let i = 0; i < samples.length; ++i) samples[i] += burst[i % burst.length] / 10;
    return samples;
}

/** The least times of all blocks, in milliseconds, and how many bursts were heard. */
function timeBlocks(core, samples, methods) {
    const least = new Float64Array(samples.length / block).fill(Infinity);
    let heard = 0;
    for (let run = 0; run < runs; ++run) {
        const receiver = new StreamReceiver(core, { sampleRate, methods });
        heard = 0;
        for (let n = 0; n < least.length; ++n) {
            const begin = performance.now();
            receiver.push([samples.subarray(n * block, (n + 1) * block)]);
            least[n] = Math.min(least[n], performance.now() - begin);
            while (receiver.next() !== null) ++heard;
        }
        receiver.close();
    }
    return { least, heard };
}

const methods = { exact: 1, far: 2, both: 3 };
for (const path of process.argv.slice(2)) {
    const bytes = await readFile(path);
    const core = new Core(new WebAssembly.Module(bytes));
    const noise = makeNoise(seconds * sampleRate);
    const sounds = { noise, bursts: addBursts(noise, core) };
    console.log(`${path}: ${bytes.length} bytes`);
    for (const [method, number] of Object.entries(methods)) {
        for (const [sound, samples] of Object.entries(sounds)) {
            const { least, heard } = timeBlocks(core, samples, number);
            const total = least.reduce((sum, time) => sum + time, 0);
            console.log(
                `${method.padEnd(5)} ${sound.padEnd(6)}`,
                `${((1000 * seconds) / total).toFixed(0).padStart(5)} times real time,`,
                `dearest block ${(1000 * Math.max(...least)).toFixed(0)} us, heard ${heard},`,
                `${(core.exports.memory_size(sampleRate, 0, number) / 1024).toFixed(0)} KB`,
            );
        }
    }
    console.log(`module's memory: ${core.memory.buffer.byteLength / 1024} KB`);
    let best = Infinity;
    for (let n = 0; n < 200; ++n) {
        const begin = performance.now();
        core.makeBurst([n, 2, 3, 4, 5, 6], 44100);
        best = Math.min(best, performance.now() - begin);
    }
    console.log(`burst: ${(1000 * best).toFixed(0)} us`);
}
