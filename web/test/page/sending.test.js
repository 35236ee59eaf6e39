// The sending side of the page in a browser: what it plays, heard by the command and by another page.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { decode, encode, tonelink } from '../sounds.js';
import { patience, withPage } from './browser.js';
import { inspect } from './inspection.js';
import { SoundServer } from './sound_server.js';

const see = (page, selector, text) =>
    page
        .locator(selector)
        .filter({ hasText: text })
        .waitFor({ state: 'visible', timeout: patience });

async function withRoom(rate, use) {
    const room = await SoundServer.start(rate);
    try {
        await use(room);
    } finally {
        await room.stop();
    }
}

/** What is played while `use` runs, as 16 bits. */
async function recorded(room, use) {
    const stop = room.record();
    await use();
    const bytes = await stop();
    return Int16Array.from({ length: bytes.length >> 1 }, (_, i) => bytes.readInt16LE(2 * i));
}

const decodeBoth = (samples, rate) => decode(samples, rate, 'both');

test('plays the very samples of a transmission at 44.1 kHz, as often as it says', async () => {
    await withRoom(44100, (room) =>
        withPage({ environment: room.environment, hash: '#send' }, async ({ page }) => {
            await page.fill('#pin-field', '4711');
            await page.fill('#address-field', 'AA:BB:CC:DD:3C:A5');
            await inspect(page, 'send', ['#send-headline', '#pin-field']);
            const samples = await recorded(room, async () => {
                await page.click('#play');
                await see(page, '#send-headline', 'Sending PIN 4711');
                await see(page, '#send-count', /Played ([3-9]|\d\d) times/);
                await inspect(page, 'sending', ['#send-headline', '#send-count', '#play']);
                await page.click('#play');
                await see(page, '#play', 'Send');
            });
            const bursts = decodeBoth(samples, 44100);
            assert.ok(bursts.length >= 3);
            assert.ok(bursts.every(({ message }) => message === '12673CA5'));
            const wanted = encode('--pin', '4711', '--address', 'AA:BB:CC:DD:3C:A5');
            // One without a gap, as a busy machine may play.
            const differences = bursts.map(({ sample }) => mostDifference(samples, sample, wanted));
            assert.equal(Math.min(...differences), 0, String(differences));
        }),
    );
});

/** By how much a recording of a burst differs from it at most, from its first sample to its last. */
function mostDifference(recorded, near, wanted) {
    let least = Infinity; // at the best place so far
    for (let first = Math.max(near - 200, 0); first < near + 200; ++first) {
        let most = 0;
        for (let i = 0; i < wanted.length && most < least; ++i)
            most = Math.max(most, Math.abs((recorded[first + i] ?? 0) - wanted[i]));
        least = Math.min(least, most);
    }
    return least;
}

test('plays a text once at 48 kHz, as loud as it is told', async () => {
    await withRoom(48000, (room) =>
        withPage({ environment: room.environment, hash: '#send', prepare: noteEnd }, async ({ page }) => {
            await page.check('input[value="text"]');
            await page.fill('#text-field', 'hello');
            await page.fill('#level-field', '-20');
            await page.uncheck('#loop-field');
            const playOnce = async () => {
                await page.press('#text-field', 'Enter');
                await see(page, '#send-headline', 'Sending “hello”');
                assert.equal(await page.evaluate(() => document.activeElement.id), 'play');
                await see(page, '#send-headline', 'Play a PIN'); // it is over
                await see(page, '#send-count', 'Played once.');
            };
            const burst = await tonelink.makeBurst(Buffer.from('hello\0'), { sampleRate: 48000 });
            const wanted = new Float32Array(2 * burst.length); // and silence behind it
            wanted.set(burst.map((x) => 0.1 * 32768 * x));
            // A busy machine may play a burst with a gap: then it is played again.
            let bursts;
            const differences = [];
            do {
                assert.ok(differences.length < 8, `never whole: off by ${differences}`);
                const samples = await recorded(room, playOnce);
                bursts = decodeBoth(samples, 48000);
                differences.push(mostDifference(samples, bursts[0].sample ?? 0, wanted));
            } while (differences.at(-1) > 0.5); // which is rounding
            // What is queued behind the last sample is played before the device is let go.
            const ends = await page.evaluate(() => window.closedAt);
            assert.ok(ends.every((seconds) => seconds > burst.length / 48000 + 0.9), String(ends));
            const messages = bursts.map(({ message, bits }) => [message, bits]);
            assert.deepEqual(messages, [['68656C6C6F00', 48]]);
        }),
    );
});

/** Keeps the times at which contexts are closed, in their own time. */
const noteEnd = (context) =>
    context.addInitScript(() => {
        window.closedAt = [];
        const { close } = AudioContext.prototype;
        AudioContext.prototype.close = function () {
            window.closedAt.push(this.currentTime);
            return close.call(this);
        };
    });

test('says what is wrong with a field, and plays nothing', async () => {
    await withPage({ hash: '#send' }, async ({ page }) => {
        await page.fill('#pin-field', '47 11');
        await page.click('#play');
        await see(page, '#pin-error', 'A PIN is a number');
        assert.equal(await page.locator('#pin-field').getAttribute('aria-invalid'), 'true');
        assert.equal(await page.evaluate(() => document.activeElement.id), 'pin-field');
        await inspect(page, 'send-error', ['#pin-error']);
        await page.fill('#pin-field', '70000');
        await page.fill('#address-field', 'EE-FF');
        await page.press('#address-field', 'Enter');
        await see(page, '#address-error', 'Write the address');
        assert.equal(
            await page.locator('#send-headline').innerText(),
            'Play a PIN to another phone',
        );
    });
});

test('two pages are a demonstration: one plays, the other one hears', async () => {
    await withRoom(48000, (room) =>
        withPage(
            { environment: room.environment, browserFlags: ['--use-fake-ui-for-media-stream'] },
            async ({ page, url, context }) => {
                await page.click('#listen');
                const sender = await context.newPage();
                await sender.goto(`${url}#send`);
                await sender.fill('#pin-field', '70000'); // takes 48 bits
                await sender.fill('#address-field', '0a:0b');
                await sender.click('#play');
                await page.bringToFront();
                await see(page, '#pin', /^70000$/);
                await see(page, '#octets', /^0A:0B$/);
            },
        ),
    );
});

test('says that it waits where the browser does, and goes on by a press', async () => {
    const prepare = (context) =>
        context.addInitScript(() => {
            const { resume } = AudioContext.prototype;
            AudioContext.prototype.resume = function () {
                window.resumed = (window.resumed ?? 0) + 1;
                return window.isBlocked ? new Promise(() => {}) : resume.call(this);
            };
            Object.defineProperty(AudioContext.prototype, 'state', {
                get: () => (window.isBlocked ? 'suspended' : 'running'),
            });
            window.isBlocked = true;
            const { fetch } = window;
            window.fetch = (...options) => {
                window.resumedAtFetch ??= window.resumed;
                return fetch(...options);
            };
        });
    await withPage({ hash: '#send', prepare }, async ({ page }) => {
        await page.click('#play');
        await see(page, '#send-headline', 'Paused');
        assert.equal(await page.evaluate(() => window.resumedAtFetch), 1); // while the press counts
        await page.evaluate(() => (window.isBlocked = false));
        await page.click('#play');
        await see(page, '#send-headline', 'Sending PIN');
    });
});
