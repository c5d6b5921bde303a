// From a log in to pictures in the cells that the user chose.
import assert from 'node:assert/strict';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const fact = scene({ channels: 6 }, (stage) => stage.pageUrl());

fact('a log in by hand and Start all show channels 1 to 4, moving', async (stage, view) => {
    await view.byId('login-user').fill('admin');
    await view.byId('login-password').fill('lumo');
    await view.click('login-submit');
    await view.phase('live');
    await view.click('split-1');
    await view.click('start-all');
    await view.live(2, [0, 1, 2, 3]);
});

fact('the pictures stand in the rectangle of the page and nowhere else', async (stage, view) => {
    await view.staysInside();
    await view.live(2, [0, 1, 2, 3]);
});

fact('each cell shows pictures as they come, not more slowly', async (stage, view) => {
    const cells = await view.shows(2, [0, 1, 2, 3]);
    await until(async () => (await view.screen.watch(2, cells)).cells.every((cell) => cell.perSecond >= 20), '20 pictures a second in each cell', 120000);
});

fact('a click selects a cell, and a channel goes into it in place of the old one', async (stage, view) => {
    const cells = await view.cells(2);
    view.clickCell(cells[2]);
    await until(async () => /^Cell 3: channel 3$/.test(await view.byId('selected').textContent()), 'the page tells that cell 3 is selected');
    await view.click('channel-5');
    await view.live(2, [0, 1, 5, 3]);
    await until(async () => (await stage.stream(2)).playing === false, 'nobody asks for the old channel any more');
    assert.equal((await stage.stream(5)).playing, true);
});

fact('the sub stream takes the place of the main stream in the same cell', async (stage, view) => {
    await view.click('stream-1');
    await view.says(/Channel 6 started/);
    await until(async () => (await stage.stream(5, 1)).playing === true && (await stage.stream(5, 0)).playing === false, 'the sub stream flows and the main stream no more');
    await view.live(2, [0, 1, 5, 3]);
    await view.click('stream-0');
    await until(async () => (await stage.stream(5, 0)).playing === true && (await stage.stream(5, 1)).playing === false, 'the main stream flows again');
    await view.live(2, [0, 1, 5, 3]);
});

fact('a stopped channel leaves its cell empty and the others go on', async (stage, view) => {
    await view.byId('channel-1-stop').click({ force: true });
    await view.live(2, [0, -1, 5, 3]);
    const [, empty] = await view.cells(2);
    await until(async () => (await view.screen.picture()).brightest(empty) === 0, 'the empty cell is black');
});

fact('Stop all and log out leave the rectangle to the page', async (stage, view) => {
    const rect = await view.rect();
    await view.click('stop-all');
    await view.gone(rect, 2);
    await view.click('logout');
    await view.phase('login');
    await until(async () => (await view.screen.picture()).brightness(rect) > 5, 'the form of the page stands there');
});
