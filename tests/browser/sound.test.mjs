// Speech for real, on a sound server of the test's own: into the microphone, through program and device, and back to the
// loudspeaker. Judged from the samples that arrive.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { BEGIN, playAt, prepare } from './playbackScene.mjs';
import { until } from './processes.mjs';
import { aLawSamples, longestGap, part, pitch, seconds, SoundServer, spoken } from './soundServer.mjs';
import { Stage } from './stage.mjs';

let sound;
let stage;

before(async () => {
    sound = await SoundServer.open();
    // The browser hears the microphone too, for its level, and asks nobody.
    stage = await Stage.open({ env: sound.env, flags: ['--use-fake-ui-for-media-stream'], recorder: ['--recorded', '120'] });
    await stage.openBrowser(stage.liveUrl());
});
after(async () => {
    await stage?.close();
    await sound?.close();
});

const fact = (name, body) => test(name, { timeout: 180000 }, () => body(stage.view));
const heardBy = async (channel) => aLawSamples(Buffer.from(await (await fetch(`${stage.recorderUrl}/api/talk/heard?channel=${channel}`)).arrayBuffer()));
const talkRoom = (change) => stage.recorderCall('/api/talk', change);

async function openPanel(view) {
    await view.phase('live');
    if (await view.byId('talk-hold').isHidden()) await view.click('talk-panel');
}

/** Holds the button until `during` is done. */
async function whileTalking(view, target, during) {
    await openPanel(view);
    await view.byId('talk-target').selectOption(target);
    await view.byId('talk-hold').hover();
    await view.page.mouse.down();
    try {
        await view.says(/^Talking to/);
        await during();
    } finally {
        await view.page.mouse.up();
        await view.says(/^The talk has ended/);
    }
}

const TONE = 12;

/**
 * Ten seconds of a 1 kHz tone, said into the microphone during a talk, as the channel heard it: after the first second.
 * All of the tone, by the clock of the sink that it was said into, has arrived: nothing was left out.
 */
async function tenSecondsOfTone(view) {
    await talkRoom({ channel: 0, clear: true });
    await whileTalking(view, '0', async () => {
        await until(async () => (await heardBy(0)).values.length > 0, 'the channel hears');
        await sound.say(1000, TONE).ended;
        const { length } = (await heardBy(0)).values;
        await until(async () => (await heardBy(0)).values.length > length + 8000, 'another second');
    });
    const all = spoken(await heardBy(0));
    assert.ok(Math.abs(seconds(all) - TONE) <= 0.04, `${seconds(all)} s of ${TONE} arrived`);
    return part(all, 1, 11);
}

function assertTone(samples, hz) {
    assert.ok(Math.abs(pitch(samples) / hz - 1) < 0.01, `a pitch of ${pitch(samples)} Hz instead of ${hz}`);
}

fact('a tone in the microphone arrives at the device at its pitch, without a gap', async (view) => {
    const samples = await tenSecondsOfTone(view);
    assertTone(samples, 1000);
    assert.ok(longestGap(samples) <= 40, `a gap of ${longestGap(samples)} ms`);
    assert.equal(await view.page.evaluate(() => globalThis.lumoViewer.session.phase), 'live');
});

fact('a tone of the device arrives at the loudspeaker, and is over with the talk', async (view) => {
    await talkRoom({ channel: 1, tone: 700 });
    const ear = sound.listen();
    await whileTalking(view, '1', () => until(() => seconds(spoken(ear.samples())) > 5, 'five seconds of speech', 60000));
    const { length } = ear.samples().values;
    await until(() => ear.samples().values.length > length + 48000, 'another second');
    const all = await ear.stop();
    const samples = part(spoken(all), 1, 4);
    assertTone(samples, 700);
    assert.ok(longestGap(samples) <= 100, `a gap of ${longestGap(samples)} ms`);
    assert.equal(seconds(spoken(part(all, seconds(all) - 0.5, seconds(all)))), 0, 'silence after the talk');
    await talkRoom({ channel: 1, tone: 0 });
});

fact('the level of the microphone is shown while somebody speaks', async (view) => {
    const tone = sound.say(1000, 20);
    await whileTalking(view, 'device', () => until(async () => Number(await view.byId('talk-level').evaluate((meter) => meter.value)) > 0.5, 'a level'));
    await tone.stop();
    await until(async () => Number(await view.byId('talk-level').evaluate((meter) => meter.value)) === 0, 'no level');
});

fact('an alarm voice stops by itself at its limit and plays back at its length', async (view) => {
    await openPanel(view);
    const tone = sound.say(1000, 20);
    await view.click('voice-record');
    await view.says(/^The alarm voice is recorded/);
    await tone.stop();
    const file = readFileSync(join(stage.dir, 'bin', 'customAlarmVoice.pcm'));
    // Blocks that the sound system had handed out before it was told to stop still come, 20 ms each.
    assert.ok(file.length >= 40960 && file.length < 42000 && file.length % 160 === 0, `${file.length} bytes`);
    assertTone(part(aLawSamples(file), 1, 4), 1000);
    const ear = sound.listen();
    await view.click('voice-play');
    await view.says(/^The alarm voice was played/);
    // The tone may begin after the recording.
    const [recorded, heard] = [aLawSamples(file), await ear.stop()].map((sound) => seconds(spoken(sound)));
    assert.ok(recorded > 3 && Math.abs(heard - recorded) < 0.2, `${heard} s of ${recorded} s`);
});

fact('an alarm voice arrives byte for byte', async (view) => {
    await openPanel(view);
    await view.click('voice-send');
    await view.says(/^The device has the alarm voice/);
    const { files } = await stage.recorderCall('/api/device');
    const received = files.at(-1);
    const sent = readFileSync(join(stage.dir, 'bin', 'customAlarmVoice.pcm'));
    assert.equal(received.size, sent.length);
    assert.deepEqual(readFileSync(received.path), sent);
});

fact('a tone at 16 kHz passes the 8 kHz way to the device', async (view) => {
    await view.page.goto(stage.liveUrl({ speech: 16 }));
    const samples = await tenSecondsOfTone(view);
    assertTone(samples, 1000);
    assert.ok(longestGap(samples) <= 40, `a gap of ${longestGap(samples)} ms`);
});

/** Four seconds of what is heard from the moment on at which the button switches the sound on; then it is switched off. */
async function hearChannel(view, button, on) {
    const ear = sound.listen();
    await view.click(button);
    await view.says(on);
    await until(() => seconds(spoken(ear.samples())) > 4, 'four seconds of sound', 60000);
    await view.click(button);
    await view.says(/^Sound off/);
    const { length } = ear.samples().values;
    await until(() => ear.samples().values.length > length + 72000, 'another second and a half');
    const all = await ear.stop();
    assert.equal(seconds(spoken(part(all, seconds(all) - 1, seconds(all)))), 0, 'silence afterwards');
    return part(spoken(all), 0, 4);
}

/** The tone of channel 1 sounds in the first half of each second. */
function assertBeeps(samples) {
    assertTone(samples, 440);
    const gap = longestGap(samples);
    assert.ok(gap > 400 && gap < 600, `${gap} ms between two beeps`);
}

fact('a live channel is heard at its pitch, until its sound is switched off', async (view) => {
    await view.phase('live');
    await view.click('start-all');
    await view.live(2, [0, 1, 2, 3]);
    view.clickCell((await view.cells(2))[0]);
    await until(async () => (await view.byId('selected').textContent()) === 'Cell 1: channel 1', 'channel 1 is selected');
    assertBeeps(await hearChannel(view, 'sound', /^Sound of channel 1 on/));
});

fact('a recording is heard at its pitch, until its sound is switched off', async (view) => {
    await view.click('view-playback');
    await prepare(view, [0]);
    await playAt(view, BEGIN + 5);
    assertBeeps(await hearChannel(view, 'play-sound', /^Sound of channel 1 on/));
});
