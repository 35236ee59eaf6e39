// What befalls a microphone in a browser, and what the page says and does then.
import assert from 'node:assert/strict';
import { cpSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';

import { HeardLog } from '../../page/heard_log.js';
import { adviceOn, wordsForFailure } from '../../page/words.js';
import { folder, patience, withPage } from './browser.js';
import { inspect } from './inspection.js';

const generated = ['--use-fake-device-for-media-stream'];
const allowed = [...generated, '--use-fake-ui-for-media-stream'];
const nobody = { PULSE_SERVER: 'unix:/nonexistent' };

const see = (page, selector, text) =>
    page
        .locator(selector)
        .filter({ hasText: text })
        .waitFor({ state: 'visible', timeout: patience });

async function failsWith(page, title, name) {
    await page.click('#listen');
    await see(page, '#headline', title);
    await see(page, '#listen', 'Try again');
    if (name) await inspect(page, name, ['#headline', '#explanation', '#listen']);
}

test('says that the microphone is not allowed, and asks again', async () => {
    const browserFlags = [...generated, '--deny-permission-prompts'];
    await withPage({ browserFlags }, async ({ page, context }) => {
        await failsWith(page, 'The microphone is not allowed', 'refused');
        await context.grantPermissions(['microphone']);
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
    });
});

test('says that there is no microphone', async () => {
    const browserFlags = ['--use-fake-ui-for-media-stream'];
    await withPage({ browserFlags, environment: nobody }, async ({ page }) => {
        await failsWith(page, 'There is no microphone', 'no-microphone');
    });
});

test('waits for the answer of who is asked', async () => {
    const prepare = (context) =>
        context.addInitScript(() => {
            navigator.mediaDevices.getUserMedia = () => new Promise(() => {});
        });
    await withPage({ browserFlags: allowed, prepare }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Allow the microphone');
        await inspect(page, 'asking', ['#headline', '#explanation', '#listen']);
        await page.getByRole('button', { name: 'Cancel' }).click();
        await see(page, '#headline', 'Hold this phone');
    });
});

// What cannot be had of this browser is taken from it before the page runs.
const lacking = {
    'The microphone is in use': () => {
        navigator.mediaDevices.getUserMedia = () =>
            Promise.reject(new DOMException('', 'NotReadableError'));
    },
    'This address is not secure': () => {
        Object.defineProperty(navigator, 'mediaDevices', { value: undefined });
    },
    'This browser is too old': () => {
        delete window.AudioWorkletNode;
    },
    'This browser is too old ': () => {
        WebAssembly.validate = () => false; // has no vectors
    },
    'This microphone cannot hear so high': () => {
        const { getSettings } = MediaStreamTrack.prototype;
        MediaStreamTrack.prototype.getSettings = function () {
            return { ...getSettings.call(this), sampleRate: 16000 };
        };
    },
};

for (const [title, take] of Object.entries(lacking))
    test(`says: ${title}`, async () => {
        const prepare = (context) => context.addInitScript(take);
        await withPage({ browserFlags: allowed, prepare }, async ({ page }) => {
            await failsWith(page, title.trim());
        });
    });

/** Lets the test reach what the page's microphone and context are. */
const keepHold = (context) =>
    context.addInitScript(() => {
        const { getUserMedia } = MediaDevices.prototype;
        MediaDevices.prototype.getUserMedia = async function (...options) {
            window.heldStream = await getUserMedia.apply(this, options);
            return window.heldStream;
        };
        const Context = window.AudioContext;
        window.AudioContext = class extends Context {
            constructor(...options) {
                super(...options);
                window.heldContext = this;
            }
        };
    });

test('says that the microphone was unplugged, and listens again by one press', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHold }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await inspect(page, 'listening', ['#headline', '#explanation', '#listen']);
        await page.evaluate(() => {
            const [track] = window.heldStream.getAudioTracks();
            track.stop();
            track.dispatchEvent(new Event('ended'));
        });
        await see(page, '#headline', 'The microphone is gone');
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
    });
});

test('pauses when sound is taken away, and goes on by a press or by itself', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHold }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await page.evaluate(() => window.heldContext.suspend());
        await see(page, '#headline', 'Paused');
        await inspect(page, 'paused', ['#headline', '#explanation', '#listen']);
        await see(page, '#listen', 'Continue');
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await page.evaluate(() => window.heldContext.suspend());
        await see(page, '#headline', 'Paused');
        await page.evaluate(() => window.heldContext.resume()); // as the system does after a call
        await see(page, '#headline', 'Listening');
    });
});

test('begins anew by a press where the sound does not come back', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHold }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await page.evaluate(() => window.heldContext.close());
        await see(page, '#headline', 'That did not work');
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
    });
});

test('opens a muted microphone anew by a press, and can be stopped meanwhile', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHold }, async ({ page }) => {
        const mute = () =>
            page.evaluate(() => {
                const [track] = window.heldStream.getAudioTracks();
                Object.defineProperty(track, 'muted', { value: true });
                track.dispatchEvent(new Event('mute'));
                window.mutedTrack = track;
            });
        const ended = () => page.evaluate(() => window.mutedTrack.readyState);
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await mute();
        await see(page, '#explanation', 'The microphone is away');
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        assert.equal(await ended(), 'ended');
        await mute();
        await page.click('#stop');
        await see(page, '#headline', 'Hold this phone');
        assert.equal(await ended(), 'ended');
    });
});

test('lets go of what comes after a cancel', async () => {
    const prepare = async (context) => {
        await keepHold(context);
        await context.addInitScript(() => {
            const { suspend } = AudioContext.prototype;
            AudioContext.prototype.suspend = function () {
                return new Promise((resolve) => (window.goOn = () => resolve(suspend.call(this))));
            };
        });
    };
    await withPage({ browserFlags: allowed, prepare }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Starting');
        await page.click('#listen');
        await see(page, '#headline', 'Hold this phone');
        await page.evaluate(() => window.goOn());
        await page.waitForFunction(() => window.heldContext.state === 'closed');
        assert.equal(
            await page.evaluate(() => window.heldStream.getTracks()[0].readyState),
            'ended',
        );
    });
});

test('keeps a PIN that is certain, and says what is the matter under it', async () => {
    const prepare = async (context) => {
        await keepHold(context);
        await context.addInitScript(() => {
            const Node = window.AudioWorkletNode;
            window.AudioWorkletNode = class extends Node {
                constructor(...options) {
                    super(...options);
                    window.heldNode = this;
                }
            };
        });
    };
    await withPage({ browserFlags: allowed, prepare }, async ({ page }) => {
        await page.click('#listen');
        await see(page, '#headline', 'Listening');
        await page.evaluate(() => {
            const { port } = window.heldNode;
            const take = port.onmessage;
            port.onmessage = null; // from now on it hears what the test says
            window.tell = (data) => take({ data });
        });
        const hear = (last, positions, seconds) =>
            page.evaluate(
                ([message, positions, seconds]) => {
                    const heard = { message: Uint8Array.from(message), positions, seconds };
                    window.tell({
                        type: 'heard',
                        heard: { ...heard, methods: 1, copies: 1, repeats: 0, snrDb: 30, levelDbfs: -9 },
                    });
                },
                [[0, 9, 0, last], positions, seconds],
            );
        const report = (recentReason, seconds) =>
            page.evaluate(
                ([recentReason, seconds]) => {
                    const report = { reason: 'heard', recentReason, seconds, frames: 44100 * seconds };
                    const counts = { clippedFrames: 0, lostFrames: 0, bandDbfs: -80 };
                    window.tell({ type: 'report', report: { ...report, ...counts } });
                },
                [recentReason, seconds],
            );
        const spoken = () => page.getByRole('status').first().ariaSnapshot();
        await hear(1, 1, 10);
        await see(page, '#octets', '00:01');
        assert.match(await spoken(), /wait until it comes again/);
        await hear(2, 3, 11);
        await see(page, '#octets', '00:02');
        assert.doesNotMatch(await spoken(), /wait until it comes again/);
        await hear(3, 1, 12);
        assert.deepEqual(await page.locator('.entry-figures').evaluateAll((all) =>
            all.map(({ textContent }) => textContent.split(':')[0])),
            ['once, doubtful', 'once, very clear', 'once, doubtful']);
        assert.equal(await page.locator('#octets').innerText(), '00:02');
        await report('too_weak', 14);
        assert.equal(await page.locator('#headline').isVisible(), false);
        await report('too_weak', 30);
        await see(page, '#headline', 'Too faint');
        await report('no_burst', 40);
        assert.equal(await page.locator('#headline').isVisible(), false);
        // A list that is longer than any window, of which the PIN stays in view.
        for (let last = 100; last < 160; ++last) await hear(last, 1, 40);
        assert.equal(await page.locator('#log-list li').count(), 50);
        await page.evaluate(() => {
            const [track] = window.heldStream.getAudioTracks();
            track.stop();
            track.dispatchEvent(new Event('ended'));
        });
        await see(page, '#headline', 'The microphone is gone');
        await inspect(page, 'heard-then-gone', ['#headline', '#pin', '#listen']);
        await page.evaluate(() => scrollTo(0, document.body.scrollHeight)); // as on a desktop
        const { y } = await page.locator('#pin').boundingBox();
        assert.ok(y >= 0 && y < 500, `the PIN is at ${y}`);
        assert.equal(await page.locator('#octets').innerText(), '00:02');
    });
});

/** The same, with a screen that the page asks to stay on. */
async function keepHoldOfAll(context) {
    await keepHold(context);
    await context.addInitScript(() => {
        window.locks = [];
        const request = async (type) => {
            const lock = { type, released: false };
            await new Promise((resolve) => setTimeout(resolve, 200)); // it is asked twice meanwhile
            lock.release = async () => (lock.released = true);
            window.locks.push(lock);
            return lock;
        };
        Object.defineProperty(navigator, 'wakeLock', { value: { request } });
    });
}

test('sleeps while it is hidden, and goes on with the screen on when it is seen again', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHoldOfAll }, async ({ page }) => {
        const show = (isShown) =>
            page.evaluate((hidden) => {
                Object.defineProperty(document, 'hidden', { value: hidden, configurable: true });
                document.dispatchEvent(new Event('visibilitychange'));
            }, !isShown);
        const locks = () => page.evaluate(() => window.locks.map(({ released }) => released));
        await page.click('#listen');
        await page.waitForFunction(() => window.locks.length === 1);
        await see(page, '#headline', 'Listening');
        // What systems do to a page in the background.
        await show(false);
        await page.evaluate(() => {
            window.locks[0].released = true;
            return window.heldContext.suspend();
        });
        await see(page, '#headline', 'Paused');
        assert.deepEqual(await locks(), [true]);
        await show(true);
        await see(page, '#headline', 'Listening');
        assert.equal(await page.evaluate(() => window.heldContext.state), 'running');
        await page.waitForFunction(() => window.locks.length === 2);
        assert.deepEqual(await locks(), [true, false]);
    });
});

test('lets go of the microphone and the screen when it is stopped', async () => {
    await withPage({ browserFlags: allowed, prepare: keepHoldOfAll }, async ({ page }) => {
        await page.click('#listen');
        await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
        await see(page, '#headline', 'Listening');
        await page.evaluate(() => document.dispatchEvent(new Event('visibilitychange')));
        await page.waitForFunction(() => window.locks.length > 0);
        assert.deepEqual(
            await page.evaluate(() => window.locks.map(({ type, released }) => [type, released])),
            [['screen', false]],
        );
        await page.click('#listen');
        await see(page, '#headline', 'Hold this phone');
        await page.waitForFunction(
            () => window.heldContext.state === 'closed' && window.locks[0].released,
        );
        assert.deepEqual(
            await page.evaluate(() => [
                window.locks.map(({ released }) => released),
                window.heldStream.getTracks().map(({ readyState }) => readyState),
            ]),
            [[true], ['ended']],
        );
    });
});

test('draws nothing while it is hidden, and little for who wants no motion', async () => {
    await withPage(
        { browserFlags: allowed, prepare: keepHold, reducedMotion: 'reduce' },
        async ({ page }) => {
            const pictures = () => page.evaluate(() => window.drawn);
            await page.evaluate(() => {
                window.drawn = 0;
                const { drawImage } = CanvasRenderingContext2D.prototype;
                CanvasRenderingContext2D.prototype.drawImage = function (...options) {
                    ++window.drawn;
                    return drawImage.apply(this, options);
                };
            });
            await page.click('#listen');
            await page.waitForFunction(() => window.heldContext?.currentTime > 4);
            const [drawn, seconds] = [
                await pictures(),
                await page.evaluate(() => window.heldContext.currentTime),
            ];
            assert.ok(drawn > 0 && drawn <= 2 * (seconds + 2), `${drawn} in ${seconds} s`);
            await page.evaluate(() => {
                Object.defineProperty(document, 'hidden', { value: true, configurable: true });
                document.dispatchEvent(new Event('visibilitychange'));
            });
            const before = [
                await pictures(),
                await page.evaluate(() => window.heldContext.currentTime),
            ];
            await page.waitForFunction(
                (time) => window.heldContext.currentTime > time + 3,
                before[1],
            );
            assert.equal(await pictures(), before[0]);
        },
    );
});

// What is done to the receiver's end on the audio thread at the beginning of each block, of 2.9 ms.
const losses = {
    'one block in ten does not come': 'if (currentFrame % 1280 === 0) return true;',
    'the audio thread takes too long': 'const end = Date.now() + 6; while (Date.now() < end);',
};

for (const [loss, source] of Object.entries(losses))
    test(`says that the device is too busy: ${loss}`, async () => {
        const served = mkdtempSync(join(tmpdir(), 'tonelink-served-'));
        cpSync(folder, served, { recursive: true });
        const worklet = join(served, 'tonelink/worklet.js');
        const parts = readFileSync(worklet, 'utf8').split('process(inputs) {');
        assert.equal(parts.length, 2);
        writeFileSync(worklet, parts.join(`process(inputs) { ${source}`));
        try {
            await withPage({ served, browserFlags: allowed }, async ({ page }) => {
                await page.click('#listen');
                await see(page, '#headline', 'This device is too busy');
                await see(page, '#figure', /^\d+\.\d % of the sound was lost\.$/);
                await inspect(page, 'reason-samples_lost', ['#headline', '#explanation', '#listen']);
            });
        } finally {
            rmSync(served, { recursive: true });
        }
    });

test('has words for lost samples, and for what it does not know', () => {
    const lost = { lostFrames: 30, lateFrames: 0, frames: 200 };
    const late = { lostFrames: 0, lateFrames: 30, frames: 170 };
    for (const advice of [adviceOn('samples_lost', lost), adviceOn('no_burst', late)]) {
        assert.equal(advice.title, 'This device is too busy');
        assert.equal(advice.figure, '15.0 % of the sound was lost.');
    }
    const before = { ...late, clippedFrames: 0 };
    const recovered = { ...late, frames: 370 };
    assert.equal(adviceOn('no_burst', recovered, [], before).title, 'Nothing heard yet');
    assert.equal(
        adviceOn('too_weak', { reason: 'too_weak', missingDb: 7 }).figure,
        '7.0 dB are missing. Go to half the distance.',
    );
    assert.match(adviceOn('band_cut', {}, ['echoCancellation']).text, /treats the sound as a call/);
    assert.match(adviceOn('band_cut', {}).text, /^This device or browser drops/);
    assert.match(adviceOn('band_cut', { bandEdgeHz: 15800 }).text, /^Does the television show its PIN/);
    assert.equal(wordsForFailure('receiver-failed').title, 'That did not work');
});

test('tells figures of the last seconds, and none that are of other sound', () => {
    const earlier = { frames: 20_000_000, clippedFrames: 1000, lostFrames: 0, lateFrames: 0 };
    const now = { ...earlier, reason: 'no_burst', frames: 20_200_000, clippedFrames: 101_000 };
    assert.equal(
        adviceOn('clipped', now, [], earlier).figure,
        '50.0 % of the sound is cut off.',
    );
    const whole = { ...now, bandEdgeHz: 0, missingDb: 0, unreadPpm: 0 };
    for (const reason of ['band_cut', 'too_weak', 'clock'])
        assert.equal(adviceOn(reason, whole, [], earlier).figure, '', reason);
    assert.equal(adviceOn('too_weak', whole, [], earlier).title, 'Too faint');
});

test('counts a message as one for as long as people do', () => {
    const log = new HeardLog();
    const heard = { message: Uint8Array.of(18, 103, 60, 165), positions: 3, methods: 1, copies: 1 };
    const at = (minutes) => log.add({ ...heard, repeats: 0 }, new Date(60_000 * minutes)).bursts;
    assert.deepEqual([0, 0.1, 4, 8, 60, 61].map(at), [1, 2, 3, 4, 1, 2]);
    assert.equal(log.entries.length, 2);
});
