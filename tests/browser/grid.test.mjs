// The grid: splits of 1, 4, 9 and 16 cells, and one cell for all by a double click.
import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { xdo } from './view.mjs';

const all = (count) => Array.from({ length: count }, (_, i) => i);

const fact = scene({ channels: 16 }, (stage) => stage.liveUrl({ split: 3, channels: 16, stream: 1 }));

fact('sixteen cells show sixteen channels', async (stage, view) => {
    await view.live(4, all(16), 120000);
});

for (const [mode, side] of [[0, 1], [1, 2], [2, 3], [3, 4]])
    fact(`a split of ${side * side} shows the first ${side * side} of the cells, each with its own channel`, async (stage, view) => {
        await view.click(`split-${mode}`);
        await view.live(side, all(side * side));
        await view.staysInside();
    });

fact('a double click gives a cell the whole rectangle, and another takes it back', async (stage, view) => {
    await view.click('split-1');
    const cells = await view.live(2, [0, 1, 2, 3]);
    view.doubleClickCell(cells[3]);
    const [whole] = await view.live(1, [3]);
    view.doubleClickCell(whole);
    await view.live(2, [0, 1, 2, 3]);
});

fact('a drag enlarges a part of the picture, and a right click gives the whole picture back', async (stage, view) => {
    const [cell] = await view.cells(2);
    const at = (x, y) => [Math.round(cell.x + cell.w * x), Math.round(cell.y + cell.h * y)];
    xdo('mousemove', ...at(0.3, 0.1), 'mousedown', 1);
    xdo('mousemove', ...at(0.4, 0.2));
    xdo('mousemove', ...at(0.6, 0.5), 'mouseup', 1);
    // The strip with the code lies outside of the part.
    await until(async () => { const { ok, var: variance } = await view.screen.read(cell); return !ok && variance > 0; }, 'a part of the picture fills the cell');
    xdo('mousemove', ...at(0.5, 0.5), 'click', 3);
    await view.live(2, [0, 1, 2, 3]);
});
