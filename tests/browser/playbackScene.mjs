// Stages with recordings, and what tests of playback ask of them.
//
// Every recorded picture bears its number in its stretch and its time on the device's clock, so a number read from the
// screen tells the second that it belongs to.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { Picture } from './picture.mjs';
import { until } from './processes.mjs';
import { xdo } from './view.mjs';

/** Seconds of video that each channel is given: half of it on the first day, two quarters on the second. */
export const RECORDED = 480;
export const DAY = '2025-03-29';
export const NEXT_DAY = '2025-03-30';
/** Of the first day's stretch; the second day begins alike, and again half an hour later. */
export const BEGIN = 10 * 3600;
export const FPS = 25;
export const FRAMES = { loop: 65536 };
export const FOUR = [0, 1, 2, 3];

/** Where the device is, and where the viewer is: clocks that show other hours. */
export const ZONES = { recorderEnv: { TZ: 'Europe/Berlin' }, env: { TZ: 'America/New_York' } };
export const ONE_ZONE = { recorderEnv: { TZ: 'Europe/Berlin' }, env: { TZ: 'Europe/Berlin' } };

export const recordings = (more = {}) => ({ channels: 4, recorder: ['--recorded', String(RECORDED)], ...ZONES, ...more });
export const playbackUrl = (stage) => stage.liveUrl({ view: 'playback' });

export const clock = (seconds) => [seconds / 3600, (seconds / 60) % 60, seconds % 60].map((part) => String(Math.floor(part)).padStart(2, '0')).join(':');
export const frameAt = (seconds) => (seconds - BEGIN) * FPS;

/** Logged in, on the playback page, with these channels in the windows, on this day. */
export async function prepare(view, channels = FOUR, date = DAY) {
    await view.phase('live');
    await until(async () => (await view.page.locator('#app').getAttribute('data-view')) === 'playback', 'the playback page');
    if ((await view.byId('source-local').getAttribute('aria-pressed')) === 'true') await view.click('source-device');
    await until(async () => (await view.byId('source-device').getAttribute('aria-pressed')) === 'true', 'what the device recorded');
    for (const channel of FOUR) {
        const button = view.byId(`play-channel-${channel}`);
        if (((await button.getAttribute('aria-pressed')) === 'true') !== channels.includes(channel)) await button.click();
        await until(async () => ((await button.getAttribute('aria-pressed')) === 'true') === channels.includes(channel), `channel ${channel + 1} as wanted`);
    }
    await view.byId('date').fill(date);
    // The first question after the recordings were made may take its time.
    for (const channel of channels) await until(async () => (await view.byId(`timeline-row-${channel}`).getAttribute('data-blocks')) !== '', `the recordings of channel ${channel + 1}`, 120000);
}

/** Types a time and plays from it. */
export async function playAt(view, seconds) {
    await view.byId('go-to-time').fill(clock(seconds));
    await view.click('go-to');
    await view.says(new RegExp(`^Playing from ${clock(seconds)} on`));
}

/** Waits until each cell shows a picture of its channel; gives the frame numbers, read from one picture of the screen. */
export async function framesOf(view, cells, channels, ms = 30000) {
    return until(async () => {
        const picture = await view.screen.picture();
        const codes = cells.map((cell) => picture.code(cell));
        return codes.every((code, i) => code?.channel === channels[i]) && codes.map(({ frame }) => frame);
    }, `pictures of channels ${channels.map((channel) => channel + 1)}`, ms);
}

/** The frame of one cell, once it stands still. */
export async function stillFrame(view, cell) {
    let last = -1;
    let same = 0;
    return until(async () => {
        const { ok, frame } = await view.screen.read(cell);
        same = ok && frame === last ? same + 1 : 0;
        last = frame;
        return same >= 8 && { frame };
    }, 'a picture that stands still').then(({ frame }) => frame);
}

/** Clicks into the timeline at a second, as near as a pixel is: gives the second that the page says is there. */
export async function clickTimeline(view, seconds) {
    const track = view.byId('timeline');
    const box = await track.boundingBox();
    const scale = await view.page.evaluate(() => globalThis.lumoViewer.playback.day.timeline.scale);
    // The middle of the pixels that stand for this second.
    await track.hover({ position: { x: (box.width * (seconds + 0.5 - scale.from)) / (scale.to - scale.from), y: box.height / 2 } });
    const there = await track.getAttribute('aria-valuetext');
    await view.page.mouse.down();
    await view.page.mouse.up();
    return there;
}

/** Chooses a folder inside the stage's own for downloads, clips and snapshots. */
export async function useFolders(stage, view, recordType = 0) {
    const { client } = { client: 'globalThis.lumoViewer.session.client' };
    await view.page.evaluate(`${client}.saveConfig(${JSON.stringify({ RecPath: join(stage.dir, 'clips'), CapPath: join(stage.dir, 'pictures'), DownPath: join(stage.dir, 'downloads'), RecordType: recordType })})`);
}

export const filesIn = (folder) => (existsSync(folder) ? readdirSync(folder).map((name) => join(folder, name)) : []);

/** A drag of the user's inside a cell, in parts of its size. */
export function dragIn(cell, [fromX, fromY], [toX, toY]) {
    const at = (x, y) => [Math.round(cell.x + cell.w * x), Math.round(cell.y + cell.h * y)];
    xdo('mousemove', ...at(fromX, fromY), 'mousedown', 1);
    for (let i = 1; i <= 5; ++i) xdo('mousemove', ...at(fromX + ((toX - fromX) * i) / 5, fromY + ((toY - fromY) * i) / 5));
    xdo('mouseup', 1);
}

/** The access units of a raw recording: `{ hidden, key, payload }` each. */
export function rawFrames(path) {
    const file = readFileSync(path);
    const frames = [];
    for (let at = 0; at < file.length;) {
        assert.equal(file.readUIntBE(at, 3), 1, `a frame begins at byte ${at}`);
        const kind = file[at + 3];
        if (kind === 0xfa) {
            at += 8 + file.readUInt16LE(at + 6);
            continue;
        }
        assert.ok(kind === 0xf0 || kind === 0xf1, `frame of kind ${kind}`);
        const length = file.readUInt32LE(at + 12);
        frames.push({ key: kind === 0xf0, hidden: (file.readUInt16LE(at + 10) & 1) !== 0, payload: file.subarray(at + 24, at + 24 + length) });
        at += 24 + length;
        assert.ok(at <= file.length, 'the last frame is whole');
    }
    return frames;
}

/** Frame numbers in the pictures that an independent decoder finds in a file. */
export function numbersIn(path, ...input) {
    const size = execFileSync('ffprobe', ['-v', 'error', ...input, '-select_streams', 'v', '-show_entries', 'stream=width,height', '-of', 'csv=p=0', path], { encoding: 'utf8' }).trim();
    const [width, height] = size.split(/[,\n]/).map(Number);
    // The strip alone, squeezed to a few lines: a minute of whole pictures would be a gigabyte.
    const rows = 40;
    const out = execFileSync('ffmpeg', ['-v', 'error', ...input, '-i', path, '-fps_mode', 'passthrough', '-vf', `crop=iw:ih/5:0:ih*4/5,scale=160:${rows}:flags=area`, '-f', 'rawvideo', '-pix_fmt', 'gray', '-'], { maxBuffer: 1 << 28 });
    assert.ok(width > 0 && height > 0, `a picture size in ${path}`);
    const numbers = [];
    for (let at = 0; at + 160 * rows <= out.length; at += 160 * rows) numbers.push(stripNumber((row, column) => out[at + (row * 20 + 10) * 160 + column * 10 + 5]));
    return numbers;
}

function stripNumber(luma) {
    let value = 0;
    for (let i = 0; i < 32; ++i) value = value * 2 + (luma(i >> 4, i & 15) >= 128 ? 1 : 0);
    return Math.floor(value / 256) & 0xffff;
}

/** What the raw recording holds, as a bare stream that other programs read. */
export function withBareStream(frames, use) {
    const dir = mkdtempSync(join(tmpdir(), 'lumo-stream-'));
    try {
        const path = join(dir, 'video.h264');
        writeFileSync(path, Buffer.concat(frames.map(({ payload }) => payload)));
        return use(path);
    } finally {
        rmSync(dir, { recursive: true, force: true });
    }
}

export function countFrames(path) {
    return Number(execFileSync('ffprobe', ['-v', 'error', '-count_frames', '-select_streams', 'v', '-show_entries', 'stream=nb_read_frames', '-of', 'csv=p=0', path], { encoding: 'utf8' }).trim());
}

export { Picture };
