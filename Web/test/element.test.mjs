// What somebody who looks at a <nimb-player> sees and does: the camera, the controls, and what it leaves behind.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';
import { useBrowser } from './browser.mjs';

const context = useBrowser();

/** In the page: helpers on `window`. */
function prelude() {
    const { drawElements } = WebGL2RenderingContext.prototype;
    const request = window.requestAnimationFrame;
    window.draws = window.animations = 0;
    window.requestAnimationFrame = (callback) => {
        window.animations++;
        return request(callback);
    };
    WebGL2RenderingContext.prototype.drawElements = function (...values) {
        window.draws++;
        drawElements.apply(this, values);
    };
    const pixelsOf = async (blob) => {
        const picture = await createImageBitmap(blob);
        const canvas = new OffscreenCanvas(picture.width, picture.height).getContext('2d');
        canvas.drawImage(picture, 0, 0);
        return canvas.getImageData(0, 0, picture.width, picture.height);
    };
    /** Where the clip is in the picture, in shares of it. */
    window.extent = async () => {
        const { data, width, height } = await pixelsOf(await window.player.snapshot());
        const box = { left: width, right: -1, top: height, bottom: -1 };
        for (let i = 0; i < width * height; i++) {
            if (data[4 * i + 3] > 0) {
                const [x, y] = [i % width, Math.floor(i / width)];
                Object.assign(box, { left: Math.min(box.left, x), right: Math.max(box.right, x + 1),
                    top: Math.min(box.top, y), bottom: Math.max(box.bottom, y + 1) });
            }
        }
        return { left: box.left / width, right: box.right / width, top: box.top / height, bottom: box.bottom / height };
    };
    window.picture = async () => String((await pixelsOf(await window.player.snapshot())).data);
    /** Gives the page something to scroll. */
    window.lengthen = () => document.body.append(
        Object.assign(document.createElement('p'), { style: 'height: 3000px' }));
    window.part = (name) => window.player.shadowRoot.querySelector(`[part~=${name}]`);
    window.open = async (attributes, style = 'width: 400px; height: 300px') => {
        await import('/dist/nimb-player.js');
        const player = window.player = document.createElement('nimb-player');
        player.style.cssText = style;
        const all = { src: '/fixtures/counter.mp4', preload: 'auto', muted: '', ...attributes };
        for (const [name, value] of Object.entries(all)) {
            player.setAttribute(name, value);
        }
        const ready = new Promise((resolve) => player.addEventListener('loadeddata', resolve));
        document.body.append(player);
        await ready;
    };
}

const withPlayer = (attributes, use, style) => context.withPage(async ({ page }) => {
    await page.evaluate((...values) => window.open(...values), attributes, style);
    const box = await page.evaluate(() => window.player.getBoundingClientRect().toJSON());
    await use(page, { x: box.x + box.width / 2, y: box.y + box.height / 2 });
}, { prelude });

const camera = (page) => page.evaluate(() => window.player.camera);
/** Movements of the camera have ended. */
const rest = (page) => page.evaluate(async () => {
    for (let last = ''; last !== JSON.stringify(window.player.camera);) {
        last = JSON.stringify(window.player.camera);
        await new Promise((resolve) => setTimeout(resolve, 100));
    }
});
const until = (page, condition) => page.waitForFunction(condition, { timeout: 15000, polling: 20 });

for (const [orbit, style] of [
    ['0deg 90deg auto', 'width: 500px; height: 120px'], ['0deg 90deg auto', 'width: 120px; height: 400px'],
    ['35deg 50deg 100%', 'width: 300px; height: 300px'], ['-1.2rad 2rad', 'width: 400px; height: 150px'],
]) {
    test(`all of the clip is seen, and fills the view: ${orbit}, ${style}`, { timeout: 30000 }, () =>
        withPlayer({ 'camera-orbit': orbit }, async (page) => {
            const { left, right, top, bottom } = await page.evaluate(() => window.extent());
            assert.ok(left > 0.01 && right < 0.99 && top > 0.01 && bottom < 0.99, `${left} ${right} ${top} ${bottom}`);
            assert.ok(Math.max(right - left, bottom - top) > 0.7, `${right - left} x ${bottom - top}`);
        }, style));
}

test('mouse, wheel and keys move the camera, which cannot get lost', { timeout: 60000 }, () =>
    withPlayer({ 'camera-orbit': '20deg 70deg' }, async (page, { x, y }) => {
        const [home, before] = [await camera(page), await page.evaluate(() => window.picture())];
        await page.mouse.move(x, y);
        await page.mouse.down();
        await page.mouse.move(x + 75, y, { steps: 4 });
        await page.mouse.up();
        await rest(page);
        assert.ok(Math.abs((await camera(page)).theta - (home.theta - Math.PI / 2)) < 0.01);
        assert.notEqual(await page.evaluate(() => window.picture()), before);
        await page.keyboard.press('ArrowRight');
        await rest(page);
        assert.ok(Math.abs((await camera(page)).theta - (home.theta - Math.PI * 7 / 12)) < 0.01);
        for (const deltaY of [4000, -4000]) {
            for (let i = 0; i < 40; i++) {
                await page.mouse.wheel({ deltaY });
            }
            await rest(page);
            const { radius } = await camera(page);
            assert.ok(radius > home.radius / 20 && radius < home.radius * 5, `${radius}`);
        }
        await page.keyboard.down('Shift');
        await page.mouse.down();
        await page.mouse.move(x - 150, y - 140, { steps: 10 });
        await page.mouse.up();
        await page.keyboard.up('Shift');
        assert.notDeepEqual((await camera(page)).target, home.target);
        await page.mouse.click(x, y, { count: 2 });
        await rest(page);
        assert.equal(await page.evaluate(() => window.picture()), before);
    }));

test('the wheel scrolls the page until the picture is clicked; a fixed camera stays', { timeout: 30000 }, () =>
    withPlayer({}, async (page, { x, y }) => {
        const { radius } = await camera(page);
        const wheel = async () => {
            await page.mouse.wheel({ deltaY: 20 });
            await sleep(300);
            return [(await camera(page)).radius > radius, await page.evaluate(() => scrollY > 0)];
        };
        await page.evaluate(() => window.lengthen());
        await page.mouse.move(x, y);
        assert.deepEqual(await wheel(), [false, true]);
        await page.evaluate(() => scrollTo(0, 0));
        await page.mouse.click(x, y);
        assert.deepEqual(await wheel(), [true, false]);
        await page.evaluate(() => window.player.cameraFixed = true);
        const { theta } = await camera(page);
        await page.mouse.down();
        await page.mouse.move(x + 60, y);
        await page.mouse.up();
        assert.equal((await camera(page)).theta, theta);
    }));

test('one finger turns the clip sideways or scrolls the page, two zoom', { timeout: 30000 }, () =>
    withPlayer({}, async (page, { x, y }) => {
        const session = await page.createCDPSession();
        await session.send('Emulation.setTouchEmulationEnabled', { enabled: true, maxTouchPoints: 2 });
        const touch = (type, ...points) => session.send('Input.dispatchTouchEvent',
            { type, touchPoints: points.map(([dx, dy], id) => ({ x: x + dx, y: y + dy, id })) });
        const drag = async (...steps) => {
            await touch('touchStart', ...steps[0]);
            for (const points of steps.slice(1)) {
                await touch('touchMove', ...points);
                await sleep(20);
            }
            await sleep(200);  // what stops before it is lifted throws nothing
            await touch('touchEnd');
            await rest(page);
            return { ...await camera(page), scrolled: await page.evaluate(() => scrollY > 0) };
        };
        const home = await camera(page);
        const up = [0, -20, -40, -60, -80].map((dy) => [[0, dy]]);
        assert.ok((await drag(...up)).phi > home.phi + 0.5);  // there is nothing to scroll
        await page.evaluate(() => window.player.resetCamera());
        await page.evaluate(() => window.lengthen());
        await rest(page);
        const scrolled = await drag(...up);
        assert.deepEqual([scrolled.theta, scrolled.phi, scrolled.scrolled], [home.theta, home.phi, true]);
        await page.evaluate(() => scrollTo(0, 0));
        const turned = await drag(...[0, 20, 40, 60, 80].map((dx) => [[dx, 0]]));
        assert.ok(turned.theta < home.theta - 1 && !turned.scrolled, JSON.stringify(turned));
        const zoomed = await drag(...[30, 40, 60, 80, 90].map((dx) => [[-dx, 0], [dx, 0]]));
        assert.ok(Math.abs(zoomed.radius / home.radius - 1 / 3) < 0.02, JSON.stringify(zoomed));
        assert.equal(zoomed.theta, turned.theta);
    }));

test('nothing is drawn without need: paused, or out of sight', { timeout: 30000 }, () =>
    withPlayer({ loop: '' }, async (page) => {
        const drawnIn = async (milliseconds) => {
            await page.evaluate(() => {
                window.draws = window.animations = 0;
            });
            await sleep(milliseconds);
            return page.evaluate(() => Math.max(window.draws, window.animations));
        };
        await sleep(300);
        assert.equal(await drawnIn(400), 0);
        await page.evaluate(() => window.player.play());
        assert.ok(await drawnIn(600) > 3);
        await page.evaluate(() => {
            window.player.style.marginTop = '5000px';
        });
        await sleep(300);
        assert.equal(await drawnIn(600), 0);
        await page.evaluate(() => window.player.scrollIntoView());
        await sleep(300);
        assert.ok(await drawnIn(600) > 3);
    }));

test('a lost context comes back with the same picture', { timeout: 30000 }, () =>
    withPlayer({}, async (page) => {
        await page.evaluate(() => window.player.seekToFrame(37));
        const before = await page.evaluate(() => window.picture());
        await page.evaluate(() => {
            window.lost = window.player.canvas.getContext('webgl2').getExtension('WEBGL_lose_context');
            window.lost.loseContext();
        });
        await sleep(200);
        await page.evaluate(() => window.lost.restoreContext());
        await until(page, async () => {
            const drawn = window.draws;
            await new Promise((resolve) => setTimeout(resolve, 50));
            return drawn > 0 && !window.player.canvas.getContext('webgl2').isContextLost();
        });
        assert.equal(await page.evaluate(() => window.picture()), before);
    }));

test('taken away and put back 20 times: nothing is left, and it plays', { timeout: 60000 }, () =>
    withPlayer({ autoplay: '', controls: '' }, async (page) => {
        for (let i = 0; i < 20; i++) {
            const left = await page.evaluate(async () => {
                const { player, canvas } = window.player;
                window.player.remove();
                const left = { frame: player.frame, isLost: canvas.getContext('webgl2').isContextLost() };
                document.body.append(window.player);
                await new Promise((resolve) => window.player.addEventListener('frame', resolve, { once: true }));
                return left;
            });
            assert.deepEqual(left, { frame: null, isLost: true });
        }
        await until(page, () => window.player.currentFrame > 3);
    }));

test('the slider shows frames while it is dragged, and playback goes on behind it', { timeout: 30000 }, () =>
    withPlayer({ controls: '', loop: '' }, async (page) => {
        await page.evaluate(() => window.player.play());
        const box = await page.evaluate(() => window.part('seek-slider').getBoundingClientRect().toJSON());
        await page.evaluate(() => {
            window.shown = new Set();
            window.player.addEventListener('frame', ({ detail }) => window.shown.add(detail.number));
        });
        const at = (share) => [box.x + box.width * share, box.y + box.height / 2];
        await page.mouse.move(...at(0.2));
        await page.mouse.down();
        assert.equal(await page.evaluate(() => window.player.paused), true);
        for (let share = 0.2; share < 0.75; share += 0.05) {
            await page.mouse.move(...at(share));
            await sleep(30);
        }
        await until(page, () => !window.player.seeking
            && window.player.currentFrame === window.part('seek-slider').valueAsNumber);
        assert.ok(await page.evaluate(() => window.shown.size) >= 4);
        assert.match(await page.evaluate(() => window.part('seek-slider').ariaValueText), /frame 6\d/);
        await page.mouse.up();
        await until(page, () => !window.player.paused && window.player.currentFrame > 70);
    }));

test('controls go while the clip plays and nothing moves, and come back when it is over', { timeout: 30000 }, () =>
    withPlayer({ controls: '' }, async (page) => {
        const isShown = () => window.part('controls').checkVisibility({ visibilityProperty: true });
        assert.equal(await page.evaluate(isShown), true);
        await page.evaluate(() => window.player.play());
        await until(page, () => !window.part('controls').checkVisibility({ visibilityProperty: true }));
        await until(page, () => window.player.ended);
        await until(page, isShown);
    }));

test('keys, and what is said to those who do not see', { timeout: 30000 }, () =>
    withPlayer({ controls: '' }, async (page) => {
        const press = async (key, condition) => {
            await page.keyboard.press(key);
            await until(page, condition);
        };
        await page.evaluate(() => window.player.canvas.focus());
        await press('End', () => window.player.currentFrame === window.player.frameCount - 1);
        await press(',', () => window.player.currentFrame === window.player.frameCount - 2);
        await press('Home', () => window.player.currentFrame === 0);
        await press('.', () => window.player.currentFrame === 1);
        await press(' ', () => !window.player.paused);
        await press('k', () => window.player.paused);
        await press('m', () => !window.player.muted);
        const { children } = await page.accessibility.snapshot();
        const said = children.filter(({ role }) => /button|slider|combobox|application/.test(role));
        assert.ok(said.length >= 6, JSON.stringify(children));
        assert.deepEqual(said.filter(({ name }) => !name), []);
    }));

test('on a phone all controls are within the picture, and large enough for fingers', { timeout: 30000 }, () =>
    context.withPage(async ({ page }) => {
        for (const width of [320, 390, 700]) {
            await page.setViewport({ width, height: 600, hasTouch: true, isMobile: true, deviceScaleFactor: 2 });
            await page.evaluate(async (style) => {
                document.body.replaceChildren();
                await window.open({ controls: '' }, style);
            }, `width: ${width - 16}px`);
            const small = await page.evaluate(() => {
                const outer = window.part('controls').getBoundingClientRect();
                const all = [...window.part('controls').querySelectorAll('button, input, select')];
                const shown = all.filter((element) => element.checkVisibility());
                return shown.length < 4 ? 'too few' : shown.filter((element) => {
                    const { width, height, left, right } = element.getBoundingClientRect();
                    return width < 44 || height < 44 || left < outer.left || right > outer.right;
                }).map((element) => element.ariaLabel).concat(outer.height > 90 ? [`${outer.height} high`] : []);
            });
            assert.deepEqual(small, [], `${width} wide`);
        }
    }, { prelude }));
