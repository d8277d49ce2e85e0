import { make, makeButton, setButton } from './dom.js';
import type { NimbPlayerElement } from './NimbPlayerElement.js';
import { Scrubber } from './Scrubber.js';

const EVENTS = ['loadedmetadata', 'emptied', 'play', 'pause', 'ended', 'seeking', 'seeked', 'timeupdate',
    'volumechange', 'ratechange', 'error'];
const RATES = [0.25, 0.5, 1, 1.5, 2];
/** How long controls stay when nothing moves, in milliseconds. */
const IDLE_AFTER = 2500;

/** Minutes and seconds; tenths where the whole clip takes less than a minute. */
export function timeText(seconds: number, duration: number): string {
    const digits = duration < 60 ? 1 : 0;
    const units = Math.floor(seconds * 10 ** digits + 1e-6) / 10 ** digits;
    const rest = (units % 60).toFixed(digits).padStart(digits ? 4 : 2, '0');
    return `${Math.floor(units / 60)}:${rest}`;
}

/** The bar with buttons, and the keys. Uses only what pages can use of the player, too. */
export class Controls {
    readonly bar: HTMLElement;
    #player: NimbPlayerElement;
    #scrubber: Scrubber;
    #play = makeButton('button play-button', () => this.#toggle());
    #mute = makeButton('button mute-button', () => this.#toggleSound());
    #volume = make('input', {
        type: 'range', part: 'slider volume-slider', class: 'volume', min: '0', max: '1', step: '0.05',
        'aria-label': 'Volume',
    });
    #time = make('span', { part: 'time', class: 'time' });
    #frame = make('span', { part: 'frame-number', class: 'number' });
    #approximate = make('span', { part: 'approximate', class: 'approximate',
        title: 'This browser cannot tell exactly which picture it shows: picture and mesh may be a frame apart.' },
    'approximate');
    #rate = make('select', { part: 'speed', class: 'speed', 'aria-label': 'Speed', title: 'Speed' });
    #view = makeButton('button view-button', () => this.#player.resetCamera());
    #screen = makeButton('button fullscreen-button', () => this.#toggleScreen());
    #idleTimer: ReturnType<typeof setTimeout> | undefined;

    constructor(player: NimbPlayerElement, signal: AbortSignal) {
        this.#player = player;
        this.#scrubber = new Scrubber(player, () => this.update());
        for (const rate of RATES) {
            this.#rate.append(make('option', { value: String(rate) }, `${rate}×`));
        }
        this.bar = make('div', { part: 'controls', class: 'bar', role: 'group', 'aria-label': 'Player' },
            this.#scrubber.element, this.#play, this.#time, this.#frame, this.#approximate,
            make('span', { class: 'gap' }), this.#mute, this.#volume, this.#rate, this.#view, this.#screen);
        this.#volume.addEventListener('input', () => {
            player.volume = this.#volume.valueAsNumber;
            player.muted = false;
        });
        this.#rate.addEventListener('change', () => {
            player.playbackRate = Number(this.#rate.value);
        });
        for (const type of EVENTS) {
            player.addEventListener(type, () => this.update(), { signal });
        }
        player.addEventListener('frame', () => this.#updateTime(), { signal });
        player.addEventListener('keydown', (event) => this.#key(event), { signal });
        for (const type of ['pointermove', 'pointerdown', 'focusin', 'keydown', 'play'] as const) {
            player.addEventListener(type, () => this.#wake(), { signal });
        }
        player.addEventListener('pointerleave', (event) => event.pointerType === 'mouse' && this.#sleep(), { signal });
        document.addEventListener('fullscreenchange', () => this.update(), { signal });
        this.update();
    }

    update(): void {
        const player = this.#player;
        const info = player.player?.info ?? null;
        const isPlaying = !player.paused || this.#scrubber.isHoldingPlayback;
        if (player.ended) {
            setButton(this.#play, 'replay', 'Play again', 'space');
        } else {
            setButton(this.#play, isPlaying ? 'pause' : 'play', isPlaying ? 'Pause' : 'Play', 'space');
        }
        const isMuted = player.muted || player.volume === 0;
        setButton(this.#mute, isMuted ? 'muted' : 'sound', isMuted ? 'Sound on' : 'Sound off', 'm');
        const volume = player.muted ? 0 : player.volume;
        this.#volume.valueAsNumber = volume;
        this.#volume.style.setProperty('--value', String(volume));
        // A video element plays sound that the engine knows nothing of.
        this.#mute.hidden = this.#volume.hidden = info?.hasSound === false;
        const rate = String(player.playbackRate);
        if (!RATES.map(String).includes(rate) && !this.#rate.querySelector(`[value="${rate}"]`)) {
            this.#rate.append(make('option', { value: rate }, `${rate}×`));
        }
        this.#rate.value = rate;
        setButton(this.#view, 'view', 'Reset the view', 'r');
        this.#view.hidden = player.cameraFixed;
        const isFull = document.fullscreenElement === player;
        setButton(this.#screen, isFull ? 'shrink' : 'enlarge', isFull ? 'Leave full screen' : 'Full screen', 'f');
        this.#screen.hidden = !document.fullscreenEnabled;
        this.#approximate.hidden = player.exact;
        this.bar.hidden = !player.controls || player.error !== null || !info;
        this.bar.classList.toggle('paused', !isPlaying);
        if (!isPlaying) {
            player.toggleIdle(false);
        }
        this.#updateTime();
    }

    #updateTime(): void {
        if (this.bar.hidden) {
            return;
        }
        const { currentTime, duration, currentFrame } = this.#player;
        const time = `${timeText(currentTime, duration)} / ${timeText(duration, duration)}`;
        if (this.#time.textContent !== time) {
            this.#time.textContent = time;
        }
        this.#frame.textContent = currentFrame < 0 ? '' : `frame ${currentFrame}`;
        this.#scrubber.update();
    }

    #toggle(): void {
        if (this.#player.paused) {
            void this.#player.play().catch(() => {});  // the start button stays, or the error is shown
        } else {
            this.#player.pause();
        }
    }

    #toggleSound(): void {
        const player = this.#player;
        const isMuted = player.muted || player.volume === 0;
        player.muted = !isMuted;
        if (isMuted && player.volume === 0) {
            player.volume = 0.5;
        }
    }

    #toggleScreen(): void {
        const done = document.fullscreenElement === this.#player ? document.exitFullscreen()
            : this.#player.requestFullscreen();
        done.catch(() => {});  // the browser decides
    }

    #step(frames: number): void {
        this.#player.pause();
        void this.#player.step(frames);
    }

    #key(event: KeyboardEvent): void {
        const player = this.#player;
        if (!player.controls || event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) {
            return;
        }
        const on = event.composedPath()[0];
        const takesSpace = on instanceof HTMLButtonElement || on instanceof HTMLSelectElement;
        const takesEnds = on instanceof HTMLInputElement || on instanceof HTMLSelectElement;
        const actions: Record<string, (() => unknown) | false> = {
            ' ': !takesSpace && (() => this.#toggle()),
            k: () => this.#toggle(),
            ',': () => this.#step(-1),
            '.': () => this.#step(1),
            Home: !takesEnds && (() => player.seekToFrame(0)),
            End: !takesEnds && (() => player.seekToFrame(Math.max(player.frameCount - 1, 0))),
            m: () => this.#toggleSound(),
            f: () => this.#toggleScreen(),
            r: () => player.resetCamera(),
        };
        const action = actions[event.key];
        if (action) {
            event.preventDefault();
            action();
        }
    }

    #wake(): void {
        this.#player.toggleIdle(false);
        clearTimeout(this.#idleTimer);
        this.#idleTimer = setTimeout(() => this.#sleep(), IDLE_AFTER);
    }

    #sleep(): void {
        const isUsed = this.bar.querySelector(':focus-visible') !== null || this.#scrubber.isHeld;
        this.#player.toggleIdle(!this.#player.paused && !isUsed);
    }
}
