/**
 * Opens the built page in Chromium against the stand-in host and saves pictures of its states.
 * Usage: node tests/look.mjs [FOLDER], after `npm run build`.
 */
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { startFakeHost } from './fakeHost.mjs';

const FLAGS = [
    '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync',
];

const page = join(dirname(fileURLToPath(import.meta.url)), '..', 'dist');
const folder = resolve(process.argv[2] ?? 'look');
const profile = mkdtempSync(join(tmpdir(), 'lumo-look-'));
mkdirSync(folder, { recursive: true });

const DATE = '2026-11-20';
const host = await startFakeHost({ page, refuse: [5], picked: '/home/you/Videos/Einfahrt.h265x', recordings: recordings() });
const browser = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium', headless: true, args: FLAGS, viewport: { width: 1280, height: 800 },
});
try {
    await look(browser.pages()[0] ?? (await browser.newPage()));
} finally {
    await browser.close();
    await host.close();
    rmSync(profile, { recursive: true, force: true });
}

async function look(view) {
    view.on('pageerror', (error) => console.log('page error:', error.message));
    view.on('console', (line) => line.type() === 'error' && console.log('console:', line.text()));
    const id = (name) => view.getByTestId(name);
    const shot = (name) => view.screenshot({ path: join(folder, `${name}.png`) });
    const told = (text) => id('status').filter({ hasText: text }).waitFor();

    await view.goto(`http://127.0.0.1:${host.port}/`);
    await told('Ready to log in.');
    await shot('1-login');
    await id('login-password').fill('wrong');
    await id('login-submit').click();
    await told('password is wrong');
    await shot('2-refused');
    await id('login-password').fill('right');
    await id('login-submit').click();
    await told('16 channels');
    await id('start-all').click();
    await told('Channel 6');
    host.processes.at(-1)?.select(1);
    await id('selected').filter({ hasText: 'Cell 2' }).waitFor();
    await id('record').click();
    await told('Recording channel 2');
    await shot('3-live');
    await id('picture-panel').click();
    await id('color-brightness').fill('90');
    await shot('4-picture');
    await id('device-panel').click();
    await id('firmware-pick').click();
    await id('firmware-start').click();
    host.processes.at(-1)?.maintenance.progress(0, 640);
    await id('firmware-text').filter({ hasText: '64 %' }).waitFor();
    await shot('4-device');
    await id('settings-panel').click();
    await view.waitForFunction(() => document.querySelector('[data-testid=record-path]')?.value !== '');
    await view.setViewportSize({ width: 1024, height: 700 });
    await shot('5-settings-1024');
    await id('settings-panel').click();
    await shot('6-live-1024');
    host.drop(4001, 'exit code 139');
    await told('ended');
    await shot('7-lost');
    await told('Channel 6');
    await lookAtPlayback(view, id, shot, told);
    console.log('surface:', JSON.stringify(await view.evaluate(() => window.lumoViewer?.session.surface.current)));
    console.log('saved in', folder);
}

async function lookAtPlayback(view, id, shot, told) {
    await view.setViewportSize({ width: 1280, height: 800 });
    // The device is where the page comes from: its list of recordings is asked for there.
    await id('logout').click();
    await told('Logged out');
    await id('login-port').fill(String(host.port));
    await id('login-password').fill('right');
    await id('login-submit').click();
    await told('16 channels');
    await id('view-playback').click();
    await told('Click into the timeline');
    for (const channel of [1, 3, 6]) await id(`play-channel-${channel}`).click();
    await shot('8-playback');
    await id('go-to-time').fill('10:00');
    await id('go-to').click();
    await told('Playing from 10:00:00');
    const { playback } = host.processes.at(-1);
    playback.tick(95);
    playback.select(1);
    await id('position').filter({ hasText: '10:01:35' }).waitFor();
    await id('speed').selectOption('2');
    await told('Speed 4');
    await id('clip').click();
    await told('Cutting a clip');
    await id('zoom-3600').click();
    const track = await id('timeline').boundingBox();
    const drag = async (from, to) => {
        await view.mouse.move(track.x + track.width * from, track.y + 60);
        await view.mouse.down();
        await view.mouse.move(track.x + track.width * to, track.y + 62, { steps: 4 });
        await view.mouse.up();
    };
    await drag(0.55, 0.75);
    await shot('9-playing');
    await id('range-download').click();
    await id('file-0').waitFor();
    await id('download-channel').selectOption('all');
    await id('download-format').selectOption('2');
    await id('download-start').click();
    await told('The download has begun');
    playback.progress(430);
    await view.waitForFunction(() => document.querySelector('[data-testid=download-progress]')?.value > 0.2);
    await shot('10-files');
    await view.setViewportSize({ width: 1024, height: 700 });
    await shot('11-files-1024');
    await id('files-panel').click();
    await view.setViewportSize({ width: 800, height: 600 });
    await shot('12-playing-800');
    await id('download-stop').waitFor({ state: 'hidden' });
    await view.setViewportSize({ width: 1920, height: 1080 });
    await shot('13-playing-1920');
    await id('source-local').click();
    await view.setViewportSize({ width: 1280, height: 800 });
    await id('open-local').click();
    await told('Einfahrt');
    playback.tick(300);
    await id('position').filter({ hasText: '30.0' }).waitFor();
    await shot('14-local');
}

/** Sixteen channels that recorded on and off, some of them pictures too. */
function recordings() {
    const at = (minutes) => `${DATE} ${String(Math.floor(minutes / 60)).padStart(2, '0')}:${String(minutes % 60).padStart(2, '0')}:00`;
    const day = {};
    for (let channel = 0; channel < 16; channel++) {
        const files = [];
        for (let begin = channel * 7; begin + 30 < 1440; begin += 30 + (begin % 210 > 150 ? 40 + channel * 5 : 0))
            files.push({ name: `rec${channel}/video/${begin}.h265x`, begin: at(begin), end: at(begin + 30), length: 41000000 + begin * 1000, type: 0, stream: 0 });
        const pictures = [8 * 60 + 10, 12 * 60 + 30, 17 * 60].map((minutes) => ({ name: `rec${channel}/${minutes}.jpg`, time: at(minutes), length: 48000 + minutes }));
        day[channel] = { files, pictures };
    }
    return { [DATE]: day };
}
