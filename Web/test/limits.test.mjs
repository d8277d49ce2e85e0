// What the player promises about itself: how many pictures it keeps, what it asks of a page, how large it is.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { gzipSync } from 'node:zlib';
import { useBrowser } from './browser.mjs';
import { webFile } from './support.mjs';

const context = useBrowser();
const src = '/fixtures/counter.mp4';

test('at most eight VideoFrames are alive', { timeout: 60000 }, () => context.withPage(async (page) => {
    assert.equal(await page.call('openPlayer', src), null);
    await page.call('playLoops', 1, 4);
    await page.call('seekByChance', 20, 7);
    const { alive, most, all } = await page.call('countVideoFrames');
    assert.ok(all > 100, `${all} in all`);
    assert.ok(most <= 8, `${most} at once`);
    assert.ok(alive > 0 && alive <= 8, `${alive} are left`);
}, { path: '/page.html?player=watched' }));

test('no policy needs to allow eval', { timeout: 30000 }, () => context.withPage(async (page) => {
    assert.equal(await page.call('evalIsForbidden'), true);
    assert.equal(await page.call('openPlayer', src), null);
    const { problems, done } = await page.call('seekByChance', 8, 11);
    assert.deepEqual(problems, []);
    assert.ok(done > 0);
}, { path: '/page.html?player=strict' }));

// Two thirds of it are the mesh decoder.
test('what a page loads is small', () => {
    const files = ['nimb-player.js', 'nimb-player-worker.js', 'nimb-clip.wasm'];
    const sizes = files.map((name) => gzipSync(readFileSync(webFile('dist', name)), { level: 9 }).length);
    const total = sizes.reduce((sum, size) => sum + size);
    assert.ok(total <= 75_000, `${total} bytes, gzipped: ${files.map((name, i) => `${name} ${sizes[i]}`).join(', ')}`);
});
