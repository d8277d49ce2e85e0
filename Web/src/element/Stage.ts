import type { ClipFrame } from '../player/clip.js';
import type { ClipPlayer } from '../player/ClipPlayer.js';
import { Orbit } from './Orbit.js';
import { Renderer } from './Renderer.js';

/**
 * The canvas and when it is drawn: in animation frames, and only while the clip plays, the camera moves or something
 * changed. What is scrolled away, or in a hidden document, is not drawn at all.
 */
export class Stage {
    readonly canvas = document.createElement('canvas');
    readonly orbit = new Orbit();
    /** Told when the canvas comes into view. */
    onSeen: () => void = () => {};
    #player: ClipPlayer | null = null;
    #renderer: Renderer | null = null;
    #isDirty = false;
    #isOnScreen = false;
    #animation = 0;
    #lastTime = 0;
    #width = 0;
    #height = 0;
    #calm = matchMedia('(prefers-reduced-motion: reduce)');
    #resizing = new ResizeObserver(([entry]) => this.#resize(entry!));
    #seeing = new IntersectionObserver((entries) => this.#see(entries.at(-1)!.isIntersecting));

    constructor() {
        this.#resizing.observe(this.canvas);
        this.#seeing.observe(this.canvas);
    }

    get isOnScreen(): boolean {
        return this.#isOnScreen;
    }

    /** Whose clock the animation frames follow. */
    set player(player: ClipPlayer | null) {
        this.#player = player;
    }

    /** Draws at once where it can be seen. Throws when the browser has no WebGL 2. */
    show(frame: ClipFrame | null): void {
        if (frame) {
            this.#renderer ??= new Renderer(this.canvas, () => this.invalidate());
        }
        this.#renderer?.setFrame(frame);
        if (this.#isVisible) {
            this.#draw();
        } else {
            this.#isDirty = true;
        }
    }

    /** Draws in the next animation frame. */
    invalidate(): void {
        this.#isDirty = true;
        this.wake();
    }

    /** The clip plays, or the camera is to move: animation frames begin, and go on for as long as that is so. */
    wake(): void {
        if (this.#animation === 0 && this.#isOnScreen) {
            this.#animation = requestAnimationFrame((time) => this.#animate(time));
        }
    }

    /** What is shown, as PNG. */
    snapshot(): Promise<Blob> {
        this.#draw();  // the canvas keeps nothing beyond the animation frame
        return new Promise((resolve, reject) => {
            this.canvas.toBlob((blob) => blob ? resolve(blob) : reject(new Error('The picture cannot be made.')));
        });
    }

    close(): void {
        this.#resizing.disconnect();
        this.#seeing.disconnect();
        cancelAnimationFrame(this.#animation);
        this.#renderer?.close();
        this.#renderer = null;
        this.#player = null;
    }

    get #isVisible(): boolean {
        return this.#isOnScreen && !document.hidden;
    }

    #see(isOnScreen: boolean): void {
        this.#isOnScreen = isOnScreen;
        if (isOnScreen) {
            this.wake();
            this.onSeen();
        }
    }

    #resize(entry: ResizeObserverEntry): void {
        const { width, height } = entry.contentRect;
        if (width === 0 || height === 0) {
            return;
        }
        this.#width = width;
        this.#height = height;
        this.orbit.setAspect(width / height);
        this.#draw();  // before the page is painted, so that it does not flicker
    }

    #animate(time: number): void {
        this.#animation = 0;
        this.orbit.isDirect = this.#calm.matches;
        const isMoving = this.orbit.advance(this.#lastTime ? time - this.#lastTime : 16);
        this.#isDirty ||= isMoving;
        this.#player?.update();  // draws when it has a new frame
        if (this.#isDirty) {
            this.#draw();
        }
        const goesOn = isMoving || this.#player?.paused === false;
        this.#lastTime = goesOn ? time : 0;
        if (goesOn) {
            this.wake();
        }
    }

    #draw(): void {
        this.#isDirty = false;
        this.#renderer?.setSize(this.#width * devicePixelRatio, this.#height * devicePixelRatio);
        this.#renderer?.draw(this.orbit.matrix());
    }
}
