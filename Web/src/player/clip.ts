// What a player plays, and what it answers.

/** The address of a clip, a file that the user chose, or its bytes. */
export type ClipSource = string | URL | Blob | ArrayBuffer;

/** What is known of an open clip. */
export interface ClipInfo {
    frameCount: number;
    /** Of the picture, in pixels. */
    width: number;
    height: number;
    /** In seconds. */
    duration: number;
    /** The mean, in frames a second. */
    frameRate: number;
    /** That this browser can play. */
    hasSound: boolean;
    hasNormals: boolean;
    /** Of all frames, in metres, right-handed, y up. Of the first frame, where the file does not say. */
    boxMin: [number, number, number];
    boxMax: [number, number, number];
    /** Of any frame; of the first, where the file does not say. */
    maxVertices: number;
    maxIndices: number;
}

export interface ClipMesh {
    /** x y z u v of each vertex, or x y z, normal x y z, u v. May be longer than the count. v runs down the picture. */
    vertices: Float32Array;
    vertexCount: number;
    floatsPerVertex: 5 | 8;
    /** A list of triangles. */
    indices: Uint32Array;
    indexCount: number;
    /** Changes whenever the indices do: upload them only then. */
    topology: number;
}

/** Picture and mesh of one frame. Valid until the player shows another one: picture and arrays are used again then. */
export interface ClipFrame {
    readonly number: number;
    /** In seconds. */
    readonly time: number;
    /** What `texImage2D` takes. Pixels where the browser computes its graphics on the processor. */
    readonly picture: VideoFrame | ImageData | HTMLVideoElement;
    readonly mesh: ClipMesh;
}

/**
 * How a request for a frame ended: it is shown; another request came before it was; it cannot be shown, and the one before
 * stays; the clip was closed.
 */
export type SeekOutcome = 'done' | 'superseded' | 'failed' | 'closed';

export interface SeekEnd {
    outcome: SeekOutcome;
    /** The frame that is shown now. */
    frame: number;
}
