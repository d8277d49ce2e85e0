import { ClipError, type ClipErrorCode } from './ClipError.js';

/** Statuses of the library, in the order of nimb_clip.h. */
const enum Status {
    Ok,
    InvalidArgument,
    OutOfMemory,
    ReadFailed,
    NotAClip,
    Unsupported,
    Damaged,
    NoMesh,
}

const CODES: Record<number, ClipErrorCode> = {
    [Status.NotAClip]: 'not-a-clip',
    [Status.Unsupported]: 'unsupported-file',
    [Status.Damaged]: 'damaged',
    [Status.OutOfMemory]: 'damaged', // no sound file asks for as much
};

/** How vertices are laid out: the numbers of nimb_clip.h. */
export const enum Layout {
    Int16 = 5,
    Int16Normals = 7,
    Float = 13,
    FloatNormals = 15,
}

export const enum Track {
    Pictures = 0,
    Sound = 1,
}

/** Where the bytes of a file come from. */
export interface ByteSource {
    /** Of the file, in bytes. */
    readonly size: number;
    /** Puts bytes from `offset` on into `to` and returns true, or returns false: they are not there yet. */
    read(offset: number, to: Uint8Array): boolean;
}

export interface ClipHeader {
    frameCount: number;
    width: number;
    height: number;
    /** Of the pictures' times, in a second. */
    timeScale: number;
    duration: number;
    /** Without, the following are 0 until `lookThrough`. */
    hasAttributes: boolean;
    maxVertices: number;
    maxIndices: number;
    hasNormals: boolean;
    boxMin: [number, number, number];
    boxMax: [number, number, number];
}

export interface TrackHeader {
    sampleCount: number;
    timeScale: number;
    sampleRate: number;
    channels: number;
    /** As MP4 keeps it; a copy. */
    configuration: Uint8Array;
}

export interface Sample {
    time: number;
    duration: number;
    offset: number;
    size: number;
    isKey: boolean;
}

/** A decoded mesh. The arrays are views into the module's memory, and are gone with the next call. */
export interface DecodedMesh {
    vertexCount: number;
    indexCount: number;
    stride: number;
    vertices: Uint8Array;
    indices: Uint32Array;
    hasSameIndices: boolean;
    isStrips: boolean;
    hasNormals: boolean;
    isKey: boolean;
}

/** Thrown where bytes are missing: fetch `NimbClip.missing`, then call again. */
export class MissingBytes extends Error {}

interface Exports {
    memory: WebAssembly.Memory;
    _initialize?(): void;
    numbers(): number;
    error_text(): number;
    open(size: number, cache: number, limit: number): number;
    close(): void;
    look_through(): number;
    info(): void;
    track(track: number): void;
    sample(track: number, number: number): number;
    read_sample(track: number, number: number): number;
    decode(frame: number, layout: number): number;
}

/** States for stepping back. */
const CACHE_BYTES = 32 << 20;
/** Of one array of a mesh: two million vertices. The module's memory ends at a gigabyte. */
const LIMIT_BYTES = 64 << 20;

/** One clip: its index, its samples, its meshes. Wraps an instance of the WebAssembly module. */
export class NimbClip {
    /** What the last call that threw MissingBytes asked for. */
    missing = { offset: 0, size: 0 };
    readonly #exports: Exports;
    readonly #source: ByteSource;

    private constructor(exports: Exports, source: ByteSource) {
        this.#exports = exports;
        this.#source = source;
    }

    /** An instance for one clip. `open` comes next. */
    static async create(module: WebAssembly.Module, source: ByteSource): Promise<NimbClip> {
        const holder: { clip?: NimbClip } = {};
        const read = (offset: number, to: number, size: number): number => holder.clip!.#read(offset, to, size);
        const stop = (): never => {
            throw new WebAssembly.RuntimeError('the decoder stopped');
        };
        // Nothing is written anywhere: the library keeps silent, and what the C library would print goes nowhere.
        const imports: Record<string, Record<string, WebAssembly.ImportValue>> = {};
        for (const { module: from, name } of WebAssembly.Module.imports(module)) {
            (imports[from] ??= {})[name] = name === 'nimb_web_read' ? read
                : name === 'proc_exit' || name === 'abort' ? stop
                : () => 0;
        }
        const instance = await WebAssembly.instantiate(module, imports);
        const exports = instance.exports as unknown as Exports;
        exports._initialize?.();
        holder.clip = new NimbClip(exports, source);
        return holder.clip;
    }

    open(): void {
        this.#check(this.#exports.open(this.#source.size, CACHE_BYTES, LIMIT_BYTES));
    }

    close(): void {
        this.#exports.close();
    }

    /** Finds out what the file's attributes do not say, by decoding all of it. */
    lookThrough(): void {
        this.#check(this.#exports.look_through());
    }

    header(): ClipHeader {
        this.#exports.info();
        const n = this.#numbers(15);
        return {
            frameCount: n[0]!,
            width: n[1]!,
            height: n[2]!,
            timeScale: n[3]!,
            duration: n[4]!,
            hasAttributes: n[5] !== 0,
            maxVertices: n[6]!,
            maxIndices: n[7]!,
            hasNormals: n[8] !== 0,
            boxMin: [n[9]!, n[10]!, n[11]!],
            boxMax: [n[12]!, n[13]!, n[14]!],
        };
    }

    /** Null: there is no such track. */
    track(track: Track): TrackHeader | null {
        this.#exports.track(track);
        const n = this.#numbers(6);
        return n[0] === 0 ? null : {
            sampleCount: n[0]!,
            timeScale: n[1]!,
            sampleRate: n[2]!,
            channels: n[3]!,
            configuration: this.#bytes(n[4]!, n[5]!).slice(),
        };
    }

    sample(track: Track, number: number): Sample {
        this.#check(this.#exports.sample(track, number), number);
        const n = this.#numbers(5);
        return { time: n[0]!, duration: n[1]!, offset: n[2]!, size: n[3]!, isKey: n[4] !== 0 };
    }

    /** The sample as decoders take it, without mesh units. A copy. */
    readSample(track: Track, number: number): Uint8Array<ArrayBuffer> {
        this.#check(this.#exports.read_sample(track, number), number);
        const n = this.#numbers(2);
        return this.#bytes(n[0]!, n[1]!).slice();
    }

    /** Null: the frame has no mesh, and players go on showing what they have. */
    decode(frame: number, layout: Layout): DecodedMesh | null {
        const status = this.#exports.decode(frame, layout);
        if (status === Status.NoMesh) {
            return null;
        }
        this.#check(status, frame);
        const n = this.#numbers(9);
        return {
            vertexCount: n[0]!,
            indexCount: n[1]!,
            stride: n[2]!,
            vertices: this.#bytes(n[3]!, n[0]! * n[2]!),
            indices: new Uint32Array(this.#exports.memory.buffer, n[4]!, n[1]!),
            hasSameIndices: n[5] !== 0,
            isStrips: n[6] !== 0,
            hasNormals: n[7] !== 0,
            isKey: n[8] !== 0,
        };
    }

    #read(offset: number, to: number, size: number): number {
        const bytes = new Uint8Array(this.#exports.memory.buffer, to, size);
        if (this.#source.read(offset, bytes)) {
            return size;
        }
        this.missing = { offset, size };
        return -1;
    }

    #check(status: number, frame = -1): void {
        if (status === Status.Ok) {
            return;
        }
        if (status === Status.ReadFailed) {
            throw new MissingBytes();
        }
        const text = this.#bytes(this.#exports.error_text(), 240);
        const message = new TextDecoder().decode(text.subarray(0, text.indexOf(0)));
        throw new ClipError(CODES[status] ?? 'internal', message, frame);
    }

    #numbers(count: number): Float64Array {
        return new Float64Array(this.#exports.memory.buffer, this.#exports.numbers(), count);
    }

    #bytes(address: number, size: number): Uint8Array<ArrayBuffer> {
        return new Uint8Array(this.#exports.memory.buffer as ArrayBuffer, address, size);
    }
}
