// The same where device and viewer share their clock: what holds in other zones must hold here too.
import assert from 'node:assert/strict';

import { BEGIN, clickTimeline, clock, DAY, FOUR, FRAMES, frameAt, framesOf, ONE_ZONE, playAt, playbackUrl, prepare, recordings } from './playbackScene.mjs';
import { scene } from './scene.mjs';

const fact = scene(recordings(ONE_ZONE), playbackUrl);

fact('playback by time begins at the asked second', async (stage, view) => {
    await prepare(view);
    const cells = await view.cells(2);
    const watch = view.screen.watch(6, cells, { ...FRAMES, ages: true });
    await playAt(view, BEGIN + 91);
    for (const [i, { channel, seen }] of (await watch).cells.entries()) {
        assert.equal(channel, i);
        assert.equal(Math.min(...seen.map(([frame]) => frame)), frameAt(BEGIN + 91), `the first picture of window ${i + 1}`);
    }
    const picture = await view.screen.picture();
    for (const cell of cells) assert.match(picture.time(cell), new RegExp(`^${DAY} 10:01:`));
});

fact('a seek lands on the asked second', async (stage, view) => {
    const cells = await view.cells(2);
    await framesOf(view, cells, FOUR);
    await view.click('zoom-600');
    const watch = view.screen.watch(5, cells, { ...FRAMES, ages: true });
    assert.equal(await clickTimeline(view, BEGIN + 150), clock(BEGIN + 150));
    await view.says(new RegExp(`^Playing from ${clock(BEGIN + 150)} on`));
    for (const [i, { seen }] of (await watch).cells.entries()) assert.ok(seen.some(([frame]) => frame === frameAt(BEGIN + 150)), `window ${i + 1} shows the first picture of that second`);
});
