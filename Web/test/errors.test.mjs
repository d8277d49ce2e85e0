// What cannot be played ends in one error event with a sentence, and what can be played in spite of a fault is played.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';
import { fixture } from './support.mjs';

const context = useBrowser();
const failedLoad = [/Failed to load resource/, /net::ERR/];

function assertSentence(message) {
    assert.match(message, /^\S+ \S+ \S+/);
    assert.doesNotMatch(message, /undefined|NaN|\[object|Error:|null/);
}

/** With a profile that no browser decodes, in the configuration and in the parameter set within. */
function withOtherProfile(file) {
    const bytes = Buffer.from(file);
    const at = bytes.indexOf('avcC') + 4;
    bytes[at + 1] = 44;
    bytes[at + 9] = 44;
    return bytes;
}

/** Each place in the file that has an offset of a chunk. */
function* chunkPlaces(file) {
    for (let table = file.indexOf('stco'); table > 0; table = file.indexOf('stco', table + 1)) {
        for (let i = 0; i < file.readUInt32BE(table + 8); i++) {
            yield table + 12 + 4 * i;
        }
    }
}

/** With the index in front, the attributes at the end, and gaps before and behind the second half of the samples; where
 * that half is then. */
function withGaps(file, gap) {
    const [data, index, attributes] = ['mdat', 'moov', 'Xtra'].map((type) => file.indexOf(type) - 4);
    const half = Math.min(...[...chunkPlaces(file)].map((at) => file.readUInt32BE(at)).filter(
        (offset) => offset > (data + index) / 2));
    const bytes = Buffer.concat([file.subarray(0, data), file.subarray(index, attributes), file.subarray(data, half),
        Buffer.alloc(gap), file.subarray(half, index), Buffer.alloc(gap), file.subarray(attributes)]);
    bytes.writeUInt32BE(index - data + 2 * gap, data + attributes - index);
    const moved = (offset) => offset + attributes - index + (offset >= half ? gap : 0);
    for (const at of chunkPlaces(bytes)) {
        bytes.writeUInt32BE(moved(bytes.readUInt32BE(at)), at);
    }
    return [bytes, moved(half)];
}

const REFUSED = [
    ['not a clip', '/fixtures/golden.json', 'not-a-clip'],
    ['a web page', '/other.html', 'not-a-clip'],
    ['an empty file', '/made/empty.mp4', 'not-a-clip'],
    ['an empty file, without ranges', '/made/empty.mp4?ranges=no', 'not-a-clip'],
    ['a video without meshes', '/fixtures/video.mp4', 'no-meshes'],
    ['a file that is not there', '/fixtures/nothing.mp4', 'network'],
    ['a server in trouble', '/fixtures/counter.mp4?status=500', 'network'],
    ['a connection that breaks at once', '/fixtures/counter.mp4?cut=10-9999999', 'network'],
    ['a connection that breaks, without ranges', '/fixtures/counter.mp4?ranges=no&cut=30000-9999999', 'network'],
    ['pictures that no browser decodes', '/made/profile.mp4', 'unsupported-codec'],
    ['a server that is not there', 'http://127.0.0.1:9/clip.mp4', 'network'],
];

const failures = (events) => events.filter((event) => event === 'error').length;

test('each refusal is one event with a sentence', { timeout: 60000 }, async () => {
    context.server.files.set('empty.mp4', Buffer.alloc(0));
    context.server.files.set('profile.mp4', withOtherProfile(fixture('counter.mp4')));
    // All at once: a player tries several times before it gives up a network.
    await Promise.all(REFUSED.map(([name, src, code]) => context.withPage(async (page) => {
        const error = await page.call('openPlayer', src);
        assert.equal(error?.code, code, `${name}: ${error?.message}`);
        assertSentence(error.message);
        const { events, drawn } = await page.call('rest', 150);
        assert.equal(failures(events), 1, name);
        assert.equal(drawn, 0, name);
    }, { expected: failedLoad })));
});

test('a connection that breaks while playing is one error, behind the frames before', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        const [bytes, half] = withGaps(fixture('counter.mp4'), 4 << 20);
        context.server.files.set('long.mp4', bytes);
        assert.equal(await page.call('openPlayer', `/made/long.mp4?cut=${half}-${half + 1}`), null);
        await page.call('play');
        const { events, wrong, error } = await page.call('awaitError');
        assert.equal(error.code, 'network');
        assertSentence(error.message);
        assert.equal(failures(events), 1);
        assert.deepEqual(wrong, []);
    }, { expected: failedLoad }));

test('a server without ranges is asked for the whole file, once', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        const src = '/fixtures/counter.mp4?ranges=no';
        assert.equal(await page.call('openPlayer', src), null);
        const { problems } = await page.call('seekByChance', 10, 3);
        assert.deepEqual(problems, []);
        assert.equal(context.server.requests.filter(({ path }) => path === src).length, 1);
    }));

test('a slow server makes it wait, and then go on', { timeout: 30000 }, () => context.withPage(async (page) => {
    context.server.files.set('slow.mp4', withGaps(fixture('counter.mp4'), 4 << 20)[0]);
    assert.equal(await page.call('openPlayer', '/made/slow.mp4?slow=900'), null);
    const { events, wrong, numbers, statistics } = await page.call('playLoops', 1);
    assert.ok(statistics.waits >= 1 && events.lastIndexOf('playing') > events.indexOf('waiting'), `${events}`);
    assert.deepEqual(wrong, []);
    const steps = numbers.slice(1).map((number, i) => number - numbers[i]).filter((step) => step > 5);
    assert.deepEqual(steps, [], 'time stood still meanwhile');
}));

test('a hidden page does not wait for frames that nobody sees', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        context.server.files.set('slow.mp4', withGaps(fixture('counter.mp4'), 4 << 20)[0]);
        assert.equal(await page.call('openPlayer', '/made/slow.mp4?slow=900'), null);
        const { statistics, wrong } = await page.call('playLoops', 1);
        assert.equal(statistics.waits, 0);
        assert.deepEqual(wrong, []);
    }, { prelude: () => Object.defineProperty(document, 'hidden', { get: () => true }) }));

test('a load that another one, or close, comes after is aborted, which is no error', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        const { ends, errors, frame } = await page.call('loadOver', '/fixtures/counter.mp4');
        assert.deepEqual(ends, ['aborted', 'loaded', 'aborted']);
        assert.equal(errors, 0);
        assert.equal(frame, null);
    }));

for (const [name, lost, isDamage] of [['damaged', [13, 14], true], ['gaps', [3, 10, 17, 24], false]]) {
    test(`${name}: frames without a mesh of their own are passed over`, { timeout: 30000 }, () =>
        context.withPage(async (page) => {
            assert.equal(await page.call('openPlayer', `/fixtures/${name}.mp4`), null);
            const { events, numbers, wrong, statistics } = await page.call('playLoops', 2);
            assert.deepEqual(wrong, []);
            assert.ok(new Set(numbers).size > 15, `${numbers}`);
            assert.deepEqual(lost.filter((frame) => numbers.includes(frame)), []);
            assert.equal(events.includes('error'), false);
            assert.equal(events.includes('framedamaged'), isDamage);
            assert.equal(statistics.damaged > 0, isDamage);
        }));
}

test('without WebCodecs and without a video element there is a poster and a sentence', { timeout: 30000 }, () =>
    context.withPage(async (page) => {
        const poster = 'data:image/gif;base64,R0lGODlhAQABAIAAAAAAAP///yH5BAEAAAAALAAAAAABAAEAAAIBRAA7';
        const error = await page.call('openElement', { src: '/fixtures/counter.mp4', poster, muted: '' });
        assert.equal(error?.code, 'unsupported-browser');
        assertSentence(error.message);
        const text = await page.call('visibleText');
        assert.ok(text.toLowerCase().includes(error.message.toLowerCase()), text);
        assert.equal(await page.call('isPosterShown'), true);
    }, {
        prelude: () => {
            delete window.VideoDecoder;
            delete window.HTMLVideoElement;
        },
        path: '/page.html?player=bare',
    }));
