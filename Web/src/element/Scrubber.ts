import { timeText } from './Controls.js';
import { make } from './dom.js';
import type { NimbPlayerElement } from './NimbPlayerElement.js';

const THUMB = 16;  // pixels, as in the style

/** The slider over the clip's frames. While it is dragged, frames are shown as fast as they can be had. */
export class Scrubber {
    readonly element: HTMLElement;
    #player: NimbPlayerElement;
    #onHold: () => void;
    #slider = make('input', {
        type: 'range', part: 'slider seek-slider', class: 'seek', min: '0', max: '0', step: '1', value: '0',
        'aria-label': 'Position',
    });
    #bubble = make('output', { part: 'bubble', class: 'bubble', 'aria-hidden': 'true' });
    #wanted: number | null = null;
    #isSeeking = false;
    #isHeld = false;
    #wasPlaying = false;

    /** `onHold`: playback is held back for the drag, or no longer. */
    constructor(player: NimbPlayerElement, onHold: () => void) {
        this.#player = player;
        this.#onHold = onHold;
        this.element = make('div', { class: 'scrubber' }, this.#slider, this.#bubble);
        this.#slider.addEventListener('input', () => this.#drag());
        this.#slider.addEventListener('change', () => this.#drop());
        this.#slider.addEventListener('pointermove', (event) => this.#hover(event));
        this.#slider.addEventListener('pointerleave', () => this.#bubble.classList.remove('shown'));
    }

    /** A drag is under way. */
    get isHeld(): boolean {
        return this.#isHeld;
    }

    /** Playback goes on when the slider is let go. */
    get isHoldingPlayback(): boolean {
        return this.#wasPlaying;
    }

    update(): void {
        const player = this.#player;
        const last = Math.max(player.frameCount - 1, 0);
        const frame = this.#isHeld || this.#isSeeking ? this.#slider.valueAsNumber : Math.max(player.currentFrame, 0);
        const slider = this.#slider;
        slider.max = String(last);
        slider.valueAsNumber = frame;
        slider.style.setProperty('--value', String(last ? frame / last : 0));
        const [time, end] = [this.#timeOf(frame), player.duration].map((seconds) => timeText(seconds, player.duration));
        slider.ariaValueText = `${time} of ${end}, frame ${frame}`;
    }

    #timeOf(frame: number): number {
        return frame / (this.#player.frameRate || 1);
    }

    #drag(): void {
        if (!this.#isHeld) {
            this.#isHeld = true;
            this.#wasPlaying = !this.#player.paused;
            this.#player.pause();
            this.#onHold();
        }
        this.#wanted = this.#slider.valueAsNumber;
        void this.#seek();
        this.update();
    }

    #drop(): void {
        this.#isHeld = false;
        void this.#seek();
    }

    /** One at a time, so that each is seen, and always the latest wish. */
    async #seek(): Promise<void> {
        if (this.#isSeeking) {
            return;
        }
        this.#isSeeking = true;
        while (this.#wanted !== null) {
            const frame = this.#wanted;
            this.#wanted = null;
            await this.#player.seekToFrame(frame);
        }
        this.#isSeeking = false;
        if (!this.#isHeld && this.#wasPlaying) {
            this.#wasPlaying = false;
            await this.#player.play().catch(() => {});
            this.#onHold();
        }
    }

    #hover(event: PointerEvent): void {
        const { left, width } = this.#slider.getBoundingClientRect();
        const share = Math.min(Math.max((event.clientX - left - THUMB / 2) / (width - THUMB), 0), 1);
        const frame = Math.round(share * (this.#player.frameCount - 1));
        this.#bubble.textContent = `${timeText(this.#timeOf(frame), this.#player.duration)} · frame ${frame}`;
        this.#bubble.classList.add('shown');
        this.#bubble.style.setProperty('--at', `${THUMB / 2 + share * (width - THUMB)}px`);
    }
}
