import type { ClipMesh } from './clip.js';
import { ClipError } from '../clip/ClipError.js';
import type { FromWorker, ToWorker } from './messages.js';
import { MeshAssembly, type Playback, type PlaybackHost, type Settings } from './Playback.js';
import type { Timeline } from './Timeline.js';

/** Meshes to have or to have asked for, from the one shown on. */
const AHEAD = 6;
/** How long to wait for the picture of a seek to be presented, after the element says that it has it. */
const PRESENT_MS = 300;

/**
 * For browsers without WebCodecs: a video element shows the pictures, and each gets the mesh of its time. Browsers tell
 * which picture an element shows now and then a screen's refresh late, so a picture may meet its neighbour's mesh.
 */
export class VideoPlayback implements Playback {
    readonly isExact = false;
    readonly #host: PlaybackHost;
    readonly #post: (message: ToWorker, transfer?: Transferable[]) => void;
    readonly #timeline: Timeline;
    readonly #video: HTMLVideoElement;
    readonly #revoke: string | null;
    readonly #assembly: MeshAssembly;
    /** By frame; null: the frame has none, or it is damaged; undefined: asked for. */
    readonly #meshes = new Map<number, ClipMesh | null | undefined>();
    #presented = -1;
    #shown: { number: number; mesh: ClipMesh } | null = null;
    /** The frame of a seek. */
    #target: number | null = null;
    #isReady = false;
    #isClosed = false;
    dropped = 0;

    constructor(
        host: PlaybackHost,
        post: (message: ToWorker, transfer?: Transferable[]) => void,
        timeline: Timeline,
        source: string | Blob,
        opened: FromWorker & { kind: 'opened' },
        settings: Settings,
    ) {
        this.#host = host;
        this.#post = post;
        this.#timeline = timeline;
        this.#assembly = new MeshAssembly(opened.hasNormals);
        this.#revoke = typeof source === 'string' ? null : URL.createObjectURL(source);
        this.#video = this.#createVideo(this.#revoke ?? (source as string));
        this.apply(settings);
        this.#target = 0;
        this.#want(0);
    }

    get currentTime(): number {
        return this.#target === null ? this.#video.currentTime : this.#timeline.timeOf(this.#target);
    }

    get paused(): boolean {
        return this.#video.paused;
    }

    get ended(): boolean {
        return this.#video.ended;
    }

    get seeking(): boolean {
        return this.#target !== null;
    }

    get waiting(): boolean {
        return this.#video.readyState < HTMLMediaElement.HAVE_FUTURE_DATA;
    }

    get alive(): number {
        return this.#meshes.size;
    }

    play(): Promise<void> {
        return this.#video.play();
    }

    pause(): void {
        this.#video.pause();
    }

    seekToFrame(frame: number): void {
        this.#target = frame;
        this.#isReady = false;
        this.#presented = -1;
        // The middle of the frame: times of elements are rounded.
        this.#video.currentTime = (this.#timeline.timeOf(frame) + this.#timeline.endOf(frame)) / 2;
        this.#host.tell('seeking');
        this.#want(frame);
    }

    apply({ loop, muted, volume, playbackRate }: Settings): void {
        Object.assign(this.#video, { loop, muted, volume, playbackRate });
    }

    receive(message: FromWorker): void {
        if (message.kind !== 'mesh') {
            return;
        }
        // Assembled in any case: later meshes may share its indices.
        const mesh = message.mesh && this.#assembly.add(message.mesh);
        if (this.#meshes.has(message.frame)) {
            this.#meshes.set(message.frame, mesh);
        } else if (mesh) {
            this.#release(mesh);
        }
        this.#checkSeek();
    }

    update(): void {
        if (this.#isClosed || this.#target !== null) {
            return;
        }
        if (!('requestVideoFrameCallback' in HTMLVideoElement.prototype)) {
            this.#presented = this.#timeline.frameAt(this.#video.currentTime);
        }
        if (this.#presented >= 0) {
            this.#want(this.#presented);
            this.#showIfHere(this.#presented);
        }
    }

    close(): void {
        this.#isClosed = true;
        this.#video.pause();
        this.#video.removeAttribute('src');
        this.#video.load();
        if (this.#revoke) {
            URL.revokeObjectURL(this.#revoke);
        }
        this.#meshes.clear();
    }

    #createVideo(src: string): HTMLVideoElement {
        const video = document.createElement('video');
        video.crossOrigin = 'anonymous';
        video.playsInline = true;
        video.preload = 'auto';
        for (const event of ['play', 'pause', 'playing', 'waiting', 'ended', 'timeupdate']) {
            video.addEventListener(event, () => !this.#isClosed && this.#host.tell(event));
        }
        video.addEventListener('error', () => this.#fail());
        video.addEventListener('seeked', () => this.#awaitPicture());
        video.addEventListener('loadeddata', () => this.#awaitPicture());
        video.src = src;
        this.#watch(video);
        return video;
    }

    #watch(video: HTMLVideoElement): void {
        // Not every browser has it.
        (video as Partial<HTMLVideoElement>).requestVideoFrameCallback?.call(video, (_, { mediaTime }) => {
            if (!this.#isClosed) {
                this.#presented = this.#timeline.frameAt(mediaTime + 1e-3);
                this.#checkSeek();
                this.update();
                this.#watch(video);
            }
        });
    }

    #fail(): void {
        if (this.#isClosed) {
            return;
        }
        const error = this.#video.error;
        const isCodec = error?.code === MediaError.MEDIA_ERR_SRC_NOT_SUPPORTED || error?.code === MediaError.MEDIA_ERR_DECODE;
        const text = error?.message ? `: ${error.message}` : '';
        this.#host.fail(isCodec ? new ClipError('unsupported-codec', `this browser does not play the clip's pictures${text}`)
            : new ClipError('network', `the clip's pictures cannot be loaded${text}`));
    }

    /** The element has the picture; whether it presents it anew is not certain. */
    #awaitPicture(): void {
        const target = this.#target;
        setTimeout(() => {
            if (target !== null && this.#target === target && !this.#isClosed && !this.#video.seeking) {
                this.#presented = target;
                this.#checkSeek();
            }
        }, PRESENT_MS);
    }

    #checkSeek(): void {
        const target = this.#target;
        if (target === null || this.#isClosed || this.#video.seeking) {
            return;
        }
        this.#isReady ||= this.#presented === target;
        const mesh = this.#meshes.get(target);
        if (!this.#isReady || mesh === undefined) {
            return;
        }
        this.#target = null;
        this.#showIfHere(target);
        this.#host.seekEnded(mesh ? 'done' : 'failed', this.#shown?.number ?? -1);
    }

    #showIfHere(number: number): void {
        const mesh = this.#meshes.get(number);
        if (mesh && this.#shown?.number !== number) {
            this.#shown = { number, mesh };
            this.#host.show({ number, time: this.#timeline.timeOf(number), picture: this.#video, mesh });
        }
    }

    /** Asks for the meshes from this frame on, and lets go of others. */
    #want(frame: number): void {
        const wanted = new Set<number>();
        const { frameCount } = this.#timeline;
        for (let next = frame, left = Math.min(AHEAD, frameCount); left > 0; --left) {
            wanted.add(next);
            const after = this.#timeline.step(next, 1);
            next = after === next ? this.#timeline.frameAt(0) : after;
        }
        for (const [number, mesh] of this.#meshes) {
            if (!wanted.has(number) && mesh !== this.#shown?.mesh) {
                this.#meshes.delete(number);
                if (mesh) {
                    this.#release(mesh);
                }
            }
        }
        for (const number of wanted) {
            if (!this.#meshes.has(number)) {
                this.#meshes.set(number, undefined);
                this.#post({ kind: 'mesh', frame: number });
            }
        }
    }

    #release(mesh: ClipMesh): void {
        const vertices = mesh.vertices.buffer as ArrayBuffer;
        this.#post({ kind: 'release', vertices, hasPicture: false, pixels: null }, [vertices]);
    }
}
