// A clip as an object of a three.js scene.
import {
    Box3,
    BufferAttribute,
    BufferGeometry,
    DoubleSide,
    DynamicDrawUsage,
    InterleavedBuffer,
    InterleavedBufferAttribute,
    LinearFilter,
    type Material,
    Mesh,
    MeshBasicMaterial,
    Sphere,
    SRGBColorSpace,
    Texture,
    type WebGLRenderer,
} from 'three';
import type { ClipFrame, ClipInfo, ClipMesh, ClipSource, SeekEnd } from '../player/clip.js';
import { ClipPlayer, type ClipPlayerOptions } from '../player/ClipPlayer.js';

export { ClipError, type ClipErrorCode } from '../clip/ClipError.js';
export { type Assets, setAssets } from '../player/assets.js';
export { Clock } from '../player/Clock.js';
export { ClipPlayer };
export type { ClipFrame, ClipInfo, ClipMesh, ClipPlayerOptions, ClipSource, SeekEnd };

/** A material that shows a picture. */
export type MaterialWithMap = Material & { map: Texture | null };

export interface NimbMeshOptions extends ClipPlayerOptions {
    /** Gets the clip's texture as its `map`. Without: a MeshBasicMaterial that shows the recording as it is. */
    material?: MaterialWithMap;
    /** Plays as soon as it can; where the browser wants a click first, it stays paused. */
    autoplay?: boolean;
}

/**
 * What three.js uploads each time that its version says so, from whatever picture it has. Renderers take the short way
 * for video textures: no copies in between, and colours turned to linear by the shader.
 */
class PictureTexture extends Texture {
    readonly isVideoTexture = true;

    constructor() {
        super();
        this.colorSpace = SRGBColorSpace;
        this.flipY = false;  // v runs down the picture
        this.generateMipmaps = false;
        this.minFilter = LinearFilter;
        this.anisotropy = 4;
    }

    /** Renderers call it before each use. There is nothing to look for: pictures are set when they come. */
    update(): void {}
}

/** The time of the animation frame that runs. */
const frameTime = (): unknown => document.timeline.currentTime;

/**
 * A mesh whose geometry and texture follow a clip. Metres, y up, its origin that of the clip.
 *
 * Geometry and texture change together, and never while a picture is drawn: at the first `updateMatrixWorld` of an
 * animation frame, with which each `WebGLRenderer.render` begins, or between frames when a seek ends. However often a
 * scene is rendered in one animation frame, each time shows the same frame of the clip. Needs three.js 0.160 or newer.
 */
export class NimbMesh extends Mesh<BufferGeometry, MaterialWithMap> {
    /** The engine, for events and all that is not here. */
    readonly player: ClipPlayer;
    /** The clip's first frame is there; rejects with the ClipError that `player` has told. */
    ready: Promise<ClipInfo>;
    readonly texture: Texture = new PictureTexture();
    readonly #ownsMaterial: boolean;
    readonly #autoplay: boolean;
    #vertices: InterleavedBuffer | null = null;
    #indices: BufferAttribute | null = null;
    #topology: number | null = null;
    #updatedAt: unknown = null;
    #renderer: WebGLRenderer | null = null;

    /** Without a source, `load` comes later. */
    constructor(source: ClipSource | null = null, options: NimbMeshOptions = {}) {
        const { material, autoplay = false, ...playerOptions } = options;
        super(new BufferGeometry(), material ?? new MeshBasicMaterial({ side: DoubleSide, toneMapped: false }));
        this.#ownsMaterial = !material;
        this.#autoplay = autoplay;
        this.onBeforeRender = (renderer) => {
            this.#renderer = renderer;
        };
        this.geometry.boundingBox = new Box3();
        this.geometry.boundingSphere = new Sphere();
        this.player = new ClipPlayer(playerOptions);
        this.player.addEventListener('loadedmetadata', () => this.#setBounds(this.player.info!));
        this.player.addEventListener('frame', (event) => this.#show((event as CustomEvent<ClipFrame>).detail));
        for (const type of ['emptied', 'error']) {
            this.player.addEventListener(type, () => this.#clear());
        }
        this.ready = source === null ? new Promise(() => {}) : this.load(source);
    }

    /** Another clip, in place of the one before. Resolves when its first frame is there; rejects with a ClipError. */
    load(source: ClipSource): Promise<ClipInfo> {
        this.ready = this.player.load(source);
        this.ready.then(() => this.#autoplay ? this.play() : undefined).catch(() => {});  // `error` tells
        return this.ready;
    }

    /** Rejects with NotAllowedError where the browser wants a click before there is sound. */
    async play(): Promise<void> {
        await this.ready;
        await this.player.play();
    }

    pause(): void {
        this.player.pause();
    }

    /** To a time in seconds. */
    seek(time: number): Promise<SeekEnd> {
        return this.player.seek(time);
    }

    seekToFrame(frame: number): Promise<SeekEnd> {
        return this.player.seekToFrame(frame);
    }

    /** By a number of frames, onwards or back. */
    step(frames: number): Promise<SeekEnd> {
        return this.player.step(frames);
    }

    get currentTime(): number {
        return this.player.currentTime;
    }
    set currentTime(seconds: number) {
        this.player.currentTime = seconds;
    }

    get duration(): number {
        return this.player.duration;
    }
    get paused(): boolean {
        return this.player.paused;
    }
    get ended(): boolean {
        return this.player.ended;
    }
    /** The number of the frame that is shown; -1: none. */
    get currentFrame(): number {
        return this.player.frame?.number ?? -1;
    }

    override updateMatrixWorld(force?: boolean): void {
        // A headset has its own animation frames, in which the page's time may stand still.
        const now = this.#renderer?.xr?.isPresenting ? null : frameTime();
        if (now === null || now !== this.#updatedAt) {
            this.#updatedAt = now;
            this.player.update();
        }
        super.updateMatrixWorld(force);
    }

    /** Ends playback and frees everything, but for a material that was given. */
    override dispose(): void {
        super.dispose?.();  // three.js 0.160 has none
        this.player.close();
        this.geometry.dispose();
        this.texture.dispose();
        if (this.#ownsMaterial) {
            this.material.dispose();
        }
    }

    #setBounds({ boxMin, boxMax }: ClipInfo): void {
        this.geometry.boundingBox!.min.set(...boxMin);
        this.geometry.boundingBox!.max.set(...boxMax);
        this.geometry.boundingBox!.getBoundingSphere(this.geometry.boundingSphere!);
    }

    #show({ mesh, picture }: ClipFrame): void {
        this.#showMesh(mesh);
        this.texture.image = picture;
        this.texture.needsUpdate = true;
        if (this.material.map !== this.texture) {
            this.material.map = this.texture;
            this.material.needsUpdate = true;
        }
    }

    #showMesh(mesh: ClipMesh): void {
        const { vertexCount, floatsPerVertex, indexCount } = mesh;
        const { geometry } = this;
        if (!this.#vertices || this.#vertices.stride !== floatsPerVertex || this.#vertices.count < vertexCount) {
            this.#makeVertices(Math.max(vertexCount, this.player.info?.maxVertices ?? 0), floatsPerVertex);
        }
        const floats = vertexCount * floatsPerVertex;
        (this.#vertices!.array as Float32Array).set(mesh.vertices.subarray(0, floats));
        this.#vertices!.clearUpdateRanges();
        this.#vertices!.addUpdateRange(0, floats);
        this.#vertices!.needsUpdate = true;
        if (!this.#indices || this.#indices.count < indexCount) {
            geometry.dispose();  // buffers on the GPU keep their size
            const room = Math.max(indexCount, this.player.info?.maxIndices ?? 0);
            this.#indices = new BufferAttribute(new Uint32Array(room), 1);
            this.#indices.setUsage(DynamicDrawUsage);
            geometry.setIndex(this.#indices);
            this.#topology = null;
        }
        if (this.#topology !== mesh.topology) {
            this.#topology = mesh.topology;
            (this.#indices.array as Uint32Array).set(mesh.indices.subarray(0, indexCount));
            this.#indices.clearUpdateRanges();
            this.#indices.addUpdateRange(0, indexCount);
            this.#indices.needsUpdate = true;
        }
        geometry.setDrawRange(0, indexCount);
    }

    #makeVertices(count: number, floatsPerVertex: 5 | 8): void {
        const { geometry } = this;
        geometry.dispose();
        const vertices = new InterleavedBuffer(new Float32Array(count * floatsPerVertex), floatsPerVertex);
        vertices.setUsage(DynamicDrawUsage);
        this.#vertices = vertices;
        geometry.setAttribute('position', new InterleavedBufferAttribute(vertices, 3, 0));
        geometry.setAttribute('uv', new InterleavedBufferAttribute(vertices, 2, floatsPerVertex - 2));
        if (floatsPerVertex === 8) {
            geometry.setAttribute('normal', new InterleavedBufferAttribute(vertices, 3, 3));
        } else {
            geometry.deleteAttribute('normal');
        }
    }

    /** The picture is closed, and must not be uploaded again. */
    #clear(): void {
        this.geometry.setDrawRange(0, 0);
        this.texture.dispose();
        this.texture.image = null;
        this.texture.version = 0;
        this.#topology = null;
    }
}
