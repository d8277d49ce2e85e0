// Every frame that is drawn has the picture and the mesh of one and the same frame, whatever is asked for; and every
// request for a frame ends once, with that frame drawn and nothing else meanwhile.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';

const context = useBrowser();
const clip = (name) => `/fixtures/${name}.mp4`;

async function assertSeeks(page, count, seed) {
    const { problems, done, superseded, seeked } = await page.call('seekByChance', count, seed);
    assert.deepEqual(problems, []);
    assert.ok(done > count / 4 && superseded > count / 20, `${done} done, ${superseded} superseded`);
    assert.equal(seeked, done);
    const { wrong, statistics } = await page.call('summary');
    assert.deepEqual(wrong, []);
    assert.ok(statistics.alive <= 8, `${statistics.alive} alive`);
}

async function assertLoops(page, count, frames, rate) {
    const { different, wrong, events } = await page.call('playLoops', count, rate);
    assert.deepEqual(wrong, []);
    assert.ok(different > frames * 0.4, `${different} of ${frames} frames`);
    assert.equal(events.includes('ended') || events.includes('error'), false);
}

test('the element: three loops, then 200 seeks', { timeout: 90000 }, () => context.withPage(async (page) => {
    assert.equal(await page.call('openElement', { src: clip('counter'), muted: '' }), null);
    await assertLoops(page, 3, 90, 2);
    await assertSeeks(page, 200, 1);
}));

test('the object for three.js', { timeout: 60000 }, () => context.withPage(async (page) => {
    await page.call('openMesh', clip('counter'));
    await assertLoops(page, 1, 90, 2);
    await assertSeeks(page, 50, 2);
    const { rendered } = await page.call('summary');
    assert.ok(rendered > 100, `${rendered} renderings`);
}));

test('the element: other clips', { timeout: 60000 }, async (t) => {
    for (const [name, frames] of [['normals', 40], ['untracked', 24]]) {
        await t.test(name, () => context.withPage(async (page) => {
            assert.equal(await page.call('openElement', { src: clip(name), muted: '' }), null);
            await assertLoops(page, 2, frames, 1);
            await assertSeeks(page, 40, frames);
        }));
    }
});

test('the player in one file, with a clip in memory', { timeout: 60000 }, () => context.withPage(async (page) => {
    const before = context.server.requests.length;
    for (const as of ['blob', 'arrayBuffer']) {
        assert.equal(await page.call('openPlayer', clip('normals'), {}, as), null);
        await assertSeeks(page, 20, 8);
    }
    assert.deepEqual(context.server.requests.slice(before).filter(({ path }) => /worker|wasm/.test(path)), []);
}, { path: '/page.html?script=nimb-player-inline.js' }));

test('two players of one clock', { timeout: 60000 }, () => context.withPage(async (page) => {
    const { playing, shown, told, wrong } = await page.call('playTogether', clip('counter'));
    assert.deepEqual(wrong, []);
    assert.deepEqual(told, Array(2).fill(['play', 'pause', 'seeking', 'seeked']));
    assert.equal(shown, 50);
    assert.ok(playing.filter((apart) => apart > 1).length < playing.length / 5, `${playing}`);
}));

test('a frame that is asked for before the first one is there is shown', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        const { end, events } = await page.call('seekEarly', clip('counter'), 30);
        assert.deepEqual(end, { outcome: 'done', frame: 30 });
        assert.deepEqual(events, ['seeking', 'loadeddata', 'seeked']);
    }));

test('without a loop it ends with the last frame, once, and begins anew', { timeout: 60000 }, () =>
    context.withPage(async (page) => {
        assert.equal(await page.call('openPlayer', clip('normals')), null);
        const { end, again, paused, currentTime, events, wrong } = await page.call('playToTheEnd');
        assert.deepEqual([end, again, paused, currentTime], [39, 0, true, 1.6]);
        assert.equal(events.filter((event) => event === 'ended').length, 1);
        assert.deepEqual(wrong, []);
    }));

test('without WebCodecs: the video element plays, and seeks land on their frame', { timeout: 60000 }, (t) =>
    context.withPage(async (page) => {
        assert.equal(await page.call('openPlayer', clip('counter')), null);
        const { drawn, different, wrong, exact } = await page.call('playLoops', 1);
        assert.equal(exact, false);
        assert.ok(different > 30, `${different} frames`);
        t.diagnostic(`${drawn - wrong.length} of ${drawn} frames drawn with their own mesh while playing`);
        assert.deepEqual((await page.call('seekCalmly', 12, 5)).problems, []);
    }, {
        path: '/page.html?player=bare',
        prelude: () => {
            delete window.VideoDecoder;
            delete window.AudioDecoder;
        },
    }));
