// The meshes of a clip, without a player: in Node, or in a worker of your own.
export { ClipError, type ClipErrorCode } from './ClipError.js';
export * from './NimbClip.js';
