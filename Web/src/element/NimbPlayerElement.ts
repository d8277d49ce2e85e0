import { ClipError } from '../clip/ClipError.js';
import type { ClipFrame, ClipSource } from '../player/clip.js';
import { ClipPlayer, type ClipPlayerOptions } from '../player/ClipPlayer.js';
import type { Clock } from '../player/Clock.js';
import { Controls } from './Controls.js';
import { make } from './dom.js';
import { parseWish, type OrbitState } from './Orbit.js';
import { OrbitInput } from './OrbitInput.js';
import { Overlay } from './Overlay.js';
import { PlayerProperties } from './PlayerProperties.js';
import { Stage } from './Stage.js';
import { playerStyle } from './style.js';

const EVENTS = ['loadstart', 'loadedmetadata', 'loadeddata', 'canplay', 'play', 'playing', 'pause', 'waiting',
    'seeking', 'seeked', 'timeupdate', 'ended', 'ratechange', 'volumechange', 'error', 'emptied', 'framedamaged'];

const outside = (): DOMException => new DOMException('The player is in no document.', 'InvalidStateError');

/** What exists while the element is in a document. */
interface View {
    stage: Stage;
    input: OrbitInput | null;
    overlay: Overlay;
    controls: Controls;
    root: HTMLElement;
    listeners: AbortController;
}

/**
 * `<nimb-player src="clip.mp4" controls>`: shows a clip, with the attributes, properties, methods and events of
 * `<video>` where there is such a thing. Out of the document it holds nothing; put back, it loads again.
 */
export class NimbPlayerElement extends PlayerProperties {
    static readonly observedAttributes = ['src', 'poster', 'preload', 'controls', 'autoplay', 'loop', 'muted',
        'playbackrate', 'camera-orbit', 'camera-target', 'field-of-view', 'camera-fixed'];

    #options: ClipPlayerOptions = {};
    #clock: Clock | null = null;
    #source: ClipSource | null = null;
    #view: View | null = null;
    #loading: Promise<void> | null = null;

    constructor() {
        super();
        this.attachShadow({ mode: 'open' }).adoptedStyleSheets = [playerStyle()];
    }

    /** What is to be played where there is no address for it. Null: what `src` says. Setting it loads. */
    get source(): ClipSource | null {
        return this.#source ?? (this.src || null);
    }
    set source(value: ClipSource | null) {
        this.#source = value;
        this.#begin();
    }

    get hasSource(): boolean {
        return this.source !== null;
    }

    /** Shared by those that play together. To be set before anything is loaded. */
    get clock(): Clock | null {
        return this.engine?.clock ?? this.#clock;
    }
    set clock(value: Clock | null) {
        this.#clock = value;
        if (this.engine && value !== this.engine.clock) {
            this.#close();
            this.#open();
        }
    }

    /** What else the engine is to know, as `assets` and `mode`. To be set before anything is loaded. */
    get options(): ClipPlayerOptions {
        return this.#options;
    }
    set options(value: ClipPlayerOptions) {
        this.#options = value;
        if (this.engine) {
            this.#close();
            this.#open();
        }
    }

    /** The engine; null outside a document. */
    get player(): ClipPlayer | null {
        return this.engine;
    }

    /** Where frames are drawn; its `getContext('webgl2')` is the context. Null outside a document. */
    get canvas(): HTMLCanvasElement | null {
        return this.#view?.stage.canvas ?? null;
    }

    /** Where the camera is. Radians and metres. */
    get camera(): OrbitState | null {
        return this.#view?.stage.orbit.state ?? null;
    }

    /** Loads what `source` or `src` name, from the start. Ends with the event `loadeddata` or `error`. */
    load(): void {
        this.#load().catch(() => {});
    }

    /** Loads first where that has not been done. Rejects as `<video>` does when the browser wants a click first. */
    async play(): Promise<void> {
        if (!this.engine) {
            throw outside();
        }
        await (this.#loading ?? this.#load());
        await this.engine.play();
    }

    /** Back to where the camera attributes want it. */
    resetCamera(): void {
        this.#view?.stage.orbit.reset();
        this.#view?.stage.wake();
    }

    /** What is shown, as PNG, in device pixels, with nothing behind the clip. */
    snapshot(): Promise<Blob> {
        return this.#view?.stage.snapshot() ?? Promise.reject(outside());
    }

    connectedCallback(): void {
        // What a page set before the element was defined hides the accessors.
        for (const [name, value] of Object.entries(this)) {
            delete (this as Record<string, unknown>)[name];
            Object.assign(this, { [name]: value as unknown });
        }
        this.#open();
    }

    disconnectedCallback(): void {
        this.#close();
    }

    attributeChangedCallback(name: string, before: string | null, value: string | null): void {
        if (name === 'playbackrate') {
            this.playbackRate = this.defaultPlaybackRate ?? 1;
        }
        if (!this.#view || before === value && name !== 'src') {
            return;
        }
        if (name === 'src') {
            this.#source = null;
            this.#begin();
        } else if (name.startsWith('camera') || name === 'field-of-view') {
            this.#updateCamera();
        } else if (name === 'loop') {
            this.engine!.loop = this.loop;
        } else if (name === 'preload' || name === 'autoplay') {
            this.#preload();
        }
        this.#view.overlay.update();
        this.#view.controls.update();
    }

    /** Hides the controls and the pointer, or shows them again. */
    toggleIdle(isIdle: boolean): void {
        this.#view?.root.classList.toggle('idle', isIdle);
    }

    #open(): void {
        const listeners = new AbortController();
        const stage = new Stage();
        const { canvas } = stage;
        canvas.setAttribute('part', 'canvas');
        this.engine = new ClipPlayer({
            ...this.#options,
            ...this.#clock && { clock: this.#clock },
            ...this.settings,
        });
        for (const type of EVENTS) {
            this.engine.addEventListener(type, (event) => this.#forward(event), { signal: listeners.signal });
        }
        this.engine.addEventListener('frame', (event) => this.#show((event as CustomEvent<ClipFrame>).detail),
            { signal: listeners.signal });
        // Players that share a clock are played and paused by it.
        this.engine.clock.addEventListener('change', () => {
            stage.wake();
            this.#view?.controls.update();
        }, { signal: listeners.signal });
        stage.player = this.engine;
        stage.onSeen = () => this.#preload();
        const overlay = new Overlay(this, listeners.signal);
        const controls = new Controls(this, listeners.signal);
        const root = make('div', { class: 'root' }, canvas, ...overlay.elements, controls.bar);
        this.#view = { stage, input: null, overlay, controls, root, listeners };
        this.#updateCamera();
        this.shadowRoot!.replaceChildren(root);
        this.#begin();
    }

    #close(): void {
        const [view, player] = [this.#view, this.engine];
        this.#view = this.engine = this.#loading = this.fault = null;
        view?.listeners.abort();
        player?.close();
        view?.input?.close();
        view?.stage.close();
        this.shadowRoot?.replaceChildren();
    }

    /** There is something else to play. */
    #begin(): void {
        this.#loading = null;
        this.fault = null;
        if (this.#view) {
            this.#preload();
            this.#view.overlay.update();
        }
    }

    #preload(): void {
        const isDue = this.autoplay || this.preload === 'auto'
            || this.preload === 'metadata' && this.#view?.stage.isOnScreen;
        if (isDue && !this.#loading && !this.error && this.hasSource) {
            this.load();
        }
    }

    #load(): Promise<void> {
        const [player, source] = [this.engine, this.source];
        if (!player || source === null) {
            return Promise.reject(new DOMException('There is nothing to play.', 'NotSupportedError'));
        }
        this.fault = null;
        const loading = player.load(source).then(() => {
            if (this.autoplay) {
                player.play().catch(() => {});  // the browser wants a click: the start button is there
            }
        }, (reason: unknown) => {
            if (this.#loading === loading) {
                this.#loading = null;
            }
            throw reason;
        });
        this.#loading = loading;
        return loading;
    }

    #show(frame: ClipFrame): void {
        const { stage, overlay } = this.#view!;
        try {
            stage.show(frame);
        } catch {
            this.engine!.pause();
            this.fault = new ClipError('unsupported-browser', 'This browser has no WebGL 2, which draws the clip.');
            this.dispatchEvent(new Event('error'));
            return;
        }
        overlay.showFrame();
        this.dispatchEvent(new CustomEvent('frame', { detail: frame }));
    }

    #forward(event: Event): void {
        const { stage } = this.#view!;
        const info = this.engine!.info;
        if (event.type === 'loadedmetadata' && info) {
            stage.orbit.setBox(info.boxMin, info.boxMax);
        } else if (event.type === 'emptied' || event.type === 'error') {
            stage.show(null);
        } else if (event.type === 'play') {
            stage.wake();
        }
        const { type } = event;
        this.dispatchEvent(event instanceof CustomEvent ? new CustomEvent(type, { detail: event.detail as unknown })
            : new Event(type));
    }

    #updateCamera(): void {
        const view = this.#view!;
        const { canvas, orbit } = view.stage;
        orbit.setWish(parseWish(this.getAttribute('camera-orbit'), this.getAttribute('camera-target'),
            this.getAttribute('field-of-view')));
        const isFixed = this.cameraFixed;
        canvas.classList.toggle('fixed', isFixed);
        canvas.tabIndex = isFixed ? -1 : 0;
        canvas.role = isFixed ? 'img' : 'application';
        canvas.ariaLabel = isFixed ? 'Clip' : 'Clip. Arrow keys turn it, plus and minus zoom.';
        if (isFixed) {
            view.input?.close();
            view.input = null;
        } else {
            view.input ??= new OrbitInput(canvas, orbit, () => view.stage.wake());
        }
        view.stage.invalidate();
    }
}

declare global {
    interface HTMLElementTagNameMap {
        'nimb-player': NimbPlayerElement;
    }
}
