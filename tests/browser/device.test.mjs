// What is written into the device - firmware, configuration, the scale of two lenses - and what the page says of it.
import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { readFileSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const fact = scene({ channels: 2, recorder: ['--two-lenses'] }, (stage) => stage.liveUrl({ split: 1, channels: 2, stream: 1 }));

async function openPanel(view, panel, inside) {
    await view.phase('live');
    if (await view.byId(inside).isHidden()) await view.click(panel);
}

const openDevice = (view) => openPanel(view, 'device-panel', 'firmware-pick');

/** A file of the user's, chosen as firmware. */
async function chooseFirmware(stage, view, bytes) {
    const path = join(stage.dir, 'firmware.bin');
    writeFileSync(path, randomBytes(bytes));
    stage.pick(path);
    await openDevice(view);
    await view.click('firmware-pick');
    await until(async () => (await view.byId('firmware-file').textContent()) === path, 'the chosen file is named');
    return path;
}

const received = async (stage) => (await stage.recorderCall('/api/device')).files;

fact('the scale of two lenses is set step by step and taken back', async (stage, view) => {
    await view.live(2, [0, 1]);
    view.clickCell((await view.cells(2))[0]);
    await openPanel(view, 'picture-panel', 'lens-in');
    const scale = async () => (await stage.recorderCall('/api/device')).lenses.find((l) => l.channel === 0)?.times;
    await view.click('lens-in');
    const once = await until(scale, 'the device was told a scale');
    await view.click('lens-in');
    await until(async () => (await scale()) > once, 'a larger scale');
    await view.click('lens-reset');
    await until(async () => (await scale()) <= 1, 'the widest scale');
    await view.click('picture-panel');
});

fact('a configuration arrives byte for byte', async (stage, view) => {
    const path = join(stage.dir, 'config.bin');
    writeFileSync(path, randomBytes(60000));
    stage.pick(path);
    await openDevice(view);
    await view.click('import-config');
    await view.says(/^The device has the configuration/);
    const [file] = (await received(stage)).slice(-1);
    assert.equal(file.kind, 'settings');
    assert.deepEqual(readFileSync(file.path), readFileSync(path));
});

fact('a dialog that the user leaves sends nothing', async (stage, view) => {
    const { length } = await received(stage);
    stage.pick(null);
    await openDevice(view);
    await view.click('import-config');
    await view.says(/^No file was chosen/);
    assert.equal((await received(stage)).length, length);
});

fact('firmware that vanished since it was chosen is told, and the next one works', async (stage, view) => {
    rmSync(await chooseFirmware(stage, view, 5000));
    await view.click('firmware-start');
    await until(async () => (await view.byId('firmware-text').getAttribute('data-phase')) === 'failed', 'the page tells the failure');
    await view.live(2, [0, 1]);
});

fact('firmware that the device refuses is told in plain words', async (stage, view) => {
    await chooseFirmware(stage, view, 300000);
    await stage.fault({ upload: 'fail' });
    await view.click('firmware-start');
    await view.says(/^The firmware was not installed/);
    await stage.fault({ upload: 'none' });
    assert.equal((await stage.recorderCall('/api/device')).upgrade.good, 0);
});

fact('firmware is sent with progress, arrives byte for byte and is installed', async (stage, view) => {
    const path = await chooseFirmware(stage, view, 12_000_000);
    await stage.fault({ upload: 'slow' });
    const shares = await view.page.evaluateHandle(() => {
        const seen = [];
        globalThis.lumoViewer.session.client.on('upgrade', (data) => seen.push(data.TotalSize > 0 ? data.SendSize / data.TotalSize : 0));
        return seen;
    });
    await view.click('firmware-start');
    await view.says(/^The new firmware is installed/);
    await stage.fault({ upload: 'none' });
    const file = (await received(stage)).findLast((f) => f.kind === 'firmware');
    assert.deepEqual(readFileSync(file.path), readFileSync(path));
    assert.equal((await stage.recorderCall('/api/device')).firmware, '1.1.0.20260201');
    const seen = await shares.jsonValue();
    assert.ok(seen.some((share) => share > 0 && share < 1), `progress on the way: ${seen}`);
    await view.live(2, [0, 1]);
});
