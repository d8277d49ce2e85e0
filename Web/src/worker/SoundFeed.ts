import { Track } from '../clip/NimbClip.js';
import type { FromWorker } from '../player/messages.js';
import type { ClipReader } from './ClipReader.js';

/** How far sound is decoded ahead, in seconds: pages that are hidden say where they are once a second only. */
const AHEAD = 2.5;
/** Sound is handed over in pieces of at least this length: each is a node of the audio graph. */
const PIECE_SECONDS = 0.2;
/** Samples to decode before the first one that is wanted: each builds on the one before. */
const WARM_UP = 2;

type Post = (message: FromWorker, transfer?: Transferable[]) => void;

/** Decodes sound from any position on, as far ahead as is needed, over the ends of rounds. */
export class SoundFeed {
    readonly #reader: ClipReader;
    readonly #post: Post;
    readonly #config: AudioDecoderConfig;
    /** When each sample begins, in seconds. */
    readonly #times: Float64Array;
    /** Of a round: that of the pictures. */
    readonly #duration: number;

    #request = -1;
    #position = 0;
    #endRound = 0;
    #wake: (() => void) | null = null;

    constructor(reader: ClipReader, post: Post, config: AudioDecoderConfig, times: Float64Array, duration: number) {
        this.#reader = reader;
        this.#post = post;
        this.#config = config;
        this.#times = times;
        this.#duration = duration;
    }

    /** Sound from `position` on, in place of what was asked for before; null: none. */
    go(request: number, position: number | null): void {
        this.#request = request;
        this.#wake?.();
        if (position !== null) {
            this.#position = position;
            // Sound that cannot be decoded is silence: the clip is worth seeing without.
            void this.#run(request, position).catch(() => {});
        }
    }

    end(round: number): void {
        this.#endRound = round;
        this.#wake?.();
    }

    moveTo(position: number): void {
        this.#position = position;
        this.#wake?.();
    }

    async #run(request: number, from: number): Promise<void> {
        let round = Math.max(0, Math.min(Math.floor(from / this.#duration), this.#endRound));
        let start = from - round * this.#duration;
        while (request === this.#request) {
            if (round > this.#endRound) {
                await this.#sleep();
                continue;
            }
            await this.#decodeRound(request, round, start);
            ++round;
            start = 0;
        }
    }

    async #decodeRound(request: number, round: number, start: number): Promise<void> {
        const offset = round * this.#duration;
        const piece = new Piece(offset + start, offset + this.#duration, (position, sampleRate, channels) => {
            if (request === this.#request) {
                this.#post({ kind: 'sound', request, position, sampleRate, channels }, channels.map((c) => c.buffer));
            }
        });
        const decoder = new AudioDecoder({
            output: (data) => piece.add(data, offset),
            error: () => {},
        });
        try {
            decoder.configure(this.#config);
            const first = Math.max(0, this.#times.findIndex((time) => time > start) - 1 - WARM_UP);
            for (let number = first; number < this.#times.length; ++number) {
                const time = this.#times[number]!;
                while (request === this.#request && offset + time > this.#position + AHEAD) {
                    await this.#sleep();
                }
                if (request !== this.#request || time >= this.#duration || decoder.state !== 'configured') {
                    break;
                }
                const data = await this.#reader.readSample(Track.Sound, number);
                if (decoder.state === 'configured') {
                    decoder.decode(new EncodedAudioChunk({ type: 'key', timestamp: Math.round(time * 1e6), data }));
                }
            }
            if (request === this.#request && decoder.state === 'configured') {
                await decoder.flush().catch(() => {});
                piece.finish();
            }
        } finally {
            if (decoder.state !== 'closed') {
                decoder.close();
            }
        }
        if (request === this.#request && !piece.hasAny) {
            await this.#sleep(); // nothing to be had from this round: no busy loop
        }
    }

    #sleep(): Promise<void> {
        return new Promise((resolve) => {
            this.#wake = () => {
                this.#wake = null;
                resolve();
            };
        });
    }
}

type Deliver = (position: number, sampleRate: number, channels: Float32Array<ArrayBuffer>[]) => void;

/** Collects decoded sound between two positions into pieces. */
class Piece {
    readonly #from: number;
    readonly #to: number;
    readonly #deliver: Deliver;
    #position = 0;
    #sampleRate = 0;
    #channels: Float32Array<ArrayBuffer>[] = [];
    hasAny = false;

    constructor(from: number, to: number, deliver: Deliver) {
        this.#from = from;
        this.#to = to;
        this.#deliver = deliver;
    }

    add(data: AudioData, offset: number): void {
        const { sampleRate, numberOfChannels, numberOfFrames } = data;
        const position = offset + data.timestamp / 1e6;
        const skip = Math.max(0, Math.round((this.#from - position) * sampleRate));
        const count = Math.min(numberOfFrames, Math.round((this.#to - position) * sampleRate));
        if (skip < count) {
            const added = Array.from({ length: numberOfChannels }, (_, planeIndex) => {
                const channel = new Float32Array(numberOfFrames);
                data.copyTo(channel, { planeIndex, format: 'f32-planar' });
                return channel.slice(skip, count);
            });
            if (this.#channels.length === 0) {
                this.#position = position + skip / sampleRate;
                this.#sampleRate = sampleRate;
                this.#channels = added;
            } else {
                this.#channels = this.#channels.map((channel, index) => joined(channel, added[index]!));
            }
            if (this.#channels[0]!.length >= PIECE_SECONDS * sampleRate) {
                this.finish();
            }
        }
        data.close();
    }

    finish(): void {
        if (this.#channels.length > 0) {
            this.hasAny = true;
            this.#deliver(this.#position, this.#sampleRate, this.#channels);
            this.#channels = [];
        }
    }
}

function joined(a: Float32Array, b: Float32Array): Float32Array<ArrayBuffer> {
    const both = new Float32Array(a.length + b.length);
    both.set(a);
    both.set(b, a.length);
    return both;
}
