// Meshes out of the WebAssembly module are those of the native decoder, bit for bit: every coding, every layout, any
// order of frames, and whichever bytes of the file are there yet.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { build } from 'esbuild';
import { Random } from './random.mjs';
import { fixture, webFile } from './support.mjs';

const LAYOUTS = [5, 7, 13, 15];
const NO_MESH = 7;
const DAMAGED = 6;

const bundle = await build({
    stdin: { contents: `export * from './NimbClip.js';`, resolveDir: webFile('src/clip') },
    bundle: true, format: 'esm', write: false,
});
const { NimbClip, MissingBytes } = await import(
    `data:text/javascript,${encodeURIComponent(bundle.outputFiles[0].text)}`);
const module = await WebAssembly.compile(readFileSync(webFile('dist/nimb-clip.wasm')));
const golden = JSON.parse(fixture('golden.json').toString());

/** FNV-1a, 64 bits, of one array after the other. */
function hash(...arrays) {
    let value = 0xCBF29CE484222325n;
    for (const array of arrays) {
        for (const byte of new Uint8Array(array.buffer, array.byteOffset, array.byteLength)) {
            value = BigInt.asUintN(64, (value ^ BigInt(byte)) * 0x100000001B3n);
        }
    }
    return value.toString(16).padStart(16, '0');
}

/** A file of which only those blocks are there that have been asked for once, as over a network. */
class Arriving {
    constructor(bytes) {
        this.bytes = bytes;
        this.size = bytes.length;
        this.blocks = new Set();
    }
    read(offset, to) {
        const size = Math.min(to.length, this.size - offset);
        for (let block = offset >> 10; block <= (offset + size - 1) >> 10; ++block) {
            if (!this.blocks.has(block)) {
                return false;
            }
        }
        to.set(this.bytes.subarray(offset, offset + size));
        return true;
    }
    fetch({ offset, size }) {
        for (let block = offset >> 10; block <= (offset + size - 1) >> 10; ++block) {
            this.blocks.add(block);
        }
    }
}

async function open(name) {
    const source = new Arriving(fixture(`${name}.mp4`));
    const clip = await NimbClip.create(module, source);
    let waits = 0;
    const call = (function_) => {
        for (; ;) {
            try {
                return function_();
            } catch (error) {
                if (!(error instanceof MissingBytes) || ++waits > 10000) {
                    throw error;
                }
                source.fetch(clip.missing);
            }
        }
    };
    call(() => clip.open());
    return { clip, call, waits: () => waits };
}

/** As a row of golden.json has it: the status and the hash in this layout. */
function decode({ clip, call }, frame, layout) {
    try {
        const mesh = call(() => clip.decode(frame, layout));
        return mesh === null ? { status: NO_MESH } : { status: 0, hash: hash(mesh.vertices, mesh.indices) };
    } catch (error) {
        assert.equal(error.code, 'damaged', error.message);
        assert.match(error.message, /\w+ \w+/);
        assert.equal(error.frame, frame);
        return { status: DAMAGED };
    }
}

for (const [name, rows] of Object.entries(golden)) {
    test(`${name} decodes as natively, in any order`, async () => {
        const opened = await open(name);
        assert.equal(opened.clip.header().frameCount, rows.length);
        const random = new Random(rows.length);
        for (let i = 0; i < 4 * rows.length; ++i) {
            // Alternately forwards and anywhere.
            const frame = i % 2 === 0 ? (i >> 1) % rows.length : random.below(rows.length);
            const layout = (i + (i >> 2)) % 4;
            const [status, ...hashes] = rows[frame];
            const wanted = status === 0 ? { status, hash: hashes[layout] } : { status };
            assert.deepEqual(decode(opened, frame, LAYOUTS[layout]), wanted, `frame ${frame}, layout ${layout}`);
        }
        assert.ok(opened.waits() > 0);
        opened.clip.close();
    });
}
