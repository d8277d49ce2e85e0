// NimbMesh in a scene of three.js: what it shares with other views, what rays hit, what it leaves behind. That picture
// and mesh belong together is tested with the other ways to play.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { useBrowser } from './browser.mjs';

const context = useBrowser();

/** Calls a function in a page that has `three`, `Clock`, `NimbMesh`, and a `scene` with a `camera` and a `renderer`. */
const inScene = (use) => context.withPage(async ({ page }) => {
    await page.evaluate(async () => {
        window.three = await import('three');
        Object.assign(window, await import('/dist/nimb-player-three.js'));
        window.renderer = new three.WebGLRenderer();
        window.scene = new three.Scene();
        window.camera = new three.PerspectiveCamera(40, 2, 0.1, 10);
        camera.position.z = 3;
    });
    await use((run) => page.evaluate(run));
});

test('all that is rendered in one animation frame shows one frame, on one clock', { timeout: 30000 }, () =>
    inScene(async (evaluate) => {
        const { seen, clipFrames } = await evaluate(async () => {
            const clock = new Clock();
            const meshes = [0, 1].map(() => new NimbMesh('/fixtures/counter.mp4', { clock, muted: true }));
            scene.add(...meshes);
            await Promise.all(meshes.map(({ ready }) => ready));
            clock.currentTime = 0.5;
            clock.play();
            const seen = [];
            while (!meshes[0].ended) {
                await new Promise(requestAnimationFrame);
                renderer.render(scene, camera);
                const before = meshes.map(({ currentFrame }) => currentFrame);
                for (const end = performance.now() + 50; performance.now() < end;);
                renderer.render(scene, camera);
                seen.push([...before, ...meshes.map(({ currentFrame }) => currentFrame)]);
            }
            return { seen, clipFrames: meshes[0].player.info.frameCount };
        });
        assert.deepEqual(seen.filter(([a, b, c, d]) => a !== c || b !== d), []);
        assert.ok(seen.length > 15 && seen.at(-1)[1] >= clipFrames - 2, JSON.stringify(seen));
    }));

test('rays hit the frame that is shown, and what is out of sight is not drawn', { timeout: 30000 }, () =>
    inScene(async (evaluate) => {
        const result = await evaluate(async () => {
            const mesh = new NimbMesh('/fixtures/counter.mp4', { muted: true });
            scene.add(mesh);
            await mesh.ready;
            const drawn = () => {
                renderer.render(scene, camera);
                return renderer.info.render.calls;
            };
            const ray = new three.Raycaster(new three.Vector3(-0.875, 0.25, 2), new three.Vector3(0, 0, -1));
            const hits = [];
            for (const frame of [1, 2, 3, 4]) {  // the first column is up for odd numbers
                await mesh.seekToFrame(frame);
                drawn();
                hits.push(ray.intersectObject(mesh).length > 0);
            }
            const inSight = drawn();
            camera.rotation.y = Math.PI;
            return { hits, inSight, outOfSight: drawn() };
        });
        assert.deepEqual(result, { hits: [true, false, true, false], inSight: 1, outOfSight: 0 });
    }));

test('another clip takes its place, and nothing is left of it', { timeout: 30000 }, () =>
    inScene(async (evaluate) => {
        const result = await evaluate(async () => {
            const material = new three.MeshLambertMaterial();
            const mesh = new NimbMesh('/fixtures/counter.mp4', { muted: true, material });
            scene.add(mesh);
            await mesh.ready;
            renderer.render(scene, camera);
            await mesh.load('/fixtures/normals.mp4');
            renderer.render(scene, camera);
            const { normal, position } = mesh.geometry.attributes;
            const lit = [normal.getX(0), normal.getZ(0)].map((x) => x.toFixed(1));
            const isComplete = position.count >= mesh.player.frame.mesh.vertexCount;
            const { calls } = renderer.info.render;
            const failed = await mesh.load('/fixtures/none.mp4').then(() => null, ({ code }) => code);
            renderer.render(scene, camera);  // the picture is closed
            mesh.dispose();
            scene.remove(mesh);
            renderer.render(scene, camera);
            const { geometries, textures } = renderer.info.memory;
            return { lit, isComplete, calls, failed, geometries, textures, frame: mesh.player.frame,
                map: material.map === mesh.texture, error: renderer.getContext().getError() };
        });
        assert.deepEqual(result, { lit: ['0.6', '0.8'], isComplete: true, calls: 1, failed: 'network', geometries: 0,
            textures: 0, frame: null, map: true, error: 0 });
    }));
