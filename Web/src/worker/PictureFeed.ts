import { ClipError } from '../clip/ClipError.js';
import { Track } from '../clip/NimbClip.js';
import { type FromWorker, isSamePlace, type PixelsMessage, type Place } from '../player/messages.js';
import type { Timeline } from '../player/Timeline.js';
import type { ClipReader } from './ClipReader.js';
import { PixelCopies } from './PixelCopies.js';

/** Frames alive at most: pictures that are decoded, or being so, and not let go. */
const MAX_ALIVE = 8;
/** Fewer, but for three, where they are pixels and take more than this, in bytes. */
const MAX_PIXELS = 256 << 20;
/** Decoders that put pictures in order need more of them at once. H.264 allows 16. */
const MAX_DELAY = 16;
/** Between time stamps, which only tell pictures apart, in microseconds: a plausible rate for whoever looks at it. */
const STAMP = 40_000;
/** After which a decoder that gives nothing is thought to want more. */
const STALL_MS = 100;
/** So many times over a decoder that says it is at work is believed. */
const MAX_CHECKS = 50;
/** How late pictures may be before some are passed over. */
const LATE_SECONDS = 0.5;

type Post = (message: FromWorker, transfer?: Transferable[]) => void;

/** A picture on its way, or done. */
interface Job {
    request: number;
    place: Place;
    picture: VideoFrame | null;
}

/** Decodes pictures from any frame on and joins each with the mesh of the same frame. */
export class PictureFeed {
    readonly #reader: ClipReader;
    readonly #post: Post;
    readonly #config: VideoDecoderConfig;
    readonly #timeline: Timeline;
    readonly #isKey: Uint8Array;
    /** Null: pictures are handed over as VideoFrames. */
    #pixels: PixelCopies | null;
    readonly #maxAlive: number;

    #decoder: VideoDecoder | null = null;
    /** By the time stamp that the decoder was given. Each is used once. */
    readonly #inDecoder = new Map<number, Job>();
    /** Decoded, and waiting for their meshes. */
    #decoded: Job[] = [];
    #stamp = 0;
    #isJoining = false;
    #isFeeding = false;
    #isDrained = false;
    #hasToldEnd = false;

    #request = -1;
    #next: Place = { round: 0, frame: 0 };
    /** The first place to show; earlier ones are decoded for it. */
    #target: Place = { round: 0, frame: 0 };
    /** That very frame was asked for, and is neither shown nor told to be out of reach. */
    #awaitsTarget = false;
    #endRound = 0;
    /** Frames that the player holds. */
    #held = 0;
    #delay = 0;
    #stall: ReturnType<typeof setTimeout> | undefined;
    #hasShownAny = false;
    /** How often the decoder failed since it gave a picture, and how many pictures it could begin with. */
    #failures = 0;
    readonly #keyCount: number;

    constructor(
        reader: ClipReader,
        post: Post,
        config: VideoDecoderConfig,
        timeline: Timeline,
        isKey: Uint8Array,
        asPixels: boolean,
    ) {
        this.#reader = reader;
        this.#post = post;
        this.#config = config;
        this.#timeline = timeline;
        this.#isKey = isKey;
        this.#pixels = asPixels ? new PixelCopies() : null;
        const size = 4 * config.codedWidth! * config.codedHeight!;
        this.#maxAlive = asPixels ? Math.min(Math.max(Math.floor(MAX_PIXELS / size), 3), MAX_ALIVE) : MAX_ALIVE;
        this.#keyCount = isKey.reduce((count, key) => count + key, 1);
    }

    /** Pictures from `place` on. `isExact`: that very frame, or none. */
    go(request: number, place: Place, isExact: boolean): void {
        this.#request = request;
        this.#awaitsTarget = isExact;
        this.#isDrained = false;
        if (!this.#isOnItsWay(place)) {
            this.#restartAt({ round: place.round, frame: this.#keyBefore(place.frame) });
        }
        this.#target = place;
        for (const job of [...this.#inDecoder.values(), ...this.#decoded]) {
            job.request = request;
        }
        void this.#feed();
        void this.#join();
    }

    /** The last round. */
    end(round: number): void {
        this.#endRound = round;
        void this.#feed();
    }

    release(pixels: ArrayBuffer | null): void {
        if (pixels) {
            this.#pixels?.recycle(pixels);
        }
        --this.#held;
        this.#watchForStall();
        void this.#feed();
    }

    /** Playback is at `position`. Pictures that come much too late are passed over, up to a key picture. */
    moveTo(position: number): void {
        if (position > this.#timeline.positionOf(this.#next) + LATE_SECONDS) {
            const round = Math.min(Math.floor(position / this.#timeline.duration), this.#endRound);
            const key = this.#keyBefore(this.#timeline.frameAt(position - round * this.#timeline.duration));
            if (round > this.#next.round || key > this.#next.frame) {
                this.#restartAt({ round, frame: key });
                this.#target = this.#next;
            }
        }
        void this.#feed();
    }

    #keyBefore(frame: number): number {
        while (frame > 0 && !this.#isKey[frame]) {
            --frame;
        }
        return frame;
    }

    /** Whether going on gets there sooner than beginning again. */
    #isOnItsWay(place: Place): boolean {
        const isAhead = this.#decoder && place.round === this.#next.round && place.frame >= this.#next.frame;
        return isAhead ? this.#keyBefore(place.frame) <= this.#next.frame
            : [...this.#decoded, ...this.#inDecoder.values()].some((job) => isSamePlace(job.place, place));
    }

    #restartAt(place: Place): void {
        for (const job of this.#decoded) {
            job.picture?.close();
        }
        this.#decoded = [];
        this.#inDecoder.clear();
        this.#next = place;
        this.#isDrained = false;
        if (this.#decoder && this.#decoder.state !== 'closed') {
            this.#decoder.reset();
            this.#decoder.configure(this.#config);
        } else {
            this.#decoder = this.#createDecoder();
        }
    }

    #createDecoder(): VideoDecoder {
        const decoder = new VideoDecoder({
            output: (picture) => this.#take(picture),
            error: (error) => {
                if (decoder === this.#decoder) {
                    this.#lose(error);
                }
            },
        });
        decoder.configure(this.#config);
        return decoder;
    }

    get #alive(): number {
        return this.#held + this.#decoded.length + this.#inDecoder.size;
    }

    /** Whether there is a frame left to feed; steps into the next round where there is one. */
    #hasNext(): boolean {
        if (this.#next.frame < this.#timeline.frameCount) {
            return true;
        }
        if (this.#next.round >= this.#endRound) {
            return false;
        }
        this.#next = { round: this.#next.round + 1, frame: 0 };
        return true;
    }

    async #feed(): Promise<void> {
        if (this.#isFeeding || !this.#decoder) {
            return;
        }
        this.#isFeeding = true;
        try {
            while (this.#alive < this.#maxAlive + this.#delay) {
                if (!this.#hasNext()) {
                    await this.#drain();
                    if (this.#isDrained && !this.#hasNext()) {
                        break;
                    }
                    continue;
                }
                const decoder: VideoDecoder | null = this.#decoder;
                const place = this.#next;
                const request = this.#request;
                const data = await this.#reader.readSample(Track.Pictures, place.frame);
                if (decoder !== this.#decoder || request !== this.#request || place !== this.#next) {
                    continue; // a request came meanwhile
                }
                this.#next = { round: place.round, frame: place.frame + 1 };
                this.#isDrained = this.#hasToldEnd = false;
                const timestamp = this.#stamp += STAMP;
                this.#inDecoder.set(timestamp, { request, place, picture: null });
                const type = this.#isKey[place.frame] ? 'key' : 'delta';
                try {
                    decoder.decode(new EncodedVideoChunk({ type, timestamp, data }));
                } catch (error) {
                    this.#inDecoder.delete(timestamp); // such as a key picture that is none
                    this.#skip(place, error);
                }
                this.#watchForStall();
            }
        } catch (error) {
            this.#fail(error);
        } finally {
            this.#isFeeding = false;
        }
    }

    /** At the end: what the decoder keeps back comes out. */
    async #drain(): Promise<void> {
        if (this.#isDrained) {
            return;
        }
        this.#isDrained = true;
        const request = this.#request;
        await this.#decoder?.flush().catch(() => {}); // a request, or an error that has been told
        if (request === this.#request && this.#isDrained) {
            // After flush a decoder takes a key picture only, and the next to come is one.
            this.#giveUpBefore(Infinity);
            void this.#join();
        }
    }

    #watchForStall(checks = 0): void {
        clearTimeout(this.#stall);
        this.#stall = setTimeout(() => {
            const isFull = this.#alive >= this.#maxAlive + this.#delay;
            // The player keeps the frame that it shows until it has another one.
            if (!isFull || this.#held > 1 || this.#decoded.length > 0 || this.#inDecoder.size === 0) {
                return;
            }
            const isBusy = this.#decoder!.decodeQueueSize > 0;
            if (isBusy && checks < MAX_CHECKS) {
                this.#watchForStall(checks + 1);
            } else if (!isBusy && this.#delay < MAX_DELAY) {
                this.#delay = Math.min(2 * this.#delay + 1, MAX_DELAY);
                void this.#feed();
            } else {
                this.#lose(new Error('the decoder gives no pictures'));
            }
        }, STALL_MS);
    }

    #take(picture: VideoFrame): void {
        const job = this.#inDecoder.get(picture.timestamp);
        this.#failures = 0;
        this.#inDecoder.delete(picture.timestamp);
        this.#giveUpBefore(picture.timestamp - MAX_DELAY * STAMP);
        if (!job || this.#timeline.positionOf(job.place) < this.#timeline.positionOf(this.#target)) {
            picture.close();
            void this.#feed();
            return;
        }
        job.picture = picture;
        this.#decoded.push(job);
        void this.#join();
    }

    /** Pictures that the decoder passed over without a word. */
    #giveUpBefore(stamp: number): void {
        for (const [timestamp, { place }] of this.#inDecoder) {
            if (timestamp < stamp) {
                this.#inDecoder.delete(timestamp);
                const message = `the decoder has no picture of frame ${place.frame}`;
                this.#post({ kind: 'damaged', frame: place.frame, message });
                if (isSamePlace(place, this.#target)) {
                    this.#missTarget(message);
                }
            }
        }
    }

    async #join(): Promise<void> {
        if (this.#isJoining) {
            return;
        }
        this.#isJoining = true;
        try {
            for (let job = this.#decoded[0]; job; job = this.#decoded[0]) {
                await this.#deliver(job);
            }
            if (this.#isDrained && this.#inDecoder.size === 0 && !this.#hasToldEnd) {
                this.#hasToldEnd = true;
                this.#post({ kind: 'finished', request: this.#request });
            }
        } catch (error) {
            this.#fail(error);
        } finally {
            this.#isJoining = false;
        }
    }

    async #deliver(job: Job): Promise<void> {
        const { frame } = job.place;
        const isTarget = isSamePlace(job.place, this.#target);
        let message = `frame ${frame} has no mesh`;
        const mesh = await this.#reader.mesh(frame).catch((error: unknown) => {
            if (!(error instanceof ClipError) || error.code !== 'damaged') {
                throw error;
            }
            message = error.message;
            this.#post({ kind: 'damaged', frame, message });
            return null;
        });
        const copy = mesh && this.#pixels && await this.#copy(job.picture!);
        if (this.#decoded[0] !== job) {
            if (mesh) {
                this.#reader.recycle(mesh.vertices);
            }
            if (copy) {
                this.#pixels?.recycle(copy.pixels);
            }
            return; // dropped by a request meanwhile; its picture is closed
        }
        this.#decoded.shift();
        if (this.#timeline.positionOf(job.place) > this.#timeline.positionOf(this.#target)) {
            this.#missTarget(`the decoder has no picture of frame ${this.#target.frame}`);
        }
        const picture = job.picture!;
        if (this.#timeline.positionOf(job.place) < this.#timeline.positionOf(this.#target)) {
            picture.close();
        } else if (mesh) {
            ++this.#held;
            this.#hasShownAny = true;
            this.#awaitsTarget = false;
            const [message, transfer] = this.#reader.tell(mesh);
            const { request, place } = job;
            this.#post({ kind: 'frame', request, place, picture: copy ?? picture, mesh: message },
                [copy?.pixels ?? picture, ...transfer]);
            if (copy) {
                picture.close();
            }
        } else {
            picture.close();
            if (isTarget) {
                this.#missTarget(message);
            }
        }
        void this.#feed();
    }

    /** Null: the picture was closed meanwhile, or cannot be converted, nor can others. */
    async #copy(picture: VideoFrame): Promise<PixelsMessage | null> {
        try {
            const copy = await this.#pixels!.copy(picture);
            if (!copy) {
                this.#pixels = null;
            }
            return copy;
        } catch {
            return null;
        }
    }

    /** The decoder gave up, and with it all that is in it. */
    #lose(error: Error): void {
        const first = this.#inDecoder.values().next().value?.place ?? this.#next;
        const finished = this.#decoded;
        this.#decoded = [];
        this.#restartAt(this.#next);
        this.#decoded = finished;
        try {
            this.#skip(first, error);
            void this.#feed();
        } catch (hopeless) {
            this.#fail(hopeless);
        }
    }

    /** From a place that cannot be decoded to the next key picture; what is lost is told. Throws where that leads nowhere. */
    #skip(from: Place, error: unknown): void {
        const message = `the picture cannot be decoded: ${(error as Error).message}`;
        this.#post({ kind: 'damaged', frame: from.frame, message });
        const { round } = this.#next;
        let frame = Math.max(this.#next.frame, from.round === round ? from.frame + 1 : 0);
        while (frame < this.#timeline.frameCount && !this.#isKey[frame]) {
            ++frame;
        }
        this.#next = { round, frame };
        if (this.#timeline.positionOf(this.#target) < this.#timeline.positionOf(this.#next)) {
            this.#missTarget(message);
        }
        const isHopeless = ++this.#failures > 2 * this.#keyCount;
        if (isHopeless || (frame >= this.#timeline.frameCount && !this.#hasShownAny)) {
            throw new ClipError('damaged', `its pictures cannot be decoded: ${(error as Error).message}`);
        }
    }

    #missTarget(message: string): void {
        if (this.#awaitsTarget) {
            this.#awaitsTarget = false;
            this.#post({ kind: 'unreachable', request: this.#request, message });
        }
    }

    #fail(error: unknown): void {
        const known = error instanceof ClipError ? error : null;
        this.#post({
            kind: 'failed',
            code: known?.code ?? 'internal',
            message: known?.message ?? `the decoder stopped: ${String(error)}`,
            frame: known?.frame ?? -1,
        });
    }
}
