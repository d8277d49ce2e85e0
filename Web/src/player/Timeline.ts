import type { Place } from './messages.js';

/** When a clip's frames are shown. */
export class Timeline {
    readonly #times: Float64Array;
    /** Frames in the order in which they are shown, and each one's place in it. */
    readonly #order: Uint32Array;
    readonly #rank: Uint32Array;

    /** `times`: when each frame begins, and at last when the clip ends; in seconds. */
    constructor(times: Float64Array) {
        this.#times = times;
        this.#order = Uint32Array.from({ length: times.length - 1 }, (_, frame) => frame);
        this.#order.sort((a, b) => times[a]! - times[b]! || a - b);
        this.#rank = new Uint32Array(this.#order.length);
        this.#order.forEach((frame, rank) => (this.#rank[frame] = rank));
    }

    get frameCount(): number {
        return this.#order.length;
    }

    get duration(): number {
        return this.#times[this.frameCount]!;
    }

    timeOf(frame: number): number {
        return this.#times[frame]!;
    }

    positionOf({ round, frame }: Place): number {
        return round * this.duration + this.#times[frame]!;
    }

    /** The frame shown at a time of the clip. Times that are a frame's but for rounding are that frame's. */
    frameAt(time: number): number {
        let low = 0;
        let high = this.frameCount;
        while (high - low > 1) {
            const middle = (low + high) >> 1;
            if (this.#times[this.#order[middle]!]! <= time + 1e-6) {
                low = middle;
            } else {
                high = middle;
            }
        }
        return this.#order[low]!;
    }

    /** The frame `steps` further, at most the first or the last. */
    step(frame: number, steps: number): number {
        const rank = Math.min(Math.max(this.#rank[frame]! + steps, 0), this.frameCount - 1);
        return this.#order[rank]!;
    }

    /** When the frame stops being shown. */
    endOf(frame: number): number {
        const rank = this.#rank[frame]! + 1;
        return rank < this.frameCount ? this.#times[this.#order[rank]!]! : this.duration;
    }
}
