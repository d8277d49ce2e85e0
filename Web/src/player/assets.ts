/** What the player loads besides itself. */
export interface Assets {
    /** Address of nimb-player-worker.js, or what makes a worker of it. */
    worker?: string | URL | (() => Worker);
    /** Address of nimb-clip.wasm, or its bytes. */
    wasm?: string | URL | ArrayBuffer;
}

const defaults: Assets = {};

/** For all players from now on, where a player's own options say nothing. */
export function setAssets(assets: Assets): void {
    Object.assign(defaults, assets);
}

export function startWorker({ worker = defaults.worker }: Assets): Worker {
    if (typeof worker === 'function') {
        return worker();
    }
    if (worker === undefined) {
        // Written out in one expression: bundlers know it, and bring the worker along.
        return startAt(new URL('./nimb-player-worker.js', import.meta.url), () =>
            new Worker(new URL('./nimb-player-worker.js', import.meta.url), { type: 'module' }));
    }
    const url = new URL(worker, document.baseURI);
    return startAt(url, () => new Worker(url, { type: 'module' }));
}

/** Browsers start no worker from another origin, such as a content network's; but one that imports it. */
function startAt(url: URL, start: () => Worker): Worker {
    if (url.origin === location.origin || !/^https?:$/.test(url.protocol)) {
        return start();
    }
    const script = new Blob([`import ${JSON.stringify(url.href)};`], { type: 'text/javascript' });
    const address = URL.createObjectURL(script);
    try {
        return new Worker(address, { type: 'module' });
    } finally {
        // The worker has its script by then.
        setTimeout(() => URL.revokeObjectURL(address), 60_000);
    }
}

export function wasmOf({ wasm = defaults.wasm }: Assets): string | ArrayBuffer {
    if (wasm instanceof ArrayBuffer) {
        return wasm;
    }
    return new URL(wasm ?? new URL('./nimb-clip.wasm', import.meta.url), document.baseURI).href;
}
