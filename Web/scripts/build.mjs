// Builds dist/: the WebAssembly module from the sources of this project, the bundles, the types.
//
// Needs python3 and Emscripten beside Node. An unchanged module is not compiled again.
import { execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const web = join(dirname(fileURLToPath(import.meta.url)), '..');
const dist = join(web, 'dist');
const scratch = join(dist, 'native');

function run(command, args, options = {}) {
    try {
        execFileSync(command, args, { stdio: ['ignore', 'inherit', 'inherit'], ...options });
    } catch (error) {
        const reason = error.code === 'ENOENT' ? `${command} is not installed` : `${command} failed`;
        console.error(`nimb-player: ${reason}`);
        process.exit(1);
    }
}

function buildModule() {
    mkdirSync(scratch, { recursive: true });
    run('python3', [join(web, '..', 'scripts', 'amalgamate_clip.py'), scratch]);
    const sources = [join(scratch, 'nimb_clip.cpp'), join(web, 'native', 'NimbClipWeb.cpp')];
    const output = join(dist, 'nimb-clip.wasm');
    // Bytes that are downloaded: what inlining, unrolling and automatic vectors add makes nothing faster here.
    const options = ['-std=c++17', '-O2', '-mllvm', '-inline-threshold=20', '-fno-unroll-loops', '-fno-vectorize',
        '-fno-slp-vectorize', '-fno-rtti', '-msimd128', '-msse2', '-mbulk-memory',
        '-mnontrapping-fptoint', '-ffp-contract=off', '-fwasm-exceptions', '-DNIMB_SMALL_CODE', '--no-entry',
        '-sSTANDALONE_WASM', '-sALLOW_MEMORY_GROWTH=1', '-sMAXIMUM_MEMORY=1GB', '-sMALLOC=emmalloc',
        '-sERROR_ON_UNDEFINED_SYMBOLS=0', '-sWARN_ON_UNDEFINED_SYMBOLS=0',
        `-I${scratch}`];
    const hash = createHash('sha256');
    for (const file of [...sources, join(scratch, 'nimb_clip.h')]) {
        hash.update(readFileSync(file));
    }
    const stamp = hash.update(options.join(' ')).digest('hex');
    const stampFile = join(scratch, 'stamp');
    if (existsSync(output) && existsSync(stampFile) && readFileSync(stampFile, 'utf8') === stamp) {
        return;
    }
    rmSync(stampFile, { force: true });
    // NODE_PATH: where Debian's Emscripten has its modules.
    const env = { ...process.env, NODE_PATH: process.env.NODE_PATH ?? '/usr/share/nodejs' };
    run('em++', [...options, '-o', output, ...sources], { env });
    writeFileSync(stampFile, stamp);
}

const common = { bundle: true, format: 'esm', target: 'es2022', minify: true, legalComments: 'none', logLevel: 'warning' };
const source = (...path) => join(web, 'src', ...path);

async function buildBundles() {
    const worker = await build({ ...common, entryPoints: [source('worker', 'main.ts')], write: false });
    const workerText = worker.outputFiles[0].text;
    writeFileSync(join(dist, 'nimb-player-worker.js'), workerText);

    await build({ ...common, entryPoints: [source('index.ts')], outfile: join(dist, 'nimb-player.js') });
    await build({ ...common, entryPoints: [source('clip', 'index.ts')], outfile: join(dist, 'nimb-clip.js') });
    await build({
        ...common,
        entryPoints: [source('three', 'NimbMesh.ts')],
        external: ['three'],
        outfile: join(dist, 'nimb-player-three.js'),
    });

    // The worker as text and the module as base64, for pages that have no neighbours to fetch.
    const inlined = {
        name: 'inlined',
        setup(bundler) {
            bundler.onResolve({ filter: /^inlined:/ }, ({ path }) => ({ path, namespace: 'inlined' }));
            bundler.onLoad({ filter: /.*/, namespace: 'inlined' }, ({ path }) => ({
                contents: path === 'inlined:worker' ? workerText
                    : readFileSync(join(dist, 'nimb-clip.wasm')).toString('base64'),
                loader: 'text',
            }));
        },
    };
    await build({
        ...common,
        entryPoints: [source('inline.ts')],
        plugins: [inlined],
        outfile: join(dist, 'nimb-player-inline.js'),
    });
}

mkdirSync(dist, { recursive: true });
buildModule();
await buildBundles();
run(process.execPath, [join(web, 'node_modules', 'typescript', 'bin', 'tsc'), '--emitDeclarationOnly'], { cwd: web });
