// A server for the tests, on loopback, whose faults are asked for in the URL:
//
//     /fixtures/counter.mp4?ranges=no     always the whole file
//                          ?cut=100-200   the connection breaks where one of these bytes of the file would come
//                          ?slow=200      each answer takes 200 ms
//                          ?status=404    that status
//
// /dist/, /fixtures/, /test/, /three/ are folders. /watched/ is /dist/ with a worker that counts its VideoFrames,
// /bare/ with one that has no WebCodecs, /strict/ with a content policy. /made/ has what tests put into `files`. Any
// name ending in .html is a page that loads the tests' page.mjs.
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname } from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';
import { webFile } from './support.mjs';

const FOLDERS = {
    dist: webFile('dist'),
    watched: webFile('dist'),
    bare: webFile('dist'),
    strict: webFile('dist'),
    fixtures: webFile('test', 'fixtures'),
    test: webFile('test'),
    three: webFile('node_modules', 'three', 'build'),
};

const TYPES = {
    '.html': 'text/html', '.js': 'text/javascript', '.mjs': 'text/javascript', '.wasm': 'application/wasm',
    '.mp4': 'video/mp4', '.json': 'application/json',
};

/** What a page needs, and nothing else: no eval, no code but from here. */
export const STRICT_POLICY = `default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; worker-src 'self'; ` +
    `connect-src 'self'; style-src 'self' 'unsafe-inline'; img-src 'self' data: blob:; media-src 'self' blob:`;

const IMPORTS = '{"imports": {"three": "/three/three.module.js"}}';

const isStrict = (url) => url.searchParams.get('player') === 'strict' || url.pathname.startsWith('/strict/');

function pageText(url) {
    // Policies that are strict about scripts take no import map within a page.
    const map = isStrict(url) ? '' : `<script type="importmap">${IMPORTS}</script>`;
    const watch = url.searchParams.get('player') === 'watched' ? '<script src="/test/watch-frames.js"></script>' : '';
    return `<!doctype html><html lang="en"><head><title>Test</title><link rel="icon" href="data:,">` +
        `${map}${watch}</head>` +
        '<body><script type="module" src="/test/page.mjs"></script></body></html>';
}

export class TestServer {
    /** Name under /made/ to bytes. */
    files = new Map();
    /** Of each request so far: path with query, and the range that it asked for. */
    requests = [];
    #server;

    static async start() {
        const server = new TestServer();
        server.#server = createServer((request, response) => {
            server.#answer(request, response).catch(() => response.destroy());
        });
        await new Promise((resolve) => server.#server.listen(0, '127.0.0.1', resolve));
        server.origin = `http://127.0.0.1:${server.#server.address().port}`;
        return server;
    }

    stop() {
        this.#server.closeAllConnections();
        return new Promise((resolve) => this.#server.close(resolve));
    }

    async #body(url) {
        const [, folder, ...rest] = decodeURIComponent(url.pathname).split('/');
        const name = rest.join('/');
        if (folder.endsWith('.html')) {
            return Buffer.from(pageText(url));
        } else if (folder === 'made') {
            return this.files.get(name);
        } else if (FOLDERS[folder] === undefined || name.includes('..')) {
            return undefined;
        }
        const bytes = await readFile(`${FOLDERS[folder]}/${name}`).catch(() => undefined);
        const prelude = name === 'nimb-player-worker.js' ? await this.#prelude(folder) : '';
        return bytes && Buffer.concat([Buffer.from(prelude), bytes]);
    }

    async #prelude(folder) {
        return folder === 'watched' ? await readFile(webFile('test', 'watch-frames.js'))
            : folder === 'bare' ? 'delete self.VideoDecoder; delete self.VideoFrame; delete self.AudioDecoder;\n'
            : '';
    }

    async #answer(request, response) {
        const url = new URL(request.url, this.origin);
        const asked = /^bytes=(\d+)-(\d*)$/.exec(request.headers.range ?? '');
        this.requests.push({ path: request.url, range: asked === null ? null : [Number(asked[1]), Number(asked[2])] });
        await sleep(Number(url.searchParams.get('slow') ?? 0));

        const body = await this.#body(url);
        const status = Number(url.searchParams.get('status') ?? (body === undefined ? 404 : 200));
        const headers = { 'content-type': TYPES[extname(url.pathname)] ?? 'application/octet-stream' };
        if (isStrict(url)) {
            headers['content-security-policy'] = STRICT_POLICY;
        }
        if (status !== 200) {
            response.writeHead(status, { 'content-type': 'text/plain' }).end('There is nothing here.');
            return;
        }
        let begin = 0, end = body.length;
        if (url.searchParams.get('ranges') !== 'no') {
            headers['accept-ranges'] = 'bytes';
            if (asked !== null) {
                begin = Number(asked[1]);
                end = asked[2] === '' ? end : Math.min(end, Number(asked[2]) + 1);
                if (begin >= end) {
                    response.writeHead(416, { 'content-range': `bytes */${body.length}` }).end();
                    return;
                }
                headers['content-range'] = `bytes ${begin}-${end - 1}/${body.length}`;
            }
        }
        headers['content-length'] = end - begin;
        response.writeHead(headers['content-range'] === undefined ? 200 : 206, headers);
        const [cutFrom, cutTo] = (url.searchParams.get('cut') ?? '0-0').split('-').map(Number);
        if (begin < cutTo && end > cutFrom) {
            response.write(body.subarray(begin, Math.max(begin + 1, cutFrom)), () => response.destroy());
        } else {
            response.end(body.subarray(begin, end));
        }
    }
}
