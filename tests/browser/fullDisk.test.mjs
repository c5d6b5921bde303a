// A disk that is full under a download, a conversion and a clip: what is told, what is left, and that the next one works.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { test } from 'node:test';

import { BEGIN, clock, countFrames, filesIn, FPS, framesOf, playAt, playbackUrl, prepare, recordings } from './playbackScene.mjs';
import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { mayMount } from './stage.mjs';

// A second of what is recorded has some 30 kB.
const DISK = '200k';

const fact = mayMount() ? scene(recordings({ smallDisk: DISK }), playbackUrl)
    : (name) => test(name, { skip: 'not run: no mount namespace is allowed here' }, () => {});

function useFolder(view, path) {
    return view.page.evaluate(`globalThis.lumoViewer.session.client.saveConfig(${JSON.stringify({ RecPath: path, CapPath: path, DownPath: path, RecordType: 0 })})`);
}

/** Downloads 20 seconds in this format; gives what the page says at the end. */
async function download(view, format) {
    if ((await view.byId('files-panel').getAttribute('aria-pressed')) !== 'true') await view.click('files-panel');
    await view.byId('download-format').selectOption(String(format));
    await view.byId('download-from').fill(clock(BEGIN + 10));
    await view.byId('download-to').fill(clock(BEGIN + 30));
    await view.byId('download-to').press('Tab');
    await view.page.evaluate(() => globalThis.lumoViewer.session.tell('info', ''));
    await view.click('download-start');
    return view.says(/broke off|^Saved in|could not/i, 90000);
}

fact('a download onto a full disk breaks off and leaves no file', async (stage, view) => {
    await prepare(view, [0]);
    await useFolder(view, stage.small);
    assert.match(await download(view, 0), /broke off.*disk/);
    await until(() => stage.smallFiles().length === 0, 'nothing is left').catch(() => assert.deepEqual(stage.smallFiles(), []));
});

fact('a download for conversion onto a full disk breaks off and leaves no file', async (stage, view) => {
    assert.match(await download(view, 2), /broke off.*disk/);
    await until(() => stage.smallFiles().length === 0, 'nothing is left').catch(() => assert.deepEqual(stage.smallFiles(), []));
});

fact('a clip onto a full disk is kept under a name that says that it is not whole', async (stage, view) => {
    await playAt(view, BEGIN + 20);
    await framesOf(view, [(await view.cells(2))[0]], [0]);
    await view.click('clip');
    await view.says(/^Cutting a clip of channel 1/);
    await until(() => stage.smallFiles().some((name) => /incomplete/.test(name)), 'the clip is marked');
    await view.click('clip');
    await view.says(/^The clip of channel 1/);
    assert.deepEqual(stage.smallFiles().filter((name) => !/incomplete/.test(name)), []);
});

fact('with room again all of it works', async (stage, view) => {
    const folder = join(stage.dir, 'large');
    await useFolder(view, folder);
    assert.match(await download(view, 2), /^Saved in/);
    assert.deepEqual(filesIn(folder).map((path) => path.replace(/.*\./, '')), ['avi']);
    const before = filesIn(folder);
    await view.click('clip');
    await view.says(/^Cutting a clip of channel 1/);
    const clip = await until(() => filesIn(folder).find((path) => !before.includes(path)), 'a clip');
    const [from] = await framesOf(view, [(await view.cells(2))[0]], [0]);
    await until(async () => (await framesOf(view, [(await view.cells(2))[0]], [0]))[0] > from + 3 * FPS, 'three seconds');
    await view.click('clip');
    await view.says(/^The clip of channel 1 is saved/);
    assert.deepEqual(filesIn(folder).sort(), [...before, clip].sort());
    assert.ok(countFrames(clip) >= FPS, 'at least a second of it is in the file');
});
