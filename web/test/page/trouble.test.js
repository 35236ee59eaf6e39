// What befalls a microphone in a browser, and what the page says and does then.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { adviceOn, wordsForFailure } from '../../page/words.js';
import { fakeMicrophone, patience, withPage } from './browser.js';
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

test('lets go of the microphone and the screen when it is stopped', async () => {
    const prepare = async (context) => {
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
    };
    await withPage({ browserFlags: allowed, prepare }, async ({ page }) => {
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

test('has words for lost samples, and for what it does not know', () => {
    const advice = adviceOn('samples_lost', { lostFrames: 30, frames: 200 });
    assert.equal(advice.title, 'This device is too busy');
    assert.equal(advice.figure, '15.0 % of the sound was lost.');
    assert.equal(
        adviceOn('too_weak', { missingDb: 7 }).figure,
        '7.0 dB are missing. Go to half the distance.',
    );
    assert.equal(wordsForFailure('receiver-failed').title, 'That did not work');
});
