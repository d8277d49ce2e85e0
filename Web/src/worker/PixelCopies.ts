import type { PixelsMessage } from '../player/messages.js';

/** Memory of pictures that is kept for later ones, in bytes. */
const MAX_KEPT = 128 << 20;

/** Makes RGBA of pictures, in memory that comes back. */
export class PixelCopies {
    readonly #free: ArrayBuffer[] = [];

    /** Null: this browser does not convert such a picture. Rejects when it is closed meanwhile. */
    async copy(picture: VideoFrame): Promise<PixelsMessage | null> {
        const { width, height } = picture.visibleRect!;
        const size = width * height * 4;
        let pixels = this.#free.pop();
        if (pixels?.byteLength !== size) {
            this.#free.length = 0;
            pixels = new ArrayBuffer(size);
        }
        try {
            await picture.copyTo(pixels, { format: 'RGBA' });
        } catch (error) {
            if ((error as Error).name === 'InvalidStateError') {
                throw error;
            }
            return null;
        }
        return { pixels, width, height };
    }

    recycle(pixels: ArrayBuffer): void {
        if ((this.#free.length + 1) * pixels.byteLength <= MAX_KEPT) {
            this.#free.push(pixels);
        }
    }
}
