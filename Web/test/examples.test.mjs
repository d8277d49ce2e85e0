// Each example of Docs/web.md works as it is written there.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';
import { fixture, webFile } from './support.mjs';

const context = useBrowser();
const guide = readFileSync(webFile('..', 'Docs', 'web.md'), 'utf8');
const examples = [...guide.matchAll(/^```html\n(.*?)^```/gms)].map(([, text]) => text);

/** Counts what is drawn of meshes with a picture, whoever draws it. */
function countDraws() {
    const { texImage2D, drawElements } = WebGL2RenderingContext.prototype;
    window.counts = { pictures: 0, draws: 0 };
    WebGL2RenderingContext.prototype.texImage2D = function (...values) {
        window.counts.pictures += [VideoFrame, ImageData, Uint8ClampedArray].some((kind) => values.at(-1) instanceof kind);
        texImage2D.apply(this, values);
    };
    WebGL2RenderingContext.prototype.drawElements = function (...values) {
        drawElements.apply(this, values);
        window.counts.draws += values[1] > 0 && this.getError() === this.NO_ERROR;
    };
}

/** A folder as the guide describes it: page, player and clip side by side, packages in node_modules. */
function serve(name, text) {
    const { files } = context.server;
    const add = (path, ...from) => files.set(path, readFileSync(webFile(...from)));
    for (const file of ['nimb-player.js', 'nimb-player-worker.js', 'nimb-clip.wasm', 'nimb-player-three.js']) {
        add(file, 'dist', file);
        add(`node_modules/nimb-player/dist/${file}`, 'dist', file);
    }
    for (const file of ['three.module.js', 'three.core.js']) {
        add(`node_modules/three/build/${file}`, 'node_modules', 'three', 'build', file);
    }
    files.set('dancer.mp4', fixture('counter.mp4'));
    files.set(name, Buffer.from(text));
}

test('there are examples of the element and of three.js', () => {
    assert.ok(examples.some((text) => text.includes('<nimb-player')));
    assert.ok(examples.some((text) => text.includes('new NimbMesh')));
});

for (const [i, text] of examples.entries()) {
    test(`example ${i + 1}: ${/<title>(.*)<\/title>/.exec(text)[1]}`, { timeout: 60000 }, () => {
        serve(`example${i}.html`, text);
        return context.withPage(async ({ page }) => {
            const count = text.match(/<nimb-player\b|new NimbMesh\b/g).length;
            const input = await page.$('input[type=file]');
            await input?.uploadFile(webFile('test', 'fixtures', 'counter.mp4'));
            await page.waitForFunction((count) => window.counts.pictures >= count && window.counts.draws >= count,
                { timeout: 20000 }, count);
            for (const button of await page.$$('button')) {
                await button.click();
                await page.waitForFunction((before) => window.counts.pictures > before, { timeout: 20000 },
                    await page.evaluate(() => window.counts.pictures));
            }
        }, { path: `/made/example${i}.html`, prelude: countDraws });
    });
}
