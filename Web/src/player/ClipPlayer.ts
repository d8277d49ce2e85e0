import { ClipError } from '../clip/ClipError.js';
import { type Assets, startWorker, wasmOf } from './assets.js';
import { Clock } from './Clock.js';
import { CodecPlayback } from './CodecPlayback.js';
import type { ClipFrame, ClipInfo, ClipSource, SeekEnd, SeekOutcome } from './clip.js';
import { drawsInSoftware } from './graphics.js';
import type { FromWorker, ToWorker } from './messages.js';
import type { Playback, PlaybackHost, Settings } from './Playback.js';
import { Timeline } from './Timeline.js';
import { VideoPlayback } from './VideoPlayback.js';

export interface ClipPlayerOptions {
    /** Shared with other players. */
    clock?: Clock;
    loop?: boolean;
    muted?: boolean;
    /** 0 to 1. */
    volume?: number;
    /** 0.1 to 4. */
    playbackRate?: number;
    assets?: Assets;
    /** `auto`: WebCodecs where the browser has it, otherwise a video element. */
    mode?: 'auto' | 'webcodecs' | 'video';
    /** How WebCodecs' pictures come: `auto` is `frames` where there is a graphics card, otherwise `pixels`. */
    pictures?: 'auto' | 'frames' | 'pixels';
}

/**
 * Plays one clip after the other: which frame is to be shown is in `frame`, drawing it is somebody else's part.
 *
 * Time, control and events are those of media elements. Besides, `frame` (a CustomEvent with the ClipFrame) is fired
 * when another frame is to be shown, before `seeked` if it is that of a seek; `framedamaged` (with frame and message) for
 * each frame that is passed over. `error` comes once, after which the player waits for the next `load`.
 */
export class ClipPlayer extends EventTarget {
    /** Time. Where only a video element plays (`exact` is false), the player keeps its own instead. */
    readonly clock: Clock;
    readonly #ownsClock: boolean;
    readonly #options: ClipPlayerOptions;
    readonly #settings: Settings;
    #worker: Worker | null = null;
    #playback: Playback | null = null;
    #timeline: Timeline | null = null;
    #info: ClipInfo | null = null;
    #error: ClipError | null = null;
    #frame: ClipFrame | null = null;
    #loading: { resolve: (info: ClipInfo) => void; reject: (error: ClipError) => void } | null = null;
    /** Of the seek that is under way; null where another player of the same clock began it. */
    #ticket: ((end: SeekEnd) => void) | null = null;
    #nextTicket: ((end: SeekEnd) => void) | null = null;
    #hasToldSeeking = false;
    #toldTime = -1;
    #shown = 0;
    #damaged = 0;
    #waits = 0;

    constructor(options: ClipPlayerOptions = {}) {
        super();
        this.#options = options;
        this.#ownsClock = !options.clock;
        this.clock = options.clock ?? new Clock();
        const { loop = false, muted = false, volume = 1, playbackRate = this.clock.playbackRate } = options;
        this.#settings = { loop, muted, volume, playbackRate };
        this.clock.playbackRate = playbackRate;
    }

    /**
     * Opens a clip, in place of the one before. Resolves when its first frame is there; rejects with a ClipError, of code
     * `aborted` when another call of `load` or `close` came first.
     */
    load(source: ClipSource): Promise<ClipInfo> {
        this.close();
        this.#error = null;
        this.#tell('loadstart');
        return new Promise((resolve, reject) => {
            this.#loading = { resolve, reject };
            this.#open(source);
        });
    }

    /** Lets go of everything. `load` opens again. */
    close(): void {
        const wasOpen = this.#worker !== null;
        this.#stop();
        this.#rejectLoading(new ClipError('aborted', 'the clip was closed'));
        if (wasOpen) {
            this.#tell('emptied');
        }
    }

    /** Null until `loadedmetadata`. */
    get info(): ClipInfo | null {
        return this.#info;
    }

    get error(): ClipError | null {
        return this.#error;
    }

    /** What is to be shown now. */
    get frame(): ClipFrame | null {
        return this.#frame;
    }

    /** Moves to what the clock asks for; to be called for each picture that is drawn. Returns `frame`. */
    update(): ClipFrame | null {
        this.#playback?.update();
        const time = this.currentTime;
        if (Math.abs(time - this.#toldTime) >= 0.25 && this.#playback && !this.paused) {
            this.#tellTime();
        }
        return this.#frame;
    }

    /** Rejects with NotAllowedError where the browser wants the user to touch the page before it lets sound out. */
    async play(): Promise<void> {
        const playback = this.#playback;
        if (!playback) {
            throw new DOMException('no clip is open', 'InvalidStateError');
        }
        await playback.play();
    }

    pause(): void {
        this.#playback?.pause();
    }

    /** In seconds. Setting it is `seek`. */
    get currentTime(): number {
        return this.#playback?.currentTime ?? 0;
    }

    set currentTime(time: number) {
        void this.seek(time);
    }

    /** In seconds; NaN until `loadedmetadata`. */
    get duration(): number {
        return this.#info?.duration ?? NaN;
    }

    get paused(): boolean {
        return this.#playback?.paused ?? true;
    }

    get ended(): boolean {
        return this.#playback?.ended ?? false;
    }

    get seeking(): boolean {
        return this.#playback?.seeking ?? false;
    }

    /** As of media elements: nothing, metadata, the current frame, some ahead, enough. */
    get readyState(): 0 | 1 | 2 | 3 | 4 {
        if (!this.#info || !this.#playback) {
            return 0;
        }
        if (!this.#frame || this.#playback.seeking) {
            return 1;
        }
        return this.#playback.waiting ? 2 : this.#playback.alive > 2 ? 4 : 3;
    }

    get loop(): boolean {
        return this.#settings.loop;
    }

    set loop(loop: boolean) {
        this.#change({ loop });
    }

    get muted(): boolean {
        return this.#settings.muted;
    }

    set muted(muted: boolean) {
        this.#change({ muted }, 'volumechange');
    }

    /** 0 to 1. */
    get volume(): number {
        return this.#settings.volume;
    }

    set volume(volume: number) {
        if (!(volume >= 0 && volume <= 1)) {
            throw new DOMException(`a volume of ${volume} is not between 0 and 1`, 'IndexSizeError');
        }
        this.#change({ volume }, 'volumechange');
    }

    /** 0.1 to 4. Sound changes its pitch with it. That of a shared clock is all players'. */
    get playbackRate(): number {
        return this.clock.playbackRate;
    }

    set playbackRate(playbackRate: number) {
        this.clock.playbackRate = playbackRate;
        this.#change({ playbackRate }, 'ratechange');
    }

    /** False: a video element plays, and a picture may meet its neighbour's mesh. */
    get exact(): boolean {
        return this.#playback?.isExact ?? this.#hasCodecs;
    }

    /** Shows the frame of a time, and nothing in between. The promise is never rejected. */
    seek(time: number): Promise<SeekEnd> {
        const last = this.duration;
        const frame = this.#timeline?.frameAt(Math.min(Math.max(0, time), last)) ?? 0;
        return this.#seekTo(frame);
    }

    /** Shows a frame, and nothing in between. Rejects with a RangeError where there is no such frame. */
    seekToFrame(frame: number): Promise<SeekEnd> {
        if (!Number.isInteger(frame) || frame < 0 || (this.#info && frame >= this.#info.frameCount)) {
            return Promise.reject(new RangeError(`there is no frame ${frame}`));
        }
        return this.#seekTo(frame);
    }

    /** Pauses, and shows the frame so many further; back where negative. */
    step(frames: number): Promise<SeekEnd> {
        this.pause();
        const frame = this.#frame ? this.#timeline!.step(this.#frame.number, Math.trunc(frames)) : 0;
        return this.#seekTo(frame);
    }

    /** Frames shown, passed over because they came late, damaged, and alive now; and how often time stopped for data. */
    get statistics(): { shown: number; dropped: number; damaged: number; waits: number; alive: number } {
        return {
            shown: this.#shown,
            dropped: this.#playback?.dropped ?? 0,
            damaged: this.#damaged,
            waits: this.#waits,
            alive: this.#playback?.alive ?? 0,
        };
    }

    get #hasCodecs(): boolean {
        return this.#options.mode !== 'video' && typeof VideoDecoder !== 'undefined';
    }

    #open(source: ClipSource): void {
        try {
            if (typeof WebAssembly === 'undefined' || typeof Worker === 'undefined') {
                throw new ClipError('unsupported-browser', 'this browser cannot show volumetric clips');
            }
            if (!this.#hasCodecs && (this.#options.mode === 'webcodecs' || typeof HTMLVideoElement === 'undefined')) {
                throw new ClipError('unsupported-browser', 'this browser has no WebCodecs');
            }
            const assets = this.#options.assets ?? {};
            const worker = startWorker(assets);
            this.#worker = worker;
            worker.onmessage = ({ data }: MessageEvent<FromWorker>) => {
                if (worker === this.#worker) {
                    this.#receive(data, source);
                }
            };
            worker.onerror = (event) => {
                event.preventDefault();
                if (worker === this.#worker) {
                    this.#fail(new ClipError('internal', `the worker stopped: ${event.message ?? 'it cannot be loaded'}`));
                }
            };
            const origin = source instanceof Blob || source instanceof ArrayBuffer ? source
                : new URL(source, document.baseURI).href;
            const { pictures = 'auto' } = this.#options;
            const asPixels = pictures === 'pixels' || (pictures === 'auto' && drawsInSoftware());
            this.#post({ kind: 'open', origin, wasm: wasmOf(assets), decodesPictures: this.#hasCodecs, asPixels });
        } catch (error) {
            // As all other errors: after the call.
            queueMicrotask(() => this.#fail(error));
        }
    }

    readonly #post = (message: ToWorker, transfer: Transferable[] = []): void => {
        this.#worker?.postMessage(message, transfer);
    };

    #receive(message: FromWorker, source: ClipSource): void {
        switch (message.kind) {
            case 'opened':
                this.#start(message, source);
                break;
            case 'failed':
                this.#fail(new ClipError(message.code, message.message, message.frame));
                break;
            case 'damaged':
                ++this.#damaged;
                this.#tellDetail('framedamaged', { frame: message.frame, message: message.message });
                break;
            default:
                this.#playback?.receive(message);
                break;
        }
    }

    #start(opened: FromWorker & { kind: 'opened' }, source: ClipSource): void {
        const timeline = new Timeline(opened.times);
        const { width, height, hasNormals, boxMin, boxMax, maxVertices, maxIndices } = opened;
        const { frameCount, duration } = timeline;
        this.#timeline = timeline;
        this.#info = {
            frameCount,
            width,
            height,
            duration,
            frameRate: frameCount / duration,
            hasSound: opened.hasSound,
            hasNormals,
            boxMin,
            boxMax,
            maxVertices,
            maxIndices,
        };
        this.#playback = this.#hasCodecs
            ? new CodecPlayback(this.#host, this.#post, timeline, this.clock, this.#ownsClock, opened, this.#settings)
            : new VideoPlayback(this.#host, this.#post, timeline, addressOf(source), opened, this.#settings);
        this.#tell('loadedmetadata');
    }

    readonly #host: PlaybackHost = {
        show: (frame) => {
            this.#frame = frame;
            ++this.#shown;
            this.#tellDetail('frame', frame);
        },
        tell: (event) => {
            this.#waits += event === 'waiting' ? 1 : 0;
            if (event === 'seeking') {
                this.#endTicket('superseded');
                this.#ticket = this.#nextTicket;
                this.#nextTicket = null;
                this.#hasToldSeeking = true;
            }
            this.#tell(event);
        },
        seekEnded: (outcome, frame) => {
            if (this.#loading) {
                this.#finishLoading();
            }
            if (this.#hasToldSeeking) {
                this.#hasToldSeeking = false;
                this.#tellTime();
                this.#tell('seeked');
                this.#endTicket(outcome, frame);
                if (!this.paused) {
                    this.#tell('playing');
                }
            }
        },
        fail: (error) => this.#fail(error),
    };

    #finishLoading(): void {
        if (!this.#frame) {
            this.#fail(new ClipError('damaged', 'no frame of the clip can be shown'));
            return;
        }
        const loading = this.#loading;
        this.#loading = null;
        this.#tell('loadeddata');
        this.#tell('canplay');
        loading?.resolve(this.#info!);
    }

    #seekTo(frame: number): Promise<SeekEnd> {
        return new Promise((resolve) => {
            if (!this.#playback) {
                resolve({ outcome: 'closed', frame: -1 });
                return;
            }
            this.#nextTicket = resolve;
            this.#playback.seekToFrame(frame);
        });
    }

    #endTicket(outcome: SeekOutcome, frame = this.#frame?.number ?? -1): void {
        const ticket = this.#ticket;
        this.#ticket = null;
        ticket?.({ outcome, frame });
    }

    #change(settings: Partial<Settings>, event?: string): void {
        Object.assign(this.#settings, settings);
        this.#playback?.apply(this.#settings);
        if (event) {
            this.#tell(event);
        }
    }

    #fail(error: unknown): void {
        const known = error instanceof ClipError ? error : new ClipError('internal', String(error));
        this.#stop();
        this.#error = known;
        this.#rejectLoading(known);
        this.#tell('error');
    }

    #rejectLoading(error: ClipError): void {
        const loading = this.#loading;
        this.#loading = null;
        loading?.reject(error);
    }

    #stop(): void {
        this.#playback?.close();
        this.#worker?.terminate();
        this.#playback = null;
        this.#worker = null;
        this.#timeline = null;
        this.#info = null;
        this.#frame = null;
        this.#toldTime = -1;
        this.#hasToldSeeking = false;
        this.#shown = this.#damaged = this.#waits = 0;
        if (this.#ownsClock) {
            this.clock.currentTime = 0;
        }
        this.#endTicket('closed');
    }

    #tellTime(): void {
        this.#toldTime = this.currentTime;
        this.#tell('timeupdate');
    }

    #tell(event: string): void {
        this.dispatchEvent(new Event(event));
    }

    #tellDetail<T>(event: string, detail: T): void {
        this.dispatchEvent(new CustomEvent(event, { detail }));
    }
}

/** What a video element takes. */
function addressOf(source: ClipSource): string | Blob {
    return source instanceof ArrayBuffer ? new Blob([source], { type: 'video/mp4' })
        : source instanceof Blob ? source : new URL(source, document.baseURI).href;
}
