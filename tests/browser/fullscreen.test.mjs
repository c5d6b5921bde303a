// Full screen: over everything, and back to the very place.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { cellsOf } from './screen.mjs';
import { xdo } from './view.mjs';

const four = [0, 1, 2, 3];
const fact = scene({ channels: 4 }, (stage) => stage.liveUrl({ split: 1, channels: 4, stream: 1 }));

/** The whole screen is the grid, and moves. */
async function fillsScreen(view) {
    const { width: w, height: h } = await view.screen.picture();
    const cells = cellsOf({ x: 0, y: 0, w, h }, 2);
    await until(async () => {
        const answers = await Promise.all(cells.map((cell) => view.screen.read(cell)));
        return answers.every((a, i) => a.ok && a.channel === i);
    }, 'four channels fill the screen');
    await view.moves(cells);
}

async function enter(view) {
    await view.click('full-screen');
    await fillsScreen(view);
}

/** What the window manager has put a frame around or lists, with the process of each: "0x... PID". */
const managed = () => execFileSync('wmctrl', ['-lp'], { encoding: 'utf8' }).split('\n').filter(Boolean).map((line) => line.split(/\s+/)).map(([id, , pid]) => `${id} ${pid}`).sort();

/** The pictures stand in the page again, and nowhere else. */
async function isBack(view) {
    await view.live(2, four);
    await view.staysInside();
}

fact('the button fills the screen, and Escape brings the pictures back to their place', async (stage, view) => {
    await view.live(2, four);
    await enter(view);
    xdo('key', 'Escape');
    await isBack(view);
});

fact('it can be entered and left again and again', async (stage, view) => {
    for (let i = 0; i < 3; ++i) {
        await enter(view);
        xdo('key', 'Escape');
        await isBack(view);
    }
});

fact('Escape at once after the button brings the pictures back too', async (stage, view) => {
    const cells = await view.live(2, four);
    await view.click('full-screen');
    // The reply comes when the surface has left the page; the key counts only once the surface has the keyboard.
    await view.says(/Full screen/);
    await until(async () => {
        xdo('key', 'Escape');
        return (await Promise.all(cells.map((cell) => view.screen.read(cell)))).every((a, i) => a.ok && a.channel === i);
    }, 'the pictures are back in the page');
    await isBack(view);
});

fact('a double click in full screen gives one cell the screen', async (stage, view) => {
    await enter(view);
    const { width: w, height: h } = await view.screen.picture();
    view.doubleClickCell(cellsOf({ x: 0, y: 0, w, h }, 2)[1]);
    const [whole] = cellsOf({ x: 0, y: 0, w, h }, 1);
    await until(async () => (await view.screen.read(whole)).channel === 1, 'channel 2 alone fills the screen');
    view.doubleClickCell(whole);
    await fillsScreen(view);
    xdo('key', 'Escape');
    await isBack(view);
});

fact('after full screen the pictures follow the window as before', async (stage, view) => {
    const before = await view.rect();
    execFileSync('wmctrl', ['-i', '-r', `0x${Number(await view.windowId()).toString(16)}`, '-e', '0,250,160,-1,-1']);
    await until(async () => (await view.rect()).x !== before.x, 'the window stands elsewhere');
    await isBack(view);
    assert.notDeepEqual(await view.rect(), before);
});

fact('after full screen the window manager has no more windows than before', async (stage, view) => {
    const before = managed();
    const viewer = await stage.oneViewer();
    assert.ok(!before.some((window) => window.endsWith(` ${viewer}`)), 'the surface is no window of its own');
    for (let i = 0; i < 5; ++i) {
        await enter(view);
        xdo('key', 'Escape');
        await view.live(2, four);
        await until(() => managed().join() === before.join(), `the windows are ${before}`).catch((error) => {
            throw new Error(`${error.message}; there are ${managed()}`);
        });
    }
    await isBack(view);
});

fact('after full screen another window covers the pictures and gets its clicks', async (stage, view) => {
    await enter(view);
    xdo('key', 'Escape');
    const cells = await view.live(2, four);
    const rect = await view.rect();
    const other = await stage.openWindow(`${stage.recorderUrl}/api/state`, { position: [rect.x - 40, rect.y - 150], size: [700, 500] });
    const [covered] = cells;
    await until(async () => !(await view.screen.read(covered)).ok, 'the first cell is covered');
    await other.page.evaluate(() => addEventListener('pointerdown', () => { document.title = 'clicked'; }));
    view.clickCell({ x: rect.x, y: rect.y, w: 200, h: 200 });
    await until(async () => (await other.page.title()) === 'clicked', 'the window in front is clicked');
    assert.ok(!(await view.screen.read(covered)).ok, 'it stays in front');
    await other.page.close();
    await view.live(2, four);
});

fact('after full screen the pictures go with a minimised window and come back with it', async (stage, view) => {
    const rect = await view.rect();
    const window = await view.windowId();
    xdo('windowminimize', '--sync', window);
    await view.gone(rect, 2);
    xdo('windowactivate', window);
    await isBack(view);
});
