/** What a clip cannot be played for. */
export type ClipErrorCode =
    /** Another clip was loaded, or the player closed, before this one was ready. */
    | 'aborted'
    /** The server, or the way there; also a file that cannot be read. */
    | 'network'
    /** Another format, or an MP4 file without an H.264 track. */
    | 'not-a-clip'
    /** An ordinary video. */
    | 'no-meshes'
    /** A fragmented file. */
    | 'unsupported-file'
    /** This browser does not decode these pictures. */
    | 'unsupported-codec'
    /** This browser lacks what playing takes. */
    | 'unsupported-browser'
    /** What the file says of itself is wrong. */
    | 'damaged'
    /** A fault of the player. */
    | 'internal';

/** Why a clip, or one of its frames, cannot be shown. `message` is a sentence in English. */
export class ClipError extends Error {
    readonly code: ClipErrorCode;
    /** The frame concerned; -1: the clip as a whole. */
    readonly frame: number;

    constructor(code: ClipErrorCode, message: string, frame = -1) {
        super(message);
        this.name = 'ClipError';
        this.code = code;
        this.frame = frame;
    }
}
