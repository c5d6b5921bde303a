// The whole product on one display: recorder, host, browser and the page, started in that order and ended together.
import { cpSync, existsSync, mkdirSync, mkdtempSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { spawnSync } from 'node:child_process';

import { start, until } from './processes.mjs';
import { Screen } from './screen.mjs';
import { View } from './view.mjs';

export const root = resolve(dirname(fileURLToPath(import.meta.url)), '../..');
export const programs = process.env.LUMO_BIN ?? join(root, 'build/dev/bin');
const { chromium } = createRequire(join(root, 'web/package.json'))('playwright-core');

const BROWSER_FLAGS = [
    '--disable-gpu', '--disable-quic', '--no-first-run', '--no-default-browser-check', '--disable-background-networking',
    '--disable-component-update', '--disable-sync', '--disable-infobars', '--test-type',
];

/** Only root may mount; others may in a user namespace, where the machine allows one. */
const namespace = () => ['unshare', ...(process.getuid?.() === 0 ? [] : ['--user', '--map-root-user']), '--mount'];
export const mayMount = () => {
    const [program, ...args] = [...namespace(), 'sh', '-c', 'mount -t tmpfs none /mnt'];
    return spawnSync(program, args).status === 0;
};

export class Stage {
    /**
     * bin: where the programs are. channels, recorder: number of channels and further arguments of the recorder.
     * size: the browser window's, at `position`. env: of host, program and browser; recorderEnv: of the recorder.
     * flags: of the browser. smallDisk: size of a disk of its own that the host's programs see at `small`, as mount takes it.
     */
    static async open({ bin = programs, channels = 4, recorder = [], host = [], size = [1500, 950], position = [60, 40], env = {}, recorderEnv = {}, flags = [], smallDisk = '' } = {}) {
        const stage = new Stage();
        Object.assign(stage, { dir: mkdtempSync(join(tmpdir(), 'lumo-stage-')), bin, env, recorderEnv, size, position, flags, smallDisk, started: [] });
        try {
            stage.screen = stage.keep(new Screen(bin));
            await stage.startRecorder(channels, recorder);
            await stage.startHost(host);
        } catch (error) {
            await stage.close();
            throw error;
        }
        return stage;
    }

    keep(what) {
        this.started.push(what);
        return what;
    }

    async startRecorder(channels, args = []) {
        const program = join(this.bin, 'lumo-recorder');
        const all = ['--http-port', '0', '--rtsp-port', '0', '--channels', String(channels), '--web', join(root, 'web/dist'), ...args];
        // A scene that is encoded while somebody waits for it takes longer than a stream may take to open. The first time
        // takes a while; later ones find all in the cache.
        const { code } = await this.keep(start(program, [...all, '--prepare'], { env: this.recorderEnv })).ended;
        if (code !== 0) throw new Error(`the recorder could not make its scenes (${code})`);
        this.recorder = this.keep(start(program, all, { env: this.recorderEnv }));
        this.ports = JSON.parse(await this.recorder.line(60000));
        this.recorderUrl = `http://127.0.0.1:${this.ports.http}`;
    }

    async startHost(args = []) {
        const log = join(this.dir, 'log');
        const command = [join(this.bin, 'lumo-host'), '--port', '0', '--page', join(root, 'web/dist'), '--origin', this.recorderUrl, '--log-dir', log, '--program', this.ownProgram(), ...args];
        const [program, ...rest] = this.smallDisk ? this.onSmallDisk(command) : command;
        this.host = this.keep(start(program, rest, { env: this.env }));
        this.hostPort = JSON.parse(await this.host.line()).port;
    }

    /** A command that runs in a mount namespace, with a little disk at `small`. */
    onSmallDisk(command) {
        mkdirSync(this.small);
        return [...namespace(), 'sh', '-c', 'mount -t tmpfs -o "size=$1" none "$2" && shift 2 && exec "$@"', 'sh', this.smallDisk, this.small, ...command];
    }

    get small() {
        return join(this.dir, 'small');
    }

    /** What lies on the little disk, seen from outside of its namespace. */
    smallFiles() {
        return readdirSync(join(`/proc/${this.host.child.pid}/root`, this.small));
    }

    /** The program keeps its settings beside itself: a copy leaves those of the build alone. */
    ownProgram() {
        const own = join(this.dir, 'bin');
        mkdirSync(own);
        for (const file of ['LumoPlayTool', 'Browse', 'libLumoNet.so', 'libLumoDecode.so', 'style.ss'])
            if (existsSync(join(this.bin, file))) cpSync(join(this.bin, file), join(own, file));
        return join(own, 'LumoPlayTool');
    }

    /** What the next picker answers: a stand-in found beside the program, in place of the dialog. Null: the user cancels. */
    pick(path) {
        const answer = join(this.dir, 'picked');
        writeFileSync(answer, path ?? '');
        writeFileSync(join(this.dir, 'bin', 'Browse'), `#!/bin/sh\ncat '${answer}'\n`, { mode: 0o755 });
    }

    /** The page's address; keys of `query` become its parameters. */
    pageUrl(query = {}) {
        const all = { host: `ws://127.0.0.1:${this.hostPort}/`, ...query };
        return `${this.recorderUrl}/?${new URLSearchParams(Object.entries(all).map(([k, v]) => [k, String(v)]))}`;
    }

    /** The address of a page that logs in by itself. */
    liveUrl(query = {}) {
        return this.pageUrl({ auto: 1, user: 'admin', password: 'lumo', ...query });
    }

    async openBrowser(url) {
        const [width, height] = this.size;
        const flags = [...BROWSER_FLAGS, ...this.flags, `--window-size=${width},${height}`, `--window-position=${this.position.join(',')}`];
        if (process.getuid?.() === 0) flags.push('--no-sandbox');
        this.context = await chromium.launchPersistentContext(join(this.dir, 'profile'), {
            executablePath: process.env.LUMO_CHROMIUM ?? '/usr/bin/chromium', headless: false, viewport: null, args: flags,
            ignoreDefaultArgs: ['--enable-automation'], env: { ...process.env, ...this.env },
        });
        this.page = this.context.pages()[0] ?? (await this.context.newPage());
        await this.page.goto(url);
        this.view = new View(this, this.page);
        return this.page;
    }

    /** Another window of the same browser. */
    async openWindow(url, { position = [700, 200], size = [900, 700] } = {}) {
        const [[left, top], [width, height]] = [position, size];
        const session = await this.context.newCDPSession(this.page);
        const opened = this.context.waitForEvent('page');
        await session.send('Target.createTarget', { url: 'about:blank', newWindow: true, left, top, width, height });
        const page = await opened;
        await page.goto(url);
        return new View(this, page);
    }

    byId(name) {
        return this.view.byId(name);
    }

    videoRect() {
        return this.view.rect();
    }

    /** One of the recorder's test calls. */
    async recorderCall(path, body) {
        const response = await fetch(this.recorderUrl + path, body === undefined ? {} : { method: 'POST', body: JSON.stringify(body) });
        if (!response.ok) throw new Error(`${path}: ${response.status} ${await response.text()}`);
        return response.json();
    }

    fault(what) {
        return this.recorderCall('/api/fault', what);
    }

    /** What the recorder knows of one stream. */
    async stream(channel, stream = 0) {
        const { streams } = await this.recorderCall('/api/state');
        return streams.find((s) => s.channel === channel && s.stream === stream);
    }

    /** Process ids of the viewer programs that run for this host. */
    viewers() {
        const found = spawnSync('pgrep', ['-P', String(this.host.child.pid), '-x', 'LumoPlayTool'], { encoding: 'utf8' });
        return found.stdout.split('\n').filter(Boolean).map(Number);
    }

    async oneViewer() {
        await until(() => this.viewers().length === 1, 'one viewer program runs');
        return this.viewers()[0];
    }

    async close() {
        await this.context?.close().catch(() => {});
        // The host ends its programs; only then may the device go.
        for (const program of this.started.reverse()) await program.stop();
        rmSync(this.dir, { recursive: true, force: true, maxRetries: 5 });
    }
}
