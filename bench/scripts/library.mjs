// library.mjs BROWSER: a browser kept warm by a script library, with a fresh context for every page.
import { createRequire } from 'node:module';
import { serve } from './jobs.mjs';

// Installed elsewhere: NODE_PATH names the folder, which only this way of loading looks at.
const { chromium } = createRequire(import.meta.url)('playwright-core');

const browser = await chromium.launch({
    executablePath: process.argv[2],
    chromiumSandbox: process.getuid() !== 0,
});

await serve(async (input, output) => {
    const context = await browser.newContext();
    try {
        const page = await context.newPage();
        await page.goto(input, { waitUntil: 'load' });
        const margin = '10mm';
        await page.pdf({
            path: output,
            format: 'A4',
            margin: { top: margin, right: margin, bottom: margin, left: margin },
            printBackground: true,
            preferCSSPageSize: true,
            tagged: true,
            outline: true,
        });
    } finally {
        await context.close();
    }
});

await browser.close();
