// A device that refuses, falls silent, drops or freezes.
import assert from 'node:assert/strict';
import { connect, createServer } from 'node:net';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const four = [0, 1, 2, 3];
const fact = scene({ channels: 4 }, (stage) => stage.pageUrl());

/** A device's port that counts the refusals which pass through it. */
async function countingProxy(port) {
    const proxy = { refusals: 0, sockets: new Set() };
    proxy.server = createServer((near) => {
        const far = connect(port, '127.0.0.1');
        for (const socket of [near, far]) {
            proxy.sockets.add(socket);
            socket.on('error', () => socket.destroy());
        }
        far.on('data', (data) => (proxy.refusals += data.toString('latin1').split('NotAuthorized').length - 1));
        near.pipe(far);
        far.pipe(near);
    });
    await new Promise((resolve) => proxy.server.listen(0, '127.0.0.1', resolve));
    proxy.port = proxy.server.address().port;
    proxy.close = () => {
        for (const socket of proxy.sockets) socket.destroy();
        proxy.server.close();
    };
    return proxy;
}

async function logIn(view, port, password) {
    await view.byId('login-port').fill(String(port));
    await view.byId('login-user').fill('admin');
    await view.byId('login-password').fill(password);
    await view.click('login-submit');
}

fact('a wrong password is told in plain words and not tried again', async (stage, view) => {
    const proxy = await countingProxy(stage.ports.http);
    try {
        await logIn(view, proxy.port, 'wrong');
        await until(async () => /^The user name or the password is wrong/.test(await view.byId('login-error').textContent()), 'the reason, in plain words');
        const refused = proxy.refusals;
        assert.ok(refused >= 1 && refused <= 3, `${refused} refusals for one attempt`);
        // What goes on behind the page would show by the time that a good log in has brought moving pictures.
        await logIn(view, proxy.port, 'lumo');
        await view.phase('live');
        await view.click('split-1');
        await view.click('start-all');
        await view.live(2, four);
        assert.equal(proxy.refusals, refused, 'refusals after the first answer');
        await view.click('logout');
        await view.phase('login');
    } finally {
        proxy.close();
    }
});

fact('a dropped channel comes back by itself', async (stage, view) => {
    await logIn(view, stage.ports.http, 'lumo');
    await view.phase('live');
    await view.click('split-1');
    await view.click('start-all');
    const cells = await view.live(2, four);
    const { dropped } = await stage.fault({ channel: 1, drop: true });
    assert.ok(dropped >= 1, 'a connection was dropped');
    await view.moves([cells[0], cells[2], cells[3]]);
    await until(async () => (await stage.stream(1)).playing, 'the stream is asked for again');
    await view.moves([cells[1]]);
});

fact('a frozen channel holds its last picture, the others go on, and it goes on when it can', async (stage, view) => {
    const cells = await view.live(2, four);
    await stage.fault({ channel: 2, freeze: true });
    const last = await stage.recorderCall('/api/latest?channel=2&stream=0');
    await until(async () => { const a = await view.screen.read(cells[2]); return a.ok && a.frame === last.frame; }, 'the last picture that left');
    await view.moves([cells[0], cells[1], cells[3]]);
    const held = await view.screen.read(cells[2]);
    assert.deepEqual([held.channel, held.frame], [2, last.frame]);
    await stage.fault({ channel: 2, freeze: false });
    await view.moves(cells);
});

fact('a device that stops answering is told as lost, and each channel is back in its cell after it is', async (stage, view) => {
    await view.click('stop-all');
    await view.says(/^All channels stopped/);
    await view.start(2, 3, 1, 1);
    await view.start(2, 0, 2, 0);
    const mixed = [2, -1, -1, 1];
    await view.live(2, mixed);
    await stage.fault({ stopAnswering: true });
    await view.phase('recovering', 120000);
    await until(async () => /Reconnecting/.test(await view.byId('connection').textContent()), 'the page says that it tries to come back');
    await stage.fault({ stopAnswering: false });
    await view.phase('live', 120000);
    await view.live(2, mixed, 120000);
    for (const [channel, stream] of [[1, 1], [2, 0]]) assert.ok((await stage.stream(channel, stream)).playing, `channel ${channel} has stream ${stream}`);
});

fact('a page that logs in by itself waits for a device that does not answer yet', async (stage, view) => {
    await stage.fault({ stopAnswering: true });
    // The device serves no page now; the host does.
    const query = { auto: 1, address: '127.0.0.1', port: stage.ports.http, user: 'admin', password: 'lumo', split: 1, channels: 4, stream: 1 };
    await view.page.goto(`http://127.0.0.1:${stage.hostPort}/?${new URLSearchParams(Object.entries(query).map(([key, value]) => [key, String(value)]))}`);
    await view.says(/Next attempt in \d+ s\.$/, 90000);
    await stage.fault({ stopAnswering: false });
    await view.phase('live', 90000);
    await view.live(2, four);
});
