// Where there is no document, as where a server renders pages, the package can be imported but not used.
const ElementBase = (globalThis.HTMLElement ?? class {}) as typeof HTMLElement;

/** The attributes of <nimb-player>, and the properties that mirror them. */
export abstract class PlayerAttributes extends ElementBase {
    get src(): string {
        return this.#address('src');
    }
    set src(value: string) {
        this.setAttribute('src', value);
    }

    /** A picture to show until the first frame is there. */
    get poster(): string {
        return this.#address('poster');
    }
    set poster(value: string) {
        this.setAttribute('poster', value);
    }

    /** `auto`: loads at once; `metadata`: when the player comes into view; `none`: when it is played. */
    get preload(): 'auto' | 'metadata' | 'none' {
        const value = this.getAttribute('preload');
        return value === 'auto' || value === '' ? 'auto' : value === 'none' ? 'none' : 'metadata';
    }
    set preload(value: 'auto' | 'metadata' | 'none') {
        this.setAttribute('preload', value);
    }

    get controls(): boolean {
        return this.hasAttribute('controls');
    }
    set controls(value: boolean) {
        this.toggleAttribute('controls', value);
    }

    get autoplay(): boolean {
        return this.hasAttribute('autoplay');
    }
    set autoplay(value: boolean) {
        this.toggleAttribute('autoplay', value);
    }

    get loop(): boolean {
        return this.hasAttribute('loop');
    }
    set loop(value: boolean) {
        this.toggleAttribute('loop', value);
    }

    get defaultMuted(): boolean {
        return this.hasAttribute('muted');
    }
    set defaultMuted(value: boolean) {
        this.toggleAttribute('muted', value);
    }

    /** What the attribute `playbackrate` says; null: nothing. */
    get defaultPlaybackRate(): number | null {
        const rate = Number(this.getAttribute('playbackrate') ?? NaN);
        return rate > 0 ? Math.min(Math.max(rate, 0.1), 4) : null;
    }

    /** "theta phi radius": degrees or `rad`; metres, % of the distance at which the clip fits, or `auto`. */
    get cameraOrbit(): string {
        return this.getAttribute('camera-orbit') ?? '';
    }
    set cameraOrbit(value: string) {
        this.setAttribute('camera-orbit', value);
    }

    /** "x y z" in metres, or `auto`: the middle of the clip's box. */
    get cameraTarget(): string {
        return this.getAttribute('camera-target') ?? '';
    }
    set cameraTarget(value: string) {
        this.setAttribute('camera-target', value);
    }

    /** Of the picture's height, in degrees or `rad`. */
    get fieldOfView(): string {
        return this.getAttribute('field-of-view') ?? '';
    }
    set fieldOfView(value: string) {
        this.setAttribute('field-of-view', value);
    }

    /** The viewer cannot move the camera. */
    get cameraFixed(): boolean {
        return this.hasAttribute('camera-fixed');
    }
    set cameraFixed(value: boolean) {
        this.toggleAttribute('camera-fixed', value);
    }

    #address(name: string): string {
        const value = this.getAttribute(name);
        return value ? new URL(value, this.baseURI).href : '';
    }
}
