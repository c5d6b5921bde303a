/**
 * Checks in a real browser on a virtual display that the rectangle sent to the process is the one on the screen:
 * paints the reserved element in a colour of its own, looks for it in a picture of the screen, and compares.
 * Usage: node tests/placement.mjs [SCALE], after `npm run build`. Needs Xvfb, openbox, xdotool and ImageMagick.
 */
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { startFakeHost } from './fakeHost.mjs';

const WIDTH = 1600;
const HEIGHT = 1000;
const scale = Number(process.argv[2] ?? 1);
// At a broken scale the browser itself tells its sizes in rounded numbers.
const TOLERANCE_PX = Number.isInteger(scale) ? 1 : 2;
const page = join(dirname(fileURLToPath(import.meta.url)), '..', 'dist');
const profile = mkdtempSync(join(tmpdir(), 'lumo-placement-'));
let failures = 0;

const { server, display } = await startDisplay();
const tools = { env: { ...process.env, DISPLAY: display } };
const manager = spawn('openbox', [], { ...tools, stdio: 'ignore' });
const host = await startFakeHost({ page });
const browser = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium', headless: false, viewport: null, env: tools.env,
    args: [
        '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
        '--disable-component-update', '--disable-sync', '--window-size=1300,850', '--window-position=80,60',
        `--force-device-scale-factor=${scale}`,
    ],
});
try {
    await run(browser.pages()[0] ?? (await browser.newPage()));
} finally {
    await browser.close();
    await host.close();
    manager.kill();
    server.kill();
    rmSync(profile, { recursive: true, force: true });
}
process.exitCode = failures === 0 ? 0 : 1;

async function run(view) {
    await view.goto(`http://127.0.0.1:${host.port}/?auto=1&password=x&channels=4`);
    await view.getByTestId('status').filter({ hasText: '4 channels started' }).waitFor();
    await view.addStyleTag({ content: '.video{background:#ff00ff !important} .video span{display:none}' });
    const window = xdotool('search', '--onlyvisible', '--name', 'Web Viewer - ').split('\n')[0];
    const key = (name) => xdotool('key', '--clearmodifiers', name);
    const pointer = (x, y) => xdotool('mousemove', '--window', window, String(x), String(y));
    const check = (name) => compare(view, window, name);

    await check('before any pointer event');
    pointer(200, 400);
    pointer(220, 420);
    await check('after a pointer event');
    pointer(700, 420);
    pointer(720, 640);
    await check('after far pointer events');
    xdotool('windowmove', window, '11', '13');
    await check('window moved');
    pointer(300, 300);
    pointer(301, 301);
    await check('window moved, pointer moved');
    for (const [name, times] of [['plus', 2], ['minus', 4]]) {
        for (let i = 0; i < times; i++) key(`ctrl+${name}`);
        await check(`zoom ${name} ${times}`);
        pointer(200, 400);
        pointer(600, 500);
        pointer(601, 501);
        await check(`zoom ${name} ${times}, pointer moved`);
    }
    key('ctrl+0');
    await check('zoom back');
    xdotool('windowsize', window, String(1111 * Math.min(scale, 1.25)), String(777 * Math.min(scale, 1.25)));
    await check('window resized');
    key('F11');
    await check('browser full screen');
    key('F11');
    await check('full screen left');
    key('ctrl+shift+b');
    await check('bookmark bar toggled');
    key('ctrl+shift+i');
    await view.waitForFunction(() => innerWidth < outerWidth - 100);
    for (const x of [230, 420, 421]) pointer(x, 400);
    await check('developer tools docked, pointer moved');
}

/** Waits until page and screen agree; what still differs after that is a failure. */
async function compare(view, window, name) {
    let seen, sent;
    for (const end = Date.now() + 6000; Date.now() < end; ) {
        seen = relativeTo(window, findMagenta());
        sent = await view.evaluate(() => globalThis.lumoViewer.session.surface.current);
        if (agrees(seen, sent)) break;
        await new Promise((resolve) => setTimeout(resolve, 150));
    }
    const good = agrees(seen, sent);
    if (!good) failures++;
    const facts = await view.evaluate(() => ({ dpr: devicePixelRatio, outer: [outerWidth, outerHeight], inner: [innerWidth, innerHeight], at: [screenX, screenY] }));
    console.log(`${good ? 'ok  ' : 'FAIL'} ${name}: sent ${JSON.stringify(sent)}${good ? '' : ` seen ${JSON.stringify(seen)}`} ${JSON.stringify(facts)}`);
}

function agrees(a, b) {
    if (a === null && b === null) return true;
    return Boolean(a && b) && ['Left', 'Top', 'Width', 'Height'].every((key) => Math.abs(a[key] - b[key]) <= TOLERANCE_PX);
}

function findMagenta() {
    const size = `${WIDTH}x${HEIGHT}`;
    const data = execFileSync('import', ['-window', 'root', '-depth', '8', `rgb:-`], { ...tools, maxBuffer: 1 << 26 });
    if (data.length !== WIDTH * HEIGHT * 3) throw new Error(`screen is not ${size}`);
    let left = WIDTH, top = HEIGHT, right = -1, bottom = -1;
    for (let y = 0; y < HEIGHT; y++)
        for (let x = 0; x < WIDTH; x++) {
            const i = (y * WIDTH + x) * 3;
            if (data[i] < 250 || data[i + 1] > 5 || data[i + 2] < 250) continue;
            left = Math.min(left, x); right = Math.max(right, x); top = Math.min(top, y); bottom = Math.max(bottom, y);
        }
    return right < 0 ? null : { Left: left, Top: top, Width: right - left + 1, Height: bottom - top + 1 };
}

function relativeTo(window, box) {
    if (!box) return null;
    // xdotool adds the frame's extents twice for a window under a window manager; xwininfo does not.
    const text = execFileSync('xwininfo', ['-id', window], tools).toString();
    const at = (name) => Number(new RegExp(`Absolute upper-left ${name}:\\s+(-?\\d+)`).exec(text)?.[1]);
    return { ...box, Left: box.Left - at('X'), Top: box.Top - at('Y') };
}

function xdotool(...words) {
    return execFileSync('xdotool', words, tools).toString().trim();
}

function startDisplay() {
    const server = spawn('Xvfb', ['-displayfd', '3', '-screen', '0', `${WIDTH}x${HEIGHT}x24`], { stdio: ['ignore', 'ignore', 'ignore', 'pipe'] });
    return new Promise((resolve, reject) => {
        server.on('exit', () => reject(new Error('Xvfb did not start')));
        server.stdio[3].once('data', (data) => resolve({ server, display: `:${data.toString().trim()}` }));
    });
}
