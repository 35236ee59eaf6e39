// Bursts: the native library's samples, and the same sound at other rates.

import assert from 'node:assert/strict';
import test from 'node:test';

import { encode, hear, hex, toFloat, tonelink } from './sounds.js';

const { makeBurst, pairingMessage, readPairing, ToneLinkError } = tonelink;

test('bursts are those of the native library, sample for sample, whatever was made before', async () => {
    for (const data of ['00000000', 'FFFFFFFF', 'CAFE0100', '000000000000', '0123456789AB', '68000000']) {
        const native = encode('--data', data, '--bits', String(4 * data.length));
        const message = Buffer.from(data, 'hex');
        assert.deepEqual(await makeBurst(message), toFloat(native), data);
    }
});

test('pairing messages are those of the command', async () => {
    for (const [pin, bits] of [[4711, 32], [65535, 32], [4711, 48], [4294967295, 48]]) {
        const address = 'AA:bb:CC:DD:0e:FF';
        const message = pairingMessage(pin, address, bits);
        const native = encode('--pin', String(pin), '--address', address, '--bits', String(bits));
        assert.deepEqual(await makeBurst(message), toFloat(native));
        assert.deepEqual(readPairing(message), { pin, octets: '0E:FF' });
    }
});

/** The amplitude of a frequency in samples of a rate, as a sum over time. */
function amplitudeAt(samples, hz, sampleRate) {
    const turn = (2 * Math.PI * hz) / sampleRate;
    let re = 0;
    let im = 0;
    samples.forEach((sample, n) => {
        re += sample * Math.cos(turn * n);
        im += sample * Math.sin(turn * n);
    });
    return Math.hypot(re, im) / sampleRate;
}

const decibels = (ratio) => 20 * Math.log10(ratio);

test('at other rates the band is flat, and images are far below it', async () => {
    const message = [0x12, 0x67, 0xee, 0xff];
    const original = await makeBurst(message);
    const inBand = [];
    for (let hz = 18000; hz <= 20200; hz += 23) inBand.push(hz);
    for (const sampleRate of [42000, 48000, 44101, 96000, 192000]) {
        const samples = await makeBurst(message, { sampleRate });
        assert.equal(samples.length, Math.ceil((original.length * sampleRate) / 44100));
        assert.ok(samples.every((sample) => Math.abs(sample) <= 1));
        const ratios = inBand.map((hz) =>
            decibels(amplitudeAt(samples, hz, sampleRate) / amplitudeAt(original, hz, 44100)),
        );
        const least = Math.min(...ratios);
        const most = Math.max(...ratios);
        assert.ok(most - least < 0.02, `${sampleRate} Hz: ${most - least} dB`);
        assert.ok(most < 0.02 && least > -3, `${sampleRate} Hz: ${least} to ${most} dB`);

        const loudest = Math.max(...inBand.map((hz) => amplitudeAt(samples, hz, sampleRate)));
        let image = 0;
        for (let hz = 44100 - 20140; hz < Math.min(26100, sampleRate / 2); hz += 23)
            image = Math.max(image, amplitudeAt(samples, hz, sampleRate));
        assert.ok(decibels(image / loudest) < -90, `${sampleRate} Hz: ${decibels(image / loudest)} dB`);
        if (process.env.TONELINK_FIGURES)
            console.log(sampleRate, least, most, decibels(image / loudest));
    }
});

test('a receiver hears bursts of any rate', async () => {
    const message = [1, 2, 3, 4, 5, 6];
    for (const sampleRate of [42000, 44100, 47999, 48000, 96000, 384000]) {
        const burst = await makeBurst(message, { sampleRate });
        const sound = new Float32Array(2 * burst.length);
        sound.set(burst, 1000);
        const { heard } = await hear([sound], { sampleRate });
        assert.deepEqual(heard.map((one) => hex(one.message)), [hex(message)], String(sampleRate));
        assert.ok(Math.abs(heard[0].firstSample - 1000) < sampleRate / 1000);
    }
});

test('what cannot be sent has a name', async () => {
    const bad = (error) => error instanceof ToneLinkError && error.code === 'bad-argument';
    await assert.rejects(makeBurst([1, 2, 3]), bad);
    await assert.rejects(makeBurst([1, 2, 3, 256]), bad);
    for (const sampleRate of [41999, 384001, 44100.5, NaN])
        await assert.rejects(makeBurst([1, 2, 3, 4], { sampleRate }), bad);
    assert.throws(() => pairingMessage(65536, 'AA:BB:CC:DD:EE:FF'), bad);
    assert.throws(() => pairingMessage(1, 'AA:BB:CC:DD:EE'), bad);
});
