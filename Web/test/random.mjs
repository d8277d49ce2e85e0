/** Numbers by chance that are the same each time, in Node and in pages. */
export class Random {
    constructor(seed) {
        this.state = (Math.imul(seed, 2654435761) + 1) >>> 0;
    }
    /** 0 to bound - 1. */
    below(bound) {
        this.state = (Math.imul(this.state, 1664525) + 1013904223) >>> 0;
        return (this.state >>> 8) % bound;
    }
}
