import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { PageMode } from '../../client/index.ts';
import { clock, DAY_SECONDS, duration, isDate, parseClock, secondsOn, shiftDate, timeText } from '../src/playback/dayTime.ts';
import { DownloadJob, type DownloadList } from '../src/playback/downloadJob.ts';
import { goOn, keep, type KeptWindow } from '../src/playback/keeper.ts';
import { PlaybackModel } from '../src/playback/playbackModel.ts';
import { baseFor, baseOf, listWords, RecordingList } from '../src/playback/recordingList.ts';
import { blockAt, mergeBlocks, nextRecorded, piecesOf, readDay } from '../src/playback/recordings.ts';
import { thousandthsFor } from '../src/playback/seek.ts';
import { pan, placeOf, reveal, secondAt, ticks, WHOLE_DAY, zoomTo } from '../src/playback/timeScale.ts';

const DATE = '2026-11-20';
const at = (text: string) => secondsOn(DATE, `${DATE} ${text}`) as number;

describe('times of a day', () => {
    it.each([['10', 36000], ['10:30', 37800], ['9:05:07', 32707], ['24:00', null], ['10:60', null], ['10:00:61', null], ['', null], ['ten', null]])(
        '%j typed is %j', (text, seconds) => expect(parseClock(text)).toBe(seconds));

    it.each([[0, '00:00:00'], [37815.9, '10:30:15'], [86400, '23:59:59'], [-1, '00:00:00']])('%d is %s', (seconds, text) => expect(clock(seconds)).toBe(text));

    it('are counted from the midnight of the day, whatever day they are of', () => {
        expect(secondsOn(DATE, '2026-11-19 23:59:00')).toBe(-60);
        expect(secondsOn(DATE, '2026-11-21 00:00:00')).toBe(DAY_SECONDS);
        expect(secondsOn(DATE, 'soon')).toBeNull();
        expect(timeText(DATE, 36000)).toBe('2026-11-20 10:00:00');
    });

    it('are the same on days when clocks change, and over the end of months', () => {
        expect(secondsOn('2025-03-30', '2025-03-30 10:00:00')).toBe(36000);
        expect([shiftDate('2026-02-28', 1), shiftDate('2024-03-01', -1), shiftDate('2025-03-30', 1)]).toEqual(['2026-03-01', '2024-02-29', '2025-03-31']);
    });

    it('are of dates that exist', () => {
        expect([isDate('2026-11-20'), isDate('2026-02-30'), isDate('2026-1-1'), isDate('')]).toEqual([true, false, false, false]);
    });

    it.each([[0, '0 s'], [59, '59 s'], [60, '1 min'], [125, '2 min 5 s'], [3660, '1 h 1 min'], [86400, '24 h']])('%d seconds last %s', (seconds, text) => expect(duration(seconds)).toBe(text));
});

describe('what was recorded', () => {
    const name = (begin: string, end: string) => `rec1/video/20261120T${begin}Z-20261120T${end}Z.h265x`;
    const answer = {
        channel: 1, date: DATE,
        files: [
            { name: name('093000', '100000'), begin: '2026-11-20 10:30:00', end: '2026-11-20 11:00:00', length: 1800, type: 0, stream: 0 },
            { name: name('090000', '093000'), begin: '2026-11-20 10:00:00', end: '2026-11-20 10:30:00', length: 3600, type: 0, stream: 0 },
            { name: name('110000', '113000'), begin: '2026-11-20 12:00:00', end: '2026-11-20 12:30:00', length: 1000, type: 0, stream: 1 },
        ],
        pictures: [{ name: 'rec1/20261120T090000Z.jpg', time: '2026-11-20 10:00:00', length: 5 }],
    };
    const day = readDay(DATE, answer) as NonNullable<ReturnType<typeof readDay>>;

    it('is put in order, and files that follow on each other make one block', () => {
        expect(day.files.map(({ begin }) => clock(begin))).toEqual(['10:00:00', '10:30:00', '12:00:00']);
        expect(day.blocks).toEqual([{ begin: at('10:00:00'), end: at('11:00:00') }, { begin: at('12:00:00'), end: at('12:30:00') }]);
        expect(day.pictures).toEqual([{ name: 'rec1/20261120T090000Z.jpg', at: 36000, length: 5 }]);
    });

    it.each([null, [], 'text', {}, { files: 'none' }])('is not to be had from %j', (bad) => expect(readDay(DATE, bad)).toBeNull());

    it('leaves out entries that are none', () => {
        expect(readDay(DATE, { files: [null, { name: 7 }, { name: 'a', begin: 'x', end: 'y' }, { name: 'b', begin: '2026-11-20 11:00:00', end: '2026-11-20 10:00:00' }] })?.files).toEqual([]);
    });

    it('overlaps are one block', () => {
        expect(mergeBlocks([{ begin: 5, end: 9 }, { begin: 0, end: 6 }, { begin: 9, end: 10 }])).toEqual([{ begin: 0, end: 10 }]);
    });

    it('is found at a time or after it', () => {
        expect(blockAt(day.blocks, at('10:59:59'))?.begin).toBe(at('10:00:00'));
        expect(blockAt(day.blocks, at('11:00:00'))).toBeNull();
        expect(nextRecorded(day.blocks, at('10:15:00'))).toBe(at('10:15:00'));
        expect(nextRecorded(day.blocks, at('11:00:00'))).toBe(at('12:00:00'));
        expect(nextRecorded(day.blocks, at('12:30:00'))).toBeNull();
    });

    it('of a range is the part of each file that lies in it', () => {
        expect(piecesOf(day, at('10:20:00'), at('10:40:00'))).toEqual([
            { name: name('090000', '093000'), begin: '2026-11-20 10:20:00', end: '2026-11-20 10:30:00', length: 1200 },
            { name: name('093000', '100000'), begin: '2026-11-20 10:30:00', end: '2026-11-20 10:40:00', length: 600 },
        ]);
        expect(piecesOf(day, at('11:00:00'), at('12:00:00'))).toEqual([]);
    });
});

describe('a seek', () => {
    it('is possible to any second of a span of up to a thousand', () => {
        for (const span of [1, 7, 60, 333, 600, 997, 1000])
            for (let offset = 1; offset <= span; offset++) {
                const param = thousandthsFor(offset, span);
                expect(param, `${offset} of ${span}`).not.toBeNull();
                expect(Math.trunc(((param as number) / 1000) * span)).toBe(offset);
            }
    });

    it('is exact or none in a longer span', () => {
        for (const span of [1800, 3600, 40000])
            for (let offset = 0; offset <= span; offset++) {
                const param = thousandthsFor(offset, span);
                if (param !== null) expect(Math.trunc((param / 1000) * span)).toBe(offset);
            }
        expect([thousandthsFor(1800, 3600), thousandthsFor(1801, 3600)]).toEqual([500, null]);
    });

    it('never goes to the beginning or out of the span', () => {
        expect([thousandthsFor(0, 100), thousandthsFor(-1, 100), thousandthsFor(101, 100), thousandthsFor(1, 0), thousandthsFor(1.5, 100)]).toEqual([null, null, null, null, null]);
    });
});

describe('the scale', () => {
    it('tells places and seconds', () => {
        expect(placeOf(WHOLE_DAY, 43200)).toBe(0.5);
        expect(secondAt(WHOLE_DAY, 0.5)).toBe(43200);
        expect([secondAt(WHOLE_DAY, -1), secondAt(WHOLE_DAY, 2)]).toEqual([0, DAY_SECONDS - 1]);
    });

    it('zooms around a second and stays within the day', () => {
        expect(zoomTo(WHOLE_DAY, 3600, 43200)).toEqual({ from: 41400, to: 45000 });
        expect(zoomTo(WHOLE_DAY, 3600, 0)).toEqual({ from: 0, to: 3600 });
        expect(zoomTo({ from: 0, to: 3600 }, 600, 43200)).toEqual({ from: 42900, to: 43500 });
        expect(zoomTo(WHOLE_DAY, 1, 43200).to - zoomTo(WHOLE_DAY, 1, 43200).from).toBe(60);
        expect(zoomTo({ from: 0, to: 3600 }, 1e9, 60)).toEqual(WHOLE_DAY);
    });

    it('pans to the ends of the day and no further', () => {
        expect(pan({ from: 0, to: 3600 }, -600)).toEqual({ from: 0, to: 3600 });
        expect(pan({ from: 0, to: 3600 }, 1e9)).toEqual({ from: DAY_SECONDS - 3600, to: DAY_SECONDS });
    });

    it('moves only for what is out of sight', () => {
        const scale = { from: 0, to: 3600 };
        expect(reveal(scale, 3599)).toBe(scale);
        expect(reveal(scale, 3600)).toEqual({ from: 3240, to: 6840 });
    });

    it('has marks at round times', () => {
        expect(ticks(WHOLE_DAY, 8)).toEqual([0, 10800, 21600, 32400, 43200, 54000, 64800, 75600, 86400]);
        expect(ticks({ from: 36001, to: 36061 }, 6).every((second) => second % 10 === 0)).toBe(true);
    });
});

describe('windows kept on one position', () => {
    const blocks = (...pairs: [number, number][]) => pairs.map(([begin, end]) => ({ begin, end }));
    const window = (number: number, over: Partial<KeptWindow>): KeptWindow => ({ window: number, active: true, position: 100, blocks: blocks([0, 1000]), lastStart: 0, ...over });

    it('are left alone while they are together', () => {
        expect(keep([window(0, {}), window(1, { position: 103 })], 1)).toBeNull();
        expect(keep([window(0, {}), window(1, { position: null })], 1)).toBeNull();
        expect(keep([], 1)).toBeNull();
    });

    it('wait when a gap made them run ahead', () => {
        expect(keep([window(0, {}), window(1, { position: 500, blocks: blocks([0, 90], [500, 900]) })], 1)).toEqual({ stop: [1], start: [], at: 100 });
    });

    it('are not stopped for being ahead within one recording', () => {
        expect(keep([window(0, {}), window(1, { position: 500 })], 1)).toBeNull();
    });

    it('may be further apart at speed', () => {
        const ahead = window(1, { position: 130, blocks: blocks([0, 90], [125, 900]) });
        expect(keep([window(0, {}), ahead], 16)).toBeNull();
        expect(keep([window(0, {}), ahead], 2)?.stop).toEqual([1]);
    });

    it('start when the others reach their recording', () => {
        expect(keep([window(0, {}), window(1, { active: false, position: null, blocks: blocks([90, 900]), lastStart: null })], 1)).toEqual({ stop: [], start: [1], at: 100 });
        expect(keep([window(0, {}), window(1, { active: false, blocks: blocks([200, 900]), lastStart: null })], 1)).toBeNull();
    });

    it('are started once in each recording', () => {
        expect(keep([window(0, {}), window(1, { active: false, blocks: blocks([50, 900]), lastStart: 60 })], 1)).toBeNull();
        expect(keep([window(0, {}), window(1, { active: false, blocks: blocks([0, 20], [50, 900]), lastStart: 10 })], 1)?.start).toEqual([1]);
        expect(keep([window(0, {}), window(1, { active: false, blocks: blocks([50, 101]), lastStart: null })], 1)).toBeNull();
    });

    it('go on together behind a gap that all have', () => {
        const ended = { active: false, lastStart: 0 };
        const windows = [window(0, { ...ended, blocks: blocks([0, 90], [300, 400]) }), window(1, { ...ended, blocks: blocks([0, 80], [250, 400]) })];
        expect(goOn(windows, 95)).toEqual({ stop: [], start: [1], at: 250 });
        expect(goOn(windows, 400)).toBeNull();
    });
});

describe('PlaybackModel', () => {
    let model: PlaybackModel;
    beforeEach(() => {
        model = new PlaybackModel();
        model.reset(4);
        model.choose(2, 0);
        model.choose(3, 1);
    });

    it('has the windows that the process shows', () => {
        expect(model.visibleWindows).toBe(4);
        model.mode = PageMode.ByName;
        expect(model.visibleWindows).toBe(1);
        model.reset(1);
        model.mode = PageMode.ByTime;
        expect(model.visibleWindows).toBe(1);
    });

    it('follows a control on all windows and judges the open ones alone', () => {
        model.started(0);
        expect(model.controlled([{ Ret: 100, Chn: 2, Wnd: 0, Status: 6, Mode: 2 }, { Ret: 1016, Chn: -1, Wnd: 1, Status: 0 }])).toBe(true);
        expect([model.speed, model.isRunning]).toEqual([2, true]);
        expect(model.controlled([{ Ret: 1016, Chn: 2, Wnd: 0, Status: 4 }])).toBe(false);
        expect([model.speed, model.isRunning]).toEqual([0, false]);
    });

    it('stands where the last of its windows stands, and ignores what is no position yet', () => {
        model.started(0);
        model.started(1);
        model.onPosition({ wnd: 0, pos: 36005 });
        model.onPosition({ wnd: 1, pos: 0 });
        expect(model.position).toBe(36005);
        model.onPosition({ wnd: 1, pos: 36004 });
        model.onPosition({ wnd: 2 });
        expect(model.position).toBe(36004);
    });

    it('goes by the channel by time, by the window for a local file', () => {
        model.started(1);
        model.selected = 1;
        expect(model.currentChannel).toBe(3);
        model.mode = PageMode.Local;
        expect(model.currentChannel).toBe(1);
        model.stopped();
        expect(model.currentChannel).toBe(-1);
        expect(model.chosen).toEqual([{ channel: 2, window: 0 }, { channel: 3, window: 1 }]);
    });

    it('has one sound at most', () => {
        model.started(0);
        model.started(1);
        model.sounded(0, true);
        model.sounded(1, true);
        expect(model.windows.map(({ sound }) => sound)).toEqual([false, true, false, false]);
    });
});

describe('DownloadJob', () => {
    const file = (begin: string) => ({ name: begin, begin, end: begin, length: 1 });
    const list = (channel: number, ...files: string[]): DownloadList => ({ channel, stream: 0, fileType: 0, files: files.map(file) });
    const driver = { start: vi.fn(async (_list: DownloadList) => undefined), stop: vi.fn(async () => undefined) };
    let job: DownloadJob;
    beforeEach(() => {
        vi.useFakeTimers();
        driver.start.mockReset().mockResolvedValue(undefined);
        driver.stop.mockClear();
        job = new DownloadJob(driver, 30000);
    });
    afterEach(() => vi.useRealTimers());
    const whole = () => [999, 1000].forEach((pos) => job.onProgress(pos));

    it('counts over all files of all lists', async () => {
        await job.run([list(0, 'a', 'b'), list(1, 'c', 'd')], false);
        expect([job.phase, job.progress, job.text]).toEqual(['downloading', 0, 'Downloading file 1 of 4']);
        job.onProgress(500);
        expect(job.progress).toBe(0.125);
        whole();
        expect([job.progress, job.text]).toEqual([0.25, 'Downloading file 2 of 4']);
        whole();
        await job.onDownloaded('/d');
        expect([job.phase, job.progress, job.text]).toEqual(['downloading', 0.5, 'Downloading file 3 of 4']);
        expect(driver.start.mock.calls.map(([each]) => each.channel)).toEqual([0, 1]);
        whole();
        whole();
        await job.onDownloaded('/d');
        expect([job.phase, job.progress, job.message]).toEqual(['done', 1, 'Saved in /d.']);
    });

    it('shows the conversion that follows, as long as it may take', async () => {
        await job.run([list(0, 'a', 'b')], true);
        whole();
        whole();
        expect([job.phase, job.progress]).toEqual(['converting', 0]);
        vi.advanceTimersByTime(600000);
        job.onProgress(500);
        expect([job.phase, job.progress, job.text]).toEqual(['converting', 0.5, 'Converting to AVI']);
        whole();
        await job.onDownloaded('/d');
        expect(job.phase).toBe('done');
    });

    it('of pictures is never converted', async () => {
        await job.run([{ ...list(0, 'a'), fileType: 1 }], true);
        whole();
        expect(job.phase).toBe('downloading');
        await job.onDownloaded('/d');
        expect(job.phase).toBe('done');
    });

    it('that goes no further is stopped and told', async () => {
        await job.run([list(0, 'a')], false);
        job.onProgress(10);
        vi.advanceTimersByTime(29000);
        job.onProgress(20);
        vi.advanceTimersByTime(29999);
        expect(job.phase).toBe('downloading');
        vi.advanceTimersByTime(1);
        expect([job.phase, driver.stop.mock.calls.length]).toEqual(['failed', 1]);
        expect(job.message).toContain('nothing came from the device for 30 s');
    });

    it('that the device ends early is not called saved', async () => {
        await job.run([list(0, 'a')], false);
        job.onProgress(400);
        job.onProgress(1000);
        await job.onDownloaded('/d');
        expect([job.phase, job.message]).toEqual(['failed', 'The download broke off: the device ended it early, or the disk here is full.']);
        await job.run([list(0, 'a', 'b'), list(1, 'c')], false);
        whole();
        job.onProgress(1000);
        await job.onDownloaded('/d');
        whole();
        await job.onDownloaded('/d');
        expect([job.phase, job.message]).toEqual(['failed', '1 of 3 downloads broke off: the device ended them early, or the disk here is full. The others are saved in /d.']);
    });

    it('that cannot begin says why', async () => {
        driver.start.mockRejectedValue(new Error('no such folder'));
        await expect(job.run([list(0, 'a')], false)).rejects.toThrow('no such folder');
        expect([job.phase, job.message]).toEqual(['failed', 'no such folder']);
        await expect(job.run([list(0)], false)).rejects.toThrow('nothing to download');
    });

    it('whose second list cannot begin has failed', async () => {
        await job.run([list(0, 'a'), list(1, 'b')], false);
        driver.start.mockRejectedValue(new Error('refused'));
        whole();
        await job.onDownloaded('/d');
        expect([job.phase, job.message]).toEqual(['failed', 'refused']);
    });

    it('is stopped once, and hears nothing any more', async () => {
        await job.run([list(0, 'a')], false);
        await job.stop();
        await job.stop();
        expect(driver.stop.mock.calls.length).toBe(1);
        whole();
        await job.onDownloaded('/d');
        expect(job.phase).toBe('failed');
    });
});

describe('RecordingList', () => {
    const known = { files: [{ name: 'a', begin: '2026-11-20 10:00:00', end: '2026-11-20 11:00:00' }] };

    it('asks once, tells what it knows meanwhile, and says when it knows more', async () => {
        const ask = vi.fn(async (_url: string): Promise<unknown> => known);
        const list = new RecordingList(ask);
        list.useDevice('http://10.0.0.9:80');
        expect([list.day(2, DATE).kind, list.day(2, DATE).kind]).toEqual(['loading', 'loading']);
        await list.once('changed');
        expect(ask.mock.calls).toEqual([[`http://10.0.0.9:80/api/recordings?channel=2&date=${DATE}`]]);
        expect(list.known(2, DATE)?.blocks).toEqual([{ begin: 36000, end: 39600 }]);
        expect(list.known(1, DATE)).toBeNull();
    });

    it('knows nothing of a device that gives no list, or has no address', async () => {
        const ask = vi.fn(async () => null);
        const list = new RecordingList(ask);
        expect(list.day(0, DATE)).toEqual({ kind: 'nowhere' });
        expect(await list.load(0, DATE)).toEqual({ kind: 'nowhere' });
        expect(await list.days(0)).toBeNull();
        expect(ask).not.toHaveBeenCalled();
        list.useDevice('http://10.0.0.9:80');
        expect(await list.load(0, DATE)).toEqual({ kind: 'none' });
        expect(list.day(0, DATE)).toEqual({ kind: 'none' });
    });

    it('asks again for the present day, and not for one that is over', async () => {
        vi.useFakeTimers({ now: Date.parse('2026-11-21T03:00:00Z') });
        const ask = vi.fn(async (url: string): Promise<unknown> => (url.includes('channel=9') ? null : known));
        const list = new RecordingList(ask);
        list.useDevice('http://d');
        const days = [[0, DATE], [0, '2026-11-18'], [9, DATE]] as const;
        for (const [channel, date] of days) await list.load(channel, date);
        const asked = () => days.map(([channel, date]) => { const before = ask.mock.calls.length; list.day(channel, date); return ask.mock.calls.length - before; });
        expect(asked()).toEqual([0, 0, 0]);
        vi.advanceTimersByTime(21000);
        expect(asked()).toEqual([1, 0, 0]);
        vi.advanceTimersByTime(300000);
        expect(asked()).toEqual([1, 0, 1]);
        vi.useRealTimers();
    });

    it('keeps what it knew when a later question fails', async () => {
        const answers: unknown[] = [known, null];
        const list = new RecordingList(async () => answers.shift());
        list.useDevice('http://d');
        await list.load(0, DATE);
        expect((await list.load(0, DATE)).kind).toBe('known');
    });

    it('forgets one device for another, late answers included', async () => {
        let answer: (value: unknown) => void = () => undefined;
        const list = new RecordingList(() => new Promise((resolve) => (answer = resolve)));
        list.useDevice('http://one');
        const late = list.load(0, DATE);
        list.useDevice('http://two');
        answer(known);
        await late;
        expect(list.known(0, DATE)).toBeNull();
    });

    it('tells the days in order, and no text that is none', async () => {
        const list = new RecordingList(async () => ({ days: ['2026-11-20', 'x', 5, '2026-11-19'] }));
        list.useDevice('http://d');
        expect(await list.days(0)).toEqual(['2026-11-19', '2026-11-20']);
    });
});

describe('baseOf', () => {
    it.each([['10.0.0.9', 80, 'http://10.0.0.9:80'], ['fe80::1', 81, 'http://[fe80::1]:81'], ['[::1]', 80, 'http://[::1]:80'], ['rtsp://10.0.0.9/live', 0, null], ['', 80, null]])(
        '%s port %d is asked at %s', (address, port, base) => expect(baseOf(address, port)).toBe(base));
});

describe('where the list of recordings is asked for', () => {
    const address = { kind: 'address', address: '10.0.0.9', port: 80, user: 'u', password: 'p' } as const;
    const serial = { kind: 'serial', serialNumber: 'LUMO00000001', user: 'u', password: 'p' } as const;

    it('is the address of the log in, also on a page that another device served', () => {
        expect(baseFor(address, null)).toBe('http://10.0.0.9:80');
        expect(baseFor(address, 'https://other')).toBe('http://10.0.0.9:80');
    });

    it('is the device that served the page after a log in by serial number, else nowhere', () => {
        expect(baseFor(serial, 'https://10.0.0.9')).toBe('https://10.0.0.9');
        expect(baseFor(serial, null)).toBeNull();
    });
});

describe('what stands in the place of a list', () => {
    const day = (blocks: { begin: number; end: number }[]) => ({ kind: 'known' as const, day: { date: DATE, files: [], pictures: [], blocks } });

    it.each([
        [{ kind: 'loading' } as const, 'Asking the device…'],
        [{ kind: 'none' } as const, 'The device gives no list of its recordings.'],
        [{ kind: 'nowhere' } as const, 'Not listed: the address of the device is not known after this log in.'],
        [day([]), 'Nothing was recorded on this day.'],
        [day([{ begin: 0, end: 9 }]), ''],
    ])('for %o: %s', (state, words) => expect(listWords(state)).toBe(words));
});
