// A newer build of the program, told by a version file server: what the page says of it.
import assert from 'node:assert/strict';
import { createServer } from 'node:http';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after } from 'node:test';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const HERE = '4.9.0.0';
const file = (version, date) => `[Tool]\nversion=${version}\ndate=${date}\n`;

/** Answers with `answer`, null hangs up, 'none' is silence; keeps the paths it was asked for. */
const asked = [];
let answer = { status: 200, body: file('4.10.0.0', '2026-05-06') };
const server = createServer((request, response) => {
    asked.push(request.url);
    if (answer === 'none') return;
    if (answer) response.writeHead(answer.status).end(answer.body);
    else request.socket.destroy();
});
await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
after(() => {
    server.closeAllConnections();
    server.close();
});

const fact = scene({ channels: 1 }, (stage) => {
    // Installed with the program; it names the server.
    const address = `http://127.0.0.1:${server.address().port}/ocx/newest.ini`;
    writeFileSync(join(stage.dir, 'bin', 'BlackLumoPlayToolVersion.ini'), `${file(HERE, '2026-01-02')}versionFileAddr=${address}\n`);
    return stage.liveUrl({ split: 0, channels: 1, stream: 1 });
});

const reads = (view, name, words, ms) => until(async () => words.test(await view.byId(name).textContent()), `${name} says ${words}`, ms);

/** The button in the settings, with the server answering so. */
async function look(view, what) {
    answer = what;
    const before = asked.length;
    await view.click('version-check');
    await until(() => asked.length > before, 'the server is asked');
}

fact('after the log in the status line tells of a newer build, and pictures are shown', async (stage, view) => {
    await view.live(1, [0]);
    await reads(view, 'version-notice', /^Version 4\.10\.0\.0 of the viewer program is available\.$/);
    assert.deepEqual(asked, ['/ocx/newest.ini']);
});

fact('the settings tell this build, and the newer one with its date when asked', async (stage, view) => {
    await view.click('settings-panel');
    await view.page.getByText(`Viewer program ${HERE}, 2026-01-02`).waitFor({ state: 'visible' });
    await look(view, { status: 200, body: file('4.9.0.1', '2026-05-07') });
    await reads(view, 'version-text', /^Version 4\.9\.0\.1 of 2026-05-07 is available\.$/);
    await reads(view, 'version-notice', /4\.9\.0\.1/);
});

fact('a server that has this build or an older one offers nothing', async (stage, view) => {
    for (const version of [HERE, '4.8.9.9']) {
        await look(view, { status: 200, body: file('5.0.0.0', '2026-05-08') });
        await reads(view, 'version-text', /5\.0\.0\.0/);
        await look(view, { status: 200, body: file(version, '2026-05-09') });
        await reads(view, 'version-text', /^There is no newer version\.$/);
        await reads(view, 'version-notice', /^$/);
    }
});

fact('a server that hangs up, or knows no such file, tells of no version, and the pictures go on', async (stage, view) => {
    for (const nothing of [null, { status: 404, body: '' }, { status: 200, body: '<html>not here</html>' }]) {
        await look(view, { status: 200, body: file('5.0.0.0', '2026-05-08') });
        await reads(view, 'version-text', /5\.0\.0\.0/);
        await look(view, nothing);
        await reads(view, 'version-text', /^The server has told no version\.$/);
    }
    await view.live(1, [0]);
});

fact('a server that stays silent is told to have done so after a minute', async (stage, view) => {
    await look(view, 'none');
    await reads(view, 'version-text', /^Asking the server…$/);
    await reads(view, 'version-text', /^The server did not answer\.$/, 90000);
});
