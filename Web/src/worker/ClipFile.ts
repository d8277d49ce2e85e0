import { ClipError } from '../clip/ClipError.js';
import type { ByteSource } from '../clip/NimbClip.js';

/** What a clip is read from: the address of a file on a server, a file of the user's, or bytes. */
export type FileOrigin = string | Blob | ArrayBuffer;

/** A file whose bytes arrive over time. */
export interface ClipFile extends ByteSource {
    /** Resolves when `read` will have these bytes. Rejects with a ClipError. */
    fetch(offset: number, size: number): Promise<void>;
    /** What was fetched may be forgotten from here on. */
    settle(): void;
    close(): void;
}

/** What is asked for at once, and kept together. */
const BLOCK = 256 << 10;
/** Blocks to ask for beyond those that are needed. */
const READ_AHEAD = 8;
/** Blocks kept, but for those of a call that is under way. */
const KEPT = 256;
/** The status for a first byte that there is not. */
const EMPTY = 416;
const RETRY_AFTER_MS = [300, 1000, 3000];

export async function openFile(origin: FileOrigin): Promise<ClipFile> {
    if (origin instanceof ArrayBuffer) {
        return new MemoryFile(new Uint8Array(origin));
    }
    if (origin instanceof Blob) {
        return new BlockFile(origin.size, async (from, to) => {
            try {
                return await origin.slice(from, to).arrayBuffer();
            } catch (error) {
                throw new ClipError('network', `the file cannot be read: ${(error as Error).message}`);
            }
        });
    }
    return openUrl(origin);
}

async function openUrl(url: string): Promise<ClipFile> {
    const abort = new AbortController();
    const first = await retrying(abort.signal, () => request(url, 0, BLOCK, abort.signal));
    if (first.status === EMPTY) {
        return new MemoryFile(new Uint8Array());
    }
    const range = /^bytes 0-(\d+)\/(\d+)$/.exec(first.headers.get('Content-Range') ?? '');
    if (first.status === 206 && range) {
        const size = Number(range[2]);
        const load = (from: number, to: number): Promise<ArrayBuffer> =>
            retrying(abort.signal, async () => loadRange(url, from, to, size, abort.signal));
        const file = new BlockFile(size, load, abort);
        file.add(0, await bodyOf(first));
        return file;
    }
    // No ranges, or a server of another origin that does not show how long the file is.
    const whole = first.status === 206 ? await retrying(abort.signal, () => request(url, null, 0, abort.signal)) : first;
    return StreamedFile.open(whole, abort);
}

async function request(url: string, from: number | null, to: number, signal: AbortSignal): Promise<Response> {
    let response: Response;
    try {
        const headers: Record<string, string> = from === null ? {} : { Range: `bytes=${from}-${to - 1}` };
        response = await fetch(url, { headers, signal });
    } catch (error) {
        throw new ClipError('network', `the server of ${url} cannot be reached: ${(error as Error).message}`);
    }
    if (!response.ok && !(response.status === EMPTY && from === 0)) {
        const failure = new ClipError('network', `the server answers ${response.status} for ${url}`);
        // What a server refuses it will refuse again.
        throw response.status < 500 ? Object.assign(failure, { final: true }) : failure;
    }
    return response;
}

async function loadRange(url: string, from: number, to: number, size: number, signal: AbortSignal): Promise<ArrayBuffer> {
    const response = await request(url, from, to, signal);
    if (response.status !== 206 || !response.headers.get('Content-Range')?.endsWith(`/${size}`)) {
        throw Object.assign(new ClipError('network', `the file at ${url} has changed on the server`), { final: true });
    }
    const bytes = await bodyOf(response);
    if (bytes.byteLength !== to - from) {
        throw new ClipError('network', `the server of ${url} sent ${bytes.byteLength} of ${to - from} bytes`);
    }
    return bytes;
}

async function bodyOf(response: Response): Promise<ArrayBuffer> {
    try {
        return await response.arrayBuffer();
    } catch (error) {
        throw new ClipError('network', `the connection broke: ${(error as Error).message}`);
    }
}

async function retrying<T>(signal: AbortSignal, attempt: () => Promise<T>): Promise<T> {
    for (const delay of RETRY_AFTER_MS) {
        try {
            return await attempt();
        } catch (error) {
            if (signal.aborted || (error as { final?: boolean }).final) {
                throw error;
            }
        }
        await new Promise((resolve) => setTimeout(resolve, delay));
    }
    return attempt();
}

class MemoryFile implements ClipFile {
    readonly #bytes: Uint8Array;

    constructor(bytes: Uint8Array) {
        this.#bytes = bytes;
    }

    get size(): number {
        return this.#bytes.length;
    }

    read(offset: number, to: Uint8Array): boolean {
        to.set(this.#bytes.subarray(offset, offset + to.length));
        return true;
    }

    async fetch(): Promise<void> {}
    settle(): void {}
    close(): void {}
}

/** A file that is loaded in blocks, as they are needed and some ahead. */
class BlockFile implements ClipFile {
    readonly size: number;
    readonly #load: (from: number, to: number) => Promise<ArrayBuffer>;
    readonly #abort: AbortController;
    /** In the order of use: the first was not used for longest. */
    readonly #blocks = new Map<number, Uint8Array>();
    readonly #loading = new Map<number, Promise<void>>();
    /** Needed by a call that is under way, and so kept. */
    readonly #needed = new Set<number>();

    constructor(size: number, load: (from: number, to: number) => Promise<ArrayBuffer>, abort = new AbortController()) {
        this.size = size;
        this.#load = load;
        this.#abort = abort;
    }

    /** Bytes that came with the answer to the first request. */
    add(first: number, bytes: ArrayBuffer): void {
        for (let at = 0; at < bytes.byteLength; at += BLOCK) {
            const block = new Uint8Array(bytes, at, Math.min(BLOCK, bytes.byteLength - at));
            this.#blocks.set(first + at / BLOCK, block);
        }
    }

    read(offset: number, to: Uint8Array): boolean {
        const last = Math.floor((offset + to.length - 1) / BLOCK);
        for (let index = Math.floor(offset / BLOCK); index <= last; ++index) {
            const block = this.#blocks.get(index);
            if (!block) {
                return false;
            }
            this.#needed.add(index);
            this.#blocks.delete(index);
            this.#blocks.set(index, block);
            const begin = index * BLOCK - offset; // of the block, in `to`
            const from = Math.max(0, -begin);
            to.set(block.subarray(from, Math.min(block.length, to.length - begin)), begin + from);
        }
        return true;
    }

    async fetch(offset: number, size: number): Promise<void> {
        const end = Math.ceil(this.size / BLOCK);
        const first = Math.floor(offset / BLOCK);
        const last = Math.floor((offset + size - 1) / BLOCK);
        for (let index = first; index <= last; ++index) {
            this.#needed.add(index);
        }
        this.#request(first, last + 1);
        // Read-ahead fails silently: what is needed of it is asked for again.
        const ahead = Math.min(last + 1 + READ_AHEAD, end);
        this.#request(last + 1, ahead);
        for (let index = first; index <= last; ++index) {
            await this.#loading.get(index);
        }
    }

    settle(): void {
        this.#needed.clear();
        for (const index of this.#blocks.keys()) {
            if (this.#blocks.size <= KEPT) {
                break;
            }
            this.#blocks.delete(index);
        }
    }

    close(): void {
        this.#abort.abort();
        this.#blocks.clear();
    }

    /** One request for each run of blocks that are neither here nor on their way. */
    #request(first: number, end: number): void {
        for (let from = first; from < end; ++from) {
            let to = from;
            while (to < end && !this.#blocks.has(to) && !this.#loading.has(to)) {
                ++to;
            }
            if (to > from) {
                this.#loadBlocks(from, to);
                from = to;
            }
        }
    }

    #loadBlocks(from: number, to: number): void {
        const arrived = this.#load(from * BLOCK, Math.min(to * BLOCK, this.size)).then((bytes) => this.add(from, bytes));
        const done = arrived.finally(() => {
            for (let index = from; index < to; ++index) {
                this.#loading.delete(index);
            }
        });
        done.catch(() => {});
        for (let index = from; index < to; ++index) {
            this.#loading.set(index, done);
        }
    }
}

/** A file from a server without ranges: it comes as a whole, and what has come can be used. */
class StreamedFile implements ClipFile {
    readonly size: number;
    #bytes: Uint8Array;
    #loaded = 0;
    #failure: ClipError | null = null;
    #waiting: (() => void)[] = [];
    readonly #abort: AbortController;

    private constructor(size: number, abort: AbortController) {
        this.size = size;
        this.#bytes = new Uint8Array(size);
        this.#abort = abort;
    }

    static async open(response: Response, abort: AbortController): Promise<ClipFile> {
        const length = response.headers.get('Content-Length');
        if (!response.body || length === null || response.headers.get('Content-Encoding')) {
            return new MemoryFile(new Uint8Array(await bodyOf(response)));
        }
        const file = new StreamedFile(Number(length), abort);
        void file.#receive(response.body.getReader());
        return file;
    }

    read(offset: number, to: Uint8Array): boolean {
        if (offset + to.length > this.#loaded) {
            return false;
        }
        to.set(this.#bytes.subarray(offset, offset + to.length));
        return true;
    }

    async fetch(offset: number, size: number): Promise<void> {
        while (this.#loaded < offset + size) {
            if (this.#failure) {
                throw this.#failure;
            }
            await new Promise<void>((resolve) => this.#waiting.push(resolve));
        }
    }

    settle(): void {}

    close(): void {
        this.#abort.abort();
    }

    async #receive(reader: ReadableStreamDefaultReader<Uint8Array>): Promise<void> {
        try {
            for (;;) {
                const { done, value } = await reader.read();
                if (done) {
                    break;
                }
                if (this.#loaded + value.length > this.size) {
                    throw new Error('the server sent more than it announced');
                }
                this.#bytes.set(value, this.#loaded);
                this.#loaded += value.length;
                this.#wake();
            }
            if (this.#loaded < this.size) {
                throw new Error(`it ended after ${this.#loaded} of ${this.size} bytes`);
            }
        } catch (error) {
            this.#failure = new ClipError('network', `the connection broke: ${(error as Error).message}`);
        }
        this.#wake();
    }

    #wake(): void {
        const waiting = this.#waiting;
        this.#waiting = [];
        for (const resolve of waiting) {
            resolve();
        }
    }
}
