// A browser with the page open: Debian's Chromium with a microphone of the test's own, watched for
// requests that go elsewhere, violations of the security policy and errors.
import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

import { serve } from '../../serve.js';

export const folder = fileURLToPath(new URL('../../../build/web/', import.meta.url));
export const pictures = fileURLToPath(new URL('../../../build/web-pictures/', import.meta.url));
mkdirSync(pictures, { recursive: true });

/** For whatever a busy machine takes. */
export const patience = 90_000;

const flags = [
    '--no-sandbox',
    '--disable-gpu',
    '--disable-quic',
    '--no-first-run',
    '--disable-sync',
    '--disable-background-networking',
    '--disable-component-update',
    '--autoplay-policy=no-user-gesture-required',
];

/** How Chromium gets a microphone: a file that it plays again and again. */
export const fakeMicrophone = (wav) => [
    '--use-fake-device-for-media-stream',
    '--use-fake-ui-for-media-stream',
    `--use-file-for-fake-audio-capture=${wav}`,
];

export const phone = { width: 390, height: 844 };
export const smallPhone = { width: 320, height: 568 };
export const desktop = { width: 1280, height: 800 };

/** What the browser did that it must not, beside what a test expects. */
class Watch {
    requests = [];
    violations = [];
    errors = [];

    async follow(context, page) {
        await context.exposeBinding('noteViolation', (_, violation) =>
            this.violations.push(violation),
        );
        await context.addInitScript(() =>
            addEventListener('securitypolicyviolation', (event) =>
                window.noteViolation(`${event.violatedDirective} ${event.blockedURI}`),
            ),
        );
        context.on('request', (request) => this.requests.push(request.url()));
        page.on('console', (message) => {
            if (message.type() === 'error') this.errors.push(message.text());
        });
        page.on('pageerror', (error) => this.errors.push(String(error)));
    }

    check(url) {
        assert.ok(this.requests.length > 0);
        assert.deepEqual(
            this.requests.filter((request) => !request.startsWith(url)),
            [],
        );
        assert.deepEqual(this.violations, []);
        assert.deepEqual(this.errors, []);
    }
}

/**
 * Opens the page in a browser of its own and hands it to `use`, as {page, context, url, watch}.
 * @param options  browserFlags, environment, prepare(context), hash, and served, a folder; the rest is
 *     the context's
 */
export async function withPage(options, use) {
    const {
        browserFlags = [],
        environment = {},
        prepare,
        hash = '',
        served = folder,
        ...contextOptions
    } = options;
    const profile = mkdtempSync(join(tmpdir(), 'tonelink-page-'));
    const server = await serve(served);
    const context = await chromium.launchPersistentContext(profile, {
        executablePath: '/usr/bin/chromium',
        args: [...flags, ...browserFlags],
        ignoreDefaultArgs: ['--mute-audio'],
        env: { ...process.env, ...environment },
        viewport: phone,
        colorScheme: 'light',
        timeout: patience,
        ...contextOptions,
    });
    try {
        context.setDefaultTimeout(patience);
        const page = context.pages()[0] ?? (await context.newPage());
        const watch = new Watch();
        await watch.follow(context, page);
        await prepare?.(context);
        await page.goto(server.url + hash);
        await use({ page, context, url: server.url, watch, server });
        watch.check(server.url);
    } finally {
        await context.close();
        await server.close();
        rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
    }
}
