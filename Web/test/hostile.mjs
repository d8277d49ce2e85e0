// Makes files hostile, each in a way that its seed says.
import { Random } from './random.mjs';

const TABLES = ['stsz', 'stts', 'stss', 'stsc', 'stco', 'co64', 'ctts', 'elst', 'stsd'];
const BOXES = ['ftyp', 'mdat', 'moov', 'trak', 'mdia', 'minf', 'stbl', 'avc1', 'avcC', 'mp4a', 'esds', 'edts', 'mvhd',
    'mdhd', 'hdlr', 'Xtra'];

/** Where one of these words begins, any of its places; 4 where there is none. */
function find(file, words, random) {
    const places = [];
    for (const word of words) {
        for (let at = file.indexOf(word); at >= 4; at = file.indexOf(word, at + 1)) {
            places.push(at);
        }
    }
    return places.length === 0 ? 4 : places[random.below(places.length)];
}

function put(file, at, value) {
    if (at >= 0 && at + 4 <= file.length) {
        file.writeUInt32BE(value, at);
    }
}

const WAYS = {
    bytes(file, random) {
        for (let i = 0; i < 8; i++) {
            file[random.below(file.length)] ^= 1 << random.below(8);
        }
        return file;
    },
    index(file, random) {
        for (let i = 0; i < 6; i++) {
            file[Math.min(find(file, TABLES, random) + random.below(40), file.length - 1)] = random.below(256);
        }
        return file;
    },
    cutOff: (file, random) => file.subarray(0, random.below(file.length)),
    counts(file, random) {
        const table = find(file, TABLES, random);
        const count = [0xFFFFFFFF, 0x7FFFFFFF, 0x400000, 0x100000][random.below(4)];
        put(file, table + (file[table + 3] === 0x7A ? 12 : 8), count);
        return file;
    },
    boxes(file, random) {
        const sizes = [0, 1, 2, 7, 8, 16, 0xFFFFFFFF, 0x7FFFFFFF];
        put(file, find(file, random.below(2) === 0 ? BOXES : TABLES, random) - 4, sizes[random.below(sizes.length)]);
        return file;
    },
    meshes(file, random) {
        for (let i = 0; i < 20; i++) {
            const mesh = find(file, ['TARN'], random) + 20;
            file[Math.min(mesh + random.below(random.below(2) === 0 ? 60 : 400), file.length - 1)] = random.below(256);
        }
        return file;
    },
    meshSizes(file, random) {
        const mesh = find(file, ['TARN'], random) + 30;
        for (let i = 0; i < 3; i++) {
            put(file, mesh + 28 + 4 * random.below(3), [0xFFFFFFFF, 0xFFFF0F00, 0x7FFFFFFF][random.below(3)]);
        }
        return file;
    },
    pictures(file, random) { // everything between the meshes
        for (let i = 0; i < 200; i++) {
            file[48 + random.below(Math.max(file.length - 6000, 1))] = random.below(256);
        }
        return file;
    },
    codecs(file, random) {
        const name = find(file, ['avc1', 'mp4a', 'vide', 'soun', 'avcC', 'esds'], random);
        file[name + random.below(24)] = random.below(256);
        return file;
    },
    parts(file, random) { // one missing, or there twice
        const at = find(file, BOXES, random), part = file.subarray(at, at + random.below(200));
        return random.below(2) === 0 ? Buffer.concat([file.subarray(0, at), part, file.subarray(at)])
            : Buffer.concat([file.subarray(0, at), file.subarray(at + part.length)]);
    },
};

/** The way, and the file. */
export function makeHostile(good, seed) {
    const names = Object.keys(WAYS);
    const way = names[seed % names.length];
    return { way, bytes: WAYS[way](Buffer.from(good), new Random(seed)) };
}
