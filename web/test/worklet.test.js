// The receiver on the audio thread, in an audio worklet's scope of the test's own: what it tells of
// blocks that never came, and that it allocates nothing for those that do.

import assert from 'node:assert/strict';
import test from 'node:test';

import { encode, noise, root, toFloat, tonelink } from './sounds.js';

const block = 128;
const rate = 44100;

let Processor;
globalThis.sampleRate = rate;
globalThis.AudioWorkletProcessor = class {
    port = { told: [], postMessage: (data) => this.port.told.push(data) };
};
globalThis.registerProcessor = (name, processor) => (Processor = processor);
await import(new URL('build/web/tonelink/worklet.js', root));
const module = await tonelink.loadModule();

/** A processor whose context began before it. */
function open(channels, settings = {}) {
    globalThis.currentFrame = 1000 * block;
    const processorOptions = { module, channels, lengths: 0, methods: 0, reportEvery: 0, ...settings };
    return new Processor({ processorOptions });
}

/** Calls it for so many frames of sound; without sound, with no channels. */
function run(processor, frames, sound) {
    for (let at = 0; at < frames; at += block) {
        processor.process([sound ? [sound.subarray(at, at + block)] : []]);
        globalThis.currentFrame += block;
    }
}

function reportOf(processor) {
    processor.port.onmessage({ data: { type: 'report', id: 1 } });
    return processor.port.told.at(-1).report;
}

const blocks = (seconds) => block * Math.round((seconds * rate) / block);
const quiet = toFloat(noise(blocks(6), 300, 1));

test('blocks that never came are lost, and places stay right behind them', () => {
    const processor = open(1);
    run(processor, blocks(1), quiet);
    globalThis.currentFrame += blocks(3); // the processor was not called
    const sound = quiet.slice(0, blocks(2));
    sound.set(toFloat(encode('--data', '01020304')), 1000);
    run(processor, sound.length, sound);
    const { lostFrames, frames } = reportOf(processor);
    assert.deepEqual([lostFrames, frames], [blocks(3), blocks(1) + blocks(3) + blocks(2)]);
    const [heard] = processor.port.told.filter(({ type }) => type === 'heard');
    assert.ok(Math.abs(heard.heard.firstSample - blocks(1) - blocks(3) - 1000) < rate / 1000);
});

test('many small gaps are the reason that nothing is heard', () => {
    const gaps = {
        'not called': () => (globalThis.currentFrame += 3 * block),
        'called without channels': (processor) => run(processor, 3 * block),
    };
    for (const [name, lose] of Object.entries(gaps)) {
        const processor = open(1);
        for (let n = 0; n < 200; ++n) {
            lose(processor); // the first one is before all sound
            run(processor, 8 * block, quiet);
        }
        const { recentReason, lostFrames } = reportOf(processor);
        assert.deepEqual([recentReason, lostFrames], ['samples_lost', 199 * 3 * block], name);
    }
});

test('sound that has not begun, or has ended, is silence and not lost', () => {
    const processor = open(1);
    run(processor, blocks(6));
    assert.deepEqual([reportOf(processor).lostFrames, reportOf(processor).reason], [0, 'silent']);
    run(processor, blocks(1), quiet);
    run(processor, blocks(6));
    const { lostFrames, recentReason } = reportOf(processor);
    assert.ok(lostFrames < rate / 4);
    assert.equal(recentReason, 'silent');
});

test('nothing is allocated for a block, whether it comes or not', () => {
    const processor = open(2);
    const inputs = [[quiet.subarray(0, block), quiet.subarray(block, 2 * block)]];
    const nothing = [[]];
    const turn = () => {
        for (let n = 0; n < 1000; ++n) {
            processor.process(inputs);
            globalThis.currentFrame += n % 10 === 0 ? 5 * block : block;
            if (n % 100 > 95) processor.process(nothing);
        }
    };
    for (let n = 0; n < 20; ++n) turn(); // until it is compiled
    const before = process.memoryUsage().heapUsed;
    turn();
    const bytes = process.memoryUsage().heapUsed - before;
    assert.ok(bytes < 1000 * 16, `${bytes} bytes in 1000 blocks`);
});
