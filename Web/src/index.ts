// The package's main entry: the engine, and the element, which is registered as <nimb-player>.
import { NimbPlayerElement } from './element/NimbPlayerElement.js';

export { ClipError, type ClipErrorCode } from './clip/ClipError.js';
export { type Assets, setAssets } from './player/assets.js';
export type { ClipFrame, ClipInfo, ClipMesh, ClipSource, SeekEnd, SeekOutcome } from './player/clip.js';
export { ClipPlayer, type ClipPlayerOptions } from './player/ClipPlayer.js';
export { Clock } from './player/Clock.js';
export type { OrbitState, Vec3 } from './element/Orbit.js';
export { NimbPlayerElement };

// Not where a server renders pages, nor twice where a page has two copies of this package.
if (globalThis.customElements && !customElements.get('nimb-player')) {
    customElements.define('nimb-player', NimbPlayerElement);
}
