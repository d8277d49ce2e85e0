// The camera: where it is, where it may go, and the matrix that it draws with. Right-handed, y up, metres and radians.

export type Vec3 = [number, number, number];

/** Theta 0 looks from +z at the clip's front and grows towards +x; phi 0 looks from above, pi / 2 from the side. */
export interface OrbitState {
    theta: number;
    phi: number;
    radius: number;
    target: Vec3;
}

/** What pages ask for. Null: chosen from the clip's box. */
export interface OrbitWish {
    theta: number;
    phi: number;
    radius: { share: number } | { metres: number } | null;
    target: Vec3 | null;
    /** Of the picture's height. */
    fieldOfView: number;
}

const DEFAULT_FIELD_OF_VIEW = 35 * Math.PI / 180;
/** Of the picture that a clip fills, as in the snapshots of `nimb play`, so that these do as posters. */
const FILL = 0.92;
const MIN_PHI = 0.01;
/** Of the fitting distance. */
const NEAREST = 0.08;
const FARTHEST = 4;
/** In which a movement comes closer to its end by a factor of e, in milliseconds. */
const GLIDE = 70;

const clamp = (x: number, low: number, high: number): number => Math.min(Math.max(x, low), high);

function parseAngle(text: string | undefined, otherwise: number): number {
    const match = /^(-?[\d.]+(?:e-?\d+)?)(deg|rad)?$/.exec(text ?? '');
    const value = match ? Number(match[1]) : NaN;
    return Number.isNaN(value) ? otherwise : match![2] === 'rad' ? value : value * Math.PI / 180;
}

function parseRadius(text: string | undefined): OrbitWish['radius'] {
    const match = /^([\d.]+(?:e-?\d+)?)(m|%)?$/.exec(text ?? '');
    const value = match ? Number(match[1]) : NaN;
    return !(value > 0) ? null : match![2] === '%' ? { share: value / 100 } : { metres: value };
}

/** Of the three attributes. What cannot be understood counts as not said. */
export function parseWish(orbit: string | null, target: string | null, fieldOfView: string | null): OrbitWish {
    const words = (text: string | null): string[] => (text ?? '').trim().split(/\s+/);
    const [theta, phi, radius] = words(orbit);
    const point = words(target).map((word) => Number(word.replace(/m$/, '')));
    const view = parseAngle(words(fieldOfView)[0], DEFAULT_FIELD_OF_VIEW);
    return {
        theta: parseAngle(theta, 0),
        phi: clamp(parseAngle(phi, Math.PI / 2), MIN_PHI, Math.PI - MIN_PHI),
        radius: parseRadius(radius),
        target: point.length === 3 && point.every(Number.isFinite) && target?.trim() ? point as Vec3 : null,
        fieldOfView: clamp(view, 0.01, Math.PI - 0.1),
    };
}

/** The camera's axes in the world: to the right, up, and backwards, from the target to the eye. */
function axesOf({ theta, phi }: OrbitState | OrbitWish): [Vec3, Vec3, Vec3] {
    const [st, ct, sp, cp] = [Math.sin(theta), Math.cos(theta), Math.sin(phi), Math.cos(phi)];
    return [[ct, 0, -st], [-st * cp, sp, -ct * cp], [st * sp, cp, ct * sp]];
}

const dot = (a: Vec3, b: Vec3): number => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];

/** A camera that turns around a point and cannot get lost. */
export class Orbit {
    /** Moves at once, for those who asked their system for less motion. */
    isDirect = false;
    #wish = parseWish(null, null, null);
    #low: Vec3 = [-1, -1, -1];
    #high: Vec3 = [1, 1, 1];
    #aspect = 1;
    #now: OrbitState;
    #goal: OrbitState;
    /** Until then a new size of the view fits the clip again. */
    #isMoved = false;

    constructor() {
        this.#goal = this.#home();
        this.#now = structuredClone(this.#goal);
    }

    /** Where the camera is. A copy. */
    get state(): OrbitState {
        return structuredClone(this.#now);
    }

    /** A new clip: of all its frames. Goes to where the page wants the camera. */
    setBox(low: Vec3, high: Vec3): void {
        this.#low = low;
        this.#high = high;
        this.#goHome();
    }

    setWish(wish: OrbitWish): void {
        this.#wish = wish;
        this.#goHome();
    }

    /** Width to height. */
    setAspect(aspect: number): void {
        const before = this.#fit();
        this.#aspect = aspect;
        if (!this.#isMoved) {
            this.#goHome();
        } else {
            const change = this.#fit() / before;
            this.#goal.radius *= change;
            this.#now.radius *= change;
            this.#limit();
        }
    }

    /** Back to where the page wants it, the shorter way round. */
    reset(): void {
        this.#goal = this.#home();
        const turns = Math.round((this.#now.theta - this.#goal.theta) / (2 * Math.PI));
        this.#now.theta -= turns * 2 * Math.PI;
        this.#isMoved = false;
    }

    /** By shares of the view's height, as the mouse does. */
    turn(dx: number, dy: number): void {
        this.#goal.theta -= dx * 2 * Math.PI;
        this.#goal.phi -= dy * Math.PI;
        this.#limit();
    }

    /** By shares of the view's height: what is under the pointer stays there. */
    pan(dx: number, dy: number): void {
        const [right, up] = axesOf(this.#goal);
        const scale = 2 * Math.tan(this.#wish.fieldOfView / 2) * this.#goal.radius;
        for (let i = 0; i < 3; i++) {
            this.#goal.target[i]! += scale * (dy * up[i]! - dx * right[i]!);
        }
        this.#limit();
    }

    /** Above 1: farther away. */
    zoom(factor: number): void {
        this.#goal.radius *= factor;
        this.#limit();
    }

    /** By `elapsed` milliseconds. True: the camera moved, and this is to be called again for the next frame. */
    advance(elapsed: number): boolean {
        const share = this.isDirect ? 1 : 1 - Math.exp(-Math.min(elapsed, 100) / GLIDE);
        const [now, goal] = [this.#now, this.#goal];
        const size = this.#reach();
        let rest = 0;
        const follow = (from: number, to: number, scale: number): number => {
            rest = Math.max(rest, Math.abs(to - from) / scale);
            return from + (to - from) * share;
        };
        now.theta = follow(now.theta, goal.theta, 1);
        now.phi = follow(now.phi, goal.phi, 1);
        now.radius = follow(now.radius, goal.radius, size);
        for (let i = 0; i < 3; i++) {
            now.target[i] = follow(now.target[i]!, goal.target[i]!, size);
        }
        if (rest > 0 && rest < 1e-4) {
            this.#now = structuredClone(goal);
        }
        return rest > 0;
    }

    /** World to clip coordinates, by columns. */
    matrix(): Float32Array {
        const { radius, target } = this.#now;
        const [x, y, z] = axesOf(this.#now);
        const eye = target.map((t, i) => t + radius * z[i]!) as Vec3;
        const middle = this.#middle();
        const reach = this.#reach();
        const depth = dot(z, eye.map((e, i) => e - middle[i]!) as Vec3);
        const far = Math.max(depth + reach, reach) * 1.01;
        const near = Math.max((depth - reach) * 0.99, far * 0.002);
        const sy = 1 / Math.tan(this.#wish.fieldOfView / 2);
        const sx = sy / this.#aspect;
        const sz = (far + near) / (near - far);
        const tz = 2 * far * near / (near - far);
        const [ex, ey, ez] = [-dot(x, eye), -dot(y, eye), -dot(z, eye)];
        return new Float32Array([
            sx * x[0], sy * y[0], sz * z[0], -z[0],
            sx * x[1], sy * y[1], sz * z[1], -z[1],
            sx * x[2], sy * y[2], sz * z[2], -z[2],
            sx * ex, sy * ey, sz * ez + tz, -ez,
        ]);
    }

    #home(): OrbitState {
        const { theta, phi, radius, target } = this.#wish;
        const fit = this.#fit();
        const metres = !radius ? fit : 'share' in radius ? radius.share * fit : radius.metres;
        return { theta, phi, radius: metres, target: target ? [...target] : this.#middle() };
    }

    #goHome(): void {
        this.#goal = this.#home();
        this.#now = structuredClone(this.#goal);
        this.#isMoved = false;
    }

    #middle(): Vec3 {
        return this.#low.map((low, i) => (low + this.#high[i]!) / 2) as Vec3;
    }

    #reach(): number {
        return Math.max(Math.hypot(...this.#low.map((low, i) => this.#high[i]! - low)) / 2, 1e-4);
    }

    /** The distance from its middle at which all of the box is seen from where the page wants the camera. */
    #fit(): number {
        const axes = axesOf(this.#wish);
        const half = this.#low.map((low, i) => (this.#high[i]! - low) / 2);
        const tanY = Math.tan(this.#wish.fieldOfView / 2) * FILL;
        const tanX = tanY * this.#aspect;
        let distance = this.#reach();
        for (let corner = 0; corner < 8; corner++) {
            const p = half.map((h, i) => corner >> i & 1 ? h : -h) as Vec3;
            const depth = dot(p, axes[2]);
            distance = Math.max(distance, depth + Math.abs(dot(p, axes[0])) / tanX,
                depth + Math.abs(dot(p, axes[1])) / tanY);
        }
        return distance;
    }

    #limit(): void {
        this.#isMoved = true;
        const goal = this.#goal;
        const fit = this.#fit();
        const home = this.#home();
        goal.phi = clamp(goal.phi, MIN_PHI, Math.PI - MIN_PHI);
        goal.radius = clamp(goal.radius, Math.min(fit * NEAREST, home.radius), Math.max(fit * FARTHEST, home.radius));
        for (let i = 0; i < 3; i++) {
            const wished = home.target[i]!;
            goal.target[i] = clamp(goal.target[i]!, Math.min(this.#low[i]!, wished), Math.max(this.#high[i]!, wished));
        }
    }
}
