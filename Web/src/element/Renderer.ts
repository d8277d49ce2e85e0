import type { ClipFrame } from '../player/clip.js';
import { drawsInSoftware } from '../player/graphics.js';

const VERTEX_SHADER = `#version 300 es
layout(location = 0) in vec3 position;
layout(location = 1) in vec2 coordinate;
uniform mat4 camera;
out vec2 uv;
void main() {
    uv = coordinate;
    gl_Position = camera * vec4(position, 1.0);
}`;

// The recording's light is in its picture; colours pass as they are.
const FRAGMENT_SHADER = `#version 300 es
precision mediump float;
uniform sampler2D picture;
in highp vec2 uv;
out vec4 colour;
void main() {
    colour = vec4(texture(picture, uv).rgb, 1.0);
}`;

/** Levels above the picture itself. Coarser ones would mix the neighbours of an atlas. */
const MIP_LEVELS = 2;

/** Of the canvas, in pixels: what all of WebGL 2 can. */
const MAX_SIZE = 4096;

/** A buffer on the GPU that grows, by halves, so that clips with ever larger frames do not make it anew each time. */
class GrowingBuffer {
    #gl: WebGL2RenderingContext;
    #target: number;
    #buffer: WebGLBuffer | null;
    #size = 0;

    constructor(gl: WebGL2RenderingContext, target: number) {
        this.#gl = gl;
        this.#target = target;
        this.#buffer = gl.createBuffer();
    }

    bind(): void {
        this.#gl.bindBuffer(this.#target, this.#buffer);
    }

    upload(values: Float32Array | Uint32Array, count: number): void {
        this.bind();
        if (count * 4 > this.#size) {
            this.#size = Math.max(count * 4, Math.ceil(this.#size * 1.5 / 4) * 4);
            this.#gl.bufferData(this.#target, this.#size, this.#gl.STREAM_DRAW);
        }
        this.#gl.bufferSubData(this.#target, 0, values, 0, count);
    }
}

/** What lives as long as a WebGL context. */
interface Objects {
    camera: WebGLUniformLocation | null;
    vertices: GrowingBuffer;
    indices: GrowingBuffer;
}

/**
 * Draws one frame of a clip: a textured mesh, unlit, both sides of it, over nothing. Has its canvas' WebGL2 context for
 * itself. When the browser takes the context away, nothing is drawn until it gives it back; then all is uploaded again.
 */
export class Renderer {
    readonly #gl: WebGL2RenderingContext;
    readonly #onRestored: () => void;
    #objects: Objects | null = null;
    #frame: ClipFrame | null = null;
    #topology: number | null = null;
    #floatsPerVertex = 0;
    #isUploaded = false;

    /** `onRestored`: draw again. Throws when the browser has no WebGL2. */
    constructor(canvas: HTMLCanvasElement, onRestored: () => void) {
        const gl = canvas.getContext('webgl2', { alpha: true, antialias: !drawsInSoftware() });
        if (!gl) {
            throw new Error('WebGL 2 is not available');
        }
        this.#gl = gl;
        this.#onRestored = onRestored;
        canvas.addEventListener('webglcontextlost', this.#lost);
        canvas.addEventListener('webglcontextrestored', this.#restored);
        if (!gl.isContextLost()) {
            this.#objects = this.#createObjects();
        }
    }

    /** The frame to draw from now on; null: none. Uploaded by the next `draw`. It has to stay valid. */
    setFrame(frame: ClipFrame | null): void {
        this.#frame = frame;
        this.#isUploaded = false;
        if (!frame) {
            this.#topology = null;  // the next clip counts anew
        }
    }

    /** In device pixels. Where that changes something, the canvas is empty until the next `draw`. */
    setSize(width: number, height: number): void {
        const { canvas } = this.#gl;
        const scale = Math.min(1, MAX_SIZE / Math.max(width, height));
        width = Math.max(1, Math.round(width * scale));
        height = Math.max(1, Math.round(height * scale));
        if (canvas.width !== width || canvas.height !== height) {
            canvas.width = width;
            canvas.height = height;
        }
    }

    /** `camera`: world to clip coordinates, by columns. */
    draw(camera: Float32Array): void {
        const gl = this.#gl;
        const objects = this.#objects;
        if (!objects) {
            return;
        }
        gl.viewport(0, 0, gl.drawingBufferWidth, gl.drawingBufferHeight);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        if (!this.#frame) {
            return;
        }
        if (!this.#isUploaded) {
            this.#upload(objects, this.#frame);
            this.#isUploaded = true;
        }
        gl.uniformMatrix4fv(objects.camera, false, camera);
        gl.drawElements(gl.TRIANGLES, this.#frame.mesh.indexCount, gl.UNSIGNED_INT, 0);
    }

    /** Gives the context back at once: pages may have only a few. The canvas is of no use any more. */
    close(): void {
        this.#objects = null;
        this.#frame = null;
        const { canvas } = this.#gl;
        canvas.removeEventListener('webglcontextlost', this.#lost);
        canvas.removeEventListener('webglcontextrestored', this.#restored);
        this.#gl.getExtension('WEBGL_lose_context')?.loseContext();
    }

    #upload({ vertices, indices }: Objects, { mesh, picture }: ClipFrame): void {
        const gl = this.#gl;
        vertices.upload(mesh.vertices, mesh.vertexCount * mesh.floatsPerVertex);
        if (this.#floatsPerVertex !== mesh.floatsPerVertex) {
            this.#floatsPerVertex = mesh.floatsPerVertex;
            const stride = mesh.floatsPerVertex * 4;
            gl.vertexAttribPointer(0, 3, gl.FLOAT, false, stride, 0);
            gl.vertexAttribPointer(1, 2, gl.FLOAT, false, stride, stride - 8);
        }
        if (this.#topology !== mesh.topology) {
            this.#topology = mesh.topology;
            indices.upload(mesh.indices, mesh.indexCount);
        }
        if (picture instanceof ImageData) {
            const { width, height, data } = picture;  // without the conversions that an ImageData has to expect
            gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, width, height, 0, gl.RGBA, gl.UNSIGNED_BYTE, data);
        } else {
            gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, gl.RGBA, gl.UNSIGNED_BYTE, picture);
        }
        if (!drawsInSoftware()) {
            gl.generateMipmap(gl.TEXTURE_2D);
        }
    }

    #createObjects(): Objects {
        const gl = this.#gl;
        const program = gl.createProgram();
        const sources = [[gl.VERTEX_SHADER, VERTEX_SHADER], [gl.FRAGMENT_SHADER, FRAGMENT_SHADER]] as const;
        for (const [type, source] of sources) {
            const shader = gl.createShader(type)!;
            gl.shaderSource(shader, source);
            gl.compileShader(shader);
            gl.attachShader(program, shader);
        }
        gl.linkProgram(program);
        gl.useProgram(program);
        gl.enable(gl.DEPTH_TEST);
        gl.enableVertexAttribArray(0);
        gl.enableVertexAttribArray(1);
        gl.bindTexture(gl.TEXTURE_2D, gl.createTexture());
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_S, gl.CLAMP_TO_EDGE);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_T, gl.CLAMP_TO_EDGE);
        // What costs more than it shows is left to graphics cards.
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, drawsInSoftware() ? gl.LINEAR : gl.LINEAR_MIPMAP_LINEAR);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MAX_LEVEL, MIP_LEVELS);
        this.#isUploaded = false;
        this.#topology = null;
        this.#floatsPerVertex = 0;
        return {
            camera: gl.getUniformLocation(program, 'camera'),
            vertices: new GrowingBuffer(gl, gl.ARRAY_BUFFER),
            indices: new GrowingBuffer(gl, gl.ELEMENT_ARRAY_BUFFER),
        };
    }

    #lost = (event: Event): void => {
        event.preventDefault();  // otherwise it is not given back
        this.#objects = null;
    };

    #restored = (): void => {
        this.#objects = this.#createObjects();
        this.#onRestored();
    };
}
