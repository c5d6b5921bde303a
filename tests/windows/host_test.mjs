// The host for Windows with the program for Windows, as two pages use them: commands sent one upon the other arrive as many, in
// their order; and each process is told its page's window. Started by tests/windows/run, which has the display.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { start, stopAll, until } from '../browser/processes.mjs';

const root = resolve(dirname(fileURLToPath(import.meta.url)), '../..');
const WebSocket = createRequire(join(root, 'web/package.json'))('ws');
const COMMANDS = 300; // fewer than may wait in the host
const folder = mkdtempSync(join(tmpdir(), 'lumo-host-'));
const logs = join(folder, 'logs');
const page = join(folder, '页面 Камера'); // no code page has all of these
let port;

before(async () => {
    const program = join(root, 'build/windows/bin/lumo-host.exe');
    mkdirSync(page);
    writeFileSync(join(page, 'index.html'), 'served');
    writeFileSync(join(page, 'вид.txt'), 'seen');
    const options = ['--port', '0', '--page', `Z:${page}`, '--log-dir', `Z:${logs}`, '--exit-timeout-ms', '60000'];
    const host = start(join(root, 'scripts/wine-run'), [program, ...options]);
    port = JSON.parse(await host.line()).port;
});
after(async () => {
    await stopAll();
    rmSync(folder, { recursive: true });
});

/** All replies to commands that nobody knows, sent without a wait for any; each of another length than the one before. */
function burst(title) {
    return new Promise((done, fail) => {
        const replies = [];
        const page = new WebSocket(`ws://127.0.0.1:${port}/?title=${title}`, { origin: `http://127.0.0.1:${port}` });
        const timer = setTimeout(() => fail(new Error(`${title}: ${replies.length} replies, then none`)), 120000);
        page.on('error', fail);
        page.on('close', (code, reason) => fail(new Error(`${title}: closed with ${code} ${reason}`)));
        page.on('open', () => {
            for (let i = 1; i <= COMMANDS; i++)
                page.send(JSON.stringify({ MainType: 99, SubType: 0, MsgID: i, Pad: 'x'.repeat((i * 37) % 1500) }));
        });
        page.on('message', (text) => {
            const reply = JSON.parse(text);
            if (reply.MainEvent !== undefined || replies.push(reply) < COMMANDS) return;
            clearTimeout(timer);
            page.removeAllListeners('close');
            page.on('close', () => done(replies));
            page.close();
        });
    });
}

test('commands sent one upon the other are answered one by one, for two pages at a time', async () => {
    for (const replies of await Promise.all([burst('first-page'), burst('second-page')])) {
        assert.deepEqual(
            replies.map((r) => [r.Msg, r.MsgID, r.Ret]),
            Array.from({ length: COMMANDS }, (_, i) => [99, i + 1, 1019]),
        );
    }
});

test('a page is served whatever its folder and its files are called', async () => {
    const get = async (name) => (await fetch(`http://127.0.0.1:${port}/${name}`)).text();
    assert.equal(await get(''), 'served');
    assert.equal(await get(encodeURIComponent('вид.txt')), 'seen');
});

test('a name that is no text is not found, and the host lives on', async () => {
    const status = async (name) => (await fetch(`http://127.0.0.1:${port}/${name}`)).status;
    for (const name of ['%FF', '%C0%AF', '%ED%A0%80']) assert.equal(await status(name), 404);
    assert.equal(await status(''), 200);
});

const allEnded = () => {
    const sessions = async () => (await (await fetch(`http://127.0.0.1:${port}/api/host`)).json()).sessions;
    return until(async () => (await sessions()) === 0, 'all processes have ended', 120000);
};

test('a page that goes takes its process with it, which ends by itself', async () => {
    await allEnded();
    for (const number of ['0001', '0002']) {
        const log = readFileSync(join(logs, `session-${number}.log`), 'utf8');
        assert.match(log, /the process ended with exit code 0/);
        assert.match(log, /main\] start plugin/, 'what the process tells its debug stream');
    }
});

/** A browser of its own process, told line by line. */
function openBrowser() {
    const browser = start(join(root, 'scripts/wine-run'), [join(root, 'build/windows/bin/test_browser.exe')]);
    const tell = async (line) => {
        browser.child.stdin.write(line + '\n');
        const answer = await browser.line();
        assert.doesNotMatch(answer, /^\?/, line);
        return answer;
    };
    return {
        tell,
        /** The window's handle in hexadecimal. */
        open: async (name, title) => (await tell(`open ${name} chrome 100,100 500x400 ${title}`)).split(' ')[1],
        quit: () => (browser.child.stdin.end('quit\n'), browser.ended),
    };
}

let sessionsBefore = 2;
/** The process's fourth argument for a page with this title in the browser. */
async function windowFor(browser, title) {
    const file = join(logs, `session-${String(++sessionsBefore).padStart(4, '0')}.log`);
    await browser.tell(`connect ${port} ${encodeURIComponent(title)}`);
    const started = () => existsSync(file) && readFileSync(file, 'utf8').match(/ starts .*LumoPlayTool.* (\S*)\r?\n/);
    return (await until(started, 'the process starts', 60000))[1];
}

test("the process is told the page's window: by the title among its browser's own, or the one in front", async () => {
    const stranger = openBrowser();
    await stranger.open('one', 'Камера 7 - Browser');
    const browser = openBrowser();
    const seven = await browser.open('one', 'Камера 7 - Browser');
    const eight = await browser.open('two', 'Камера 8 - Browser');
    assert.equal(await windowFor(browser, 'Камера 7'), seven);
    assert.equal(await windowFor(browser, 'Камера 8'), eight);
    await browser.tell('front one');
    assert.equal(await windowFor(browser, ''), seven);
    await browser.tell('front two');
    assert.equal(await windowFor(browser, ''), eight);
    await Promise.all([browser.quit(), stranger.quit()]);
    await allEnded();
});
