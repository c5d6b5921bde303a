// Looking closer at a large picture: a drag in the cell, electronic PTZ and its presets; the image page; the drawn rule.
// The code strip of the recorder's pictures tells where a part of the picture stands: channel 1 has one bright field in
// the strip's upper row, from 7/16 to 8/16 of the width.
import assert from 'node:assert/strict';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';
import { xdo } from './view.mjs';

const SIDE = 8192;
const FIELD = { left: (7 / 16) * SIDE, right: (8 / 16) * SIDE, y: 0.85 * SIDE };

const fact = scene({ channels: 2, recorder: ['--main', '2560x1440', '--fps', '10', '--codec', 'h264'] }, (stage) => stage.liveUrl({ split: 0 }));

/** The picture's place inside the cell's border. */
async function frameOf(view) {
    const { x, y, w, h } = await view.rect();
    return { x: x + 1, y: y + 1, w: w - 2, h: h - 2 };
}

/** Where the bright field begins and ends in the frame's row, found from its middle outwards; null when it is not there. */
function fieldIn(picture, frame, middle, row) {
    const bright = (x) => x >= 0 && x < frame.w && picture.brightness({ x: frame.x + x, y: frame.y + row - 1, w: 1, h: 3 }) >= 128;
    if (!bright(middle)) return null;
    let [left, right] = [middle, middle];
    while (bright(left - 1)) --left;
    while (bright(right)) ++right;
    return { left, right };
}

/** Waits until the cell shows this part, to the pixel. */
async function showsPart(view, [left, top, right, bottom]) {
    const frame = await frameOf(view);
    const place = (unit) => ((unit - left) / (right - left)) * frame.w;
    const row = Math.round(((FIELD.y - top) / (bottom - top)) * frame.h);
    const middle = Math.round(place((FIELD.left + FIELD.right) / 2));
    let seen = null;
    await until(async () => {
        seen = fieldIn(await view.screen.picture(), frame, middle, row);
        return seen && Math.abs(seen.left - place(FIELD.left)) <= 1.5 && Math.abs(seen.right - place(FIELD.right)) <= 1.5;
    }, `the part ${left}, ${top} to ${right}, ${bottom}`).catch((error) => {
        throw new Error(`${error.message}; the field from ${place(FIELD.left)} to ${place(FIELD.right)} was seen at ${JSON.stringify(seen)}`);
    });
}

const whole = [0, 0, SIDE, SIDE];

fact('a large picture is shown', async (stage, view) => {
    await view.says(/Logged in/);
    await view.click('channel-1');
    await view.live(1, [1], 120000);
    await showsPart(view, whole);
});

fact('a drag enlarges exactly the dragged part', async (stage, view) => {
    const frame = await frameOf(view);
    const [from, to] = [[0.2, 0.5], [0.8, 0.95]].map(([x, y]) => [Math.round(frame.w * x), Math.round(frame.h * y)]);
    const at = ([x, y]) => [frame.x + x, frame.y + y];
    xdo('mousemove', ...at(from), 'mousedown', 1);
    xdo('mousemove', ...at([Math.round((from[0] + to[0]) / 2), to[1]]));
    xdo('mousemove', ...at(to), 'mouseup', 1);
    const units = ([x, y]) => [Math.floor((x * SIDE) / frame.w), Math.floor((y * SIDE) / frame.h)];
    await showsPart(view, [...units(from), ...units(to)]);
    xdo('mousemove', ...at([100, 100]), 'click', 3);
    await showsPart(view, whole);
});

fact('electronic PTZ is offered, and its pad steers', async (stage, view) => {
    await view.click('picture-panel');
    await view.click('ptz-open');
    await view.click('ptz-in');
    await showsPart(view, [512, 512, 7680, 7680]);
    await view.click('ptz-left');
    await showsPart(view, [0, 512, 7168, 7680]);
    await view.click('ptz-up');
    await showsPart(view, [0, 0, 7168, 7168]);
    await view.click('ptz-up');
    await view.says(/The picture ends there/);
    await showsPart(view, [0, 0, 7168, 7168]);
});

fact('a preset brings its part back', async (stage, view) => {
    await view.click('ptz-keep');
    await view.click('ptz-preset-1');
    await until(() => view.byId('ptz-preset-1').getAttribute('data-stored').then((stored) => stored !== null), 'the preset is kept');
    await view.click('ptz-whole');
    await showsPart(view, whole);
    await view.click('ptz-preset-1');
    await showsPart(view, [0, 0, 7168, 7168]);
});

fact('a right click ends the steering and shows the whole picture', async (stage, view) => {
    const frame = await frameOf(view);
    xdo('mousemove', frame.x + 50, frame.y + 50, 'click', 3);
    await showsPart(view, whole);
    await view.byId('ptz-open').waitFor({ state: 'visible' });
    await view.click('picture-panel');
});

fact('the image page shows its channel by a stream of its own, and the live picture comes back', async (stage, view) => {
    const clients = async () => (await stage.recorderCall('/api/state')).connections;
    const before = await clients();
    await view.click('view-color');
    await view.says(/is shown as it comes/);
    await view.live(1, [1]);
    await until(async () => (await clients()) === before + 1, 'the channel is streamed once more');
    await view.click('view-live');
    await view.says(/Live\./);
    await view.live(1, [1]);
    await until(async () => (await clients()) === before, 'the stream of the image page has ended');
});

fact('a rule stands over channel 1 and goes', async (stage, view) => {
    await view.click('channel-0');
    await view.live(1, [0], 120000);
    await view.click('rule-panel');
    await view.click('rule-arrow-none');
    const field = await view.byId('rule-field').boundingBox();
    for (const part of [0.25, 0.75]) await view.byId('rule-field').click({ position: { x: field.width * part, y: field.height * 0.5 } });
    const frame = await frameOf(view);
    const isBlue = (picture, x, y) => picture.at(Math.round(frame.x + frame.w * x), Math.round(frame.y + frame.h * y)).join() === '0,0,255';
    await until(async () => {
        const picture = await view.screen.picture();
        return [0.3, 0.4, 0.5, 0.6, 0.7].every((x) => isBlue(picture, x, 0.5)) && !isBlue(picture, 0.2, 0.5) && !isBlue(picture, 0.8, 0.5) && !isBlue(picture, 0.5, 0.45);
    }, 'the line stands over the picture');
    // Never a picture without it.
    const frames = new Set();
    for (let i = 0; frames.size < 8 && i < 400; ++i) {
        const picture = await view.screen.picture();
        assert.ok(isBlue(picture, 0.5, 0.5), 'a picture without the rule');
        const code = picture.code(frame);
        if (code) frames.add(code.frame);
    }
    assert.ok(frames.size >= 8, `pictures went on under the rule, ${frames.size} were seen`);
    await view.click('rule-clear');
    await until(async () => !isBlue(await view.screen.picture(), 0.5, 0.5), 'the rule is gone');
});
