// A browser, a server and pages for tests. Whatever a page logs as an error, or throws and nobody catches, fails the
// test that has it open, but for what the test expects.
import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { after, before } from 'node:test';
import { setTimeout as sleep } from 'node:timers/promises';
import puppeteer from 'puppeteer-core';
import { TestServer } from './server.mjs';

const PROGRAMS = ['/usr/bin/chromium-headless-shell', '/usr/bin/chromium', '/usr/bin/google-chrome'];
const OPTIONS = ['--no-sandbox', '--use-angle=swiftshader', '--enable-unsafe-swiftshader', '--no-first-run',
    '--disable-background-networking', '--disable-dev-shm-usage', '--js-flags=--expose-gc'];

/** A page of a browser, and what went wrong in it. */
export class TestPage {
    constructor(page, expected = []) {
        this.page = page;
        this.expected = expected;
        this.faults = [];
        this.logged = [];
        page.on('pageerror', (error) => this.#note(`uncaught: ${error.message ?? error}`));
        page.on('error', (error) => this.#note(`the page crashed: ${error.message}`));
        page.on('console', (message) => {
            const text = message.text();
            this.logged.push(text);
            if (message.type() === 'error' || /garbage collected without being closed/.test(text)) {
                this.#note(`${message.type()}: ${text} (${message.location().url})`);
            }
        });
    }

    /** Waits until the page logs this. */
    async awaitLog(text) {
        const end = Date.now() + 20000;
        while (!this.logged.includes(text)) {
            assert.ok(Date.now() < end, `the page never logged ${text}`);
            await sleep(20);
        }
    }

    #note(text) {
        if (!this.expected.some((pattern) => pattern.test(text))) {
            this.faults.push(text);
        }
    }

    /** Calls a function of page.mjs, and returns what it does. */
    call(name, ...values) {
        return this.page.evaluate((name, values) => window.tests[name](...values), name, values);
    }
}

/** `autoplay`: a policy of the browser's, as its command line has it. */
export function launchBrowser(autoplay = 'no-user-gesture-required') {
    const executablePath = process.env.NIMB_WEB_BROWSER ?? PROGRAMS.find((program) => existsSync(program));
    assert.ok(executablePath, `none of ${PROGRAMS.join(', ')} is there; NIMB_WEB_BROWSER may name another`);
    // Over a pipe: the browser ends with this process even where nobody can tell it to.
    return puppeteer.launch({
        executablePath, pipe: true, timeout: 30000, protocolTimeout: 120000,
        args: [...OPTIONS, `--autoplay-policy=${autoplay}`],
    });
}

/** For a file of tests: starts before the first of them, and ends behind the last one whatever becomes of them. */
export function useBrowser({ autoplay } = {}) {
    const context = { server: null, browser: null };
    before(async () => {
        context.server = await TestServer.start();
        context.browser = await launchBrowser(autoplay);
    });
    after(async () => {
        await context.browser?.close();
        await context.server?.stop();
    });

    /** Opens a page, lets `use` work with it, and fails for faults of the page that are not `expected`. `prelude` is a
     * function that runs before anything else in the page. */
    context.withPage = async (use, { path = '/page.html', expected = [], prelude = null } = {}) => {
        const page = await context.browser.newPage();
        const test = new TestPage(page, expected);
        try {
            if (prelude !== null) {
                await page.evaluateOnNewDocument(prelude);
            }
            await page.setViewport({ width: 480, height: 360 });
            await page.goto(context.server.origin + path, { timeout: 20000 });
            await use(test);
        } catch (error) {
            error.message += ['', ...test.logged, ...test.faults].join('\n    in the page: ');
            throw error;
        } finally {
            await page.close();
        }
        assert.deepEqual(test.faults, []);
    };
    return context;
}
