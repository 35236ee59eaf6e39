// Sounds for a fake microphone: what the command writes, and one for each reason that a receiver
// gives for hearing nothing. All are mono at 44100 Hz, -1 to 1, and the same in every run.
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';

import {
    add,
    encode as encode16,
    noise as noiseOf,
    powerOf,
    root,
    toFloat,
    toInt16,
    wavOf,
} from '../sounds.js';

export const soundRate = 44100;

const symbolLength = 1440;
const firstSymbol = 128; // the filters' delay
const bandShare = 2070 / (soundRate / 2); // of white noise that lies in the bursts' band

const command = fileURLToPath(new URL('build/release/tools/tonelink/tonelink', root));

export const tonelink = (...options) => execFileSync(command, options, { stdio: 'ignore' });

/** What `tonelink encode` makes. */
export const encode = (...options) => toFloat(encode16(...options));

export function writeWav(path, samples) {
    writeFileSync(path, wavOf(toInt16(samples.map((sample) => sample * 32768)), soundRate));
}

export const silence = (seconds) => new Float32Array(Math.round(seconds * soundRate));

export function joined(...parts) {
    const samples = new Float32Array(parts.reduce((length, part) => length + part.length, 0));
    let at = 0;
    for (const part of parts) {
        samples.set(part, at);
        at += part.length;
    }
    return samples;
}

export const noise = (seconds, rms) =>
    Float32Array.from(noiseOf(Math.round(seconds * soundRate), rms, /*seed=*/ 1));

function lowPass(samples, hz) {
    const half = 100;
    const taps = Array.from({ length: 2 * half + 1 }, (_, i) => {
        const x = i - half;
        const window = 0.5 + 0.5 * Math.cos((Math.PI * x) / (half + 1));
        return (
            window *
            (x === 0
                ? (2 * hz) / soundRate
                : Math.sin((2 * Math.PI * hz * x) / soundRate) / (Math.PI * x))
        );
    });
    return samples.map((_, n) =>
        taps.reduce((sum, tap, i) => sum + tap * (samples[n + half - i] ?? 0), 0),
    );
}

/** A sound whose clock runs faster by so many millionths. */
function atClock(samples, ppm) {
    const half = 32;
    const step = 1 + ppm * 1e-6;
    return new Float32Array(Math.floor(samples.length / step)).map((_, n) => {
        const at = n * step;
        const middle = Math.floor(at);
        let sum = 0;
        for (let i = middle - half + 1; i <= middle + half; ++i) {
            const x = at - i;
            const window = 0.5 + 0.5 * Math.cos((Math.PI * x) / (half + 1));
            sum +=
                window * (samples[i] ?? 0) * (x === 0 ? 1 : Math.sin(Math.PI * x) / (Math.PI * x));
        }
        return sum;
    });
}

/** A burst whose symbols are each of another message: its pilots are right, and nothing can be read. */
function unreadable() {
    const burst = encode('--data', '00000000').slice();
    for (let symbol = 0; symbol < 16; ++symbol) {
        const data = [37, 91, 53, 17].map((factor) =>
            ((factor * symbol + 5) & 255).toString(16).padStart(2, '0'),
        );
        const other = encode('--data', data.join(''));
        const first = firstSymbol + symbol * symbolLength;
        burst.set(other.subarray(first, first + symbolLength), first);
    }
    return burst;
}

/** A burst every 1.1 s in eight seconds of noise, by so many dB stronger than it in their band. */
function inNoise(burst, snrDb) {
    const samples = noise(8.3, 0.02);
    const gain = Math.sqrt((powerOf(samples) * bandShare * 10 ** (snrDb / 10)) / powerOf(burst));
    for (let seconds = 0.5; seconds < 7.5; seconds += 1.1)
        add(samples, burst, Math.round(seconds * soundRate), gain);
    return samples;
}

/** A sound for each reason, to be repeated without end. */
export const reasons = {
    silent: () => silence(8),
    no_burst: () => noise(8, 0.03),
    clipped: () => noise(8, 1.5),
    band_cut: () => lowPass(noise(8, 0.15), 8000),
    too_weak: () => inNoise(unreadable(), -3.5),
    unclear: () => inNoise(unreadable(), 20),
    clock: () => inNoise(atClock(unreadable(), 700), 20),
};
