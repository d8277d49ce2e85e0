// In pages: which frame of a counter clip is shown, by its picture and by its mesh: in a drawing, and in a player.
//
// The mesh has a quad for each of eight bits, in the upper row where the bit is set, otherwise in the lower one. Each
// shows its column of the picture: bright where the bit is set, otherwise grey. Marks in the corners say where it is.

const COLUMNS = 8;
/** From a quad's middle to where it is looked at, too; the box is 2 x 1. */
const LOOKS = [[0, 0], [-0.06, -0.06], [0.06, -0.06], [-0.06, 0.06], [0.06, 0.06]];

export const GARBLED = -2;
export const NOTHING = -1;

/** What one look at the drawing gave: the smallest box around all that is not background, and what is within. */
class Drawing {
    constructor(gl) {
        this.width = gl.drawingBufferWidth;
        this.height = gl.drawingBufferHeight;
        this.pixels = new Uint8Array(this.width * this.height * 4);
        gl.readPixels(0, 0, this.width, this.height, gl.RGBA, gl.UNSIGNED_BYTE, this.pixels);
        this.background = this.pixels[0];
        [this.left, this.right, this.bottom, this.top] = [this.width, -1, this.height, -1];
        for (let y = 0; y < this.height; y++) {
            for (let x = 0; x < this.width; x++) {
                if (this.isDrawn(x, y)) {
                    this.left = Math.min(this.left, x);
                    this.right = Math.max(this.right, x);
                    this.bottom = Math.min(this.bottom, y);
                    this.top = Math.max(this.top, y);
                }
            }
        }
    }
    at(x, y) {
        return this.pixels[4 * (y * this.width + x)];
    }
    isDrawn(x, y) {
        return Math.abs(this.at(x, y) - this.background) > 40;
    }
    /** By coordinates of the mesh: 0 background, 1 grey, 2 bright, -1 neither of them. */
    look(x, y) {
        const px = Math.round(this.left + (x + 1) / 2 * (this.right - this.left));
        const py = Math.round(this.bottom + (y + 0.5) * (this.top - this.bottom));
        const value = this.at(px, py);
        return !this.isDrawn(px, py) ? 0 : value > 80 && value < 145 ? 1 : value > 200 ? 2 : -1;
    }
    quad(x, y) {
        const looks = LOOKS.map(([dx, dy]) => this.look(x + dx, y + dy));
        return looks.every((value) => value === looks[0]) ? looks[0] : -1;
    }
}

const canvas = new OffscreenCanvas(COLUMNS, 4);
const context = canvas.getContext('2d', { willReadFrequently: true });

/** Pixels alone cannot be drawn in another size. */
function canvasOf(pixels) {
    const whole = new OffscreenCanvas(pixels.width, pixels.height);
    whole.getContext('2d').putImageData(pixels, 0, 0);
    return whole;
}

/** Of what a player gives to whoever draws. */
export function numbersOf({ picture, mesh: { vertices, vertexCount, floatsPerVertex, indices, indexCount } }) {
    context.drawImage(picture instanceof ImageData ? canvasOf(picture) : picture, 0, 0, COLUMNS, 4);
    const { data } = context.getImageData(0, 1, COLUMNS, 1);
    const found = { picture: 0, mesh: 0 };
    const drawn = new Set(indices.subarray(0, indexCount));
    for (let column = 0; column < COLUMNS; column++) {
        const value = data[4 * column];
        const rows = new Set();
        for (const index of drawn) {
            const [x, y] = vertices.subarray(index * floatsPerVertex);
            if (index < vertexCount && Math.abs(x - (column - 3.5) / 4) < 0.105 && Math.abs(y) < 0.38) {
                rows.add(Math.sign(y));
            }
        }
        found.picture += value > 200 ? 1 << column : value > 80 && value < 145 ? 0 : NaN;
        found.mesh += rows.size === 1 ? (rows.has(1) ? 1 << column : 0) : NaN;
    }
    return { picture: numberOf(found.picture), mesh: numberOf(found.mesh) };
}

/** The last bit is always set. */
function numberOf(bits) {
    return bits >= 128 && bits < 256 ? bits - 128 : GARBLED;
}

/** Reads the drawing buffer: to be called in the task that drew. The background must be black or transparent. */
export function readNumbers(gl) {
    const drawing = new Drawing(gl);
    if (drawing.right < 0) {
        return { picture: NOTHING, mesh: NOTHING };
    }
    let [picture, mesh] = [0, 0];
    for (let column = 0; column < COLUMNS; column++) {
        const x = (column - 3.5) / 4;
        const [upper, lower] = [drawing.quad(x, 0.25), drawing.quad(x, -0.25)];
        const shown = Math.max(upper, lower);
        mesh += Math.min(upper, lower) !== 0 || shown === 0 ? NaN : upper !== 0 ? 1 << column : 0;
        picture += shown <= 0 ? NaN : shown === 2 ? 1 << column : 0;
    }
    return { picture: numberOf(picture), mesh: numberOf(mesh) };
}
