// Put before a script, in a page or a worker: counts the VideoFrames that decoders give and those that are closed here.
// Everyone reports over a channel; frames that are handed over are closed by whoever has them then. Decoders begin late,
// as those of a busy machine do, which tempts a player to feed them more.
(() => {
    const LATE_MS = 150;
    const channel = new BroadcastChannel('watched-frames');
    const report = (change) => channel.postMessage({ change, at: performance.timeOrigin + performance.now() });
    if (self.VideoFrame === undefined) {
        return;
    }
    const close = VideoFrame.prototype.close;
    VideoFrame.prototype.close = function () {
        if (this.format !== null) { // not closed yet
            report(-1);
        }
        close.call(this);
    };
    const later = (epoch, call) => new Promise((resolve) => setTimeout(() => epoch.isOver || resolve(call()), LATE_MS));
    self.VideoDecoder = class extends self.VideoDecoder {
        #epoch = { isOver: false, waiting: 0 };

        constructor({ output, error }) {
            super({ error, output: (frame) => { report(+1); output(frame); } });
        }
        get decodeQueueSize() {
            return super.decodeQueueSize + this.#epoch.waiting;
        }
        decode(chunk) {
            const epoch = this.#epoch;
            epoch.waiting++;
            later(epoch, () => {
                epoch.waiting--;
                super.decode(chunk);
            });
        }
        flush() {
            return later(this.#epoch, () => super.flush());
        }
        reset() {
            this.#epoch.isOver = true;
            this.#epoch = { isOver: false, waiting: 0 };
            super.reset();
        }
    };
})();
