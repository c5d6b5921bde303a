// @vitest-environment jsdom
import { beforeEach, describe, expect, it, vi } from 'vitest';
import type { FakeHostSettings } from '../../tests/fakeHost.mjs';
import { LevelMeter, levelOf, type Ear } from '../src/audio/levelMeter.ts';
import { AUTO, app, click, commands, eachOnItsOwn, host, id, open, process, told } from './page.ts';

/** Talk and alarm voice on the page, against the stand-in host. */
const audio = () => process().audio;
/** As they came. */
const subTypes = (mainType: number) => commands(mainType).map(({ SubType }) => SubType as number);
const press = () => id('talk-hold').dispatchEvent(new MouseEvent('pointerdown', { bubbles: true }));
const letGo = () => id('talk-hold').dispatchEvent(new MouseEvent('pointerup', { bubbles: true }));
const choose = (name: string, value: string) => {
    const select = id<HTMLSelectElement>(name);
    select.value = value;
    select.dispatchEvent(new Event('change'));
};

async function openPanel(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await open(AUTO, { channels: 4, ...settings });
    await told('Logged in');
    click('talk-panel');
    await vi.waitFor(() => expect(subTypes(16)).toEqual([3]));
    host.requests.length = 0;
}

eachOnItsOwn();

describe('press to talk', () => {
    it('talks to the device while the button is held', async () => {
        await openPanel();
        press();
        await told('Talking to the device.');
        expect(audio().talking).toBe('device');
        expect(id('talk-hold').textContent).toBe('Talking');
        expect(id('talk-hold').getAttribute('aria-pressed')).toBe('true');
        letGo();
        await told('The talk has ended.');
        expect(audio().talking).toBeNull();
        expect(id('talk-hold').textContent).toBe('Hold to talk');
    });

    it('talks to one channel, and to all', async () => {
        await openPanel();
        choose('talk-target', '2');
        press();
        await told('Talking to channel 3.');
        expect(audio().talking).toBe(2);
        letGo();
        await told('ended');
        choose('talk-target', 'all');
        press();
        await told('Talking to all channels.');
        expect(audio().talking).toBe(-1);
    });

    it('ends when it is let go before the device has answered', async () => {
        await openPanel();
        press();
        letGo();
        await told('The talk has ended.');
        expect(subTypes(16)).toEqual([1, 2]);
        expect(audio().talking).toBeNull();
    });

    it('goes by the keyboard', async () => {
        await openPanel();
        const key = (name: string, repeat = false) => id('talk-hold').dispatchEvent(new KeyboardEvent(name, { key: ' ', repeat, bubbles: true }));
        key('keydown');
        key('keydown', true);
        await told('Talking to the device.');
        key('keyup');
        await told('ended');
        expect(subTypes(16)).toEqual([1, 2]);
    });

    it('keeps talking until pressed again when told so, and follows the choice of whom', async () => {
        await openPanel();
        click('talk-keep');
        await vi.waitFor(() => expect(id('talk-hold').textContent).toBe('Press to talk'));
        press();
        letGo();
        await told('Talking to the device.');
        choose('talk-target', '1');
        await told('Talking to channel 2.');
        expect(audio().talking).toBe(1);
        press();
        await told('ended');
        expect(audio().talking).toBeNull();
    });

    it('says in words when it is refused, and can be tried again', async () => {
        await openPanel({ noMicrophone: true });
        press();
        await told('There is no talk with the device');
        expect(id('talk-hold').getAttribute('data-state')).toBe('idle');
        letGo();
        host.settings.noMicrophone = false;
        press();
        await told('Talking to the device.');
    });

    it('ends with the panel', async () => {
        await openPanel();
        click('talk-keep');
        press();
        await told('Talking');
        click('talk-panel');
        await told('ended');
        expect(audio().talking).toBeNull();
    });

    it('is over when the device is lost, and begins anew', async () => {
        await openPanel();
        click('talk-keep');
        press();
        await told('Talking');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await told('The connection is back.');
        expect(id('talk-hold').getAttribute('data-state')).toBe('idle');
        expect(subTypes(16)).toEqual([1]);
        press();
        await vi.waitFor(() => expect(audio().talking).toBe('device'));
    });

    it('offers only channels that can talk', async () => {
        await openPanel({ talkers: [1, 0, 1] });
        await vi.waitFor(() => expect([...id<HTMLSelectElement>('talk-target').options].map(({ disabled }) => disabled)).toEqual([false, false, false, true, false, true]));
    });

    it('offers every channel of a device that does not say', async () => {
        await openPanel({ talkers: null });
        expect([...id<HTMLSelectElement>('talk-target').options].some(({ disabled }) => disabled)).toBe(false);
        choose('talk-target', '3');
        press();
        await told('There is no talk with channel 4');
    });
});

describe('the alarm voice', () => {
    it('is recorded with a countdown until its limit', async () => {
        await openPanel();
        click('voice-record');
        await told('Speak now.');
        expect(id('voice-record').textContent).toBe('Stop');
        expect(id('voice-play').disabled && id('voice-send').disabled).toBe(true);
        audio().hear(1);
        await vi.waitFor(() => expect(id('voice-countdown').textContent).toBe('5 s left'));
        audio().hear(100);
        await vi.waitFor(() => expect(id('voice-countdown').textContent).toBe('3 s left'));
        audio().hear(200);
        await told('The alarm voice is recorded.');
        expect(audio().size).toBe(40960);
        expect(id('voice-record').textContent).toBe('Record');
        expect(id('voice-countdown').textContent).toBe('');
    });

    it('is recorded until the button is pressed again', async () => {
        await openPanel();
        click('voice-record');
        await told('Speak now.');
        audio().hear(10);
        click('voice-record');
        await told('The alarm voice is recorded.');
        expect(subTypes(20)).toEqual([0, 1]);
        expect(audio().size).toBe(1600);
    });

    it('tells that there is no microphone', async () => {
        await openPanel({ noMicrophone: true });
        click('voice-record');
        await told('this computer has no microphone');
        expect(id('voice-record').textContent).toBe('Record');
    });

    it('tells that its file could not be written', async () => {
        await openPanel();
        click('voice-record');
        await told('Speak now.');
        host.push({ MainEvent: 6, SubEvent: 1, Ret: 1016 });
        await told('its file could not be written');
        expect(id('voice-record').textContent).toBe('Record');
    });

    it('is played, to its end or to a stop', async () => {
        await openPanel();
        audio().size = 800;
        click('voice-play');
        await told('Playing the alarm voice.');
        expect(id('voice-record').disabled).toBe(true);
        audio().playEnds();
        await told('was played');
        click('voice-play');
        await told('Playing');
        click('voice-play');
        await told('was played');
        expect(subTypes(20)).toEqual([2, 2, 4]);
        expect(id('voice-play').textContent).toBe('Play');
    });

    it('is not played before it is recorded', async () => {
        await openPanel();
        click('voice-play');
        await told('there is no recording');
    });

    it('is sent to a channel, and to all', async () => {
        await openPanel();
        audio().size = 800;
        choose('voice-channel', '2');
        id<HTMLInputElement>('voice-purpose').value = '7';
        click('voice-send');
        await told('Sending the alarm voice');
        await vi.waitFor(() => expect(host.requests.at(-1)).toMatchObject({ MainType: 20, SubType: 3, Channel: 2, FilePurpose: 7 }));
        expect(id('voice-send').disabled).toBe(true);
        audio().sent(100);
        await told('The device has the alarm voice.');
        choose('voice-channel', '');
        id<HTMLInputElement>('voice-purpose').value = '';
        click('voice-send');
        await vi.waitFor(() => expect(host.requests.at(-1)).toMatchObject({ Channel: -1, FilePurpose: 0 }));
        audio().sent(-11300);
        await told('The device says: it refused the request.');
        expect(id('voice-send').disabled).toBe(false);
    });

    it('is not sent before it is recorded', async () => {
        await openPanel();
        click('voice-send');
        await told('The alarm voice was not sent');
        expect(id('voice-send').disabled).toBe(false);
    });

    it('is forgotten with the session', async () => {
        await openPanel();
        click('voice-record');
        await told('Speak now.');
        host.drop();
        await told('The connection is back.');
        expect(id('voice-record').textContent).toBe('Record');
        expect(id('voice-record').disabled).toBe(false);
    });
});

describe('the level of the microphone', () => {
    beforeEach(() => openPanel());

    it('is told in decibels', () => {
        expect(levelOf(new Float32Array(100))).toBe(0);
        expect(levelOf(new Float32Array(100).fill(1))).toBe(1);
        expect(levelOf(new Float32Array(100).fill(0.0316))).toBeCloseTo(0.5, 2);
        expect(levelOf(new Float32Array(100).fill(0.0001))).toBe(0);
        expect(levelOf(new Float32Array(0))).toBe(0);
    });

    it('is shown while somebody speaks', async () => {
        const ear: Ear = { level: () => 0.6, close: vi.fn() };
        const meter = new LevelMeter(vi.fn(), () => Promise.resolve(ear));
        meter.active = true;
        await vi.waitFor(() => expect(meter.element.getAttribute('value') ?? meter.element.value).toSatisfy((value) => Number(value) === 0.6));
        meter.active = false;
        expect(ear.close).toHaveBeenCalledTimes(1);
        expect(Number(meter.element.value)).toBe(0);
    });

    it('closes a microphone that opened too late', async () => {
        const ear: Ear = { level: () => 1, close: vi.fn() };
        let give: (ear: Ear) => void = () => undefined;
        const meter = new LevelMeter(vi.fn(), () => new Promise((resolve) => (give = resolve)));
        meter.active = true;
        meter.active = false;
        give(ear);
        await vi.waitFor(() => expect(ear.close).toHaveBeenCalledTimes(1));
    });

    it('is told as missing where the browser does not let us hear, and the talk goes on', async () => {
        press();
        await told('Talking to the device.');
        await vi.waitFor(() => expect(document.body.textContent).toContain('The browser does not show the level here.'));
        expect(app.session.phase).toBe('live');
    });
});
