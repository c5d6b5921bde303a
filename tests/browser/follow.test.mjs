// The surface follows the page: its window, its layout, its tab.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { xdo } from './view.mjs';

const four = [0, 1, 2, 3];
const fact = scene({ channels: 4 }, (stage) => stage.liveUrl({ split: 1, channels: 4, stream: 1 }));

/** Places the browser window as a user would drag it. */
async function place(view, ...geometry) {
    execFileSync('wmctrl', ['-i', '-r', `0x${Number(await view.windowId()).toString(16)}`, '-e', `0,${geometry.join(',')}`]);
}

/** Waits until the page's rectangle is another one than before, and shows its channels. */
async function goesTo(view, before, slack = 0) {
    await until(async () => JSON.stringify(await view.rect()) !== JSON.stringify(before), 'the rectangle of the page is another');
    await view.live(2, four);
    await view.staysInside(slack);
}

fact('a moved window takes the pictures along', async (stage, view) => {
    await view.live(2, four);
    const before = await view.rect();
    await place(view, 300, 150, -1, -1);
    await goesTo(view, before);
});

fact('a window of another size gets pictures of another size', async (stage, view) => {
    const before = await view.rect();
    await place(view, -1, -1, 1150, 800);
    await goesTo(view, before);
    const { w, h } = await view.rect();
    assert.ok(w < before.w && h < before.h);
});

fact('a maximised window gets larger pictures, and a restored one the old ones', async (stage, view) => {
    const before = await view.rect();
    const window = `0x${Number(await view.windowId()).toString(16)}`;
    execFileSync('wmctrl', ['-i', '-r', window, '-b', 'add,maximized_vert,maximized_horz']);
    await goesTo(view, before);
    assert.ok((await view.rect()).w > before.w);
    execFileSync('wmctrl', ['-i', '-r', window, '-b', 'remove,maximized_vert,maximized_horz']);
    await until(async () => JSON.stringify(await view.rect()) === JSON.stringify(before), 'the old rectangle');
    await view.live(2, four);
});

fact('a page that scrolls takes the pictures along, and hides them when their top is scrolled out', async (stage, view) => {
    const before = await view.rect();
    await view.page.evaluate(() => {
        // The viewer fits its window; a taller one stands for pages that do not.
        document.documentElement.style.overflow = 'auto';
        document.body.style.overflow = 'visible';
        document.body.append(Object.assign(document.createElement('div'), { id: 'more', style: 'height: 1500px' }));
        scrollTo(0, 60);
    });
    assert.equal(await view.page.evaluate(() => scrollY), 60);
    await goesTo(view, before);
    const cells = await view.cells(2);
    await view.page.evaluate(() => scrollTo(0, 400));
    await until(async () => (await Promise.all(cells.map((cell) => view.screen.read(cell)))).every((a) => !a.ok), 'the pictures are gone');
    await view.page.evaluate(() => {
        scrollTo(0, 0);
        document.getElementById('more').remove();
        document.documentElement.style.overflow = document.body.style.overflow = '';
    });
    await until(async () => JSON.stringify(await view.rect()) === JSON.stringify(before), 'the old rectangle');
    await view.live(2, four);
});

fact('the zoom of the page (Ctrl and +) is followed', async (stage, view) => {
    const before = await view.rect();
    xdo('windowactivate', '--sync', await view.windowId());
    xdo('key', 'ctrl+plus');
    await until(async () => (await view.page.evaluate(() => devicePixelRatio)) > 1, 'the page is larger');
    await goesTo(view, before, 2);
    xdo('key', 'ctrl+0');
    await until(async () => (await view.page.evaluate(() => devicePixelRatio)) === 1, 'the page has its size again');
    await view.live(2, four);
    assert.deepEqual(await view.rect(), before);
});

fact('another tab shows none of the pictures, and they are back with theirs', async (stage, view) => {
    const rect = await view.rect();
    const other = await stage.context.newPage();
    await other.goto(`${stage.recorderUrl}/api/state`);
    await view.gone(rect, 2);
    await other.close();
    await view.page.bringToFront();
    await view.live(2, four);
});

fact('a minimised window shows no pictures, and they are back with it', async (stage, view) => {
    const rect = await view.rect();
    const window = await view.windowId();
    xdo('windowminimize', '--sync', window);
    await view.gone(rect, 2);
    xdo('windowactivate', window);
    await view.live(2, four);
});

fact('a window in front covers the pictures', async (stage, view) => {
    const rect = await view.rect();
    const [covered] = await view.cells(2);
    const other = await stage.openWindow(`${stage.recorderUrl}/api/state`, { position: [rect.x - 40, rect.y - 150], size: [700, 500] });
    await until(async () => !(await view.screen.read(covered)).ok, 'the first cell is covered');
    await other.page.close();
    await view.live(2, four);
});
