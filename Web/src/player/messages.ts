// What the player and its worker tell each other.
//
// Positions are seconds on an unending time line: in round r of a looping clip, a frame stands r durations after its own
// time.
import type { ClipErrorCode } from '../clip/ClipError.js';
import type { FileOrigin } from '../worker/ClipFile.js';

/** One frame in one round of the clip. */
export interface Place {
    round: number;
    frame: number;
}

export function isSamePlace(a: Place, b: Place): boolean {
    return a.round === b.round && a.frame === b.frame;
}

export type ToWorker =
    | {
          kind: 'open';
          origin: FileOrigin;
          /** Of the WebAssembly module: its address, or itself. */
          wasm: string | ArrayBuffer;
          /** False: the pictures are somebody else's, and meshes are asked for one by one. */
          decodesPictures: boolean;
          /** Pictures are wanted as pixels, not as VideoFrames. */
          asPixels: boolean;
      }
    /** Pictures and meshes from `place` on. What is on its way for an earlier request is dropped. */
    | { kind: 'go'; request: number; place: Place; isExact: boolean }
    /** The last round to play; Infinity: without end. */
    | { kind: 'end'; round: number }
    /** Where playback is, now and then: how much sound to decode, and whether pictures are late. */
    | { kind: 'position'; position: number }
    /** Sound from `position` on; null: none. */
    | { kind: 'sound'; request: number; position: number | null }
    /** The mesh of one frame, for pictures of somebody else's. */
    | { kind: 'mesh'; frame: number }
    /** A frame was let go; its vertices' memory comes back. */
    | { kind: 'release'; vertices: ArrayBuffer; hasPicture: boolean; pixels: ArrayBuffer | null };

export interface MeshMessage {
    vertices: ArrayBuffer;
    vertexCount: number;
    /** Null: as those of the frame before. */
    indices: ArrayBuffer | null;
    indexCount: number;
    topology: number;
}

/** A picture as RGBA, rows from top to bottom. */
export interface PixelsMessage {
    pixels: ArrayBuffer;
    width: number;
    height: number;
}

export interface SoundTrack {
    sampleRate: number;
    channels: number;
}

export type FromWorker =
    | {
          kind: 'opened';
          width: number;
          height: number;
          /** When each frame begins, in seconds, and at last when the clip ends. */
          times: Float64Array;
          hasSound: boolean;
          /** What the worker decodes. */
          sound: SoundTrack | null;
          hasNormals: boolean;
          boxMin: [number, number, number];
          boxMax: [number, number, number];
          maxVertices: number;
          maxIndices: number;
      }
    | { kind: 'frame'; request: number; place: Place; picture: VideoFrame | PixelsMessage; mesh: MeshMessage }
    | { kind: 'mesh'; frame: number; mesh: MeshMessage | null }
    /** The frame that was asked for cannot be shown. */
    | { kind: 'unreachable'; request: number; message: string }
    /** No more frames come for this request: the end. */
    | { kind: 'finished'; request: number }
    | { kind: 'damaged'; frame: number; message: string }
    | { kind: 'sound'; request: number; position: number; sampleRate: number; channels: Float32Array<ArrayBuffer>[] }
    | { kind: 'failed'; code: ClipErrorCode; message: string; frame: number };
