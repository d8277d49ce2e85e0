// In pages: a player with what draws it, and a note of each frame that is drawn and each event.

export const wait = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/** Waits until `isSo`, and throws where that takes too long. */
export async function until(isSo, milliseconds = 10000, what = isSo.toString()) {
    const end = performance.now() + milliseconds;
    while (!isSo()) {
        if (performance.now() > end) {
            throw new Error(`still not so after ${milliseconds} ms: ${what}`);
        }
        await wait(5);
    }
}

const EVENTS = ['loadstart', 'loadedmetadata', 'loadeddata', 'canplay', 'play', 'playing', 'pause', 'waiting',
    'seeking', 'seeked', 'timeupdate', 'ended', 'ratechange', 'volumechange', 'error', 'emptied', 'framedamaged'];

export class View {
    /** Of each frame that was drawn: its number as the player says, what was drawn, by how many seconds it was late. */
    drawn = [];
    /** The same of each rendering, where that is somebody else's loop. */
    rendered = [];
    events = [];

    /** `target`: gives the events and has the methods of a player. `look`: says what a frame that it gives shows. */
    constructor(target, look) {
        this.player = target;
        target.addEventListener('error', () => {
            console.log(`the clip ended: ${target.error.code}, ${target.error.message}`);
        });
        target.addEventListener('frame', ({ detail }) => {
            this.drawn.push({ number: detail.number, late: target.currentTime - detail.time, ...look(detail) });
        });
        for (const type of EVENTS) {
            target.addEventListener(type, () => this.events.push(type));
        }
    }

    /** The element has a player, or the player is one. */
    get info() {
        return (this.player.player ?? this.player).info;
    }
    get frameCount() {
        return this.info.frameCount;
    }
    count(type) {
        return this.events.filter((event) => event === type).length;
    }
    /** All that showed another frame's picture or mesh. */
    mismatches() {
        return [...this.drawn, ...this.rendered].filter(
            ({ number, picture, mesh }) => picture !== number || mesh !== number);
    }
    /** What tests look at when all is over. */
    summary() {
        return {
            drawn: this.drawn.length, different: new Set(this.drawn.map(({ number }) => number)).size,
            exact: this.player.exact, numbers: this.drawn.map(({ number }) => number),
            wrong: this.mismatches(), rendered: this.rendered.length, events: this.events,
            statistics: this.player.statistics,
        };
    }
}
