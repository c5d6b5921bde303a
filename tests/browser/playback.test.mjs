// Recorded video of a device whose clock shows other hours than this computer's.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';

import {
    BEGIN, clickTimeline, clock, DAY, dragIn, filesIn, FOUR, FPS, FRAMES, frameAt, framesOf, NEXT_DAY, Picture, playAt, playbackUrl, prepare,
    recordings, RECORDED, stillFrame, useFolders,
} from './playbackScene.mjs';
import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const fact = scene(recordings(), playbackUrl);

/** Does something while the cells are watched; gives the frames that each showed, in their order. */
async function watching(view, cells, seconds, act) {
    const watch = view.screen.watch(seconds, cells, { ...FRAMES, ages: true });
    await act();
    return (await watch).cells.map(({ channel, seen }) => ({ channel, frames: seen.map(([frame]) => frame), times: seen.map(([, us]) => us) }));
}

const mean = (values) => values.reduce((sum, value) => sum + value, 0) / values.length;

/** How far each window is behind the first, in frames, over a second of pictures of the screen. */
async function leads(view, cells, channels) {
    const all = [];
    for (let i = 0; i < 15; ++i) all.push(await framesOf(view, cells, channels));
    return cells.map((_, cell) => mean(all.map((frames) => frames[cell] - frames[0])));
}

fact('the timeline shows what the device recorded, by the hours of its own clock', async (stage, view) => {
    await prepare(view);
    for (const channel of FOUR) assert.equal(await view.byId(`timeline-row-${channel}`).getAttribute('data-blocks'), `10:00:00-${clock(BEGIN + RECORDED / 2)}`);
    await view.byId('date').fill(NEXT_DAY);
    const parts = [BEGIN, BEGIN + 1800].map((begin) => `${clock(begin)}-${clock(begin + RECORDED / 4)}`).join(' ');
    await until(async () => (await view.byId('timeline-row-0').getAttribute('data-blocks')) === parts, `${parts} on the second day`, 60000);
});

fact('playback by time begins at the asked second, and shows no picture before it', async (stage, view) => {
    await prepare(view);
    const cells = await view.cells(2);
    const asked = BEGIN + 61;
    const shown = await watching(view, cells, 6, () => playAt(view, asked));
    shown.forEach(({ channel, frames }, i) => {
        assert.equal(channel, i, `window ${i + 1} shows its channel`);
        assert.equal(frames[0], frameAt(asked), `the first picture of window ${i + 1}`);
        assert.equal(Math.min(...frames), frameAt(asked), `nothing before it in window ${i + 1}`);
    });
    const picture = await view.screen.picture();
    for (const cell of cells) {
        const { frame } = picture.code(cell);
        const second = BEGIN + Math.floor(frame / FPS);
        assert.equal(picture.time(cell)?.slice(0, 19), `${DAY} ${clock(second)}`, 'the date in the picture');
    }
});

fact('the page tells the position by the clock of the device', async (stage, view) => {
    const [cell] = await view.cells(2);
    await until(async () => {
        const { ok, frame } = await view.screen.read(cell);
        const told = await view.byId('position').textContent();
        const seconds = BEGIN + frame / FPS;
        return ok && [0, 1, 2].some((behind) => clock(seconds - behind) === told);
    }, 'the told position is that of the picture, or of up to two seconds before it');
});

fact('four windows started together differ by their start at most, and do not drift apart in a minute', async (stage, view) => {
    const cells = await view.cells(2);
    const asked = BEGIN + 20;
    const begun = Date.now();
    await playAt(view, asked);
    const took = ((Date.now() - begun) / 1000) * FPS;
    await framesOf(view, cells, FOUR);
    const first = await leads(view, cells, FOUR);
    first.forEach((lead, i) => assert.ok(Math.abs(lead) <= took + 1, `window ${i + 1} is ${lead} frames off, and starting all took ${took}`));
    await until(async () => (await framesOf(view, cells, FOUR))[0] >= frameAt(asked + 62), 'a minute has passed', 90000);
    const last = await leads(view, cells, FOUR);
    last.forEach((lead, i) => assert.ok(Math.abs(lead - first[i]) <= 1, `window ${i + 1} drifted from ${first[i]} to ${last[i]} frames`));
});

fact('pause holds the pictures, and play goes on with the next ones', async (stage, view) => {
    const cells = await view.cells(2);
    await view.click('play');
    await view.says(/^Paused/);
    const held = [];
    for (const cell of cells) held.push(await stillFrame(view, cell));
    const shown = await watching(view, cells, 3, async () => {
        await view.click('play');
        await view.says(/^Playing/);
    });
    shown.forEach(({ frames }, i) => {
        assert.ok(frames.length > FPS, `window ${i + 1} goes on`);
        frames.forEach((frame, at) => assert.equal(frame - held[i], at, `window ${i + 1} loses no picture`));
    });
});

fact('a step moves every window by one picture, forward and back', async (stage, view) => {
    const cells = await view.cells(2);
    await view.click('play');
    await view.says(/^Paused/);
    let at = [];
    for (const cell of cells) at.push(await stillFrame(view, cell));
    for (const [button, by] of [['step-forward', 1], ['step-forward', 1], ['step-forward', 1], ['step-back', -1], ['step-back', -1], ['step-back', -1], ['step-back', -1], ['step-forward', 1]]) {
        await view.click(button);
        at = at.map((frame) => frame + by);
        await until(async () => {
            const picture = await view.screen.picture();
            return cells.every((cell, i) => picture.code(cell)?.frame === at[i]);
        }, `${button} leads to frames ${at}`);
    }
    await view.click('play');
    await view.moves(cells);
});

fact('each speed shows as much time as it says', async (stage, view) => {
    await prepare(view, [0]);
    const cells = [(await view.cells(2))[0]];
    await playAt(view, BEGIN + 5);
    for (const [speed, factor] of [[1, 2], [2, 4], [3, 8], [4, 16], [-1, 1 / 2], [-2, 1 / 4]]) {
        await view.byId('speed').selectOption(String(speed));
        await view.says(/^Speed /);
        await view.screen.watch(1.5, cells, FRAMES); // what was on its way at the old speed
        const [{ seen }] = (await view.screen.watch(4, cells, { ...FRAMES, ages: true })).cells;
        const [[first, from], [last, to]] = [seen[0], seen.at(-1)];
        const rate = ((last - first) / FPS / (to - from)) * 1e6;
        assert.ok(Math.abs(rate / factor - 1) < 0.15, `${factor} times: ${rate.toFixed(2)} seconds a second`);
    }
    await view.byId('speed').selectOption('0');
    await view.says(/^Normal speed/);
});

fact('a seek lands on the asked second, in all windows', async (stage, view) => {
    await prepare(view);
    const cells = await view.cells(2);
    await playAt(view, BEGIN + 10);
    await framesOf(view, cells, FOUR);
    await view.click('zoom-600');
    for (const asked of [BEGIN + 130, BEGIN + 77, BEGIN + 201, BEGIN + 3]) {
        const before = await framesOf(view, cells, FOUR);
        const shown = await watching(view, cells, 5, async () => {
            assert.equal(await clickTimeline(view, asked), clock(asked), 'the timeline names the second under the pointer');
            await view.says(new RegExp(`^Playing from ${clock(asked)} on`));
        });
        shown.forEach(({ frames }, i) => {
            const old = frames.filter((frame) => frame >= before[i] && frame < before[i] + 6 * FPS && frame !== frameAt(asked));
            const arrived = frames.indexOf(frameAt(asked));
            assert.ok(arrived >= 0, `window ${i + 1} shows frame ${frameAt(asked)}; seen: ${frames}`);
            assert.deepEqual(frames.slice(0, arrived).filter((frame) => !old.includes(frame)), [], `window ${i + 1} shows nothing else on its way`);
            assert.ok(frames.slice(arrived).every((frame) => frame >= frameAt(asked)), `window ${i + 1} never falls behind it`);
        });
    }
});

fact('recordings with a gap between them are played one after the other', async (stage, view) => {
    await prepare(view, FOUR, NEXT_DAY);
    const cells = await view.cells(2);
    const end = BEGIN + RECORDED / 4;
    await playAt(view, end - 4);
    await framesOf(view, cells, FOUR);
    await until(async () => {
        const picture = await view.screen.picture();
        return cells.every((cell) => picture.time(cell)?.startsWith(`${NEXT_DAY} 10:30:`));
    }, 'pictures from behind the gap in every window', 60000);
    await until(async () => /^10:30:/.test(await view.byId('position').textContent()), 'the page tells the new position');
});

fact('a time at which nothing was recorded leads to the next recording', async (stage, view) => {
    await view.byId('go-to-time').fill('10:20');
    await view.click('go-to');
    await view.says(/^Playing from 10:30:00 on\. Nothing was recorded at 10:20:00\./);
    await framesOf(view, await view.cells(2), FOUR);
});

async function select(view, cells, window) {
    view.clickCell(cells[window]);
    await until(async () => (await view.byId('selected').textContent()).startsWith(`Window ${window + 1}:`), `window ${window + 1} is selected`);
}

fact('a snapshot shows the selected window in full size', async (stage, view) => {
    await useFolders(stage, view);
    const cells = await view.cells(2);
    await select(view, cells, 2);
    await view.click('play-snapshot');
    await view.says(/^Snapshot of channel 3 saved in /);
    const [path] = await until(() => { const all = filesIn(join(stage.dir, 'pictures')); return all.length > 0 && all; }, 'a snapshot');
    assert.match(path, /\/03_\d{8}_\d{6}\.bmp$/);
    const picture = await until(() => { try { return Picture.fromBmp(readFileSync(path)); } catch { return null; } }, 'a whole BMP file');
    assert.equal(picture.code()?.channel, 2);
    assert.match(picture.time(), new RegExp(`^${NEXT_DAY} 10:30:`));
});

fact('a part of the picture is enlarged by a drag, and the whole comes back', async (stage, view) => {
    const cells = await view.cells(2);
    await select(view, cells, 1);
    await view.click('zoom');
    await view.says(/^Draw a rectangle/);
    dragIn(cells[1], [0.1, 0.1], [0.5, 0.5]);
    // The strip at the bottom is outside of what is shown now.
    await until(async () => !(await view.screen.read(cells[1])).ok && (await view.screen.read(cells[0])).ok, 'the picture is enlarged, its neighbour is not');
    await view.click('zoom');
    await view.says(/^The whole picture again/);
    await framesOf(view, cells, FOUR);
});

fact('sound is switched on and off, and told where there is none', async (stage, view) => {
    await view.click('play-sound');
    const said = await view.says(/^Sound of channel 2 on\.|no sound, or this computer cannot play it/);
    if (!/on\.$/.test(said)) return; // a recording or a computer without sound
    await view.click('play-sound');
    await view.says(/^Sound off/);
});

fact('going live brings the pictures back into their cells, and going back to playback shows none of them', async (stage, view) => {
    await view.click('view-live');
    await view.says(/^Live/);
    await view.click('split-1');
    await view.click('start-all');
    await view.live(2, FOUR);
    await view.click('view-playback');
    await view.says(/^Click into the timeline/);
    await view.gone(await view.rect(), 2);
    await prepare(view);
    await playAt(view, BEGIN + 30);
    await framesOf(view, await view.cells(2), FOUR);
    await view.click('view-live');
    await view.says(/^Live/);
    await view.live(2, FOUR);
    for (const channel of FOUR) assert.equal((await stage.stream(channel)).playing, true);
});

fact('a device without a list of recordings is played by date and time', async (stage, view) => {
    await view.page.route('**/api/recordings**', (route) => route.fulfill({ status: 404, body: 'not found' }));
    await view.page.reload();
    await view.phase('live');
    await until(async () => (await view.page.locator('#app').getAttribute('data-view')) === 'playback', 'the playback page');
    await until(async () => /gives no list/.test(await view.byId('timeline-row-0').textContent()), 'the page says that there is no list');
    await view.byId('date').fill(DAY);
    const [cell] = await view.cells(2);
    const [{ channel, frames }] = await watching(view, [cell], 6, () => playAt(view, BEGIN + 45));
    assert.deepEqual([channel, frames[0]], [0, frameAt(BEGIN + 45)]);
    await view.page.unroute('**/api/recordings**');
});
