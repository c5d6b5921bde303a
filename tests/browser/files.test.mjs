// What is kept of the pictures - snapshots and recordings - and how they are shown: colour, aspect, sound.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, mkdirSync, readdirSync, readFileSync, statSync } from 'node:fs';
import { join } from 'node:path';

import { Picture } from './picture.mjs';
import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { xdo } from './view.mjs';

// Pictures of 4 to 3, so that the original aspect is another than the cell's.
const fact = scene({ channels: 4, recorder: ['--main', '640x480'] }, (stage) => stage.liveUrl({ split: 1, channels: 4 }));

const filesIn = (folder) => (existsSync(folder) ? readdirSync(folder).map((name) => join(folder, name)) : []);

async function select(view, cell, channel) {
    view.clickCell((await view.cells(2))[cell]);
    await until(async () => (await view.byId('selected').textContent()) === `Cell ${cell + 1}: channel ${channel + 1}`, `cell ${cell + 1} is selected`);
}

/** Chooses folders inside the stage's own, and the kind of recordings. */
async function settings(stage, view, recordType) {
    await view.click('settings-panel');
    await until(async () => (await view.byId('record-path').inputValue()) !== '', 'the folders are shown');
    await view.byId('record-path').fill(join(stage.dir, 'records'));
    await view.byId('capture-path').fill(join(stage.dir, 'pictures'));
    await view.byId('record-type').selectOption(String(recordType));
    await view.click('settings-save');
    await view.says(/Settings saved/);
    await view.click('settings-panel');
}

/** Records the selected channel until the file has grown to a few seconds; gives its path. */
async function record(stage, view, suffix) {
    const folder = join(stage.dir, 'records');
    const before = filesIn(folder);
    await view.click('record');
    await view.says(/^Recording channel/);
    const path = await until(() => filesIn(folder).find((file) => !before.includes(file) && file.endsWith(suffix)), `a ${suffix} file`);
    const start = await stage.recorderCall('/api/latest?channel=2&stream=0');
    await until(async () => {
        const now = await stage.recorderCall('/api/latest?channel=2&stream=0');
        return (now.loop - start.loop) * 125 + now.frame - start.frame >= 75;
    }, '75 frames have left the recorder');
    await view.click('record');
    await view.says(/^Recording of channel 3 saved/);
    return path;
}

fact('a snapshot is a BMP file of the full size that shows the selected channel', async (stage, view) => {
    await view.live(2, [0, 1, 2, 3]);
    await settings(stage, view, 0);
    await select(view, 2, 2);
    await view.click('snapshot');
    await view.says(/^Snapshot of channel 3 saved in /);
    const [path] = await until(() => { const all = filesIn(join(stage.dir, 'pictures')); return all.length > 0 && all; }, 'a snapshot');
    assert.match(path, /\/03_\d{8}_\d{6}\.bmp$/);
    const picture = await until(() => { try { return Picture.fromBmp(readFileSync(path)); } catch { return null; } }, 'a whole BMP file');
    assert.deepEqual([picture.width, picture.height], [640, 480]);
    assert.equal(picture.code()?.channel, 2);
});

fact('a raw recording holds whole frames from a key frame on, and none is missing', async (stage, view) => {
    const file = readFileSync(await record(stage, view, '.h265x'));
    let frames = 0;
    for (let at = 0; at < file.length;) {
        assert.equal(file.readUIntBE(at, 3), 1, `a frame begins at byte ${at}`);
        const kind = file[at + 3];
        assert.ok(kind === 0xf0 || kind === 0xf1 || kind === 0xfa, `frame of kind ${kind}`);
        const video = kind !== 0xfa;
        if (frames === 0) assert.equal(kind, 0xf0, 'the first is a key frame');
        if (video) assert.deepEqual([file.readUInt16LE(at + 6), file.readUInt16LE(at + 8)], [640, 480]);
        at += video ? 24 + file.readUInt32LE(at + 12) : 8 + file.readUInt16LE(at + 6);
        frames += video;
        assert.ok(at <= file.length, 'the last frame is whole');
    }
    assert.ok(frames >= 40, `${frames} frames`);
});

fact('an AVI recording plays elsewhere and shows the channel', async (stage, view) => {
    await settings(stage, view, 2);
    const path = await record(stage, view, '.avi');
    assert.ok(statSync(path).size > 10000);
    const { streams } = JSON.parse(execFileSync('ffprobe', ['-v', 'error', '-count_frames', '-show_streams', '-of', 'json', path], { encoding: 'utf8' }));
    const video = streams.find((stream) => stream.codec_type === 'video');
    assert.equal(video.codec_name, (await stage.stream(2)).codec.toLowerCase());
    assert.deepEqual([video.width, video.height], [640, 480]);
    assert.ok(Number(video.nb_read_frames) >= 40, `${video.nb_read_frames} frames`);
    const first = execFileSync('ffmpeg', ['-v', 'error', '-i', path, '-frames:v', '1', '-f', 'image2pipe', '-c:v', 'ppm', '-'], { maxBuffer: 1 << 24 });
    assert.equal(Picture.fromPpm(first).code()?.channel, 2);
});

/** The window of the picker that stands beside the stage's program. */
async function pickerWindow(stage) {
    const found = (...words) => { try { return execFileSync(words[0], words.slice(1), { encoding: 'utf8' }).trim().split('\n').pop(); } catch { return ''; } };
    const pid = await until(() => found('pgrep', '-f', join(stage.dir, 'bin', 'Browse')), 'the picker runs');
    return until(() => found('xdotool', 'search', '--onlyvisible', '--pid', pid), 'its window is on the screen');
}

fact('a folder is chosen in the window of the picker that comes with the program', async (stage, view) => {
    const chosen = join(stage.dir, 'chosen');
    mkdirSync(chosen);
    await view.click('settings-panel');
    await until(async () => (await view.byId('capture-path').inputValue()) !== '', 'the folders are shown');
    await view.click('capture-pick');
    xdo('windowfocus', '--sync', await pickerWindow(stage));
    xdo('key', 'ctrl+a');
    xdo('type', '--delay', 5, chosen);
    xdo('key', 'Return');
    await until(async () => (await view.byId('capture-path').inputValue()) === chosen, 'the page shows what was chosen');
    await view.click('settings-panel');
});

fact('sound is switched on and off, and told where there is none', async (stage, view) => {
    await select(view, 0, 0);
    await view.click('sound');
    const said = await view.says(/^Sound of channel 1 on\.|sends no sound, or this computer cannot play it/);
    if (!/on\.$/.test(said)) return; // a computer without a sound card
    assert.equal(await view.byId('sound').getAttribute('aria-pressed'), 'true');
    await view.click('sound');
    await view.says(/^Sound off/);
    assert.equal(await view.byId('sound').getAttribute('aria-pressed'), 'false');
});

/** Moves a slider as a hand does. */
async function slide(view, name, value) {
    await view.byId(`color-${name}`).evaluate((input, wanted) => {
        input.value = wanted;
        input.dispatchEvent(new Event('input', { bubbles: true }));
    }, String(value));
    const keys = { brightness: 'nBrightness' };
    await until(() => view.page.evaluate(async ([key, wanted]) => (await globalThis.lumoViewer.session.client.readColor(1))[key] === wanted, [keys[name], value]), `the process has ${name} ${value}`);
}

/** Collects a cell's pixels by frame number. */
async function collect(view, cell, frames, until_) {
    await until(async () => {
        const picture = await view.screen.picture();
        const code = picture.code(cell);
        if (code) frames.set(code.frame, picture.part(cell));
        return until_(code?.frame);
    }, 'the frames of a loop', 90000);
}

fact('the brightness slider makes its channel brighter and darker, and its middle gives the very same pictures back', async (stage, view) => {
    await select(view, 1, 1);
    await view.click('picture-panel');
    const cell = (await view.shows(2, [0, 1, 2, 3]))[1];
    const other = (await view.cells(2))[2];
    const mean = async (at) => (await view.screen.picture()).brightness({ ...at, h: Math.round(at.h * 0.75) });
    const middle = await mean(cell);
    const besides = await mean(other);
    const before = new Map();
    await collect(view, cell, before, () => before.size >= 20);
    await slide(view, 'brightness', 90);
    await until(async () => (await mean(cell)) > middle + 12, 'a brighter picture');
    await slide(view, 'brightness', 40);
    await until(async () => (await mean(cell)) < middle - 12, 'a darker picture');
    assert.ok(Math.abs((await mean(other)) - besides) < 8, 'the other channel keeps its brightness');
    await slide(view, 'brightness', 64);
    await until(async () => Math.abs((await mean(cell)) - middle) < 8, 'the old brightness');
    const after = new Map();
    await collect(view, cell, after, (frame) => before.has(frame));
    const again = [...after.keys()].find((frame) => before.has(frame));
    assert.ok(before.get(again).equals(after.get(again)), `frame ${again} has the same pixels as before`);
    await view.click('picture-panel');
});

fact('the original aspect leaves black bars at the sides, and a second click fills the cell again', async (stage, view) => {
    const cells = await view.live(2, [0, 1, 2, 3]);
    await view.click('aspect');
    await view.says(/Original aspect/);
    const cell = cells[1];
    const width = Math.round((cell.h * 4) / 3);
    const bar = Math.floor((cell.w - width) / 2);
    const inner = { ...cell, x: cell.x + bar, w: width };
    await until(async () => {
        const picture = await view.screen.picture();
        const bars = [{ ...cell, w: bar - 2 }, { ...cell, x: cell.x + cell.w - bar + 2, w: bar - 2 }];
        return picture.code(inner)?.channel === 1 && bars.every((side) => picture.brightest(side) === 0);
    }, 'black bars beside the picture');
    await view.click('aspect');
    await view.live(2, [0, 1, 2, 3]);
});
