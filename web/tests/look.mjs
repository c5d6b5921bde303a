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

const host = await startFakeHost({ page, refuse: [5], picked: '/home/you/Videos' });
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
    console.log('surface:', JSON.stringify(await view.evaluate(() => window.lumoViewer?.session.surface.current)));
    console.log('saved in', folder);
}
