// limit.mjs BROWSER FOLDER: the bare limit. One page of one running browser, navigated and printed again and again
// over the browser's pipe, with nothing between one job and the next. FOLDER is the browser's, and new.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { writeFile } from 'node:fs/promises';
import { serve } from './jobs.mjs';

const [browserPath, folder] = process.argv.slice(2);
const browser = spawn(
    browserPath,
    [
        '--headless',
        '--remote-debugging-pipe',
        `--user-data-dir=${folder}`,
        '--no-first-run',
        '--disable-background-networking',
        '--disable-component-update',
        '--disable-sync',
        '--disable-quic',
        '--font-render-hinting=none',
        '--hide-scrollbars',
        ...(process.getuid() === 0 ? ['--no-sandbox'] : []),
    ],
    { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] },
);
const [toBrowser, fromBrowser] = browser.stdio.slice(3);

const replies = new Map();
const waiting = new Map();
let lastId = 0;

function take(message) {
    if (message.id) {
        const { resolve, reject } = replies.get(message.id);
        replies.delete(message.id);
        if (message.error) reject(new Error(message.error.message));
        else resolve(message.result);
    } else if (waiting.has(message.method)) {
        waiting.get(message.method)(message.params);
        waiting.delete(message.method);
    }
}

let parts = [];
fromBrowser.on('data', (bytes) => {
    let start = 0;
    for (let end = bytes.indexOf(0); end >= 0; end = bytes.indexOf(0, start)) {
        parts.push(bytes.subarray(start, end));
        take(JSON.parse(Buffer.concat(parts)));
        parts = [];
        start = end + 1;
    }
    parts.push(bytes.subarray(start));
});

let sessionId;
function call(method, params = {}) {
    const id = ++lastId;
    toBrowser.write(`${JSON.stringify({ id, method, params, sessionId })}\0`);
    return new Promise((resolve, reject) => replies.set(id, { resolve, reject }));
}
const event = (method) => new Promise((resolve) => waiting.set(method, resolve));

const { targetId } = await call('Target.createTarget', { url: 'about:blank' });
({ sessionId } = await call('Target.attachToTarget', { targetId, flatten: true }));
await call('Page.enable');

const inches = (millimetres) => millimetres / 25.4;
const settings = {
    paperWidth: inches(210),
    paperHeight: inches(297),
    marginTop: inches(10),
    marginBottom: inches(10),
    marginLeft: inches(10),
    marginRight: inches(10),
    preferCSSPageSize: true,
    printBackground: true,
    generateTaggedPDF: true,
    generateDocumentOutline: true,
};

await serve(async (input, output) => {
    const loaded = event('Page.loadEventFired');
    const { errorText } = await call('Page.navigate', { url: input });
    if (errorText) throw new Error(errorText);
    await loaded;
    const { data } = await call('Page.printToPDF', settings);
    await writeFile(output, Buffer.from(data, 'base64'));
});

const ended = once(browser, 'exit');
sessionId = undefined;
call('Browser.close').catch(() => {});
await ended;
