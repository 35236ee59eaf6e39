// The page as a whole: how large it is, that it works without a network, and that it reads messages as
// the command does.
import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';
import {
    cpSync,
    mkdtempSync,
    readdirSync,
    readFileSync,
    rmSync,
    statSync,
    symlinkSync,
    writeFileSync,
} from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { pairingMessage, readMessage, textMessage } from '../../page/message.js';
import { headers } from '../../serve.js';
import { decode, encode as encode16 } from '../sounds.js';
import { fakeMicrophone, folder, patience, withPage } from './browser.js';
import { inspect } from './inspection.js';
import { encode, joined, silence, writeWav } from './sounds.js';

const allowed = ['--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream'];
const mostBytes = 300_000;
const wav = join(folder, '../page-test.wav');

const see = (page, selector, text) =>
    page
        .locator(selector)
        .filter({ hasText: text })
        .waitFor({ state: 'visible', timeout: patience });

test('page and module together are below 300 KB', () => {
    const files = readdirSync(folder, { recursive: true }).map((file) => join(folder, file));
    assert.ok(files.includes(join(folder, 'tonelink/tonelink.wasm')));
    const bytes = files.map((file) => statSync(file)).filter((file) => file.isFile())
        .reduce((sum, { size }) => sum + size, 0);
    assert.ok(bytes < mostBytes, `${bytes} bytes`);
});

test('hears without a network from the second visit on', async () => {
    const burst = encode('--pin', '42', '--address', '00:00:00:00:00:01');
    writeWav(wav, joined(silence(0.5), burst, silence(0.5)));
    await withPage({ browserFlags: fakeMicrophone(wav) }, async ({ page, context, server }) => {
        await page.evaluate(() => navigator.serviceWorker.ready);
        await page.waitForFunction(() => navigator.serviceWorker.controller !== null);
        await server.close();
        await context.setOffline(true);
        await page.reload();
        await see(page, '#offline', 'No network: this page needs none.');
        await inspect(page, 'offline', ['#headline', '#listen']);
        await page.click('#listen');
        await see(page, '#pin', /^42$/);
    });
});

test('changes to a new version when it is told, and as a whole', async () => {
    const served = mkdtempSync(join(tmpdir(), 'tonelink-served-'));
    cpSync(folder, served, { recursive: true });
    const change = (file, from, to) => {
        const path = join(served, file);
        const content = readFileSync(path, 'utf8');
        assert.match(content, from);
        writeFileSync(path, content.replace(from, to));
    };
    try {
        await withPage({ served, browserFlags: allowed }, async ({ page, context, url }) => {
            await page.waitForFunction(() => navigator.serviceWorker.controller !== null);
            // Of two other tabs one listens, and changes when it ends.
            const [idle, busy] = [await context.newPage(), await context.newPage()];
            await idle.goto(url);
            await busy.goto(url);
            await busy.click('#listen');
            await see(busy, '#headline', 'Listening');
            change('index.html', /<title>Tone Link/, '<title>Newer');
            change('service_worker.js', /const version = '/, "const version = 'newer");
            await page.reload();
            assert.equal(await page.title(), 'Tone Link');
            await page.click('#reload');
            for (const tab of [page, idle])
                await tab.waitForFunction(() => document.title === 'Newer');
            assert.equal(await busy.title(), 'Tone Link');
            await busy.click('#listen');
            await busy.waitForFunction(() => document.title === 'Newer');
            assert.equal((await page.evaluate(() => caches.keys())).length, 1);
        });
    } finally {
        rmSync(served, { recursive: true });
    }
});

test('leaves other copies on the same server alone, and what is below it', async () => {
    const served = mkdtempSync(join(tmpdir(), 'tonelink-served-'));
    for (const copy of ['one', 'two']) cpSync(folder, join(served, copy), { recursive: true });
    try {
        await withPage({ served, hash: 'one/' }, async ({ page, url, watch }) => {
            const isKept = () => navigator.serviceWorker.controller !== null;
            await page.waitForFunction(isKept);
            await page.goto(`${url}two/`);
            await page.waitForFunction(isKept);
            assert.equal((await page.evaluate(() => caches.keys())).length, 2);
            const answer = await page.goto(`${url}one/elsewhere/`);
            assert.equal(answer.status(), 404);
            await page.goto(`${url}one/index.html?a=b`);
            await see(page, '#listen', 'Listen');
            watch.errors = watch.errors.filter((text) => !text.includes('404'));
        });
    } finally {
        rmSync(served, { recursive: true });
    }
});

test('allows nothing from elsewhere, and no script within itself', async () => {
    await withPage({}, async ({ page, watch }) => {
        await page.evaluate(() => {
            const script = document.createElement('script');
            script.textContent = 'window.isForeign = true';
            const image = document.createElement('img');
            image.src = 'https://localhost/elsewhere.png';
            document.body.append(script, image);
        });
        await page.waitForFunction(() => document.querySelector('body > img').complete);
        assert.equal(await page.evaluate(() => window.isForeign), undefined);
        // Both policies forbid them: the page's and the server's.
        const forbidden = new Set(watch.violations.splice(0).map((text) => text.split(' ')[0]));
        assert.deepEqual([...forbidden].sort(), ['img-src', 'script-src-elem']);
        watch.requests = watch.requests.filter((request) => !request.endsWith('elsewhere.png'));
        watch.errors.splice(0);
    });
});

test('starts without a style sheet, and says so where it does not start', async () => {
    const served = mkdtempSync(join(tmpdir(), 'tonelink-served-'));
    cpSync(folder, served, { recursive: true });
    const prepare = (context) =>
        context.addInitScript(() => {
            Object.defineProperty(navigator, 'serviceWorker', { value: undefined });
        });
    try {
        rmSync(join(served, 'style.css'));
        await withPage({ served, prepare }, async ({ page, watch }) => {
            await page.waitForFunction(() => document.documentElement.dataset.started === '');
            watch.errors = watch.errors.filter((text) => !/404|style\.css/.test(text));
        });
        writeFileSync(join(served, 'page/main.js'), 'class { # }'); // as an old browser reads it
        await withPage({ served, prepare }, async ({ page, watch }) => {
            await see(page, '#headline', 'This page does not start');
            assert.equal(await page.locator('#listen').isVisible(), false);
            watch.errors.splice(0);
        });
    } finally {
        rmSync(served, { recursive: true });
    }
});

test('is served by a program of whatever name, which refuses what is no port', async () => {
    const place = mkdtempSync(join(tmpdir(), 'tonelink-link-'));
    const link = join(place, 'link.js');
    const program = fileURLToPath(new URL('../../serve.js', import.meta.url));
    symlinkSync(program, link);
    const server = spawn(process.execPath, [link, folder, '0']);
    try {
        const [address] = await once(server.stdout, 'data');
        const url = String(address).trim();
        assert.equal((await fetch(url)).status, 200);
        assert.equal((await fetch(`${url}elsewhere`)).status, 404);
    } finally {
        server.kill();
        rmSync(place, { recursive: true });
    }
    const refused = spawnSync(process.execPath, [program, folder, '--help']);
    assert.equal(refused.status, 2);
});

test('names one security policy everywhere', () => {
    const policyOf = (text) => text.match(/default-src 'none';[^"`]*/)[0].trim();
    const served = headers['Content-Security-Policy'];
    const inPage = policyOf(readFileSync(join(folder, 'index.html'), 'utf8'));
    const readme = readFileSync(new URL('../../README.md', import.meta.url), 'utf8');
    assert.equal(`${inPage}; frame-ancestors 'none'`, served);
    assert.equal(policyOf(readme), served);
});

test('can be installed', async () => {
    await withPage({}, async ({ page, context }) => {
        const session = await context.newCDPSession(page);
        await page.evaluate(() => navigator.serviceWorker.ready);
        const { installabilityErrors } = await session.send('Page.getInstallabilityErrors');
        const { errors } = await session.send('Page.getAppManifest');
        assert.deepEqual(errors, []);
        // A browser without a window of its own installs nothing.
        assert.deepEqual(
            installabilityErrors
                .map(({ errorId }) => errorId)
                .filter((id) => id !== 'in-incognito'),
            [],
        );
    });
});

test('reads and makes messages as the command does', () => {
    const cases = {
        '12673CA5': ['--pin', '4711', '--address', 'AA:BB:CC:DD:3C:A5'],
        FFFFFFFF0001: ['--pin', '4294967295', '--bits', '48', '--address', 'AA:BB:CC:DD:00:01'],
        '68656C6C6F00': ['--text', 'hello'],
        C3BCE282AC00: ['--text', 'ü€'],
        41000042: ['--data', '41000042'],
        E2808B41: ['--data', 'E2808B41'],
        C0AF4142: ['--data', 'C0AF4142'],
        '41EFBBBF': ['--data', '41EFBBBF'],
        '00000000': ['--data', '00'],
    };
    for (const [hex, options] of Object.entries(cases)) {
        const [{ pin, octets, text = '', bits, message }] = decode(
            encode16(...options),
            44100,
            'exact',
        );
        assert.equal(message, hex);
        assert.deepEqual(readMessage(Uint8Array.from(Buffer.from(hex, 'hex'))), {
            pin: String(pin),
            octets,
            text,
            nbits: bits,
            hex,
        });
    }
    assert.equal(readMessage(pairingMessage('4711', 'aa:bb:cc:dd:3c:a5')).hex, '12673CA5');
    assert.equal(readMessage(pairingMessage('65536', ' 3c:a5')).hex, '000100003CA5');
    assert.equal(readMessage(pairingMessage('65535', '')).hex, 'FFFF0000');
    assert.equal(readMessage(textMessage('ü€')).hex, 'C3BCE282AC00');
    assert.throws(() => textMessage('ü€ü'), /7 bytes/);
    for (const unseen of ['  ', '\u3164', '\u0301a', '\u200ba']) {
        assert.throws(() => textMessage(unseen), /cannot be shown/);
        assert.equal(readMessage(new Uint8Array([...Buffer.from(unseen), 0, 0])).text, '');
    }
    assert.equal(readMessage(textMessage('אב')).text, 'אב');
    assert.throws(() => pairingMessage('4294967296', ''), /number from 0 to/);
});
