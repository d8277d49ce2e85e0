// Memory stays as it is however long a clip plays. Only when asked for: NIMB_WEB_SOAK_MINUTES=10 npm test
import assert from 'node:assert/strict';
import { readFileSync, readdirSync } from 'node:fs';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';

const minutes = Number(process.env.NIMB_WEB_SOAK_MINUTES ?? 0);
const SAMPLES = 30;

/** Megabytes of memory that the process and all below it have to themselves. */
function memoryOf(root) {
    const parents = new Map();
    for (const pid of readdirSync('/proc').filter((name) => /^\d+$/.test(name))) {
        try {
            parents.set(Number(pid), Number(readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1].split(' ')[1]));
        } catch {
            // It has ended meanwhile.
        }
    }
    const isBelow = (pid) => pid === root || (parents.has(pid) && parents.get(pid) > 1 && isBelow(parents.get(pid)));
    return [...parents.keys()].filter(isBelow).reduce((sum, pid) => {
        const status = readFileSync(`/proc/${pid}/status`, 'utf8');
        return sum + Number(/RssAnon:\s+(\d+)/.exec(status)?.[1] ?? 0) / 1024;
    }, 0);
}

const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];

if (minutes > 0) {
    const context = useBrowser();
    test('memory is flat', { timeout: (minutes + 2) * 60000 }, (t) => context.withPage(async (page) => {
        const src = '/fixtures/counter.mp4';
        assert.equal(await page.call('openElement', { src, loop: '' }), null);
        const memory = [], heap = [];
        for (let i = 0; i < SAMPLES; i++) {
            await page.call('playFor', minutes * 60 / SAMPLES);
            memory.push(memoryOf(context.browser.process().pid));
            heap.push((await page.page.metrics()).JSHeapUsedSize / 2 ** 20);
        }
        // The first third is for warming up.
        for (const [name, values, slack] of [['memory', memory, 12], ['heap', heap, 2]]) {
            const third = SAMPLES / 3;
            const before = median(values.slice(third, 2 * third)), after = median(values.slice(2 * third));
            t.diagnostic(`${name}: ${values.map((value) => value.toFixed(0)).join(' ')} MB`);
            assert.ok(after < before + slack, `${name} grew from ${before} to ${after} MB`);
        }
    }));
} else {
    test('memory is flat', { skip: 'takes long; NIMB_WEB_SOAK_MINUTES says how long' });
}
