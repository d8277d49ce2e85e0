// Files that mean harm: each plays or ends in an error, soon, and the page goes on as if nothing had been.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';
import { makeHostile } from './hostile.mjs';
import { fixture } from './support.mjs';

const FILES = 200;
const context = useBrowser();

test('hostile files end in an error or play', { timeout: 120000 }, () => context.withPage(async (page) => {
    const good = ['counter', 'normals', 'untracked'].map((name) => fixture(`${name}.mp4`));
    const ways = [];
    for (let seed = 0; seed < FILES; seed++) {
        const { way, bytes } = makeHostile(good[seed % 10 % 3], seed);
        ways.push(way);
        context.server.files.set(`${seed}.mp4`, bytes);
    }
    const results = await page.call('playMany', ways.map((_, i) => `/made/${i}.mp4`));
    const tally = {};
    const bad = [];
    results.forEach(({ code, message = '', errors, rejections, seconds }, i) => {
        tally[code] = (tally[code] ?? 0) + 1;
        const isRight = code === 'plays' ? errors === 0 : errors === 1 && code !== 'internal' && code !== 'hangs';
        if (!isRight || rejections > 1) {
            const ends = `${errors} error events, ${rejections} rejections, ${seconds} s`;
            bad.push(`${i} (${ways[i]}): ${code} ${message}, ${ends}`);
        }
    });
    assert.deepEqual(bad, []);
    assert.ok(tally.plays > 40 && tally.plays < 160, JSON.stringify(tally));
    assert.ok(tally['not-a-clip'] > 5 && tally.damaged > 5, JSON.stringify(tally));

    assert.equal(await page.call('openPlayer', '/fixtures/counter.mp4'), null);
    const { problems, done } = await page.call('seekByChance', 10, 1);
    assert.deepEqual(problems, []);
    assert.ok(done > 0);
}));
