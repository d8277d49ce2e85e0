// The worker: reads the clip, decodes its meshes, pictures and sound, and hands them to the player.
import { ClipError } from '../clip/ClipError.js';
import { type ClipHeader, Track } from '../clip/NimbClip.js';
import type { FromWorker, ToWorker } from '../player/messages.js';
import { Timeline } from '../player/Timeline.js';
import { openFile } from './ClipFile.js';
import { ClipReader } from './ClipReader.js';
import { PictureFeed } from './PictureFeed.js';
import { SoundFeed } from './SoundFeed.js';

/** What TypeScript's library for windows lacks. */
const scope = self as unknown as {
    onmessage: (event: MessageEvent<ToWorker>) => void;
    postMessage(message: FromWorker, transfer: Transferable[]): void;
};

const post = (message: FromWorker, transfer: Transferable[] = []): void => scope.postMessage(message, transfer);

let reader: ClipReader | null = null;
let pictures: PictureFeed | null = null;
let sound: SoundFeed | null = null;

scope.onmessage = ({ data }) => {
    switch (data.kind) {
        case 'open':
            open(data).catch(fail);
            break;
        case 'go':
            pictures?.go(data.request, data.place, data.isExact);
            break;
        case 'end':
            pictures?.end(data.round);
            sound?.end(data.round);
            break;
        case 'position':
            pictures?.moveTo(data.position);
            sound?.moveTo(data.position);
            break;
        case 'sound':
            sound?.go(data.request, data.position);
            break;
        case 'mesh':
            giveMesh(data.frame).catch(fail);
            break;
        case 'release':
            reader?.recycle(data.vertices);
            if (data.hasPicture) {
                pictures?.release(data.pixels);
            }
            break;
    }
};

function fail(error: unknown): void {
    const known = error instanceof ClipError ? error
        : new ClipError('internal', `the decoder stopped: ${String(error)}`);
    post({ kind: 'failed', code: known.code, message: known.message, frame: known.frame });
}

async function open({ origin, wasm, decodesPictures, asPixels }: ToWorker & { kind: 'open' }): Promise<void> {
    const [module, file] = await Promise.all([compile(wasm), openFile(origin)]);
    reader = await ClipReader.open(module, file);
    const header = reader.header;
    const [times, isKey] = pictureTimes(reader, header);
    if (decodesPictures) {
        pictures = new PictureFeed(reader, post, await pictureConfig(reader, header), new Timeline(times), isKey, asPixels);
    }
    await reader.probe(header);
    const config = decodesPictures ? await soundConfig(reader) : null;
    if (config) {
        sound = new SoundFeed(reader, post, config, soundTimes(reader), times[header.frameCount]!);
    }
    post({
        kind: 'opened',
        width: header.width,
        height: header.height,
        times,
        hasSound: decodesPictures ? config !== null : reader.track(Track.Sound) !== null,
        sound: config && { sampleRate: config.sampleRate, channels: config.numberOfChannels },
        hasNormals: header.hasNormals,
        boxMin: header.boxMin,
        boxMax: header.boxMax,
        maxVertices: header.maxVertices,
        maxIndices: header.maxIndices,
    });
}

async function compile(wasm: string | ArrayBuffer): Promise<WebAssembly.Module> {
    try {
        if (typeof wasm !== 'string') {
            return await WebAssembly.compile(wasm);
        }
        const response = await fetch(wasm);
        if (!response.ok) {
            throw new Error(`the server answers ${response.status}`);
        }
        return await WebAssembly.compile(await response.arrayBuffer());
    } catch (error) {
        throw new ClipError('unsupported-browser', `the mesh decoder cannot be started: ${(error as Error).message}`);
    }
}

function pictureTimes(clip: ClipReader, header: ClipHeader): [times: Float64Array, isKey: Uint8Array] {
    const times = new Float64Array(header.frameCount + 1);
    const isKey = new Uint8Array(header.frameCount);
    for (let frame = 0; frame < header.frameCount; ++frame) {
        const sample = clip.sample(Track.Pictures, frame);
        times[frame] = sample.time / header.timeScale;
        isKey[frame] = sample.isKey ? 1 : 0;
    }
    times[header.frameCount] = header.duration / header.timeScale;
    if (header.frameCount === 0 || !(times[header.frameCount]! > 0)) {
        throw new ClipError('damaged', 'the clip has no frames');
    }
    return [times, isKey];
}

async function pictureConfig(clip: ClipReader, header: ClipHeader): Promise<VideoDecoderConfig> {
    const description = clip.track(Track.Pictures)!.configuration;
    const hex = (byte: number | undefined): string => (byte ?? 0).toString(16).padStart(2, '0');
    const config: VideoDecoderConfig = {
        codec: `avc1.${hex(description[1])}${hex(description[2])}${hex(description[3])}`,
        codedWidth: header.width,
        codedHeight: header.height,
        description,
        optimizeForLatency: true,
    };
    const support = await VideoDecoder.isConfigSupported(config).catch(() => ({ supported: false }));
    if (!support.supported) {
        throw new ClipError('unsupported-codec', `this browser does not decode H.264 of this kind (${config.codec})`);
    }
    return config;
}

/** Null: no sound, or none that this browser decodes; the clip plays without. */
async function soundConfig(clip: ClipReader): Promise<AudioDecoderConfig | null> {
    const track = clip.track(Track.Sound);
    if (!track || typeof AudioDecoder === 'undefined') {
        return null;
    }
    // The first five bits of the configuration say which kind of AAC.
    const config: AudioDecoderConfig = {
        codec: `mp4a.40.${(track.configuration[0] ?? 0) >> 3}`,
        sampleRate: track.sampleRate,
        numberOfChannels: track.channels,
        description: track.configuration,
    };
    const support = await AudioDecoder.isConfigSupported(config).catch(() => ({ supported: false }));
    return support.supported ? config : null;
}

function soundTimes(clip: ClipReader): Float64Array {
    const { sampleCount, timeScale } = clip.track(Track.Sound)!;
    return Float64Array.from({ length: sampleCount }, (_, number) => clip.sample(Track.Sound, number).time / timeScale);
}

async function giveMesh(frame: number): Promise<void> {
    const mesh = await reader!.mesh(frame).catch((error: unknown) => {
        if (!(error instanceof ClipError) || error.code !== 'damaged') {
            throw error;
        }
        post({ kind: 'damaged', frame, message: error.message });
        return null;
    });
    const [message, transfer] = mesh ? reader!.tell(mesh) : [null, []];
    post({ kind: 'mesh', frame, mesh: message }, transfer);
}
