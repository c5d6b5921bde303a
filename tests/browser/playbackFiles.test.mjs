// What comes of recordings on this computer: downloads, AVI files, clips, and playing them.
import assert from 'node:assert/strict';
import { copyFileSync, readFileSync, statSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

import {
    BEGIN, clock, countFrames, DAY, filesIn, FPS, FRAMES, frameAt, framesOf, numbersIn, playAt, playbackUrl, prepare, rawFrames, recordings,
    stillFrame, useFolders, withBareStream,
} from './playbackScene.mjs';
import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const fact = scene(recordings(), playbackUrl);
const downloads = (stage) => filesIn(join(stage.dir, 'downloads'));

/** Types the range and begins; what the status line said before does not count any more. */
async function begin(view, from, to) {
    await view.byId('download-from').fill(clock(from));
    await view.byId('download-to').fill(clock(to));
    await view.byId('download-to').press('Tab');
    await view.page.evaluate(() => globalThis.lumoViewer.session.tell('info', ''));
    await view.click('download-start');
}

/** Downloads a range of one channel; gives the files that came of it. */
async function download(stage, view, channel, from, to, format) {
    const before = downloads(stage);
    if ((await view.byId('files-panel').getAttribute('aria-pressed')) !== 'true') await view.click('files-panel');
    await view.byId('download-channel').selectOption(String(channel));
    await view.byId('download-format').selectOption(String(format));
    await begin(view, from, to);
    await view.says(/^Saved in /, 120000);
    return downloads(stage).filter((path) => !before.includes(path));
}

const range = (from, to) => Array.from({ length: to - from }, (_, i) => from + i);

fact('a download holds every picture of its range', async (stage, view) => {
    await prepare(view, [0, 1]);
    await useFolders(stage, view);
    const [from, to] = [BEGIN + 31, BEGIN + 58];
    const files = await download(stage, view, 1, from, to, 0);
    assert.deepEqual(files.map((path) => path.replace(/^.*\//, '')), [`02_${DAY}_100031_100058.h265x`]);
    const frames = rawFrames(files[0]);
    assert.equal(frames[0].key, true, 'it begins with a key frame');
    const numbers = withBareStream(frames, (path) => numbersIn(path, '-f', 'h264'));
    assert.equal(numbers.length, frames.length, 'every access unit is a picture');
    const shown = numbers.filter((_, i) => !frames[i].hidden);
    const wanted = range(frameAt(from), frameAt(to));
    assert.deepEqual(wanted.filter((number) => !shown.includes(number)), [], 'missing pictures');
    assert.equal(shown[0], frameAt(from), 'no picture before the range is shown');
    assert.ok(shown.at(-1) - frameAt(to) <= FPS, `no more than a second behind the range: ${shown.at(-1)}`);
});

fact('its AVI holds the same number of pictures, and no raw file stays behind', async (stage, view) => {
    const [from, to] = [BEGIN + 60, BEGIN + 90];
    const [raw] = await download(stage, view, 0, from, to, 0);
    const [avi, ...more] = await download(stage, view, 0, from, to, 2);
    assert.deepEqual(more, []);
    assert.match(avi, new RegExp(`/01_${DAY}_100100_100130\\.avi$`));
    assert.equal(countFrames(avi), rawFrames(raw).length);
    const numbers = numbersIn(avi);
    assert.deepEqual(range(frameAt(from), frameAt(to)).filter((number) => !numbers.includes(number)), []);
});

fact('progress runs from nothing to all', async (stage, view) => {
    const seen = [];
    await view.page.exposeFunction('lumoProgress', (pos) => seen.push(pos));
    await view.page.evaluate(() => globalThis.lumoViewer.session.client.on('downloadProgress', ({ Pos }) => globalThis.lumoProgress(Pos)));
    await download(stage, view, 0, BEGIN, BEGIN + 120, 0);
    await until(() => seen.at(-1) === 1000, 'the last word is a thousand');
    assert.equal(seen.filter((pos) => pos === 1000).length, 1);
    seen.slice(1).forEach((pos, i) => assert.ok(pos >= seen[i], `${pos} after ${seen[i]}`));
});

fact('a device that stops in the middle of a download is told, no file pretends to be whole, and the next one works', async (stage, view) => {
    const before = downloads(stage);
    await stage.fault({ replay: 'cut', after: 200 });
    await begin(view, BEGIN + 5, BEGIN + 105);
    const said = await view.says(/broke off/, 90000);
    await stage.fault({ clear: true });
    const left = downloads(stage).filter((path) => !before.includes(path));
    assert.deepEqual(left, [], `after "${said}" nothing is left`);
    const files = await download(stage, view, 0, BEGIN + 5, BEGIN + 15, 0);
    assert.equal(files.length, 1);
});

fact('a stopped download leaves nothing', async (stage, view) => {
    const before = downloads(stage);
    await stage.fault({ replay: 'stall', after: 100 });
    await begin(view, BEGIN, BEGIN + 110);
    await view.says(/^The download has begun/);
    await view.click('download-stop');
    await view.says(/^The download was stopped/);
    await stage.fault({ clear: true });
    const left = () => downloads(stage).filter((path) => !before.includes(path));
    await until(() => left().length === 0, 'no file of it').catch(() => assert.deepEqual(left(), []));
});

fact('a clip holds what was seen while it was cut', async (stage, view) => {
    await prepare(view, [0]);
    await playAt(view, BEGIN + 20);
    const [cell] = await view.cells(2);
    await framesOf(view, [cell], [0]);
    await view.click('clip');
    await view.says(/^Cutting a clip of channel 1/);
    const [start] = await framesOf(view, [cell], [0]);
    await until(async () => (await framesOf(view, [cell], [0]))[0] >= start + 5 * FPS, 'five seconds');
    await view.click('clip');
    await view.says(/^The clip of channel 1 is saved/);
    const [path] = await until(() => { const all = filesIn(join(stage.dir, 'clips')); return all.length > 0 && all; }, 'a clip');
    const numbers = withBareStream(rawFrames(path), (bare) => numbersIn(bare, '-f', 'h264'));
    assert.deepEqual(range(start + 2 * FPS, start + 5 * FPS).filter((number) => !numbers.includes(number)), []);
});

/** Opens a file through the stand-in for the picker. */
async function openLocal(stage, view, path) {
    stage.pick(path);
    if ((await view.byId('source-local').getAttribute('aria-pressed')) !== 'true') await view.click('source-local');
    await view.byId('open-local').waitFor({ state: 'visible' });
    await view.click('open-local');
}

for (const kind of ['h265x', 'avi'])
    fact(`a local ${kind} file plays, steps anywhere and seeks to the exact picture`, async (stage, view) => {
        const path = downloads(stage).find((file) => file.includes(`${DAY}_100100_100130`) && file.endsWith(kind));
        assert.ok(path, `a ${kind} file from before`);
        await openLocal(stage, view, path);
        await view.says(/^Playing \//);
        const [cell] = await view.cells(2);
        await framesOf(view, [cell], [0]);
        await view.click('play');
        await view.says(/^Paused/);
        const count = 30 * FPS;
        for (const thousandths of [500, 900, 100]) {
            await view.byId('file-position').evaluate((input, value) => {
                input.value = value;
                input.dispatchEvent(new Event('input', { bubbles: true }));
                input.dispatchEvent(new Event('change', { bubbles: true }));
            }, String(thousandths));
            const wanted = frameAt(BEGIN + 60) + Math.round((count * thousandths) / 1000);
            const found = await until(async () => { const { ok, frame } = await view.screen.read(cell); return ok && Math.abs(frame - wanted) <= 1 && { frame }; }, `the picture at ${thousandths} thousandths, ${wanted}`);
            let at = found.frame;
            for (const [button, by] of [['step-back', -1], ['step-back', -1], ['step-forward', 1], ['step-back', -1]]) {
                await view.click(button);
                at += by;
                await until(async () => (await view.screen.read(cell)).frame === at, `${button} leads to frame ${at}`);
            }
        }
        await stillFrame(view, cell);
        await view.click('play-stop');
        await view.says(/^Stopped/);
    });

fact('a local file ends by itself and tells so', async (stage, view) => {
    const path = downloads(stage).find((file) => file.includes('_100005_100015'));
    await openLocal(stage, view, path);
    await view.says(/^Playing \//);
    await view.says(/^The recording has ended/, 60000);
    assert.equal(await view.byId('play-stop').isDisabled(), true);
});

fact('a file that is none, an empty one and a cut one are told or played as far as they go, and the next one works', async (stage, view) => {
    const good = downloads(stage).find((file) => file.includes('_100005_100015'));
    const bad = join(stage.dir, 'letter.avi');
    writeFileSync(bad, 'Dear recorder, this is no video.\n'.repeat(100));
    const empty = join(stage.dir, 'empty.h265x');
    writeFileSync(empty, '');
    for (const path of [bad, empty, join(stage.dir, 'not there.avi')]) {
        await openLocal(stage, view, path);
        await view.says(/^The file could not be played/);
    }
    const cut = join(stage.dir, 'cut.h265x');
    writeFileSync(cut, readFileSync(good).subarray(0, Math.floor(statSync(good).size / 2)));
    await openLocal(stage, view, cut);
    await view.says(/^The recording has ended/, 60000);
    const fine = join(stage.dir, 'Größe und Länge.h265x');
    copyFileSync(good, fine);
    await openLocal(stage, view, fine);
    await view.says(/^Playing .*Größe und Länge\.h265x/);
    const [cell] = await view.cells(2);
    await framesOf(view, [cell], [0]);
});

fact('a picker that the user leaves changes nothing', async (stage, view) => {
    await openLocal(stage, view, null);
    await view.says(/^No file was chosen/);
});

/** The day's first picture in a window: no other one of the recording bears its number. */
async function showPicture(view, cell) {
    await view.byId('picture-0').click();
    await view.says(/^The picture of 10:00:00/);
    await until(async () => {
        const code = (await view.screen.picture()).code(cell);
        return code?.channel === 2 && code.frame === frameAt(BEGIN);
    }, 'the picture stands in the window');
}

fact('a recording is played by its name, and a picture of the device is shown until it is stopped or left', async (stage, view) => {
    await prepare(view, [2]);
    if ((await view.byId('files-panel').getAttribute('aria-pressed')) !== 'true') await view.click('files-panel');
    await view.byId('file-0').click();
    await view.says(/^Playing the recording of 10:00:00/);
    const [cell] = await view.cells(1);
    const { cells: [{ channel, first }] } = await view.screen.watch(5, [cell], FRAMES);
    assert.equal(channel, 2);
    assert.ok(first <= 4 * FPS, `it began at its beginning: ${first}`);
    await showPicture(view, cell);
    await view.click('play-stop');
    await view.says(/^Stopped/);
    await view.gone(cell, 1);
    await showPicture(view, cell);
    // Not by the page's buttons: it stops everything itself before it leaves.
    await view.page.evaluate(async () => {
        const { client } = globalThis.lumoViewer.session;
        await client.showPage(0);
        await client.showPage(1);
    });
    const { cells: [{ samples, bad }] } = await view.screen.watch(2, [cell]);
    assert.equal(bad, samples, 'the picture does not come back');
});
