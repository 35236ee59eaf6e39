// The receiving side of the page in a browser: what a person sees of what arrives, and of what keeps
// it from arriving.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { fakeMicrophone, patience, withPage } from './browser.js';
import { inspect } from './inspection.js';
import { SoundServer } from './sound_server.js';
import { encode, joined, noise, reasons, silence, tonelink, writeWav } from './sounds.js';

let work;
before(() => (work = mkdtempSync(join(tmpdir(), 'tonelink-sounds-'))));
after(() => rmSync(work, { recursive: true, force: true }));

const heardControls = ['#listen', '#pin', '#octets', '#figure'];

/** A microphone that hears samples again and again. */
function hearing(name, samples) {
    const path = join(work, `${name}.wav`);
    writeWav(path, samples);
    return fakeMicrophone(path);
}

/** Some copies of a burst with pauses, and a pause of more than three seconds behind them. */
function repeated(burst, copies) {
    const pause = silence(0.3);
    return joined(
        silence(0.5),
        ...Array.from({ length: copies }, () => joined(burst, pause)),
        silence(3.5),
    );
}

const listen = (page) => page.click('#listen');
const see = (page, selector, text) =>
    page
        .locator(selector)
        .filter({ hasText: text })
        .waitFor({ state: 'visible', timeout: patience });

test('shows the PIN of a pairing once, and how often it came', async () => {
    const burst = encode('--pin', '4711', '--address', 'AA:BB:CC:DD:3C:A5');
    const browserFlags = hearing('pairing', repeated(burst, 4));
    await withPage({ browserFlags }, async ({ page }) => {
        await inspect(page, 'start', ['#headline', '#listen']);
        await listen(page);
        await see(page, '#pin', /^4711$/);
        await see(page, '#octets', /^3C:A5$/);
        await see(page, '#figure', /^Heard ([4-9]|\d\d+) times, very clear\.$/);
        const [only, ...others] = await page.locator('.entry-figures').allInnerTexts();
        assert.match(only, /^\d+ times, very clear: .* 32 bits 12673CA5$/);
        assert.deepEqual(others, []);
        const status = page.getByRole('status').first();
        assert.match(await status.ariaSnapshot(), /PIN 4 7 1 1\. Address ends in 3 C : A 5\./);
        await inspect(page, 'heard', heardControls);
        await listen(page); // that is: stop
        await see(page, '#listen', 'Listen again');
        await see(page, '#pin', /^4711$/);
    });
});

test('frames a burst in the picture where its sound is', async () => {
    const burst = encode('--pin', '4711', '--address', '00:00:00:00:3C:A5');
    const sound = joined(silence(1), burst, silence(0.7));
    noise(3, 0.0005).forEach((x, i) => {
        if (i < sound.length) sound[i] += x;
    });
    await withPage({ browserFlags: hearing('one', sound) }, async ({ page }) => {
        await page.emulateMedia({ colorScheme: 'dark' });
        await listen(page);
        await see(page, '#figure', /Heard 3 times|Heard [4-9] times/);
        // The frame has the style's colour; sound is green or white.
        const { framed, beside } = await page.evaluate(measureFrame);
        assert.ok(framed > 4 * beside, `${framed} in the frame, ${beside} beside it`);
    });
});

test('hears, measures and draws what two channels have, though it cancels in their sum', async () => {
    const prepare = (context) =>
        context.addInitScript(() => {
            navigator.mediaDevices.getUserMedia = async () => {
                const { makeBurst } = await import('/tonelink/index.js');
                const context = new AudioContext();
                const stream = new MediaStreamAudioDestinationNode(context);
                const burst = await makeBurst([18, 103, 60, 165], context);
                const length = burst.length + context.sampleRate;
                const buffer = context.createBuffer(2, length, context.sampleRate);
                buffer.copyToChannel(burst, 0);
                buffer.copyToChannel(burst.map((sample) => -sample), 1);
                const source = new AudioBufferSourceNode(context, { buffer, loop: true });
                source.connect(stream);
                source.start();
                return stream.stream;
            };
        });
    await withPage({ prepare, colorScheme: 'dark' }, async ({ page }) => {
        await listen(page);
        await see(page, '#pin', /^4711$/);
        await see(page, '#level-figure', /^−1\d\sdB$/);
        await see(page, '#figure', /Heard 3 times|Heard [4-9] times/);
        const { framed, beside } = await page.evaluate(measureFrame);
        assert.ok(framed > 4 * beside, `${framed} in the frame, ${beside} beside it`);
    });
});

/** In the page: the brightness within the last whole frame of a burst, and to both of its sides. */
function measureFrame() {
    const canvas = document.getElementById('spectrogram');
    const { width, height } = canvas;
    const { data } = canvas.getContext('2d').getImageData(0, 0, width, height);
    const at = (x, y) => data.subarray(4 * (y * width + x), 4 * (y * width + x) + 3);
    const isFrame = ([r, g, b]) => r > 200 && g > 130 && g < 210 && b < 130;
    const middle = Math.round(height * 0.48); // 19.1 kHz
    const edges = [];
    for (let x = 0; x < width; ++x)
        if (isFrame(at(x, middle)) && !(x > 0 && isFrame(at(x - 1, middle)))) edges.push(x);
    const right = edges[edges.length - 1 - (edges.length % 2)];
    const left = edges[edges.length - 2 - (edges.length % 2)];
    const span = right - left;
    const mean = (from, to) => {
        let sum = 0;
        for (let x = from; x < to; ++x) sum += at(x, middle)[1];
        return sum / (to - from);
    };
    const edge = Math.round(span / 5);
    const framed = mean(left + edge, right - edge);
    const beside =
        (mean(left - span, left - edge) +
            mean(Math.min(right + edge, width - edge), Math.min(right + span, width))) /
        2;
    return { framed: framed - 17, beside: Math.max(beside - 17, 1) };
}

test('hears what `tonelink send` plays, of 48 bits, and shows what else it may be', async () => {
    const path = join(work, 'send.wav');
    tonelink('send', '--text', 'hello', '--count', '5', '--output', `wav:${path}`);
    await withPage({ browserFlags: fakeMicrophone(path) }, async ({ page }) => {
        await listen(page);
        await see(page, '#text', /^“hello”$/);
        await see(page, '#pin', /^1751477356$/);
        await see(page, '#octets', /^6F:00$/);
        await inspect(page, 'text', ['#listen', '#pin', '#text']);
    });
});

test('tells several messages apart, the newest first', async () => {
    const messages = ['12673CA5', '0001FFFF', '12673CA5'].map((data) => encode('--data', data));
    const sound = joined(...messages.flatMap((burst) => [silence(0.5), burst]), silence(4));
    await withPage({ browserFlags: hearing('several', sound) }, async ({ page }) => {
        await listen(page);
        await see(page, '#figure', /twice/);
        const names = await page.locator('.entry-message').allInnerTexts();
        const pins = names.slice(0, 2).map((name) => name.split('\n')[0]);
        assert.deepEqual(pins, ['PIN 1', 'PIN 4711']);
    });
});

test('hears at 48 kHz, from a microphone of that rate', async () => {
    const server = await SoundServer.start(48000);
    try {
        await withPage(
            {
                browserFlags: ['--use-fake-ui-for-media-stream'],
                environment: server.environment,
            },
            async ({ page }) => {
                await listen(page);
                await page.click('summary');
                await see(page, '#figure-list', '48000 Hz');
                const path = join(work, 'room.wav');
                writeWav(
                    path,
                    repeated(encode('--pin', '815', '--address', '00:00:00:00:AB:CD'), 8),
                );
                await server.play(path);
                await see(page, '#pin', /^815$/);
                await see(page, '#octets', /^AB:CD$/);
            },
        );
    } finally {
        await server.stop();
    }
});

const words = {
    silent: ['No sound arrives', ''],
    no_burst: ['Nothing heard yet', ''],
    clipped: ['Too loud', /^\d+\.\d % of the sound is cut off\.$/],
    band_cut: ['High tones are missing', /^Sound ends at 8\.\d kHz/],
    too_weak: ['Too faint', /^[1-3]\.\d dB are missing\. A step nearer should do\.$/],
    unclear: ['Not clear enough', ''],
    clock: ['At the wrong speed', /^It is off by 0\.0[67] %\.$/],
};

for (const [reason, makeSound] of Object.entries(reasons))
    test(`says why nothing is heard: ${reason}`, async () => {
        const [title, figure] = words[reason];
        await withPage({ browserFlags: hearing(reason, makeSound()) }, async ({ page }) => {
            await listen(page);
            await see(page, '#headline', title);
            if (figure) await see(page, '#figure', figure);
            assert.equal(await page.locator('#pairing').isVisible(), false);
            await inspect(page, `reason-${reason}`, ['#headline', '#explanation', '#listen']);
        });
    });
