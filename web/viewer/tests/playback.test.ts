// @vitest-environment jsdom
import { beforeEach, describe, expect, it, vi } from 'vitest';
import type { AnyRequest } from '../../tests/fakeHost.mjs';
import { app, click, commands, eachOnItsOwn, host, id, pressed, process, told } from './page.ts';
import { DATE, RECORDINGS, choose, enter, enterBySerial, goTo, last, openPlayback, press, windows } from './playbackPage.ts';

eachOnItsOwn();

describe('going to playback and back', () => {
    it('shows the channels that were live, on the last day with recordings', async () => {
        await openPlayback('&channels=4', { recordings: RECORDINGS });
        await told('4 channels started.');
        click('view-playback');
        await told('Click into the timeline');
        expect([0, 1, 2, 3, 4].map((channel) => pressed(`play-channel-${channel}`))).toEqual([true, true, true, true, false]);
        expect(id<HTMLInputElement>('date').value).toBe(DATE);
        expect(commands(2)[0]).toMatchObject({ SubType: 1 });
        expect(last(5, 36)).toMatchObject({ Mode: 2 });
        expect(document.getElementById('app')?.dataset.view).toBe('playback');
    });

    it('brings the live cells back as they were', async () => {
        await openPlayback('&split=1&channels=4&stream=1', { recordings: RECORDINGS });
        await told('4 channels started.');
        click('record');
        await told('Recording channel 1');
        click('view-playback');
        await told('Click into the timeline');
        click('view-live');
        await told('Live.');
        expect(process().cells.slice(0, 5)).toEqual([0, 1, 2, 3, -1]);
        expect(id('channel-2').parentElement?.dataset.state).toBe('playing');
        expect(id('channel-2').textContent).toContain('sub');
        expect(id('channel-0').parentElement?.dataset.state).toBe('playing'); // and not recording any more
    });

    it('tells which channels did not come back', async () => {
        await openPlayback('&channels=4', { recordings: RECORDINGS });
        await told('4 channels started.');
        click('view-playback');
        await told('Click into');
        host.settings.refuse = [2];
        click('view-live');
        await told('Channel 3: The device refused the stream');
        expect(id('channel-2').parentElement?.dataset.state).toBe('failed');
        expect(id('channel-1').parentElement?.dataset.state).toBe('playing');
    });

    it('stops what plays', async () => {
        await enter();
        await goTo('10:00:00');
        click('view-live');
        await told('Live.');
        expect(windows().some((window) => window.playing)).toBe(false);
        click('view-playback');
        await told('Click into');
        expect(id('position').textContent).toBe('--:--:--');
        expect(pressed('play-channel-0')).toBe(true);
    });

    it('is asked twice while a download is under way', async () => {
        await enter();
        click('files-panel');
        await vi.waitFor(() => expect(document.querySelector('[data-testid="file-0-download"]')).not.toBeNull());
        click('file-0-download');
        await told('The download has begun.');
        click('view-live');
        await told('A download is under way');
        expect(process().page).toBe(1);
        click('view-live');
        await told('Live.');
        expect(process().page).toBe(0);
    });

    it('leaves the keys of the live page alone', async () => {
        await enter();
        await goTo('10:00:00');
        press('s');
        await told('Snapshot of channel 1');
        expect(commands(4, 9)).toEqual([]);
        expect(commands(5, 41).length).toBe(1);
    });
});

describe('the timeline', () => {
    it('shows what each channel recorded', async () => {
        await enter([0, 1]);
        await vi.waitFor(() => expect(id('timeline-row-0').dataset.blocks).toBe('10:00:00-11:00:00'));
        expect(id('timeline-row-1').dataset.blocks).toBe('10:00:00-10:10:00 10:40:00-11:00:00');
    });

    it('goes from day to day, and says when nothing was recorded', async () => {
        await enter();
        click('day-before');
        await vi.waitFor(() => expect(id('timeline-row-0').dataset.blocks).toBe('08:00:00-09:00:00'));
        click('day-before');
        await vi.waitFor(() => expect(id('timeline-row-0').textContent).toContain('Nothing was recorded on this day.'));
        expect(id<HTMLInputElement>('date').value).toBe('2026-11-18');
        click('play');
        await told('Nothing was recorded at 00:00:00 or later on this day.');
    });

    /** The track has no size here: its box is given one. */
    function track(): HTMLElement {
        const element = id<HTMLElement>('timeline');
        element.getBoundingClientRect = () => ({ left: 0, top: 0, width: 864, height: 60, right: 864, bottom: 60, x: 0, y: 0 }) as DOMRect;
        return element;
    }
    const pointer = (type: string, clientX: number) => track().dispatchEvent(new MouseEvent(type, { clientX, bubbles: true, button: 0 }));

    it('plays from where it is clicked', async () => {
        await enter();
        pointer('pointerdown', 369);
        pointer('pointerup', 369);
        await told('Playing from 10:15:00 on.');
        expect(last(5, 34)).toMatchObject({ Mode: 2, SelectWnd: 0, FileInfo: [{ Channel: 0, Wnd: 0, BeginTime: `${DATE} 10:15:00`, EndTime: `${DATE} 11:00:00` }] });
    });

    it('lets a range be drawn, and forgotten', async () => {
        await enter();
        pointer('pointerdown', 360);
        pointer('pointermove', 369);
        pointer('pointerup', 369);
        await vi.waitFor(() => expect(id('range-download').parentElement?.textContent).toContain('10:00:00 – 10:15:01 (15 min 1 s)'));
        expect(commands(5, 34)).toEqual([]);
        click('range-clear');
        await vi.waitFor(() => expect(id('range-download').parentElement?.hidden).toBe(true));
    });

    it('is worked by keys', async () => {
        await enter();
        await vi.waitFor(() => expect(id('timeline-row-0').dataset.blocks).not.toBe(''));
        const key = (name: string, shiftKey = false) => track().dispatchEvent(new KeyboardEvent('keydown', { key: name, shiftKey, bubbles: true }));
        key('Home');
        expect(track().getAttribute('aria-valuetext')).toBe('10:00:00');
        click('zoom-600');
        key('ArrowRight', true);
        expect(track().getAttribute('aria-valuetext')).toBe('10:00:30');
        key('ArrowRight');
        key('ArrowLeft', true);
        key('PageUp');
        expect(track().getAttribute('aria-valuetext')).toBe('11:00:03');
        key('Home');
        key('ArrowRight');
        key('Enter');
        await told('Playing from 10:00:03 on.');
    });

    it('follows playback', async () => {
        await enter();
        await goTo('10:00:00');
        process().playback.tick(65);
        await vi.waitFor(() => expect(id('position').textContent).toBe('10:01:05'));
        expect(id('timeline').getAttribute('aria-valuetext')).toBe('10:01:05');
    });
});

describe('playing by time', () => {
    it('starts all chosen channels in one go, from the same second to the same end', async () => {
        await enter([0, 1, 2, 3]);
        await goTo('10:05:00');
        expect(commands(5, 34).length).toBe(1);
        expect(last(5, 34).FileInfo).toEqual([0, 1, 2, 3].map((channel) =>
            ({ Channel: channel, BeginTime: `${DATE} 10:05:00`, EndTime: `${DATE} 11:00:00`, Wnd: channel, FileType: 0 })));
        expect(windows().map(({ playing }) => playing)).toEqual([true, true, true, true]);
    });

    it('begins where the next recording does, and says so', async () => {
        await enter();
        id<HTMLInputElement>('go-to-time').value = '09:00';
        id<HTMLButtonElement>('go-to').form?.requestSubmit();
        await told('Playing from 10:00:00 on. Nothing was recorded at 09:00:00.');
    });

    it('refuses what is no time', async () => {
        await enter();
        id<HTMLInputElement>('go-to-time').value = 'noon';
        id<HTMLButtonElement>('go-to').form?.requestSubmit();
        await told('Type a time of the day');
        expect(commands(5, 34)).toEqual([]);
    });

    it('seeks in place when the second can be told exactly, else starts anew', async () => {
        await enter([0, 2]);
        await goTo('10:00:00'); // a span of 3600 s: 3.6 s a thousandth
        await goTo('10:30:00');
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 4, Param: 500 });
        expect(commands(5, 34).length).toBe(1);
        expect(windows().slice(0, 2).map(({ at }) => at)).toEqual([37800, 37800]);
        await goTo('10:30:02');
        expect(commands(5, 34).length).toBe(2);
        expect(windows().slice(0, 2).map(({ at }) => at)).toEqual([37802, 37802]);
        await goTo('10:10:00');
        expect(commands(5, 34).length).toBe(3);
    });

    it('fulfils the newest of many wishes', async () => {
        await enter();
        for (let second = 0; second < 20; second++) void app.playback.actions.playAt(36000 + second * 7);
        await told('Playing from 10:02:13 on.');
        expect(commands(5, 34).length).toBeLessThan(4);
        expect(windows()[0]?.at).toBe(36133);
    });

    it('tells of a channel that the device refuses, and plays the others', async () => {
        await enter([0, 2], { refusePlayback: [2] });
        id<HTMLInputElement>('go-to-time').value = '10:00';
        id<HTMLButtonElement>('go-to').form?.requestSubmit();
        await told('Channel 3 could not be played');
        expect(windows().map(({ playing }) => playing)).toEqual([true, false, false, false]);
        expect(id('play-channel-0').parentElement?.dataset.state).toBe('playing');
        expect(id('play-channel-2').parentElement?.dataset.state).toBe('idle');
    });

    /** One channel plays from 10:00:00; half a minute later another is added. */
    async function addSecondChannel(): Promise<void> {
        await enter();
        await goTo('10:00:00');
        process().playback.tick(30);
        await vi.waitFor(() => expect(id('position').textContent).toBe('10:00:30'));
        await choose(2);
        await vi.waitFor(() => expect(windows()[1]).toMatchObject({ channel: 2, at: 36030 }));
    }

    it('adds a channel where the others are, and takes one out', async () => {
        await addSecondChannel();
        expect(last(5, 34)).toMatchObject({ SelectWnd: 5, FileInfo: [{ Wnd: 1, BeginTime: `${DATE} 10:00:30` }] });
        await choose(0);
        expect(windows()[0]?.playing).toBe(false);
        expect(windows()[1]?.playing).toBe(true);
    });

    it('leads a channel that was added later to the same second as the others', async () => {
        await addSecondChannel();
        await goTo('10:30:00');
        expect(windows().slice(0, 2).map(({ at }) => at)).toEqual([37800, 37800]);
        await goTo('10:48:00'); // from here on they have one span again: 1800 s
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 4, Param: 600 });
        expect(windows().slice(0, 2).map(({ at }) => at)).toEqual([38880, 38880]);
    });

    it('lets a fifth channel take the selected window', async () => {
        await enter([0, 1, 2, 3]);
        process().playback.select(2);
        await vi.waitFor(() => expect(id('selected').textContent).toBe('Window 3: channel 3'));
        await choose(4);
        expect(pressed('play-channel-2')).toBe(false);
        expect(id('play-channel-4').textContent).toContain('#3');
    });

    it('without a list goes by date and time alone', async () => {
        await enter([0], { recordings: undefined as never });
        await vi.waitFor(() => expect(id('timeline-row-0').textContent).toContain('gives no list'));
        await goTo('04:05:06');
        expect(last(5, 34).FileInfo[0].BeginTime).toMatch(/^\d{4}-\d\d-\d\d 04:05:06$/);
        expect(last(5, 34).FileInfo[0].EndTime).toMatch(/ 23:59:59$/);
    });

    it('after a log in by serial number asks the device that served the page', async () => {
        await enterBySerial(true);
        await vi.waitFor(() => expect(id('timeline-row-0').dataset.blocks).toBe('10:00:00-11:00:00'));
        expect(id<HTMLInputElement>('date').value).toBe(DATE);
    });

    it('after a log in by serial number says that no address is known, on a page from elsewhere', async () => {
        await enterBySerial(false);
        await vi.waitFor(() => expect(id('timeline-row-0').textContent).toContain('the address of the device is not known'));
        expect(id('timeline-row-0').textContent).not.toContain('gives no list');
        click('files-panel');
        await vi.waitFor(() => expect(id('files').parentElement?.textContent).toContain('the address of the device is not known'));
        await goTo('04:05:06');
        expect(last(5, 34).FileInfo[0].BeginTime).toMatch(/ 04:05:06$/);
    });
});

describe('channels that recorded at different times', () => {
    it('wait for each other over a gap and go on together', async () => {
        await enter([0, 1]); // channel 1 has a gap from 10:10 to 10:40
        await goTo('10:09:50');
        // The device leads it over its gap at once.
        Object.assign(windows()[1] as object, { at: 38400 });
        process().playback.tick(1);
        await vi.waitFor(() => expect(windows()[1]?.playing).toBe(false));
        expect(windows()[0]?.playing).toBe(true);
        Object.assign(windows()[0] as object, { at: 38405 });
        process().playback.tick(0);
        await vi.waitFor(() => expect(windows()[1]).toMatchObject({ playing: true, begin: 38405 }));
    });

    it('are started when only some have something at the asked time', async () => {
        await enter([0, 4]);
        await goTo('09:30:00');
        expect(last(5, 34).FileInfo.map((entry: AnyRequest) => entry.Channel)).toEqual([4]);
        Object.assign(windows()[1] as object, { at: 36001 });
        process().playback.tick(0);
        await vi.waitFor(() => expect(windows()[0]).toMatchObject({ channel: 0, playing: true, begin: 36001 }));
    });

    it('go on behind a gap that all have', async () => {
        await enter([1, 5]);
        await goTo('10:09:50');
        process().playback.tick(9);
        await vi.waitFor(() => expect(id('position').textContent).toBe('10:09:59'));
        process().playback.end(1);
        process().playback.end(2);
        await vi.waitFor(() => expect(windows().slice(1, 3)).toMatchObject([{ channel: 1, begin: 38400 }, { channel: 5, begin: 38400 }]));
        expect(windows()[1]?.playing && windows()[2]?.playing).toBe(true);
        process().playback.tick(1199);
        await vi.waitFor(() => expect(id('position').textContent).toBe('10:59:59'));
        process().playback.end(1);
        process().playback.end(2);
        await told('The recording has ended.');
    });
});

describe('play control', () => {
    beforeEach(async () => {
        await enter([0, 2]);
        await goTo('10:00:00');
    });

    it('pauses all windows and goes on', async () => {
        click('play');
        await told('Paused.');
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 2 });
        expect(id('play').title).toContain('Play');
        click('play');
        await told('Playing.');
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 3 });
    });

    it('steps one picture either way', async () => {
        click('step-forward');
        await told('One picture forward.');
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 100 });
        click('step-back');
        await told('One picture back.');
        expect(last(5, 40)).toMatchObject({ Channel: -1, Cmd: 101 });
        expect(windows()[0]?.state).toBe(49);
    });

    it('has every speed, and counts it up as the process does', async () => {
        const cmds = () => commands(5, 40).map(({ Cmd }) => Cmd);
        for (const [speed, state, sent] of [['3', 34, [10, 10, 10]], ['4', 35, [10]], ['-2', 17, [3, 11, 11]], ['1', 32, [3, 10]], ['0', 0, [3]]] as const) {
            const before = cmds().length;
            id<HTMLSelectElement>('speed').value = speed;
            id('speed').dispatchEvent(new Event('change'));
            await vi.waitFor(() => expect(windows()[0]?.state).toBe(state));
            expect(cmds().slice(before)).toEqual(sent);
        }
        await told('Normal speed.');
    });

    it('goes faster and slower by one', async () => {
        click('faster');
        await told('Speed 2×.');
        click('slower');
        await told('Normal speed.');
        click('slower');
        await told('Speed 1/2×.');
        expect(windows()[2]?.state).not.toBe(16);
        expect(windows()[1]?.state).toBe(16);
    });

    it('keeps its speed when it starts elsewhere', async () => {
        click('faster');
        await told('Speed 2×.');
        await goTo('10:20:01');
        expect(windows().slice(0, 2).map(({ state }) => state)).toEqual([32, 32]);
    });

    it('stops', async () => {
        click('play-stop');
        await told('Stopped.');
        expect(last(5, 35)).toMatchObject({ Channel: -1 });
        expect(id('play-stop').disabled).toBe(true);
    });

    it('answers keys', async () => {
        press(' ');
        await told('Paused.');
        press('.');
        await told('One picture forward.');
        press(',');
        await told('One picture back.');
        press(']');
        await told('Speed 2×.');
        press('[');
        await told('Normal speed.');
        press('d');
        await vi.waitFor(() => expect(pressed('files-panel')).toBe(true));
    });

    it('says when a window does not take the command', async () => {
        host.settings.intercept = (request, send) => {
            if (request.SubType !== 40) return false;
            send({ Msg: 5, SubMsg: 40, MsgID: request.MsgID, Cmd: request.Cmd, Ret: 100, ChnStatus: [{ Ret: 1016, Chn: 0, Wnd: 0, Status: 2 }] });
            return true;
        };
        click('step-back');
        await told('There is no picture before this one any more.');
    });
});

