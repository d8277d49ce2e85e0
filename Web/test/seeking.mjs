// In pages: seeks by chance, and what must hold for each of them.
import { Random } from './random.mjs';
import { until, wait } from './view.mjs';

/** One request for a frame: what came of it, and what was drawn meanwhile. */
class Request {
    outcome = 'none';
    constructor(view, frame) {
        this.frame = frame;
        const begin = view.drawn.length;
        this.done = view.player.seekToFrame(frame).then((end) => {
            this.outcome = end.outcome;
            this.gave = end.frame;
            this.drawn = view.drawn.slice(begin).map(({ number }) => number);
        });
    }
    problem() {
        const drawn = this.drawn?.join(' ');
        const isRight = this.outcome === 'done' ? drawn === String(this.frame) && this.gave === this.frame
            : this.outcome === 'superseded' && drawn === '';
        return isRight ? [] : [`frame ${this.frame}: ${this.outcome} with ${this.gave}, drawn: ${drawn}`];
    }
}

/** `count` requests: one at a time and in bursts, while playing and paused. Returns what was wrong, and how many
 * requests ended in which way. */
export async function seekByChance(view, count, seed) {
    const { player } = view;
    const random = new Random(seed);
    const report = { problems: [], done: 0, superseded: 0 };
    const seekedBefore = view.count('seeked');
    const last = () => view.drawn.at(-1)?.number;

    for (let made = 0; made < count;) {
        if (random.below(3) === 0) {
            await player.play();
            await wait(random.below(150));
        }
        if (random.below(2) === 0) {
            player.pause();
            const { currentTime } = player;
            await wait(random.below(60) + 20);
            if (player.currentTime !== currentTime || last() !== Math.floor(currentTime * view.info.frameRate + 1e-6)) {
                const now = `frame ${last()} was drawn, time is ${player.currentTime}`;
                report.problems.push(`paused at ${currentTime}, ${now}`);
            }
        }
        const requests = [];
        for (let left = [1, 1, 2, 6][random.below(4)]; left > 0; left--, made++) {
            const avoided = [last(), requests.at(-1)?.frame]; // what is there already need not be drawn again
            const frames = Array.from({ length: view.frameCount }, (_, n) => n).filter((n) => !avoided.includes(n));
            requests.push(new Request(view, frames[random.below(frames.length)]));
            if (random.below(3) > 0) {
                await wait(random.below(20)); // as a hand moves a slider
            }
        }
        await until(() => requests.every(({ outcome }) => outcome !== 'none'), 8000);
        for (const request of requests) {
            report.problems.push(...request.problem());
            report[request.outcome]++;
        }
        if (requests.at(-1).outcome !== 'done') {
            report.problems.push(`the last of ${requests.length} requests is ${requests.at(-1).outcome}`);
        }
    }
    await wait(50);
    player.pause();
    report.seeked = view.count('seeked') - seekedBefore;
    return report;
}

/** `count` requests, each after the one before has ended, while paused. What is drawn last is to be what was asked
 * for. */
export async function seekCalmly(view, count, seed) {
    const random = new Random(seed);
    const problems = [];
    view.player.pause();
    for (let i = 0; i < count; i++) {
        const frame = random.below(view.frameCount);
        const { outcome } = await view.player.seekToFrame(frame);
        const { number, picture, mesh } = view.drawn.at(-1);
        if (outcome !== 'done' || number !== frame || picture !== frame || mesh !== frame) {
            problems.push(`frame ${frame}: ${outcome}, drawn ${number} with picture ${picture} and mesh ${mesh}`);
        }
    }
    return { problems };
}
