// The receiver: what the native library tells of the same sound.

import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';
import { pathToFileURL } from 'node:url';

import {
    add, decode, encode, hear, hex, noise, powerOf, randomNumbers, root, toFloat, toInt16, tonelink,
} from './sounds.js';

const { createStreamReceiver, loadModule, makeBurst, methods, openMicrophone } = tonelink;

/** Bursts of both lengths at several levels in noise. */
async function pairings(sampleRate) {
    const samples = noise(8 * sampleRate, 300, 1);
    const words = ['12670EFF', 'CAFE01', '0123456789AB', '12670EFF', '68000000', '00000000'];
    for (const [n, word] of words.entries()) {
        const message = Buffer.from(word.padEnd(word.length > 8 ? 12 : 8, '0'), 'hex');
        const burst = await makeBurst(message, { sampleRate });
        add(samples, burst, Math.round((0.3 + 1.2 * n) * sampleRate) + n, 20000 * 0.5 ** n);
    }
    return toInt16(samples);
}

test('the exact method tells what it tells natively', async () => {
    for (const sampleRate of [44100, 48000, 96000]) {
        const sound = await pairings(sampleRate);
        const native = decode(sound, sampleRate, 'exact');
        assert.ok(native.length >= 5);
        const { heard } = await hear([toFloat(sound)], { sampleRate, methods: methods.exact });
        const near = (a, b) => Math.abs(a - b) <= 0.051; // the command rounds to a tenth
        assert.deepEqual(
            heard.map((one) => [hex(one.message), one.firstSample, one.positions, one.copies]),
            native.map((one) => [one.message, one.sample, one.positions, one.copies]),
        );
        heard.forEach((one, n) => {
            assert.ok(near(one.levelDbfs, native[n].level_dbfs));
            assert.ok(near(one.snrDb, native[n].snr_db));
            assert.ok(near(one.clockPpm, native[n].clock_ppm));
            assert.equal(one.methods, methods.exact);
        });
    }
});

test('the far method hears a burst 19 dB below the noise, as it does natively', async () => {
    const burst = encode('--data', 'CAFE0100');
    const samples = noise(3 * 44100, Math.sqrt(powerOf(burst) * 10 ** 1.9) / 12, 7);
    add(samples, burst, 30000, 1 / 12);
    const sound = toInt16(samples);
    assert.equal(decode(sound, 44100, 'exact')[0].reason, 'no_burst');
    const native = decode(sound, 44100, 'far');
    assert.deepEqual(native.map((one) => one.message), ['CAFE0100']);
    const { heard } = await hear([toFloat(sound)], { methods: methods.far });
    assert.deepEqual(heard.map((one) => hex(one.message)), ['CAFE0100']);
    assert.ok(Math.abs(heard[0].firstSample - native[0].sample) <= 1);
});

test('nothing depends on where the stream is cut', async () => {
    const sound = toFloat(await pairings(48000));
    const whole = await hear([sound], { sampleRate: 48000 }, [sound.length]);
    assert.ok(whole.heard.length >= 5);
    const next = randomNumbers(3);
    const random = Array.from({ length: 97 }, () => 1 + Math.floor(Math.abs(next()) * 3000));
    for (const sizes of [[128], [1024], [1025], [4800, 1], random])
        assert.deepEqual(await hear([sound], { sampleRate: 48000 }, sizes), whole);
});

test('reasons are those that the native library gives', async () => {
    const rate = 48000;
    const tone = (hz, amplitude) =>
        Float64Array.from({ length: 3 * rate }, (_, n) => amplitude * Math.sin((2 * Math.PI * hz * n) / rate));
    const weak = noise(3 * rate, 6000, 5);
    add(weak, await makeBurst([1, 2, 3, 4], { sampleRate: rate }), rate, 5000);
    const full = noise(3 * rate, 6000, 9);
    const low = new Float64Array(full.length); // below 8 kHz, by a windowed sinc
    for (let k = -60; k <= 60; ++k) {
        const tap = (k === 0 ? 1 / 3 : Math.sin((Math.PI * k) / 3) / (Math.PI * k)) *
            (0.5 + 0.5 * Math.cos((Math.PI * k) / 61));
        for (let n = 60; n < low.length - 60; ++n) low[n] += tap * full[n - k];
    }
    const sounds = {
        silent: new Float64Array(3 * rate),
        clipped: tone(500, 200000),
        band_cut: low,
        no_burst: noise(3 * rate, 1000, 4),
        heard: await pairings(rate),
        weak,
    };
    const seen = new Set();
    for (const [name, samples] of Object.entries(sounds)) {
        const sound = toInt16(samples);
        const native = decode(sound, rate, 'exact')[0].reason ?? 'heard';
        const { report } = await hear([toFloat(sound)], { sampleRate: rate, methods: methods.exact });
        assert.equal(report.reason, native, name);
        assert.equal(report.frames, sound.length);
        seen.add(native);
    }
    assert.deepEqual(
        [...seen].sort(),
        ['band_cut', 'clipped', 'heard', 'no_burst', 'silent', 'too_weak'],
    );
});

test('lost frames are counted, and places stay right behind them', async () => {
    const receiver = await createStreamReceiver();
    receiver.push([new Float32Array(10000)]);
    receiver.lost(200000);
    receiver.pushSilence(5000);
    receiver.push([toFloat(encode('--data', '01020304'))]);
    receiver.flush();
    const heard = receiver.next();
    const report = receiver.report();
    assert.ok(Math.abs(heard.firstSample - 215000) < 44);
    assert.deepEqual([report.lostFrames, report.reason], [200000, 'heard']);
    receiver.close();
});

test('a receiver that is closed refuses all but another close', async () => {
    const receiver = await createStreamReceiver();
    receiver.close();
    receiver.close();
    const calls = { push: [[new Float32Array(1)]], pushSilence: [1], lost: [1] };
    for (const name of ['push', 'pushSilence', 'lost', 'settle', 'flush', 'next', 'report'])
        assert.throws(() => receiver[name](...(calls[name] ?? [])), { code: 'closed' }, name);
});

test('of several channels the one with the burst is heard', async () => {
    const burst = toFloat(encode('--data', '01020304'));
    const sound = new Float32Array(3 * 44100);
    const quiet = toFloat(noise(sound.length, 30, 2));
    sound.set(burst, 44100);
    for (const channels of [[quiet, sound], [quiet, quiet, sound, quiet]]) {
        const { heard } = await hear(channels, {}, [128]);
        assert.deepEqual(heard.map((one) => hex(one.message)), ['01020304']);
    }
    const { heard } = await hear([quiet, quiet], {}, [128]);
    assert.deepEqual(heard, []);
});

test('many receivers share a module, and each is open at its own settings', async () => {
    const sound = toFloat(encode('--data', '0123456789AB'));
    const module = await loadModule();
    const results = await Promise.all(
        [1, 2, 3].map((lengths) => hear([sound], { module, lengths })),
    );
    assert.deepEqual(results.map(({ heard }) => heard.length), [0, 1, 1]);
});

test('the module imports nothing and is small', async () => {
    assert.deepEqual(WebAssembly.Module.imports(await loadModule()), []);
    const bytes = await readFile(new URL('build/web/tonelink/tonelink.wasm', root));
    assert.ok(bytes.length < 220000);
});

test('what cannot be has a name', async () => {
    await assert.rejects(createStreamReceiver({ sampleRate: 41999 }), { code: 'bad-argument' });
    await assert.rejects(createStreamReceiver({ methods: 4 }), { code: 'bad-argument' });
    await assert.rejects(createStreamReceiver({ channels: 9 }), { code: 'bad-argument' });
    await assert.rejects(createStreamReceiver({ sampleRate: 'CD' }), { code: 'bad-argument' });
    await assert.rejects(openMicrophone(), { code: 'insecure-page' });
    await assert.rejects(loadModule('relative'), TypeError); // there is no page that it is beside
    const receiver = await createStreamReceiver({ channels: 2 });
    const unequal = [new Float32Array(128), new Float32Array(127)];
    for (const wrong of [unequal, unequal[0], 5])
        assert.throws(() => receiver.push(wrong), { code: 'bad-argument' });
    const folder = await mkdtemp(join(tmpdir(), 'tonelink-'));
    try {
        const file = join(folder, 'no.wasm');
        await writeFile(file, 'no module');
        await assert.rejects(loadModule(pathToFileURL(file)), { code: 'no-module' });
        await assert.rejects(loadModule(pathToFileURL(join(folder, 'nothing'))), { code: 'no-module' });
    } finally {
        await rm(folder, { recursive: true });
    }
});
