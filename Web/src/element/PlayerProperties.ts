import type { ClipError } from '../clip/ClipError.js';
import type { SeekEnd } from '../player/clip.js';
import type { ClipPlayer, ClipPlayerOptions } from '../player/ClipPlayer.js';
import { PlayerAttributes } from './PlayerAttributes.js';

const CLOSED: SeekEnd = { outcome: 'closed', frame: -1 };

/** What <nimb-player> tells of its clip and lets pages change, before, while and after there is one. */
export abstract class PlayerProperties extends PlayerAttributes {
    protected engine: ClipPlayer | null = null;
    /** What the element itself failed for. */
    protected fault: ClipError | null = null;
    #muted: boolean | null = null;
    #volume = 1;
    #rate: number | null = null;

    get error(): ClipError | null {
        return this.fault ?? this.engine?.error ?? null;
    }
    get duration(): number {
        return this.engine?.duration ?? NaN;
    }
    get paused(): boolean {
        return this.engine?.paused ?? true;
    }
    get ended(): boolean {
        return this.engine?.ended ?? false;
    }
    get seeking(): boolean {
        return this.engine?.seeking ?? false;
    }
    get readyState(): number {
        return this.engine?.readyState ?? 0;
    }
    /** Of the texture. */
    get videoWidth(): number {
        return this.engine?.info?.width ?? 0;
    }
    get videoHeight(): number {
        return this.engine?.info?.height ?? 0;
    }
    get frameCount(): number {
        return this.engine?.info?.frameCount ?? 0;
    }
    get frameRate(): number {
        return this.engine?.info?.frameRate ?? 0;
    }
    /** The number of the frame that is shown; -1: none. */
    get currentFrame(): number {
        return this.engine?.frame?.number ?? -1;
    }
    /** False: the browser lacks WebCodecs, and picture and mesh may be a frame apart. */
    get exact(): boolean {
        return this.engine?.exact ?? true;
    }
    get statistics(): ClipPlayer['statistics'] | null {
        return this.engine?.statistics ?? null;
    }

    get currentTime(): number {
        return this.engine?.currentTime ?? 0;
    }
    set currentTime(seconds: number) {
        if (this.engine) {
            this.engine.currentTime = seconds;
        }
    }

    get muted(): boolean {
        return this.engine?.muted ?? this.#muted ?? this.defaultMuted;
    }
    set muted(value: boolean) {
        this.#muted = value;
        if (this.engine) {
            this.engine.muted = value;
        }
    }

    get volume(): number {
        return this.engine?.volume ?? this.#volume;
    }
    set volume(value: number) {
        this.#volume = value;
        if (this.engine) {
            this.engine.volume = value;
        }
    }

    get playbackRate(): number {
        return this.engine?.playbackRate ?? this.#rate ?? this.defaultPlaybackRate ?? 1;
    }
    set playbackRate(value: number) {
        this.#rate = value;
        if (this.engine) {
            this.engine.playbackRate = value;
        }
    }

    pause(): void {
        this.engine?.pause();
    }

    /** To a time in seconds. */
    seek(time: number): Promise<SeekEnd> {
        return this.engine?.seek(time) ?? Promise.resolve(CLOSED);
    }

    seekToFrame(frame: number): Promise<SeekEnd> {
        return this.engine?.seekToFrame(frame) ?? Promise.resolve(CLOSED);
    }

    /** By a number of frames, onwards or back. */
    step(frames: number): Promise<SeekEnd> {
        return this.engine?.step(frames) ?? Promise.resolve(CLOSED);
    }

    /** For a new engine. A rate that nobody asked for is left to its clock, which may be shared. */
    protected get settings(): ClipPlayerOptions {
        const rate = this.#rate ?? this.defaultPlaybackRate;
        return { loop: this.loop, muted: this.muted, volume: this.#volume, ...rate !== null && { playbackRate: rate } };
    }
}
