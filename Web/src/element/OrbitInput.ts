import type { Orbit } from './Orbit.js';

const KEY_TURN = 1 / 24;  // 15 degrees sideways, 7.5 up and down
const KEY_ZOOM = 1.15;

/** By how many pixels a finger has to move sideways before it turns the clip. */
const SLOP = 6;

interface Point {
    x: number;
    y: number;
    /** A finger that may yet turn out to scroll the page. */
    isUndecided: boolean;
}

/** Whether there is something else to do with fingers and wheels than to move the camera. */
function isPageScrollable(): boolean {
    const page = document.scrollingElement;
    return document.fullscreenElement === null && page !== null && page.scrollHeight > page.clientHeight;
}

/**
 * Mouse, wheel, fingers and keys on the canvas move the camera. One finger turns it, unless it moves up or down first
 * and the page can be scrolled: then it scrolls (`touch-action: pan-y` of the canvas).
 */
export class OrbitInput {
    #canvas: HTMLElement;
    #orbit: Orbit;
    #onMove: () => void;
    #pointers = new Map<number, Point>();
    #listeners = new AbortController();

    /** `onMove`: the camera is to be drawn from elsewhere. */
    constructor(canvas: HTMLElement, orbit: Orbit, onMove: () => void) {
        this.#canvas = canvas;
        this.#orbit = orbit;
        this.#onMove = onMove;
        const { signal } = this.#listeners;
        canvas.addEventListener('pointerdown', (event) => this.#press(event), { signal });
        canvas.addEventListener('pointermove', (event) => this.#move(event), { signal });
        for (const type of ['pointerup', 'pointercancel', 'lostpointercapture'] as const) {
            canvas.addEventListener(type, (event) => this.#release(event), { signal });
        }
        canvas.addEventListener('touchmove', (event) => {
            if (event.cancelable && !isPageScrollable()) {
                event.preventDefault();
            }
        }, { signal, passive: false });
        canvas.addEventListener('wheel', (event) => this.#wheel(event), { signal, passive: false });
        canvas.addEventListener('dblclick', () => this.#act(() => orbit.reset()), { signal });
        canvas.addEventListener('keydown', (event) => this.#key(event), { signal });
        canvas.addEventListener('contextmenu', (event) => event.preventDefault(), { signal });
    }

    close(): void {
        this.#listeners.abort();
    }

    #act(move: () => void): void {
        move();
        this.#onMove();
    }

    #press(event: PointerEvent): void {
        if (event.button > 2 || this.#pointers.size === 2) {
            return;
        }
        const isUndecided = event.pointerType === 'touch' && isPageScrollable();
        this.#pointers.set(event.pointerId, { x: event.clientX, y: event.clientY, isUndecided });
        this.#canvas.setPointerCapture(event.pointerId);
        this.#canvas.classList.add('grabbed');
    }

    #release(event: PointerEvent): void {
        this.#pointers.delete(event.pointerId);
        this.#canvas.classList.toggle('grabbed', this.#pointers.size > 0);
    }

    #move(event: PointerEvent): void {
        const point = this.#pointers.get(event.pointerId);
        if (!point) {
            return;
        }
        if (point.isUndecided && this.#pointers.size === 1) {
            const sideways = Math.abs(event.clientX - point.x);
            if (sideways < SLOP || sideways < Math.abs(event.clientY - point.y)) {
                return;
            }
        }
        point.isUndecided = false;
        const height = this.#canvas.clientHeight || 1;
        const before = this.#spread();
        const dx = (event.clientX - point.x) / height;
        const dy = (event.clientY - point.y) / height;
        point.x = event.clientX;
        point.y = event.clientY;
        this.#act(() => {
            if (before !== null) {  // each finger moves the middle by half
                this.#orbit.pan(dx / 2, dy / 2);
                this.#orbit.zoom(before / this.#spread()!);
            } else if (event.shiftKey || event.buttons & 6) {
                this.#orbit.pan(dx, dy);
            } else {
                this.#orbit.turn(dx, dy);
            }
        });
    }

    /** Between two fingers, in pixels; null: there are not two. */
    #spread(): number | null {
        const [a, b] = [...this.#pointers.values()];
        return a && b ? Math.max(Math.hypot(a.x - b.x, a.y - b.y), 10) : null;
    }

    #wheel(event: WheelEvent): void {
        const root = this.#canvas.getRootNode();
        const isChosen = event.ctrlKey || root instanceof ShadowRoot && root.activeElement === this.#canvas;
        if (!isChosen && isPageScrollable()) {
            return;  // somebody who scrolls past
        }
        event.preventDefault();
        const lines = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? event.deltaY / 40 : event.deltaY;
        const steps = Math.min(Math.max(event.ctrlKey ? lines * 4 : lines, -6), 6);  // pinching a touchpad is gentle
        this.#act(() => this.#orbit.zoom(1.04 ** steps));
    }

    #key(event: KeyboardEvent): void {
        if (event.ctrlKey || event.altKey || event.metaKey) {
            return;
        }
        const orbit = this.#orbit;
        const move = event.shiftKey ? orbit.pan.bind(orbit) : orbit.turn.bind(orbit);
        const actions: Record<string, () => void> = {
            ArrowLeft: () => move(-KEY_TURN, 0),
            ArrowRight: () => move(KEY_TURN, 0),
            ArrowUp: () => move(0, -KEY_TURN),
            ArrowDown: () => move(0, KEY_TURN),
            '+': () => orbit.zoom(1 / KEY_ZOOM),
            '=': () => orbit.zoom(1 / KEY_ZOOM),
            '-': () => orbit.zoom(KEY_ZOOM),
            r: () => orbit.reset(),
        };
        const action = actions[event.key];
        if (action) {
            event.preventDefault();
            this.#act(action);
        }
    }
}
