import { ClipError } from '../clip/ClipError.js';
import {
    type ClipHeader,
    type DecodedMesh,
    Layout,
    MissingBytes,
    NimbClip,
    type Sample,
    Track,
    type TrackHeader,
} from '../clip/NimbClip.js';
import type { MeshMessage } from '../player/messages.js';
import type { ClipFile } from './ClipFile.js';

/** Frames to look at for a mesh, in a file that does not say whether it has any. */
const FRAMES_TO_TRY = 100;

/** One frame's. Meshes with the same topology share their indices. */
export interface Mesh {
    vertices: ArrayBuffer;
    vertexCount: number;
    indices: Uint32Array<ArrayBuffer>;
    topology: number;
}

/** A clip whose bytes arrive over time: every call waits for those that it needs. */
export class ClipReader {
    readonly #clip: NimbClip;
    readonly #file: ClipFile;
    readonly #pool: ArrayBuffer[] = [];
    #layout: Layout = Layout.Float;
    #topology = 0;
    #indices: Uint32Array<ArrayBuffer> = new Uint32Array();
    #toldTopology = 0;
    #calls = 0;

    private constructor(clip: NimbClip, file: ClipFile) {
        this.#clip = clip;
        this.#file = file;
    }

    static async open(module: WebAssembly.Module, file: ClipFile): Promise<ClipReader> {
        const reader = new ClipReader(await NimbClip.create(module, file), file);
        await reader.#withBytes(() => reader.#clip.open());
        return reader;
    }

    get header(): ClipHeader {
        return this.#clip.header();
    }

    track(track: Track): TrackHeader | null {
        return this.#clip.track(track);
    }

    sample(track: Track, number: number): Sample {
        return this.#clip.sample(track, number);
    }

    readSample(track: Track, number: number): Promise<Uint8Array<ArrayBuffer>> {
        return this.#withBytes(() => this.#clip.readSample(track, number));
    }

    /** Memory of a mesh that nobody needs any more. */
    recycle(vertices: ArrayBuffer): void {
        if (this.#pool.length < 8) {
            this.#pool.push(vertices);
        }
    }

    /** The first frame with a mesh, and what it says of the clip. Rejects where there is none. */
    async probe(header: ClipHeader): Promise<void> {
        const limit = header.hasAttributes ? header.frameCount : Math.min(FRAMES_TO_TRY, header.frameCount);
        let failure: unknown = null;
        for (let frame = 0; frame < limit; ++frame) {
            let box: ReturnType<typeof boxOf> | null = null;
            try {
                box = await this.#withBytes(() => {
                    const mesh = this.#clip.decode(frame, Layout.Float);
                    if (mesh && !header.hasAttributes) {
                        header.hasNormals = mesh.hasNormals;
                        header.maxVertices = mesh.vertexCount;
                        header.maxIndices = mesh.indexCount;
                    }
                    return mesh && boxOf(mesh);
                });
            } catch (error) {
                if (!(error instanceof ClipError) || error.code !== 'damaged') {
                    throw error;
                }
                failure ??= error;
            }
            if (box) {
                if (!header.hasAttributes) {
                    Object.assign(header, box);
                }
                this.#layout = header.hasNormals ? Layout.FloatNormals : Layout.Float;
                return;
            }
        }
        throw failure ?? new ClipError('no-meshes', 'this is an ordinary video: its frames have no meshes');
    }

    /** Null: the frame has no mesh. */
    mesh(frame: number): Promise<Mesh | null> {
        return this.#withBytes(() => {
            const mesh = this.#clip.decode(frame, this.#layout);
            return mesh && this.#copy(mesh);
        });
    }

    /** What to tell the player, with the indices if it does not have them; and what to transfer. */
    tell({ vertices, vertexCount, indices, topology }: Mesh): [message: MeshMessage, transfer: Transferable[]] {
        const told = topology === this.#toldTopology ? null : indices.slice().buffer;
        this.#toldTopology = topology;
        const message = { vertices, vertexCount, indices: told, indexCount: indices.length, topology };
        return [message, told ? [vertices, told] : [vertices]];
    }

    #copy(mesh: DecodedMesh): Mesh {
        if (!mesh.hasSameIndices || this.#topology === 0) { // the frame before may be the one that `probe` looked at
            ++this.#topology;
            this.#indices = mesh.isStrips ? listOf(mesh.indices) : mesh.indices.slice();
        }
        const size = mesh.vertices.length;
        let vertices = this.#pool.pop();
        if (!vertices || vertices.byteLength < size) {
            vertices = new ArrayBuffer(size);
        }
        new Uint8Array(vertices).set(mesh.vertices);
        return { vertices, vertexCount: mesh.vertexCount, indices: this.#indices, topology: this.#topology };
    }

    async #withBytes<T>(call: () => T): Promise<T> {
        ++this.#calls;
        try {
            for (;;) {
                try {
                    return call();
                } catch (error) {
                    if (!(error instanceof MissingBytes)) {
                        throw error;
                    }
                }
                const { offset, size } = this.#clip.missing;
                await this.#file.fetch(offset, size);
            }
        } finally {
            if (--this.#calls === 0) {
                this.#file.settle();
            }
        }
    }
}

function boxOf(mesh: DecodedMesh): { boxMin: [number, number, number]; boxMax: [number, number, number] } {
    const boxMin: [number, number, number] = [Infinity, Infinity, Infinity];
    const boxMax: [number, number, number] = [-Infinity, -Infinity, -Infinity];
    const floats = new Float32Array(mesh.vertices.buffer, mesh.vertices.byteOffset, mesh.vertices.length / 4);
    for (let at = 0; at < floats.length; at += mesh.stride / 4) {
        for (let axis = 0; axis < 3; ++axis) {
            boxMin[axis] = Math.min(boxMin[axis]!, floats[at + axis]!);
            boxMax[axis] = Math.max(boxMax[axis]!, floats[at + axis]!);
        }
    }
    return { boxMin, boxMax };
}

/** The triangles of a strip; every other one is turned around. Those without an area only join strips. */
function listOf(strip: Uint32Array): Uint32Array<ArrayBuffer> {
    const list: number[] = [];
    for (let i = 0; i + 2 < strip.length; ++i) {
        const [a, b, c] = [strip[i]!, strip[i + 1]!, strip[i + 2]!];
        if (a !== b && b !== c && a !== c) {
            list.push(...(i % 2 === 0 ? [a, b, c] : [b, a, c]));
        }
    }
    return Uint32Array.from(list);
}
