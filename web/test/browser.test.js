// The example of the package's README in a browser, whose microphone hears a file of sound.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { extname, join } from 'node:path';
import test, { after, before } from 'node:test';

import { chromium } from 'playwright-core';

import { encode, root, wavOf } from './sounds.js';

const types = { '.js': 'text/javascript', '.wasm': 'application/wasm', '.html': 'text/html' };
const wasm = "'wasm-unsafe-eval'"; // a page's policy has it as a rule
const page = (script, sources) => `<!doctype html><meta charset="utf-8"><title>test</title>
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; script-src 'self' 'unsafe-inline' ${sources}; connect-src 'self'">
<script type="importmap">{ "imports": { "tonelink": "/tonelink/index.js" } }</script>
<script type="module">${script}</script>`;

const patienceMs = 120_000; // for whatever a busy machine takes

let folder;
let server;
let script = ''; // of the page
let sources = wasm; // of scripts, besides its own

/** The first examples of JavaScript in the README: hearing, then sending. */
async function examples() {
    const text = await readFile(new URL('web/tonelink/README.md', root), 'utf8');
    return [...text.matchAll(/```js\n(.*?)```/gs)].map((match) => match[1]);
}

before(async () => {
    folder = await mkdtemp(join(tmpdir(), 'tonelink-'));
    server = createServer(async ({ url }, response) => {
        if (url === '/') {
            response.writeHead(200, { 'Content-Type': types['.html'] }).end(page(script, sources));
            return;
        }
        try {
            const content = await readFile(new URL(`build/web${url}`, root));
            response.writeHead(200, { 'Content-Type': types[extname(url)] ?? 'text/plain' }).end(content);
        } catch {
            response.writeHead(404).end();
        }
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
});

after(async () => {
    server.close();
    await rm(folder, { recursive: true });
});

/** Opens the page with a script in a browser that hears a sound, and gives it to `use`. */
async function visit(given, sound, flags, use) {
    script = given;
    const file = join(folder, 'microphone.wav');
    await writeFile(file, wavOf(sound, 44100));
    const browser = await chromium.launchPersistentContext(await mkdtemp(join(folder, 'profile-')), {
        executablePath: '/usr/bin/chromium',
        headless: true,
        args: [
            '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
            '--disable-background-networking', '--disable-component-update', '--disable-sync',
            '--autoplay-policy=no-user-gesture-required',
            '--use-fake-device-for-media-stream', `--use-file-for-fake-audio-capture=${file}%noloop`,
            ...flags,
        ],
    });
    try {
        const lines = [];
        const tab = await browser.newPage();
        tab.on('console', (message) => lines.push(message.text()));
        tab.on('pageerror', (error) => lines.push(String(error)));
        await tab.goto(`http://localhost:${server.address().port}/`);
        return await use(tab, lines);
    } finally {
        await browser.close();
    }
}

/** A burst with silence around it, twice. */
function pairing() {
    const burst = encode('--pin', '4711', '--address', 'AA:BB:CC:DD:EE:FF');
    const sound = new Int16Array(22050 + 3 * burst.length + 22050);
    sound.set(burst, 22050);
    sound.set(burst, 22050 + burst.length);
    return sound;
}

/** Waits for what the page shall say, by its lines so far. */
async function until(lines, isSaid, what) {
    const end = Date.now() + patienceMs;
    while (!isSaid(lines)) {
        if (Date.now() > end)
            throw new Error(`waited in vain for ${what}; the page said:\n${lines.join('\n')}`);
        await new Promise((resolve) => setTimeout(resolve, 50));
    }
}

const begins = (word) => (lines) => lines.some((line) => line.startsWith(word));

const allow = '--use-fake-ui-for-media-stream';

test('the example hears a pairing, once, and tells what arrives', async () => {
    const [hearing] = await examples();
    await visit(hearing, pairing(), [allow], async (tab, lines) => {
        await until(lines, begins('heard'), 'the reason that a message was heard');
        const told = lines.filter((line) => line.startsWith('PIN'));
        assert.deepEqual(told, ['PIN 4711, address ends in EE:FF'], lines.join('\n'));
    });
});

test('a receiver is closed and answers, and the example sends', async () => {
    const [, sending] = await examples();
    const both = `${sending}
        import { createReceiver, openMicrophone } from 'tonelink';
        const receiver = await createReceiver(await openMicrophone(), { reportEvery: 0 });
        const heard = [];
        receiver.onheard = ({ message }) => heard.push([...message].join());
        while (heard.length === 0) await new Promise((resolve) => setTimeout(resolve, 50));
        const { frames } = await receiver.report();
        await receiver.close();
        const last = await receiver.report();
        console.log(JSON.stringify([heard[0], frames > 0, last.frames >= frames, last.reason,
            receiver.sampleRate, receiver.context.state, buffer.length === Math.ceil(
            23170 * context.sampleRate / 44100)]));`;
    await visit(both, pairing(), [allow], async (tab, lines) => {
        await until(lines, begins('["'), 'the figures of a receiver that was closed');
        assert.deepEqual(lines, ['["18,103,238,255",true,true,"heard",44100,"closed",true]']);
    });
});

test('the right channel is heard where a browser does not count channels', async () => {
    const right = `
        import { createReceiver, makeBurst } from 'tonelink';
        const context = new AudioContext();
        const stream = new MediaStreamAudioDestinationNode(context);
        const samples = await makeBurst([1, 2, 3, 4], context);
        const buffer = context.createBuffer(2, samples.length, context.sampleRate);
        buffer.copyToChannel(samples, 1);
        const source = new AudioBufferSourceNode(context, { buffer, loop: true });
        source.connect(stream);
        source.start();
        const [track] = stream.stream.getAudioTracks();
        track.getSettings = () => ({});
        await createReceiver(stream.stream, {
            context,
            onheard: ({ message }) => console.log('heard', message.join()),
        });`;
    await visit(right, pairing(), [], async (tab, lines) => {
        await until(lines, begins('heard'), 'a message in the right channel');
        assert.ok(lines.includes('heard 1,2,3,4'), lines.join('\n'));
    });
});

test('a context that is closed first, or stands still, lets nobody wait', async () => {
    const closing = `
        import { createReceiver, openMicrophone } from 'tonelink';
        const microphone = await openMicrophone();
        const code = ({ code }) => code;
        for (const end of ['close', 'suspend']) {
            const context = new AudioContext();
            const receiver = await createReceiver(microphone, { context });
            await receiver.report();
            const asked = receiver.report().then(() => 'answered', code);
            await context[end]();
            const closed = receiver.close();
            console.log(end, await asked, await closed, await receiver.report().then(() => 'told', code));
        }`;
    await visit(closing, pairing(), [allow], async (tab, lines) => {
        await until(lines, begins('suspend'), 'the answers of two receivers');
        assert.match(lines[0], /^close (answered|closed) undefined closed$/);
        assert.match(lines[1], /^suspend (answered|closed) undefined (told|closed)$/);
    });
});

/** A module whose receivers can be opened, but break at the first sound: push() traps. */
function breakingModule() {
    const names = ['_initialize', 'open', 'input', 'reason_word', 'push'];
    const bytesOf = (name) => [name.length, ...Buffer.from(name)];
    const exported = names.map((name) => [...bytesOf(name), 0, name === 'push' ? 1 : 0]);
    const section = (id, ...bytes) => [id, bytes.length, ...bytes];
    return [
        ...Buffer.from('\0asm\x01\0\0\0'),
        ...section(1, 1, 0x60, 0, 1, 0x7f), // one type: returns a number
        ...section(3, 2, 0, 0), // of two functions
        ...section(5, 1, 0, 1), // a page of memory
        ...section(7, names.length + 1, ...exported.flat(), ...bytesOf('memory'), 2, 0),
        // One gives 8, the other traps.
        ...section(10, 2, 4, 0, 0x41, 8, 0x0b, 3, 0, 0x00, 0x0b),
    ];
}

test('a receiver that breaks on the audio thread lets nobody wait', async () => {
    const breaking = `
        import { createReceiver, openMicrophone } from 'tonelink';
        const microphone = await openMicrophone();
        const module = await WebAssembly.compile(new Uint8Array([${breakingModule()}]));
        // As soon as it is made, or later: it depends on which thread is faster.
        const early = await new Promise((onerror) =>
            createReceiver(microphone, { module, onerror }).catch(onerror));
        console.log('early', early.code);
        const context = new AudioContext();
        await context.suspend();
        const failure = Promise.withResolvers();
        const onerror = failure.resolve;
        const receiver = await createReceiver(microphone, { module, context, onerror });
        context.resume();
        const late = await failure.promise;
        const asked = await receiver.report().catch(({ code }) => code);
        await receiver.close();
        console.log('late', late.code, asked);`;
    await visit(breaking, pairing(), [allow], async (tab, lines) => {
        await until(lines, begins('late'), 'the failures of two receivers');
        const told = lines.filter((line) => /^(early|late)/.test(line));
        assert.deepEqual(told, ['early receiver-failed', 'late receiver-failed receiver-failed']);
    });
});

test('what the audio thread refuses is told at once, by its name', async () => {
    const refused = `
        import { createReceiver, openMicrophone } from 'tonelink';
        const microphone = await openMicrophone();
        for (const options of [
            { context: new AudioContext({ sampleRate: 16000 }) },
            { lengths: 4 },
            { methods: 4 },
            { module: await WebAssembly.compile(new Uint8Array([${[...Buffer.from('\0asm\x01\0\0\0')]}])) },
        ])
            await createReceiver(microphone, options).catch(({ code }) => console.log(code));
        console.log('end');`;
    await visit(refused, pairing(), [allow], async (tab, lines) => {
        await until(lines, begins('end'), 'the end of the refusals');
        assert.deepEqual(lines, ['low-rate', 'bad-argument', 'bad-argument', 'receiver-failed', 'end']);
    });
});

test('a browser that may not hear says so', async () => {
    const [hearing] = await examples();
    await visit(hearing, pairing(), ['--deny-permission-prompts'], async (tab, lines) => {
        await until(lines, () => lines.length > 0, 'the reason that it may not hear');
        assert.match(lines[0], /^permission-denied /);
    });
});

test('a page whose policy forbids WebAssembly says so', async () => {
    sources = '';
    try {
        const loading = `
            import { makeBurst } from 'tonelink';
            await makeBurst([1, 2, 3, 4]).catch(({ code }) => console.log('code', code));`;
        await visit(loading, pairing(), [], async (tab, lines) => {
            await until(lines, begins('code'), 'the failure of the module');
            assert.ok(lines.includes('code no-webassembly'), lines.join('\n'));
        });
    } finally {
        sources = wasm;
    }
});

test('the packed package works in a folder of its own', async () => {
    const run = (command, ...args) =>
        new Promise((resolve, reject) => {
            const child = spawn(command, args, { cwd: folder, stdio: ['ignore', 'pipe', 'inherit'] });
            let text = '';
            child.stdout.on('data', (data) => (text += data));
            child.on('close', (code) => (code === 0 ? resolve(text) : reject(new Error(text))));
        });
    const packed = new URL('build/npm/tonelink', root).pathname;
    const archive = (await run('npm', 'pack', '--silent', packed)).trim();
    await writeFile(join(folder, 'package.json'), '{ "private": true, "type": "module" }');
    await run('npm', 'install', '--offline', '--no-audit', '--no-fund', join(folder, archive));
    await writeFile(
        join(folder, 'use.js'),
        `import { createStreamReceiver, makeBurst } from 'tonelink';
        const receiver = await createStreamReceiver();
        receiver.push([await makeBurst([1, 2, 3, 4])]);
        receiver.flush();
        console.log(receiver.next().message.join());`,
    );
    assert.equal(await run('node', 'use.js'), '1,2,3,4\n');
});
