// How fast the player is in a headless browser: npm run bench -- CLIP.mp4 (otherwise the tests' own small clip).
//
// Reports, and judges nothing. Graphics are computed by the processor here, so what counts is the main thread: how long
// its animation frames and messages take for each frame of the clip.
import { readFileSync } from 'node:fs';
import { gzipSync } from 'node:zlib';
import { TestPage, launchBrowser } from '../test/browser.mjs';
import { TestServer } from '../test/server.mjs';
import { fixture, webFile } from '../test/support.mjs';

const RUNS = 7;
const SECONDS = 6;

/** Notes how long each callback takes that the page has for animation frames, and for messages of workers. */
function timeCallbacks() {
    window.callbackTimes = [];
    const timed = (callback) => (...values) => {
        const begin = performance.now();
        callback(...values);
        window.callbackTimes.push({ begin, took: performance.now() - begin });
    };
    const request = window.requestAnimationFrame.bind(window);
    window.requestAnimationFrame = (callback) => request(timed(callback));
    const { set } = Object.getOwnPropertyDescriptor(Worker.prototype, 'onmessage');
    Object.defineProperty(Worker.prototype, 'onmessage', {
        set(callback) {
            set.call(this, timed(callback));
        },
    });
}

const at = (values, share) => [...values].sort((a, b) => a - b)[Math.floor(share * (values.length - 1))];
const summary = (values, unit) => `${at(values, 0.5).toFixed(1)} ${unit} (median of ${values.length}; ` +
    `${at(values, 0).toFixed(1)} to ${at(values, 1).toFixed(1)}, 95 % at most ${at(values, 0.95).toFixed(1)})`;

const path = process.argv[2];
const server = await TestServer.start();
const browser = await launchBrowser();
try {
    server.files.set('clip.mp4', path === undefined ? fixture('counter.mp4') : readFileSync(path));
    const starts = [];
    let played;
    for (let run = 0; run < RUNS; run++) {
        const page = new TestPage(await browser.newPage());
        await page.page.evaluateOnNewDocument(timeCallbacks);
        await page.page.setViewport({ width: 1280, height: 720 });
        await page.page.goto(`${server.origin}/page.html`);
        starts.push(await page.call('timeToFirstFrame', '/made/clip.mp4'));
        if (run === 0) {
            played = await page.call('timeFrames', SECONDS);
        }
        await page.page.close();
        page.faults.forEach((fault) => console.error(fault));
    }
    const { info, frames, statistics } = played;
    console.log(`clip:           ${path ?? 'the small one of the tests'}: ${info.width} x ${info.height}, ` +
        `${info.frameRate.toFixed(0)} frames a second, at most ${info.maxVertices} vertices`);
    console.log(`first frame:    ${summary(starts, 'ms')} after the page asked for the clip`);
    console.log(`main thread:    ${summary(frames, 'ms')} for a frame`);
    console.log(`frames:         ${statistics.shown} shown in ${SECONDS} s, ${statistics.dropped} dropped, ` +
        `${statistics.waits} waits`);
} finally {
    await browser.close();
    await server.stop();
}
const files = ['nimb-player.js', 'nimb-player-worker.js', 'nimb-clip.wasm', 'nimb-player-three.js'];
for (const name of files) {
    console.log(`gzipped:        ${gzipSync(readFileSync(webFile('dist', name)), { level: 9 }).length} bytes, ${name}`);
}
