// The same in one file, with the worker and the WebAssembly module inside: for pages that have no neighbours to fetch.
import wasm from 'inlined:wasm';
import worker from 'inlined:worker';
import { setAssets } from './player/assets.js';

setAssets({
    worker: () => {
        const address = URL.createObjectURL(new Blob([worker], { type: 'text/javascript' }));
        const started = new Worker(address);
        setTimeout(() => URL.revokeObjectURL(address), 60_000);
        return started;
    },
    wasm: Uint8Array.from(atob(wasm), (character) => character.charCodeAt(0)).buffer,
});

export * from './index.js';
