import type { Clock } from './Clock.js';
import type { ClipFrame } from './clip.js';
import { type FromWorker, isSamePlace, type Place, type SoundTrack, type ToWorker } from './messages.js';
import { MeshAssembly, type Playback, type PlaybackHost, type Settings } from './Playback.js';
import { SoundOutput } from './SoundOutput.js';
import type { Timeline } from './Timeline.js';

/** How long a frame may be overdue before time stops for it, in seconds. */
const PATIENCE = 0.1;
/** Frames to have before time goes on. */
const ENOUGH = 3;
/** How often the worker hears where playback is; also what moves a page on that draws nothing. */
const TICK_MS = 100;

interface Queued {
    place: Place;
    position: number;
    frame: ClipFrame;
    picture: VideoFrame | ImageData;
}

/** Plays what the worker decodes: pictures by WebCodecs, paired with their meshes there. */
export class CodecPlayback implements Playback {
    readonly isExact = true;
    readonly #host: PlaybackHost;
    readonly #post: (message: ToWorker, transfer?: Transferable[]) => void;
    readonly #timeline: Timeline;
    readonly #clock: Clock;
    readonly #ownsClock: boolean;
    readonly #soundTrack: SoundTrack | null;
    readonly #meshes: MeshAssembly;
    readonly #timer: ReturnType<typeof setInterval>;
    readonly #obeySeek = (): void => this.#followSeek();
    readonly #obeyChange = (): void => this.#followChange();

    #settings: Settings;
    #queue: Queued[] = [];
    #current: Queued | null = null;
    #request = 0;
    #isFinished = false;
    #endRound = 0;
    /** Frames of a round that was not to be played any more have been thrown away. */
    #isAheadOfEnd = false;
    #hasEnded = false;
    #isWaiting = false;
    #isSeeking = false;
    #wasPaused: boolean;
    /** The frame of a seek of this player's own, while the clock jumps. */
    #wanted: number | null = null;
    #sound: SoundOutput | null = null;
    #soundRequest = 0;
    #plays = 0;
    dropped = 0;

    constructor(
        host: PlaybackHost,
        post: (message: ToWorker, transfer?: Transferable[]) => void,
        timeline: Timeline,
        clock: Clock,
        ownsClock: boolean,
        opened: FromWorker & { kind: 'opened' },
        settings: Settings,
    ) {
        this.#host = host;
        this.#post = post;
        this.#timeline = timeline;
        this.#clock = clock;
        this.#ownsClock = ownsClock;
        this.#soundTrack = opened.sound;
        this.#meshes = new MeshAssembly(opened.hasNormals);
        this.#settings = { ...settings };
        this.#endRound = settings.loop ? Infinity : 0;
        this.#wasPaused = clock.paused;
        clock.addEventListener('seek', this.#obeySeek);
        clock.addEventListener('change', this.#obeyChange);
        this.#timer = setInterval(() => this.#tick(), TICK_MS);
        this.#goTo(this.#placeAt(clock.currentTime), false);
    }

    get currentTime(): number {
        const position = Math.min(this.#clock.currentTime, this.#end);
        return Math.min(position - this.#roundAt(position) * this.#timeline.duration, this.#timeline.duration);
    }

    get paused(): boolean {
        return this.#clock.paused;
    }

    get ended(): boolean {
        return this.#hasEnded;
    }

    get seeking(): boolean {
        return this.#isSeeking;
    }

    get waiting(): boolean {
        return this.#isWaiting;
    }

    get alive(): number {
        return this.#queue.length + (this.#current ? 1 : 0);
    }

    async play(): Promise<void> {
        const call = ++this.#plays;
        if (this.#hasEnded) {
            this.#clock.currentTime = 0;
        }
        if (this.#wantsSound) {
            await this.#startSound();
        }
        if (call === this.#plays) {
            this.#clock.play();
        }
    }

    pause(): void {
        ++this.#plays;
        this.#clock.pause();
    }

    seekToFrame(frame: number): void {
        this.#wanted = frame;
        this.#clock.currentTime = this.#timeline.timeOf(frame);
        this.#wanted = null;
    }

    apply(settings: Settings): void {
        const before = this.#settings;
        this.#settings = { ...settings };
        if (settings.loop !== before.loop) {
            this.#changeEnd(settings.loop ? Infinity : this.#roundAt(this.#clock.currentTime));
        }
        if (settings.playbackRate !== before.playbackRate) {
            this.#clock.playbackRate = settings.playbackRate;
        }
        if (this.#sound) {
            this.#sound.volume = settings.muted ? 0 : settings.volume;
        } else if (this.#wantsSound && !this.#clock.paused) {
            this.#startSound().catch(() => {}); // it stays silent
        }
    }

    receive(message: FromWorker): void {
        switch (message.kind) {
            case 'frame':
                this.#take(message);
                break;
            case 'unreachable':
                if (this.#isSeeking && message.request === this.#request) {
                    this.#endSeek('failed');
                }
                break;
            case 'finished':
                if (message.request === this.#request) {
                    this.#isFinished = true;
                    if (this.#isSeeking) {
                        this.#endSeek('failed');
                    }
                    this.#goOnIfReady();
                }
                break;
            case 'sound':
                if (message.request === this.#soundRequest) {
                    this.#sound?.add(message.position, message.sampleRate, message.channels);
                }
                break;
            default:
                break;
        }
    }

    update(): void {
        if (this.#isSeeking) {
            return;
        }
        const position = this.#clock.currentTime;
        let due: Queued | null = null;
        while (this.#queue.length > 0 && this.#queue[0]!.position <= position + 1e-6) {
            if (due) {
                ++this.dropped;
                this.#letGo(due);
            }
            due = this.#queue.shift()!;
        }
        if (due) {
            this.#show(due);
        }
        this.#checkEnd(position);
        this.#checkSupply(position);
    }

    close(): void {
        clearInterval(this.#timer);
        this.#clock.removeEventListener('seek', this.#obeySeek);
        this.#clock.removeEventListener('change', this.#obeyChange);
        this.#sound?.close();
        for (const { picture } of this.#current ? [...this.#queue, this.#current] : this.#queue) {
            closePicture(picture);
        }
        this.#queue = [];
        this.#current = null;
        this.#clock.release(this);
        if (this.#ownsClock) {
            this.#clock.pause();
            void this.#clock.close();
        }
    }

    /** Where the clip ends, in clock time. */
    get #end(): number {
        return (this.#endRound + 1) * this.#timeline.duration;
    }

    get #wantsSound(): boolean {
        return this.#soundTrack !== null && !this.#settings.muted;
    }

    #roundAt(position: number): number {
        return Math.min(Math.floor(position / this.#timeline.duration + 1e-9), this.#endRound);
    }

    #placeAt(position: number): Place {
        const round = this.#roundAt(position);
        return { round, frame: this.#timeline.frameAt(position - round * this.#timeline.duration) };
    }

    #goTo(place: Place, isExact: boolean): void {
        this.#isSeeking = true;
        this.#isWaiting = false;
        this.#isAheadOfEnd = false;
        this.#hasEnded = false;
        this.#isFinished = false;
        this.#clock.hold(this);
        for (const queued of this.#queue) {
            this.#letGo(queued);
        }
        this.#queue = [];
        this.#post({ kind: 'end', round: this.#endRound });
        this.#post({ kind: 'go', request: ++this.#request, place, isExact });
        this.#askForSound();
    }

    #followSeek(): void {
        const position = this.#clock.currentTime;
        if (!this.#settings.loop) {
            this.#endRound = 0;
        }
        const place = this.#wanted === null ? this.#placeAt(position) : { round: 0, frame: this.#wanted };
        // The frames that are here already are those that follow the one shown.
        const here = this.#queue.findIndex((queued) => isSamePlace(queued.place, place));
        if (here >= 0) {
            for (const passed of this.#queue.splice(0, here)) {
                this.#letGo(passed);
            }
            this.#hasEnded = false;
            this.#askForSound();
            this.#isSeeking = true;
            this.#host.tell('seeking');
            this.#show(this.#queue.shift()!);
            this.#endSeek('done');
            return;
        }
        this.#goTo(place, true);
        this.#host.tell('seeking');
    }

    #followChange(): void {
        if (this.#clock.paused !== this.#wasPaused) {
            this.#wasPaused = this.#clock.paused;
            if (this.#wasPaused) {
                this.#host.tell('timeupdate');
            }
            this.#host.tell(this.#wasPaused ? 'pause' : 'play');
            if (this.#clock.isRunning) {
                this.#host.tell('playing');
            }
        }
        if (this.#clock.isRunning && !this.#sound && this.#wantsSound && this.#clock.audioContext) {
            this.#startSound().catch(() => {}); // another player of this clock has started it
        }
    }

    #endSeek(outcome: 'done' | 'failed'): void {
        this.#isSeeking = false;
        this.#clock.release(this);
        this.#host.seekEnded(outcome, this.#current?.frame.number ?? -1);
    }

    #take({ request, place, picture: sent, mesh: message }: FromWorker & { kind: 'frame' }): void {
        const picture = 'pixels' in sent
            ? new ImageData(new Uint8ClampedArray(sent.pixels), sent.width, sent.height) : sent;
        const mesh = this.#meshes.add(message);
        const queued: Queued = {
            place,
            position: this.#timeline.positionOf(place),
            frame: { number: place.frame, time: this.#timeline.timeOf(place.frame), picture, mesh },
            picture,
        };
        if (request !== this.#request || place.round > this.#endRound) {
            this.#letGo(queued);
            return;
        }
        this.#isFinished = false;
        if (this.#isSeeking) {
            this.#show(queued);
            this.#endSeek('done');
        } else {
            this.#queue.push(queued);
        }
        this.#goOnIfReady();
    }

    #show(queued: Queued): void {
        const before = this.#current;
        this.#current = queued;
        this.#host.show(queued.frame);
        if (before) {
            this.#letGo(before);
        }
    }

    #letGo({ picture, frame }: Queued): void {
        closePicture(picture);
        const vertices = frame.mesh.vertices.buffer as ArrayBuffer;
        const pixels = picture instanceof ImageData ? picture.data.buffer as ArrayBuffer : null;
        this.#post({ kind: 'release', vertices, hasPicture: true, pixels }, pixels ? [vertices, pixels] : [vertices]);
    }

    #checkEnd(position: number): void {
        const isAtEnd = position >= this.#end - 1e-6;
        if (isAtEnd && this.#isFinished && this.#queue.length === 0 && !this.#hasEnded && !this.#clock.paused) {
            this.#hasEnded = true;
            this.#stopWaiting();
            if (this.#ownsClock) {
                this.#clock.pause();
            }
            this.#host.tell('ended');
        }
    }

    /**
     * Time does not run away from frames that are still on their way. In a hidden page, where timers are slow, it does:
     * nobody sees the frames, and the sound goes on.
     */
    #checkSupply(position: number): void {
        if (document.hidden || !this.#clock.isRunning || this.#isFinished || this.#queue.length > 0 || !this.#current) {
            return;
        }
        const { round, frame } = this.#current.place;
        const due = round * this.#timeline.duration + this.#timeline.endOf(frame);
        if (position > due + PATIENCE) {
            this.#isWaiting = true;
            this.#clock.hold(this);
            this.#host.tell('waiting');
        }
    }

    #goOnIfReady(): void {
        if (this.#isWaiting && !this.#isSeeking && (this.#queue.length >= ENOUGH || this.#isFinished)) {
            this.#stopWaiting();
            this.#host.tell('playing');
        }
    }

    #stopWaiting(): void {
        this.#isWaiting = false;
        this.#clock.release(this);
    }

    #changeEnd(round: number): void {
        this.#endRound = round;
        this.#hasEnded = false;
        this.#post({ kind: 'end', round });
        const kept = this.#queue.filter((queued) => queued.place.round <= round);
        if (kept.length < this.#queue.length) {
            this.#queue.filter((queued) => queued.place.round > round).forEach((queued) => this.#letGo(queued));
            this.#queue = kept;
            this.#isFinished = true; // nothing after these is wanted
            this.#isAheadOfEnd = true;
        } else if (this.#isAheadOfEnd && round === Infinity) {
            this.#isAheadOfEnd = false;
            this.#goTo(this.#placeAt(this.#clock.currentTime), false);
        }
    }

    async #startSound(): Promise<void> {
        const context = await this.#clock.useSound(this.#soundTrack!.sampleRate);
        if (context && !this.#sound && this.#wantsSound) {
            this.#sound = new SoundOutput(this.#clock, context, this.#settings.volume);
            this.#askForSound();
        }
    }

    /** From where the clock is now, in place of what was asked for before. */
    #askForSound(): void {
        if (this.#sound) {
            this.#sound.clear();
            this.#post({ kind: 'sound', request: ++this.#soundRequest, position: this.#clock.currentTime });
        }
    }

    #tick(): void {
        if (this.#clock.isRunning) {
            this.#post({ kind: 'position', position: this.#clock.currentTime });
        }
        this.update();
    }
}

function closePicture(picture: VideoFrame | ImageData): void {
    if (!(picture instanceof ImageData)) {
        picture.close();
    }
}
