// What a person sees of a state of the page: pictures of it at the sizes of two phones and a desktop,
// bright and dark, each of them looked at for what makes it unusable.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join } from 'node:path';

import { desktop, phone, pictures, smallPhone } from './browser.js';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const sizes = { small: smallPhone, phone, desktop };
const leastTargetPixels = 44;
const mostOfOneColour = 0.995;

/** The share of a picture's most frequent colour; 1 for a blank one. */
function shareOfOneColour(page, png) {
    return page.evaluate(async (base64) => {
        const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
        const image = await createImageBitmap(new Blob([bytes], { type: 'image/png' }));
        const picture = new OffscreenCanvas(image.width, image.height).getContext('2d');
        picture.drawImage(image, 0, 0);
        const { data } = picture.getImageData(0, 0, image.width, image.height);
        const counts = new Map();
        for (const colour of new Uint32Array(data.buffer))
            counts.set(colour, (counts.get(colour) ?? 0) + 1);
        return Math.max(...counts.values()) / (image.width * image.height);
    }, png.toString('base64'));
}

async function findViolations(page) {
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() =>
        window.axe.run(document, { resultTypes: ['violations'] }),
    );
    return violations.flatMap(({ id, nodes }) =>
        nodes.map(({ html, failureSummary }) => `${id}: ${html} ${failureSummary}`),
    );
}

/** What can be pressed and is too small for a finger, and what stands out at the sides. */
function findMisfits(page) {
    return page.evaluate((least) => {
        const misfits = [];
        if (document.scrollingElement.scrollWidth > innerWidth)
            misfits.push('the page is too wide');
        for (const element of document.querySelectorAll('a, button, input, summary')) {
            const { width, height } = (element.closest('label') ?? element).getBoundingClientRect();
            if (height > 0 && Math.min(width, height) < least - 0.5)
                misfits.push(`${element.id || element.textContent} is ${width} by ${height}`);
        }
        return misfits;
    }, leastTargetPixels);
}

/**
 * Takes and checks the pictures of the state that the page is in.
 * @param seen  selectors of what must be in view without scrolling, each in every picture
 */
export async function inspect(page, name, seen) {
    for (const [sizeName, size] of Object.entries(sizes)) {
        for (const colorScheme of ['light', 'dark']) {
            const which = `${name}-${sizeName}-${colorScheme}`;
            await page.setViewportSize(size);
            await page.emulateMedia({ colorScheme, reducedMotion: 'no-preference' });
            await page.evaluate(() => scrollTo(0, 0));
            const png = await page.screenshot({ path: join(pictures, `${which}.png`) });
            assert.ok((await shareOfOneColour(page, png)) < mostOfOneColour, `${which} is blank`);
            assert.deepEqual(await findMisfits(page), [], which);
            assert.deepEqual(await findViolations(page), [], which);
            for (const selector of seen) {
                const box = await page.locator(selector).boundingBox();
                assert.ok(box && box.height > 0, `${which}: ${selector} is there`);
                assert.ok(
                    box.x >= 0 && box.x + box.width <= size.width + 1,
                    `${which}: ${selector} is cut off`,
                );
                assert.ok(
                    box.y >= 0 && box.y + box.height <= size.height,
                    `${which}: ${selector} is below`,
                );
            }
        }
    }
}
