import type { ClipFrame, SeekOutcome } from './clip.js';
import type { FromWorker, MeshMessage } from './messages.js';
import type { ClipMesh } from './clip.js';

/** What a playback tells the player that it works for. */
export interface PlaybackHost {
    show(frame: ClipFrame): void;
    /** An event of the kind that media elements have. */
    tell(event: string): void;
    seekEnded(outcome: SeekOutcome, frame: number): void;
    fail(error: unknown): void;
}

export interface Settings {
    loop: boolean;
    muted: boolean;
    volume: number;
    playbackRate: number;
}

/** One way to play a clip that is open. */
export interface Playback {
    readonly isExact: boolean;
    readonly currentTime: number;
    readonly paused: boolean;
    readonly ended: boolean;
    readonly seeking: boolean;
    readonly waiting: boolean;
    /** Frames held. */
    readonly alive: number;
    readonly dropped: number;
    play(): Promise<void>;
    pause(): void;
    /** To this very frame. Ends with `seekEnded`, once, unless another request follows. */
    seekToFrame(frame: number): void;
    /** Moves on to what is to be shown now. */
    update(): void;
    apply(settings: Settings): void;
    receive(message: FromWorker): void;
    close(): void;
}

/** Puts the indices that the worker sends once together with the vertices that it sends every time. */
export class MeshAssembly {
    readonly #floatsPerVertex: 5 | 8;
    #indices: Uint32Array<ArrayBuffer> = new Uint32Array();

    constructor(hasNormals: boolean) {
        this.#floatsPerVertex = hasNormals ? 8 : 5;
    }

    /** In the order in which the worker sends. */
    add(message: MeshMessage): ClipMesh {
        if (message.indices) {
            this.#indices = new Uint32Array(message.indices);
        }
        return {
            vertices: new Float32Array(message.vertices),
            vertexCount: message.vertexCount,
            floatsPerVertex: this.#floatsPerVertex,
            indices: this.#indices,
            indexCount: message.indexCount,
            topology: message.topology,
        };
    }
}
