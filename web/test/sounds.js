// Sounds for the tests, and what the native command makes of them.

import { execFileSync, spawnSync } from 'node:child_process';

export const root = new URL('../../', import.meta.url);
const command = new URL('build/release/tools/tonelink/tonelink', root).pathname;

/** The package as a page gets it, from script/web. */
export const tonelink = await import(new URL('build/web/tonelink/index.js', root));

/** The samples of `tonelink encode`. */
export function encode(...message) {
    const bytes = execFileSync(command, ['encode', ...message, '--raw', '-o', '-']);
    return new Int16Array(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
}

/** A file of sound of 16 bits, the channels' samples one after the other. */
export function wavOf(samples, sampleRate, channels = 1) {
    const header = Buffer.alloc(44);
    header.write('RIFF', 0);
    header.writeUInt32LE(36 + samples.byteLength, 4);
    header.write('WAVEfmt ', 8);
    header.writeUInt32LE(16, 16);
    header.writeUInt16LE(1, 20);
    header.writeUInt16LE(channels, 22);
    header.writeUInt32LE(sampleRate, 24);
    header.writeUInt32LE(2 * channels * sampleRate, 28);
    header.writeUInt16LE(2 * channels, 32);
    header.writeUInt16LE(16, 34);
    header.write('data', 36);
    header.writeUInt32LE(samples.byteLength, 40);
    return Buffer.concat([header, Buffer.from(samples.buffer)]);
}

/** What `tonelink decode` tells of samples: the bursts, or one object with the reason. */
export function decode(samples, sampleRate, method) {
    const arguments_ = ['decode', '--json', '--all', '--method', method, '-'];
    const { stdout, status, stderr } = spawnSync(command, arguments_, {
        input: wavOf(samples, sampleRate),
        encoding: 'utf8',
    });
    if (status !== 0 && status !== 1) throw new Error(stderr);
    return stdout.trim().split('\n').map((line) => JSON.parse(line));
}

/** A source of numbers from -1 to 1, evenly spread, by the generator xorshift32. */
export function randomNumbers(seed) {
    let state = seed;
    return () => {
        state ^= state << 13;
        state ^= state >>> 17;
        state ^= state << 5;
        return state / 2 ** 31;
    };
}

/** White noise of a root mean square, near enough to a Gaussian's. */
export function noise(length, rms, seed) {
    const next = randomNumbers(seed);
    return Float64Array.from({ length }, () => {
        let sum = 0;
        for (let i = 0; i < 12; ++i) sum += next();
        return (sum / 2) * rms; // 12 numbers of variance 1/3
    });
}

export function toInt16(samples) {
    return Int16Array.from(samples, (x) => Math.max(-32768, Math.min(32767, Math.round(x))));
}

export function toFloat(samples) {
    return Float32Array.from(samples, (x) => x / 32768);
}

/** Adds `what`, times `gain`, from a place on. */
export function add(samples, what, place, gain = 1) {
    for (let i = 0; i < what.length; ++i) samples[place + i] += gain * what[i];
}

export function powerOf(samples) {
    return samples.reduce((sum, x) => sum + x * x, 0) / samples.length;
}

export const hex = (bytes) => Buffer.from(bytes).toString('hex').toUpperCase();

/**
 * All that a receiver hears in samples that are pushed in blocks of the given sizes in turn. It is taken
 * at the end, when a record names both methods that heard it, and may be 16 records.
 */
export async function hear(channels, settings, sizes = [441]) {
    const receiver = await tonelink.createStreamReceiver({
        channels: channels.length,
        ...settings,
    });
    for (let at = 0, turn = 0; at < channels[0].length; ++turn) {
        const end = at + sizes[turn % sizes.length];
        receiver.push(channels.map((channel) => channel.subarray(at, end)));
        at = end;
    }
    receiver.flush();
    const heard = [];
    for (let one = receiver.next(); one !== null; one = receiver.next()) heard.push(one);
    const report = receiver.report();
    receiver.close();
    return { heard, report };
}
