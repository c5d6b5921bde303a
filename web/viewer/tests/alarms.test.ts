// @vitest-environment jsdom
import { describe, expect, it } from 'vitest';
import { ALARM_CHOICES, type AlarmChoice } from '../../client/index.ts';
import type { FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AlarmModel, alarmPlace, alarmWords, isHeard } from '../src/alarms/alarmModel.ts';
import { AUTO, eachOnItsOwn, host, id, open, says, soon, told } from './page.ts';

const none = Object.fromEntries(ALARM_CHOICES.map((key) => [key, false])) as AlarmChoice;
const alarm = (Event: string, Status: string, Channel = 0) => ({ Channel, Event, Status });

describe('the list of alarms', () => {
    it('joins a start and its stop', () => {
        const model = new AlarmModel();
        expect(model.add(alarm('VideoMotion', 'Start'), 1000)).toBe(true);
        expect(model.active).toBe(1);
        expect(model.add(alarm('VideoMotion', 'Stop'), 5000)).toBe(false);
        expect(model.list).toMatchObject([{ at: 1000, until: 5000 }]);
        expect(model.active).toBe(0);
    });

    it('keeps channels and kinds apart', () => {
        const model = new AlarmModel();
        model.add(alarm('VideoMotion', 'Start', 0), 1);
        model.add(alarm('VideoMotion', 'Start', 1), 2);
        model.add(alarm('VideoLoss', 'Start', 0), 3);
        model.add(alarm('VideoMotion', 'Stop', 1), 4);
        expect(model.list.map(({ channel, event, until }) => [channel, event, until])).toEqual([[0, 'VideoLoss', null], [1, 'VideoMotion', 4], [0, 'VideoMotion', null]]);
    });

    it('counts a pulse that comes again and again', () => {
        const model = new AlarmModel();
        expect(model.add(alarm('LocalIO', 'Pulse'), 1)).toBe(true);
        for (let i = 0; i < 9; i++) expect(model.add(alarm('LocalIO', 'Pulse'), 2 + i)).toBe(false);
        expect(model.list).toMatchObject([{ count: 10 }]);
    });

    it('begins anew after a stop', () => {
        const model = new AlarmModel();
        for (const status of ['Start', 'Stop', 'Start']) model.add(alarm('VideoBlind', status), 1);
        expect(model.list.map(({ until }) => until)).toEqual([null, 1]);
    });

    it('has 200 entries at most, the newest', () => {
        const model = new AlarmModel();
        for (let i = 0; i < 5000; i++) model.add(alarm('VideoMotion', 'Pulse', i), i);
        expect(model.list.length).toBe(200);
        expect(model.list[0]?.channel).toBe(4999);
    });

    it('keeps what goes on through a flood of what comes and goes', () => {
        const model = new AlarmModel();
        model.add(alarm('StorageFailure', 'Start'), 1);
        model.add(alarm('VideoLoss', 'Start', 3), 2);
        for (let i = 0; i < 2000; i++) model.add(alarm('VideoMotion', i % 2 === 0 ? 'Start' : 'Stop'), 3 + i);
        expect([model.list.length, model.active]).toEqual([200, 2]);
        model.add(alarm('StorageFailure', 'Stop'), 5000);
        expect(model.list.at(-1)).toMatchObject({ event: 'StorageFailure', until: 5000 });
    });

    it('lets the oldest go when all go on', () => {
        const model = new AlarmModel();
        for (let i = 0; i < 300; i++) model.add(alarm('VideoMotion', 'Start', i), i);
        expect([model.list.length, model.list[0]?.channel, model.list.at(-1)?.channel]).toEqual([200, 299, 100]);
    });

    it('has one entry of an alarm that is told again while it lasts, whatever came in between', () => {
        const model = new AlarmModel();
        expect(model.add(alarm('VideoMotion', 'Start'), 1)).toBe(true);
        model.add(alarm('VideoLoss', 'Start', 3), 2);
        model.add(alarm('VideoMotion', 'Pulse'), 3);
        expect(model.add(alarm('VideoMotion', 'Start'), 4)).toBe(false);
        expect([model.list.length, model.active]).toEqual([3, 2]);
        expect(model.add(alarm('VideoMotion', 'Stop'), 5)).toBe(false);
        expect(model.list.at(-1)).toMatchObject({ event: 'VideoMotion', status: 'Start', at: 1, until: 5 });
        expect([model.list.length, model.active]).toEqual([3, 1]);
    });

    it('has one entry of an alarm without a channel, too', () => {
        const model = new AlarmModel();
        for (const status of ['Start', 'Start', 'Stop']) model.add(alarm('NetAbort', status, NaN), 1);
        expect(model.list).toMatchObject([{ until: 1 }]);
    });

    it('lets nothing go on when the connection is cut, and begins anew after it', () => {
        const model = new AlarmModel();
        model.add(alarm('VideoLoss', 'Start', 1), 1);
        model.add(alarm('VideoMotion', 'Start'), 2);
        model.add(alarm('VideoMotion', 'Stop'), 3);
        expect(model.cut()).toBe(true);
        expect(model.list).toMatchObject([{ event: 'VideoMotion', until: 3, cut: false }, { event: 'VideoLoss', until: null, cut: true }]);
        expect([model.active, model.cut()]).toEqual([0, false]);
        expect(model.add(alarm('VideoLoss', 'Start', 1), 9)).toBe(true);
        model.add(alarm('VideoLoss', 'Stop', 1), 10);
        expect(model.list.map(({ until, cut }) => [until, cut])).toEqual([[10, false], [3, false], [null, true]]);
    });

    it('shows a stop whose start nobody heard, without a sound', () => {
        const model = new AlarmModel();
        expect(model.add(alarm('VideoLoss', 'Stop'), 1)).toBe(false);
        expect(model.list.length).toBe(1);
    });
});

describe('words', () => {
    it.each([['StorrageLowSpace', 'Disk full'], ['WordDetect', 'WordDetect'], ['', 'Unknown alarm']])('for "%s": %s', (event, words) => expect(alarmWords(event)).toBe(words));
});

describe('the place of an alarm', () => {
    it.each<[string, number, string]>([
        ['VideoMotion', 2, 'Channel 3'],
        ['VideoLoss', 0, 'Channel 1'],
        ['LocalIO', 0, 'Input 1'],
        ['LocalIO', 3, 'Input 4'],
        ['LocalIO', -1, 'Device'],
        ['StorageNotExist', 0, 'Device'],
        ['StorageFailure', 0, 'Device'],
        ['StorageFailureRead', 0, 'Device'],
        ['StorageFailureWrite', 0, 'Device'],
        ['StorrageLowSpace', 0, 'Device'],
        ['NetAlarm', 0, 'Device'],
        ['NetAbort', 0, 'Device'],
        ['NetIPConflict', 0, 'Device'],
        ['LoginFailed', 0, 'Device'],
        ['VideoMotion', -1, 'Device'],
        ['VideoMotion', NaN, 'Device'],
        ['', 1, 'Channel 2'],
    ])('%s of %i: %s', (event, channel, place) => expect(alarmPlace(channel, event)).toBe(place));
});

describe('which alarms sound', () => {
    it('are none while the sound is off', () => expect(isHeard({ ...none, all: true, Motion: true }, 'VideoMotion')).toBe(false));
    it('are those chosen', () => {
        const choice = { ...none, Prompt: true, Motion: true };
        expect(isHeard(choice, 'VideoMotion')).toBe(true);
        expect(isHeard(choice, 'VideoLoss')).toBe(false);
        expect(isHeard(choice, '')).toBe(false);
    });
    it('are all, unknown ones too, when so chosen', () => expect(isHeard({ ...none, Prompt: true, all: true }, '')).toBe(true));
});

describe('on the page', () => {
    const raise = (Event: string, Status: string, Channel = 0) =>
        host.push({ MainEvent: 2, SubEvent: 0, Name: 'AlarmInfo', AlarmInfo: { Channel, Event, Status } });

    async function enter(settings: Partial<FakeHostSettings> = {}, query = ''): Promise<void> {
        await open(AUTO + query, { channels: 4, ...settings });
        await told('Logged in');
    }

    eachOnItsOwn();

    it('asks for alarms at log in', async () => {
        await enter();
        expect(host.requests.find(({ MainType }) => MainType === 8)).toMatchObject({ AlarmStyle: 'Tool' });
    });

    it('lists an alarm with its channel, and tells on the button how many go on', async () => {
        await enter();
        id('alarms-panel').click();
        raise('VideoMotion', 'Start', 2);
        await says('alarms', 'Motion');
        expect(id('alarms').textContent).toContain('Channel 3');
        expect(id('alarms-panel').dataset.alarms).toBe('1');
        raise('VideoMotion', 'Stop', 2);
        await soon(() => expect(id('alarm').dataset.state).toBe('over'));
        expect(id('alarms-panel').dataset.alarms).toBeUndefined();
        id('alarms-clear').click();
        await soon(() => expect(document.querySelector('[data-testid="alarm"]')).toBeNull());
    });

    it.each([['the device', () => host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 })], ['the process', () => host.drop(4001, 'exit code 1')]])('says that the end is unknown of an alarm that lasted when %s was lost', async (_, lose) => {
        await enter();
        id('alarms-panel').click();
        raise('VideoMotion', 'Start', 2);
        await says('alarms', 'goes on');
        lose();
        await soon(() => expect(id('alarm').dataset.state).toBe('over'));
        expect(id('alarm').textContent).toContain('end unknown: the connection was lost');
        expect(id('alarms-panel').dataset.alarms).toBeUndefined();
        await says('status', 'The connection is back.');
        raise('VideoMotion', 'Start', 2);
        await soon(() => expect(id('alarms-panel').dataset.alarms).toBe('1'));
    });

    it('says where it is when that is no channel', async () => {
        await enter();
        id('alarms-panel').click();
        raise('StorageFailure', 'Start');
        await says('alarms', 'Disk failure');
        expect(id('alarm').textContent).toContain('Device');
        raise('LocalIO', 'Start', 1);
        await says('alarms', 'Input 2');
        expect(id('alarms').textContent).not.toContain('Channel');
    });

    it('tells alarms in every view, and keeps their list open from one to the next', async () => {
        await enter();
        id('alarms-panel').click();
        const list = () => id('alarms').closest('section');
        for (const view of ['playback', 'color', 'live']) {
            id(`view-${view}`).click();
            await soon(() => expect(document.getElementById('app')?.dataset.view).toBe(view));
            await soon(() => expect(id('view-live').disabled).toBe(false));
            expect(list()?.hidden).toBe(false);
            raise('VideoMotion', 'Start', 2);
            await says('alarms', 'goes on');
            expect(id('alarms-panel').dataset.alarms).toBe('1');
            raise('VideoMotion', 'Stop', 2);
            await soon(() => expect(id('alarms-panel').dataset.alarms).toBeUndefined());
            id('alarms-clear').click();
        }
        id('view-playback').click();
        await soon(() => expect(document.getElementById('app')?.dataset.view).toBe('playback'));
        id('alarms-panel').click();
        expect(list()?.hidden).toBe(true);
        id('alarms-panel').click();
        expect([list()?.hidden, id('alarms-panel').getAttribute('aria-pressed')]).toEqual([false, 'true']);
    }, 30000);

    it('has no alarms button before the log in and after the log out', async () => {
        await enter();
        expect(id('alarms-panel').hidden).toBe(false);
        id('logout').click();
        await soon(() => expect(id('alarms-panel').hidden).toBe(true));
    });

    it('says that a log in by address hears none', async () => {
        await enter();
        id('alarms-panel').click();
        await says('alarms-empty', 'by serial number only');
    });

    it('keeps the choice of what sounds on this computer', async () => {
        await enter();
        id('alarms-panel').click();
        await soon(() => expect(id<HTMLInputElement>('alarm-choice-Prompt').disabled).toBe(false));
        id<HTMLInputElement>('alarm-choice-Prompt').click();
        await soon(() => expect(host.processes.at(-1)?.alarmChoice.Prompt).toBe(true));
        await soon(() => expect(id<HTMLInputElement>('alarm-choice-Motion').disabled).toBe(false));
        id<HTMLInputElement>('alarm-choice-Motion').click();
        await soon(() => expect(host.processes.at(-1)?.alarmChoice).toMatchObject({ Prompt: true, Motion: true, Loss: false }));
    });

    it('shows the load of the computer while logged in', async () => {
        await enter();
        host.push({ MainEvent: 0, SubEvent: 5, AppCpu: 6, SystemCpu: 41, AppMemory: 120 });
        await says('load', 'Processor 41 %, viewer 6 %, 120 MiB');
        id('logout').click();
        await soon(() => expect(id('load').textContent).toBe(''));
    });

    it('tells of a newer version after the log in', async () => {
        await enter({ newVersion: '1.0.0.1' });
        await says('version-notice', 'Version 1.0.0.1');
    });

    it('says nothing when there is none, and looks again when asked', async () => {
        await enter({ newVersion: '1.0.0.0' });
        id('settings-panel').click();
        await soon(() => expect(id('version-check').disabled).toBe(false));
        id('version-check').click();
        await says('version-text', 'There is no newer version.');
        expect(id('version-notice').textContent).toBe('');
        expect(host.requests.filter(({ MainType }) => MainType === 22).map(({ SubType }) => SubType)).toEqual([0, 1]);
    });

    it('says that it asks while the server is silent', async () => {
        await enter();
        id('settings-panel').click();
        await soon(() => expect(id('version-check').disabled).toBe(false));
        id('version-check').click();
        await says('version-text', 'Asking the server');
    });

    it('works enciphered', async () => {
        await enter({}, '&encryption=both');
        expect(host.requests[0]).toMatchObject({ MainType: 32 });
        expect(host.frames.slice(1).every((frame) => !frame.startsWith('{'))).toBe(true);
    });
});
