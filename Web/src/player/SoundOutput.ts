import type { Clock } from './Clock.js';

/** Sound that is past is kept this long, in seconds, for a clock that is stopped and runs on. */
const KEPT_PAST = 1;

interface Piece {
    position: number;
    buffer: AudioBuffer;
    node: AudioBufferSourceNode | null;
}

/** Plays a clip's decoded sound in time with a clock that runs on the audio context. */
export class SoundOutput {
    readonly #clock: Clock;
    readonly #context: AudioContext;
    readonly #gain: GainNode;
    #pieces: Piece[] = [];
    readonly #obey = (): void => this.#restart();

    constructor(clock: Clock, context: AudioContext, volume: number) {
        this.#clock = clock;
        this.#context = context;
        this.#gain = new GainNode(context, { gain: volume });
        this.#gain.connect(context.destination);
        clock.addEventListener('change', this.#obey);
    }

    set volume(volume: number) {
        this.#gain.gain.setTargetAtTime(volume, this.#context.currentTime, 0.01);
    }

    /** Sound that begins at `position`, in clock time. */
    add(position: number, sampleRate: number, channels: Float32Array<ArrayBuffer>[]): void {
        const buffer = new AudioBuffer({ numberOfChannels: channels.length, length: channels[0]!.length, sampleRate });
        channels.forEach((samples, channel) => buffer.copyToChannel(samples, channel));
        const piece: Piece = { position, buffer, node: null };
        const past = this.#clock.currentTime - KEPT_PAST;
        this.#pieces = this.#pieces.filter(({ position: from, buffer: { duration } }) => from + duration > past);
        this.#pieces.push(piece);
        this.#start(piece);
    }

    /** Forgets all that was added. */
    clear(): void {
        this.#stop();
        this.#pieces = [];
    }

    close(): void {
        this.clear();
        this.#clock.removeEventListener('change', this.#obey);
        this.#gain.disconnect();
    }

    #restart(): void {
        this.#stop();
        for (const piece of this.#pieces) {
            this.#start(piece);
        }
    }

    #stop(): void {
        for (const piece of this.#pieces) {
            piece.node?.stop();
            piece.node?.disconnect();
            piece.node = null;
        }
    }

    #start(piece: Piece): void {
        const rate = this.#clock.playbackRate;
        if (!this.#clock.isRunning || !this.#clock.runsOnSound) {
            return;
        }
        // Whole samples, so that pieces meet without a click.
        const { sampleRate, currentTime } = this.#context;
        const due = Math.round(this.#clock.contextTimeOf(piece.position) * sampleRate) / sampleRate;
        const late = Math.max(0, currentTime - due) * rate;
        if (late >= piece.buffer.duration) {
            return;
        }
        const node = new AudioBufferSourceNode(this.#context, { buffer: piece.buffer, playbackRate: rate });
        node.connect(this.#gain);
        node.onended = () => node.disconnect();
        node.start(Math.max(due, currentTime), late);
        piece.node = node;
    }
}
