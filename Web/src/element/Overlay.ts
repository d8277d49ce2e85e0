import { make, makeButton, setButton } from './dom.js';
import type { NimbPlayerElement } from './NimbPlayerElement.js';

const EVENTS = ['loadstart', 'emptied', 'loadeddata', 'play', 'playing', 'pause', 'waiting', 'canplay', 'seeking',
    'seeked', 'error'];

function sentenceOf(message: string): string {
    return message.charAt(0).toUpperCase() + message.slice(1) + (/[.!?]$/.test(message) ? '' : '.');
}

/** What lies over the canvas: the poster, a sign that one has to wait, what went wrong, a large button to begin. */
export class Overlay {
    readonly elements: HTMLElement[];
    #player: NimbPlayerElement;
    #poster = make('img', { part: 'poster', alt: '', class: 'fill', hidden: '' });
    #spinner = make('div', { part: 'spinner', class: 'spinner', role: 'status', 'aria-label': 'Loading', hidden: '' });
    #sentence = make('p', {});
    #again = make('button', { type: 'button', part: 'retry-button' }, 'Try again');
    #error: HTMLElement;
    #start: HTMLButtonElement;
    #isBegun = false;
    #isWaiting = false;
    #hasFrame = false;
    #lostPoster = '';

    constructor(player: NimbPlayerElement, signal: AbortSignal) {
        this.#player = player;
        this.#again.addEventListener('click', () => player.load());
        this.#error = make('div', { part: 'error', class: 'error', role: 'alert', hidden: '' },
            this.#sentence, this.#again);
        this.#start = makeButton('start-button', () => void player.play().catch(() => {}));
        this.#start.classList.add('start');
        setButton(this.#start, 'play', 'Play');
        this.elements = [this.#poster, this.#spinner, this.#start, this.#error];
        for (const type of EVENTS) {
            player.addEventListener(type, () => this.#follow(type), { signal });
        }
        this.#poster.addEventListener('error', () => {
            this.#lostPoster = this.#poster.src;
            this.update();
        }, { signal });
        this.update();
    }

    /** A frame has been drawn: the poster can go. */
    showFrame(): void {
        if (!this.#hasFrame) {
            this.#hasFrame = true;
            this.update();
        }
    }

    /** Attributes of the player have changed. */
    update(): void {
        const player = this.#player;
        const { poster, error } = player;
        if (this.#poster.src !== poster) {
            this.#poster.src = poster;
        }
        this.#poster.hidden = this.#hasFrame || !poster || poster === this.#lostPoster;
        this.#error.hidden = !error;
        this.#again.hidden = error?.code !== 'network';
        const sentence = error ? sentenceOf(error.message) : '';
        if (this.#sentence.textContent !== sentence) {
            this.#sentence.textContent = sentence;
        }
        this.#spinner.hidden = !this.#isWaiting || error !== null;
        this.#start.hidden = !player.controls || this.#isBegun || !player.paused || error !== null || !player.hasSource
            || !this.#spinner.hidden;
    }

    #follow(type: string): void {
        switch (type) {
            case 'emptied':
            case 'error':
                this.#hasFrame = this.#isBegun = this.#isWaiting = false;
                break;
            case 'loadstart':
            case 'waiting':
            case 'seeking':
                this.#isWaiting = true;
                break;
            case 'loadeddata':
            case 'playing':
            case 'canplay':
            case 'seeked':
                this.#isWaiting = false;
                break;
        }
        this.#isBegun ||= type === 'playing' || type === 'seeking';
        this.update();
    }
}
