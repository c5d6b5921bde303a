// Alarms of a device that was found by its serial number; messages that are enciphered.
import assert from 'node:assert/strict';

import { BEGIN, clock, DAY, FOUR, playAt, RECORDED } from './playbackScene.mjs';
import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const SERIAL = `ALARM${process.pid}`;
const fact = scene({ channels: 4, recorder: ['--serial', SERIAL, '--recorded', String(RECORDED)] }, (stage) => stage.pageUrl({ encryption: 'both' }));

const raise = (stage, kind, channel, on) => stage.recorderCall('/api/alarm', { kind, channel, on });

const listed = (view, words, state) => until(async () => (await view.page.locator(`[data-testid="alarm"][data-state="${state}"]`).allTextContents()).some((text) => words.test(text)), `${words} that is ${state}`);

async function goTo(view, page) {
    await view.click(`view-${page}`);
    await until(async () => (await view.page.locator('#app').getAttribute('data-view')) === page, `the view ${page}`);
}

fact('a log in by serial number with enciphered messages shows live pictures', async (stage, view) => {
    await view.phase('login');
    await view.page.getByText('By serial number').click();
    await view.byId('login-serial').fill(SERIAL);
    await view.byId('login-user').fill('admin');
    await view.byId('login-password').fill('lumo');
    await view.byId('login-submit').click();
    await view.phase('live');
    await view.click('split-1');
    await view.click('start-all');
    await view.live(2, FOUR);
});

fact('an alarm is listed with the name of its channel when it begins and when it ends', async (stage, view) => {
    await view.click('alarms-panel');
    // The subscription stands some time after the log in; an alarm raised before it is told as one that is on.
    await raise(stage, 'motion', 2, true);
    await listed(view, /Motion\s*Channel 3/, 'lasting');
    await raise(stage, 'motion', 2, false);
    await listed(view, /Motion\s*Channel 3/, 'over');
    await raise(stage, 'tamper', 0, true);
    await listed(view, /Camera covered\s*Channel 1/, 'lasting');
    await raise(stage, 'tamper', 0, false);
    await listed(view, /Camera covered\s*Channel 1/, 'over');
});

fact('an alarm of the device itself and one of an input name no channel', async (stage, view) => {
    await raise(stage, 'storage', 0, true);
    await listed(view, /Disk failure\s*Device/, 'lasting');
    await raise(stage, 'storage', 0, false);
    await listed(view, /Disk failure\s*Device/, 'over');
    await raise(stage, 'input', 1, true);
    await listed(view, /Digital input\s*Input 2/, 'lasting');
    await raise(stage, 'input', 1, false);
    await listed(view, /Digital input\s*Input 2/, 'over');
});

fact('alarms are told beside the recordings, which the device that served the page lists', async (stage, view) => {
    await goTo(view, 'playback');
    assert.ok(await view.byId('alarms').isVisible(), 'the list of alarms stays open');
    await view.byId('date').fill(DAY);
    // The first question after the recordings were made may take its time.
    await until(async () => (await view.byId('timeline-row-0').getAttribute('data-blocks')) === `10:00:00-${clock(BEGIN + RECORDED / 2)}`, 'the recordings of channel 1', 120000);
    await playAt(view, BEGIN + 30);
    await raise(stage, 'motion', 1, true);
    await listed(view, /Motion\s*Channel 2/, 'lasting');
    assert.equal(await view.byId('alarms-panel').getAttribute('data-alarms'), '1');
    await raise(stage, 'motion', 1, false);
    await listed(view, /Motion\s*Channel 2/, 'over');
    await goTo(view, 'live');
    await view.live(2, FOUR);
});

fact('the load of the computer is shown', async (stage, view) => {
    await until(async () => /Processor \d+ %, viewer \d+ %, \d+ MiB/.test(await view.byId('load').textContent()), 'figures');
});

fact('an alarm that lasts when the program is killed has no known end, and is told anew when it still lasts', async (stage, view) => {
    if (!(await view.byId('alarms').isVisible())) await view.click('alarms-panel');
    await raise(stage, 'motion', 3, true);
    await listed(view, /Motion\s*Channel 4/, 'lasting');
    await until(async () => /^Motion, Channel 4, /.test(await view.byId('alarm-newest').textContent()), 'the newest alarm is read aloud');
    process.kill(await stage.oneViewer(), 'SIGKILL');
    await listed(view, /Motion\s*Channel 4\s*end unknown: the connection was lost/, 'over');
    await view.says(/^The connection is back/);
    await listed(view, /Motion\s*Channel 4/, 'lasting');
    await raise(stage, 'motion', 3, false);
    await until(async () => (await view.byId('alarms-panel').getAttribute('data-alarms')) === null, 'no alarm goes on');
    await view.live(2, FOUR);
});

fact('a page that logged in by itself tells that alarms are not heard before it is touched', async (stage, view) => {
    if (!(await view.byId('alarm-choice-Prompt').isVisible())) await view.click('alarms-panel');
    await view.byId('alarm-choice-Prompt').check();
    await until(() => view.page.evaluate(async () => (await globalThis.lumoViewer.session.client.alarms.readChoice()).Prompt), 'the choice is kept');
    assert.equal(await view.byId('alarms-silent').textContent(), '');
    // Whatever a test asks of a page counts as a touch, and one of a page counts for the next in its window: another window
    // tells by itself.
    let silent = '';
    stage.context.on('console', (message) => message.text().startsWith('Click ') && (silent = message.text()));
    await stage.context.addInitScript(() => new MutationObserver(() => {
        const text = document.querySelector('[data-testid="alarms-silent"]')?.textContent;
        if (text) console.log(text);
    }).observe(document, { subtree: true, childList: true, characterData: true }));
    const fresh = await stage.openWindow(stage.liveUrl());
    await until(() => silent === 'Click into the page to hear alarms.', 'what the user must do');
    await fresh.click('alarms-panel');
    await until(async () => (await fresh.byId('alarms-silent').textContent()) === '', 'nothing more to do');
    await fresh.page.close();
});
