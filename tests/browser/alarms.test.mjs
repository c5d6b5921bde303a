// Alarms of a device that was found by its serial number; messages that are enciphered.
import { until } from './processes.mjs';
import { scene } from './scene.mjs';

const SERIAL = `ALARM${process.pid}`;
const fact = scene({ channels: 4, recorder: ['--serial', SERIAL] }, (stage) => stage.pageUrl({ encryption: 'both' }));

const raise = (stage, kind, channel, on) => stage.recorderCall('/api/alarm', { kind, channel, on });

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
    await view.live(2, [0, 1, 2, 3]);
});

fact('an alarm is listed with the name of its channel when it begins and when it ends', async (stage, view) => {
    await view.click('alarms-panel');
    // The subscription stands some time after the log in; an alarm raised before it is told as one that is on.
    await raise(stage, 'motion', 2, true);
    const listed = (words, state) => until(async () => (await view.page.locator(`[data-testid="alarm"][data-state="${state}"]`).allTextContents()).some((text) => words.test(text)), `${words} that is ${state}`);
    await listed(/Motion\s*Channel 3/, 'lasting');
    await raise(stage, 'motion', 2, false);
    await listed(/Motion\s*Channel 3/, 'over');
    await raise(stage, 'tamper', 0, true);
    await listed(/Camera covered\s*Channel 1/, 'lasting');
    await raise(stage, 'tamper', 0, false);
    await listed(/Camera covered\s*Channel 1/, 'over');
});

fact('the load of the computer is shown', async (stage, view) => {
    await until(async () => /Processor \d+ %, viewer \d+ %, \d+ MiB/.test(await view.byId('load').textContent()), 'figures');
});
