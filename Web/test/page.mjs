// In pages: what tests call from outside, as window.tests.
import { listen, playWithSound } from './hear.mjs';
import { numbersOf, readNumbers } from './numbers.mjs';
import { seekByChance, seekCalmly } from './seeking.mjs';
import { View, until, wait } from './view.mjs';

let view;

/** The folder that the player comes from: dist, or one of its variants (see server.mjs). */
const query = new URLSearchParams(location.search);
const folder = query.get('player') ?? 'dist';
/** The player's script; the one in one file when the page's address says so. */
const script = `/${folder}/${query.get('script') ?? 'nimb-player.js'}`;

const errorOf = ({ error }) => error === null ? null : { code: error.code, message: error.message };

/** Shows a <nimb-player> with these attributes, and waits for its first frame, or for its error. */
async function openElement(attributes) {
    await import(script);
    const element = document.createElement('nimb-player');
    element.style.cssText = 'display: block; width: 240px; height: 140px; background: black';
    view = new View(element, () => readNumbers(element.shadowRoot.querySelector('canvas').getContext('webgl2')));
    for (const [name, value] of Object.entries({ preload: 'auto', ...attributes })) {
        element.setAttribute(name, value);
    }
    document.body.append(element);
    await until(() => view.count('loadeddata') + view.count('error') > 0);
    return errorOf(element);
}

/** A player alone, which nothing draws. */
async function makeView(options) {
    const { ClipPlayer } = await import(script);
    // What is drawn by the element and by three.js comes as pixels here, where no graphics card is.
    const player = new ClipPlayer({ muted: true, pictures: 'frames', ...options });
    const draw = () => {
        player.update();
        requestAnimationFrame(draw);
    };
    draw();
    return new View(player, numbersOf);
}

/** Opens a clip with a player alone; `as` what it is given: the address, or what is there as a Blob or ArrayBuffer. */
async function openPlayer(url, options, as = 'url') {
    view = await makeView(options);
    const source = as === 'url' ? url : await (await fetch(url))[as]();
    await view.player.load(source).catch(() => {});
    return errorOf(view.player);
}

/** Two players of one clock: plays both, and says by how many frames they were apart, and after a seek of one. */
async function playTogether(url) {
    const { Clock } = await import(script);
    const clock = new Clock();
    const views = [await makeView({ clock, loop: true }), await makeView({ clock, loop: true })];
    const [first, second] = views;
    await Promise.all(views.map(({ player }) => player.load(url)));
    const apart = () => Math.abs(first.player.frame.number - second.player.frame.number);
    const playing = [];
    await first.player.play();
    for (let i = 0; i < 40; i++) {
        await wait(25);
        playing.push(Math.min(apart(), first.frameCount - apart()));
    }
    second.player.pause();
    await second.player.seekToFrame(50);
    await until(() => apart() === 0);
    const told = views.map(({ events }) => events.filter((event) => /^(play|pause|seek(ing|ed))$/.test(event)));
    return { playing, shown: first.player.frame.number, told, wrong: views.flatMap((one) => one.mismatches()) };
}

/** Asks for a frame as soon as there is one to ask for. */
async function seekEarly(url, frame) {
    view = await makeView({});
    const { player } = view;
    const end = new Promise((resolve) => player.addEventListener('loadedmetadata', () =>
        resolve(player.seekToFrame(frame))));
    await player.load(url);
    return { end: await end, events: view.events.filter((event) => /^(seek(ing|ed)|loadeddata)$/.test(event)) };
}

/** Loads three times: over the first, then to the end; and closes a fourth. How each call of `load` ended. */
async function loadOver(url) {
    view = await makeView({});
    const { player } = view;
    const ending = (promise) => promise.then(() => 'loaded', ({ code }) => code);
    const overtaken = ending(player.load(url));
    const loaded = await ending(player.load(url));
    const closed = ending(player.load(url));
    player.close();
    return { ends: [await overtaken, loaded, await closed], errors: view.count('error'), frame: player.frame };
}

/** Shows a NimbMesh in a scene of three.js. What is drawn is looked at after each rendering. */
async function openMesh(url) {
    const three = await import('three');
    const { NimbMesh } = await import(`/${folder}/nimb-player-three.js`);
    const renderer = new three.WebGLRenderer({ antialias: true });
    renderer.setSize(240, 140);
    document.body.append(renderer.domElement);
    const mesh = new NimbMesh(url, { muted: true });
    const scene = new three.Scene();
    scene.add(mesh);
    const camera = new three.OrthographicCamera(-1.1, 1.1, 0.65, -0.65, 0.1, 10);
    camera.position.z = 5;
    view = new View(mesh.player, numbersOf);
    renderer.setAnimationLoop(() => {
        renderer.render(scene, camera);
        if (mesh.player.frame !== null) {
            view.rendered.push({ number: mesh.player.frame.number, ...readNumbers(renderer.getContext()) });
        }
    });
    await mesh.ready;
}

/** Loads a file, plays it for a moment, and says how that ended. */
async function playOne(ClipPlayer, url) {
    const player = new ClipPlayer({ muted: true, loop: true });
    const begin = performance.now();
    const result = { code: 'hangs', errors: 0, rejections: 0 };
    player.addEventListener('error', () => {
        result.errors++;
        Object.assign(result, errorOf(player));
    });
    const draw = setInterval(() => player.update(), 10);
    const played = player.load(url).then(async () => {
        await player.play();
        const shown = player.statistics.shown;
        await until(() => player.statistics.shown > shown || player.error !== null, 3000);
        await wait(50);
        result.code = player.error?.code ?? 'plays';
    }).catch(() => result.rejections++);
    await Promise.race([played, wait(4000)]);
    await wait(0); // whatever comes twice
    clearInterval(draw);
    player.close();
    return { ...result, seconds: (performance.now() - begin) / 1000 };
}

/** What a page does that nobody has touched: tries to play with sound, then without. */
async function playUnattended(url) {
    const { ClipPlayer } = await import(script);
    const player = new ClipPlayer();
    await player.load(url);
    const sounding = await player.play().then(() => 'plays', ({ name }) => name);
    const { paused } = player;
    player.muted = true;
    const muted = await player.play().then(() => 'plays', ({ name }) => name);
    player.close();
    return { sounding, muted, paused };
}

/** One after the other in each of a few lanes. */
async function playMany(urls, lanes = 4) {
    const { ClipPlayer } = await import(script);
    const results = [];
    let next = 0;
    const lane = async () => {
        for (let i = next++; i < urls.length; i = next++) {
            results[i] = await playOne(ClipPlayer, urls[i]);
        }
    };
    await Promise.all(Array.from({ length: lanes }, lane));
    return results;
}

/** With player=watched: when VideoFrames came to be and were closed, in the page and in the worker. */
const watched = [];
new BroadcastChannel('watched-frames').onmessage = ({ data }) => watched.push(data);

/** How many VideoFrames there were at once at most, how many there are, and how many there were in all. */
function countVideoFrames() {
    watched.sort((a, b) => a.at - b.at || a.change - b.change);
    let [alive, most, all] = [0, 0, 0];
    for (const { change } of watched) {
        alive += change;
        most = Math.max(most, alive);
        all += Math.max(change, 0);
    }
    return { alive, most, all };
}

window.tests = {
    countVideoFrames,
    openElement,
    openMesh,
    openPlayer,
    playTogether,
    seekEarly,
    loadOver,
    playMany,
    listen,
    playWithSound: () => playWithSound(view),
    seekByChance: (count, seed) => seekByChance(view, count, seed),
    seekCalmly: (count, seed) => seekCalmly(view, count, seed),

    /** Plays until it has begun anew so many times. */
    async playLoops(count, rate = 1) {
        const { player } = view;
        const begin = view.drawn.length;
        const loops = () => view.drawn.slice(begin + 1).filter(
            ({ number }, i) => number < view.drawn[begin + i].number).length;
        player.loop = true;
        player.playbackRate = rate;
        await player.play();
        await until(() => loops() >= count, (count + 1.5) * view.frameCount / 6 * 1000 / rate);
        player.pause();
        return view.summary();
    },

    /** Plays on and seeks now and then, and forgets what was drawn. */
    async playFor(seconds) {
        const end = performance.now() + seconds * 1000;
        while (performance.now() < end) {
            await view.player.play();
            await wait(1500);
            await view.player.seekToFrame(Math.floor(Math.random() * view.frameCount));
        }
        if (view.mismatches().length > 0) {
            throw new Error(`${view.mismatches().length} frames with another frame's mesh`);
        }
        view.drawn = [];
        view.events = [];
        window.gc?.();
    },

    /** For bench.mjs: milliseconds from a new element to its first frame, with the script already here. */
    async timeToFirstFrame(src) {
        await import(script);
        const begin = performance.now();
        const element = document.createElement('nimb-player');
        element.style.cssText = 'display: block; width: 100vw; height: 100vh';
        Object.assign(element, { src, preload: 'auto', muted: true, loop: true });
        view = { player: element };
        document.body.append(element);
        await new Promise((resolve) => element.addEventListener('frame', resolve, { once: true }));
        return performance.now() - begin;
    },

    /** For bench.mjs: milliseconds of callbacks from each frame to the next. */
    async timeFrames(seconds) {
        const { player } = view;
        const begins = [];
        player.addEventListener('frame', () => begins.push(performance.now()));
        await player.play();
        await wait(seconds * 1000);
        player.pause();
        const frames = begins.slice(1).map((end, i) => window.callbackTimes
            .filter(({ begin }) => begin >= begins[i] && begin < end).reduce((sum, { took }) => sum + took, 0));
        return { info: player.player.info, frames, statistics: player.statistics };
    },

    summary: () => view.summary(),
    play: () => view.player.play(),
    async evalIsForbidden() {
        await wait(0); // calls from outside are exempt
        try {
            return new Function('return false')();
        } catch {
            return true;
        }
    },

    /** Plays without a loop, to the end, and once more. */
    async playToTheEnd() {
        const { player } = view;
        player.playbackRate = 4;
        await player.play();
        await until(() => player.ended);
        const [end] = view.drawn.slice(-1);
        const { paused, currentTime } = player;
        await wait(100);
        const begin = view.drawn.length;
        await player.play();
        await until(() => view.drawn.length > begin);
        const again = view.drawn[begin].number;
        player.pause();
        return { ...view.summary(), end: end.number, paused, currentTime, again };
    },

    async awaitError() {
        await until(() => view.player.error !== null, 15000);
        return { ...view.summary(), error: errorOf(view.player) };
    },

    async rest(milliseconds) {
        await wait(milliseconds);
        return view.summary();
    },

    visibleText: () => [...view.player.shadowRoot.querySelectorAll('*')].filter(
        (element) => element.checkVisibility({ visibilityProperty: true })).map((element) => element.textContent).join('\n'),
    isPosterShown: () => view.player.shadowRoot.querySelector('[part~=poster]').checkVisibility(),
};
const unattended = query.get('unattended');
if (unattended !== null) {
    // Calls from outside count as somebody's touch, so the page does this by itself.
    const result = playUnattended(unattended);
    window.tests.unattended = () => result;
    await result.finally(() => console.log('unattended'));
}
