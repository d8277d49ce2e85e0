// The sound of a clip is heard where its pictures are: from the start, after a seek, in the next round.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';

const src = '/fixtures/counter.mp4';
const context = useBrowser();
const strict = useBrowser({ autoplay: 'document-user-activation-required' });

test('sound is in step with the pictures', { timeout: 60000 }, () => context.withPage(async (page) => {
    await page.call('listen');
    assert.equal(await page.call('openPlayer', src, { muted: false, loop: true }), null);
    const { sounding, muted, drawn } = await page.call('playWithSound');
    for (const [where, { lead, spread, silent, loudness, rate }] of Object.entries(sounding)) {
        assert.ok(Math.abs(lead) < 0.01, `${where}: sound is ${Math.round(lead * 1000)} ms early`);
        assert.ok(spread < 0.03, `${where}: sound wanders by ${Math.round(spread * 1000)} ms`);
        assert.ok(silent < 0.1, `${where}: silence for ${Math.round(silent * 100)} %`);
        assert.ok(Math.abs(loudness - sounding.start.loudness) < 3, `${where}: ${loudness} dB`);
        assert.ok(Math.abs(rate - 1) < 0.05, `${where}: a second takes ${1 / rate} s`);
    }
    assert.equal(muted.silent, 1);
    assert.deepEqual(drawn.filter(({ late }) => late < -0.001), []);
    const late = drawn.map(({ late }) => late).sort((a, b) => a - b)[drawn.length >> 1];
    assert.ok(late < 0.034, `half of the frames are ${late} s late`);
}));

test('a page that nobody touched may not sound', { timeout: 30000 }, () => strict.withPage(async (page) => {
    await page.awaitLog('unattended');
    const { sounding, muted, paused } = await page.call('unattended');
    assert.equal(sounding, 'NotAllowedError');
    assert.equal(muted, 'plays');
    assert.equal(paused, true);
}, { path: `/page.html?unattended=${src}` }));
