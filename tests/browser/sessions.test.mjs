// Pages, programs and windows that come and go.
import assert from 'node:assert/strict';
import { createServer, request } from 'node:http';
import { readFile } from 'node:fs/promises';
import { join } from 'node:path';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { root } from './stage.mjs';
import { cellsOf } from './screen.mjs';

const four = [0, 1, 2, 3];
const fact = scene({ channels: 4, size: [1000, 700] }, (stage) => stage.liveUrl({ split: 1, channels: 4, stream: 1 }));

const gone = (stage, pid) => until(() => !stage.viewers().includes(pid), `program ${pid} has ended`);

fact('a killed program is told by the page, and another takes its place with the same channels', async (stage, view) => {
    await view.live(2, four);
    const first = await stage.oneViewer();
    const told = await view.page.evaluateHandle(() => {
        const texts = [];
        globalThis.lumoViewer.session.on('changed', () => texts.push(globalThis.lumoViewer.session.status.text));
        return texts;
    });
    process.kill(first, 'SIGKILL');
    await gone(stage, first);
    await until(async () => (await told.jsonValue()).some((text) => /^The viewer program ended/.test(text)), 'the page says that the program ended');
    await view.phase('live');
    await view.live(2, four);
    assert.notEqual(await stage.oneViewer(), first);
});

fact('after a killed program each channel is back in its cell, with its stream', async (stage, view) => {
    await view.click('stop-all');
    await view.says(/^All channels stopped/);
    await view.start(2, 2, 0, 1);
    await view.start(2, 1, 3, 0);
    const mixed = [-1, 3, 0, -1];
    await view.live(2, mixed);
    const first = await stage.oneViewer();
    process.kill(first, 'SIGKILL');
    await gone(stage, first);
    await view.says(/^The connection is back, with 2 channels/);
    await view.live(2, mixed);
    for (const [channel, stream] of [[0, 1], [3, 0]]) assert.ok((await stage.stream(channel, stream)).playing, `channel ${channel} has stream ${stream}`);
});

fact('a reloaded page gets a program of its own, and the old one ends', async (stage, view) => {
    const first = await stage.oneViewer();
    await view.page.reload();
    await gone(stage, first);
    await view.live(2, four);
    assert.notEqual(await stage.oneViewer(), first);
});

fact('two windows of one browser show their own pictures at the same time', async (stage, view) => {
    const first = await stage.oneViewer();
    const second = await stage.openWindow(stage.liveUrl({ split: 0, channels: 1, stream: 1 }), { position: [1080, 300], size: [800, 620] });
    const [alone] = await second.live(1, [0]);
    const cells = await view.live(2, four);
    await view.moves([alone, ...cells]);
    assert.equal(stage.viewers().length, 2);
    await second.click('channel-3');
    await second.live(1, [3]);
    await view.live(2, four);

    const rect = await second.rect();
    await second.page.close();
    await until(() => stage.viewers().length === 1, 'the program of the closed window has ended');
    assert.deepEqual(stage.viewers(), [first]);
    await until(async () => (await Promise.all(cellsOf(rect, 1).map((cell) => view.screen.read(cell)))).every((a) => !a.ok), 'its pictures are gone');
    await view.live(2, four);
});

/** The page served from somewhere else than the host allows. */
async function foreignServer() {
    const types = { html: 'text/html', js: 'text/javascript', css: 'text/css' };
    const server = createServer(async (message, response) => {
        const path = new URL(message.url, 'http://x').pathname;
        try {
            const body = await readFile(join(root, 'web/dist', path === '/' ? 'index.html' : path));
            response.writeHead(200, { 'Content-Type': types[path.split('.').pop()] ?? types.html }).end(body);
        } catch {
            response.writeHead(404).end();
        }
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    return server;
}

fact('a page of an origin that is not allowed gets no program, and is told why', async (stage, view) => {
    const server = await foreignServer();
    try {
        const origin = `http://127.0.0.1:${server.address().port}`;
        const other = await stage.openWindow(`${origin}/?host=${encodeURIComponent(`ws://127.0.0.1:${stage.hostPort}/`)}`);
        await other.says(/not running on this computer, or refuses this page/);
        assert.equal(stage.viewers().length, 1, 'only the program of the allowed page runs');
        await other.page.close();
        const answer = await new Promise((resolve, reject) => {
            const headers = { Origin: origin, Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': 13, 'Sec-WebSocket-Key': 'AAAAAAAAAAAAAAAAAAAAAA==' };
            const asked = request({ host: '127.0.0.1', port: stage.hostPort, path: '/?title=x', headers });
            asked.on('response', (response) => {
                let text = '';
                response.on('data', (part) => (text += part)).on('end', () => resolve({ status: response.statusCode, text }));
            });
            asked.on('upgrade', (_, socket) => (socket.destroy(), reject(new Error('the host let the foreign page in'))));
            asked.on('error', reject).end();
        });
        assert.equal(answer.status, 403);
        assert.match(answer.text, /origin may not connect/);
    } finally {
        server.closeAllConnections();
        server.close();
    }
    await view.live(2, four);
});

fact('closing the tab ends its program and takes the pictures off the screen', async (stage, view) => {
    const cells = await view.live(2, four);
    const pid = await stage.oneViewer();
    await stage.context.newPage(); // the browser itself stays
    await view.page.close();
    await gone(stage, pid);
    await until(async () => (await Promise.all(cells.map((cell) => view.screen.read(cell)))).every((a) => !a.ok), 'the pictures are gone');
    assert.equal(stage.viewers().length, 0);
});
