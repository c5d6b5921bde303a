import { afterEach, beforeEach, describe, expect, it } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import { LumoClient } from '../LumoClient.ts';
import { hexLength, PageMode, PlayCommand } from '../playback.ts';
import type { SocketLike } from '../Connection.ts';
import { Page } from '../wire.ts';

let host: FakeHost;
let client: LumoClient;

async function setUp(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    host = await startFakeHost({ channels: 4, ...settings });
    client = new LumoClient(host.url, { openSocket: (url) => new WebSocket(url) as unknown as SocketLike });
    await client.connect();
}

/** The last request, without its number. */
function lastRequest() {
    const { MsgID, ...rest } = host.requests.at(-1) ?? {};
    expect(MsgID).toBeTypeOf('number');
    return rest;
}

const process = () => {
    const last = host.processes.at(-1);
    if (!last) throw new Error('no process');
    return last;
};

const BEGIN = '2026-11-20 10:00:00';
const END = '2026-11-20 10:30:00';
const file = { name: 'rec0/video/20261120T100000Z-20261120T103000Z.h265x', begin: BEGIN, end: END, length: 0x1234ab };
const span = (channel: number, window = channel) => ({ channel, window, begin: BEGIN, end: END });

afterEach(async () => {
    client.close();
    await host.close();
});

describe('playback commands', () => {
    beforeEach(() => setUp({ picked: '/videos/a.avi' }));

    it.each<[string, () => Promise<unknown>, object]>([
        ['showPage', () => client.showPage(Page.Playback), { MainType: 2, SubType: 1 }],
        ['setPageMode', () => client.playback.setPageMode(PageMode.ByTime), { MainType: 5, SubType: 36, Mode: 2 }],
        ['startByTime', () => client.playback.startByTime([{ channel: 2, window: 1, begin: BEGIN, end: END }], { select: 1 }),
            { MainType: 5, SubType: 34, Mode: 2, SelectWnd: 1, Stream: 0, Channel: 2, FileInfo: [{ Channel: 2, BeginTime: BEGIN, EndTime: END, Wnd: 1, FileType: 0 }] }],
        ['startByTime without a selection', () => client.playback.startByTime([span(0)], { stream: 1 }),
            { MainType: 5, SubType: 34, Mode: 2, SelectWnd: 5, Stream: 1, Channel: 0, FileInfo: [{ Channel: 0, BeginTime: BEGIN, EndTime: END, Wnd: 0, FileType: 0 }] }],
        ['playFiles', () => client.playback.playFiles(3, [file]),
            { MainType: 5, SubType: 34, Mode: 1, SelectWnd: 0, Stream: 0, Channel: 3, FileInfo: [{ FileName: file.name, BeginTime: BEGIN, EndTime: END, FileLength: '0x001234AB' }] }],
        ['openLocal', () => client.playback.openLocal(), { MainType: 5, SubType: 33 }],
        ['stop all', () => client.playback.stop(), { MainType: 5, SubType: 35, Channel: -1 }],
        ['stop one', () => client.playback.stop(2), { MainType: 5, SubType: 35, Channel: 2 }],
        ['control', () => client.playback.control(PlayCommand.Pause), { MainType: 5, SubType: 40, Channel: -1, Cmd: 2, Param: 0 }],
        ['seek', () => client.playback.control(PlayCommand.Seek, 1, 500), { MainType: 5, SubType: 40, Channel: 1, Cmd: 4, Param: 500 }],
        ['status', () => client.playback.status(1), { MainType: 5, SubType: 45, Channel: 1 }],
        ['download', () => client.playback.download(1, [file]),
            { MainType: 5, SubType: 39, Stream: 0, Channel: 1, FileInfo: [{ FileName: file.name, BeginTime: BEGIN, EndTime: END, FileLength: '0x001234AB' }], FileType: 0, Event: '' }],
        ['showPicture', () => client.playback.showPicture(1, file),
            { MainType: 5, SubType: 39, Stream: 0, Channel: 1, FileInfo: [{ FileName: file.name, BeginTime: BEGIN, EndTime: END, FileLength: '0x001234AB' }], FileType: 1, Event: 'PicturePlay' }],
        ['stopDownload', () => client.playback.stopDownload(), { MainType: 5, SubType: 46 }],
    ])('%s sends exactly its keys and resolves', async (_name, run, keys) => {
        await run();
        expect(lastRequest()).toEqual(keys);
    });

    it('work on a window that plays', async () => {
        await client.playback.setPageMode(PageMode.ByTime);
        await client.playback.startByTime([span(0), span(1)]);
        expect(await client.playback.snapshot(1)).toMatchObject({ Wnd: 1, CapPath: '/home/you/Pictures/Capture' });
        expect(lastRequest()).toEqual({ MainType: 5, SubType: 41, Channel: 1 });
        expect(await client.playback.toggleSound(1)).toMatchObject({ Audio: true });
        expect(lastRequest()).toEqual({ MainType: 5, SubType: 42, Channel: 1 });
        expect(await client.playback.toggleZoom(0)).toMatchObject({ Zoom: true });
        expect(lastRequest()).toEqual({ MainType: 5, SubType: 43, Channel: 0 });
        expect(await client.playback.toggleClip(0)).toMatchObject({ Record: true, RecPath: '/home/you/Videos/Record' });
        expect(lastRequest()).toEqual({ MainType: 5, SubType: 44, Channel: 0 });
        expect(await client.playback.status(1)).toMatchObject({ Wnd: 1, Audio: true, Status: 2 });
    });

    it('are rejected on a channel that does not play', async () => {
        for (const run of [client.playback.snapshot(0), client.playback.toggleSound(0), client.playback.toggleZoom(0), client.playback.toggleClip(0)])
            await expect(run).rejects.toMatchObject({ ret: 1016 });
    });

    it('name every window of a control, idle ones included', async () => {
        await client.playback.setPageMode(PageMode.ByTime);
        await client.playback.startByTime([span(2, 0)]);
        const windows = await client.playback.control(PlayCommand.Faster);
        expect(windows.map(({ Ret }) => Ret)).toEqual([100, 1016, 1016, 1016]);
        expect(windows[0]).toMatchObject({ Chn: 2, Wnd: 0, Status: 6, Mode: 1 });
    });

    it('resolve although one of several windows failed, and tell which', async () => {
        host.settings.intercept = (request, send) => {
            if (request.SubType !== 34) return false;
            send({ Msg: 5, SubMsg: 34, MsgID: request.MsgID, Ret: 1016, ChnStatus: [{ Ret: 100, Chn: 0, Stream: 0, Wnd: 0 }, { Ret: 1016, Chn: 1, Stream: 0, Wnd: 1 }] });
            return true;
        };
        const windows = await client.playback.startByTime([span(0), span(1)]);
        expect(windows.map(({ Ret }) => Ret)).toEqual([100, 1016]);
    });

    it('are rejected when nothing could be started', async () => {
        await expect(client.playback.startByTime([])).rejects.toMatchObject({ ret: 1016 });
        await expect(client.playback.playFiles(0, [])).rejects.toMatchObject({ ret: 1019 });
        await expect(client.playback.download(0, [])).rejects.toMatchObject({ ret: 1019 });
        host.settings.refuseDownload = true;
        await expect(client.playback.download(0, [file])).rejects.toThrow('The download could not be started');
    });

    it('refuse a name that the process would cut, without sending it', async () => {
        const long = { ...file, name: 'x'.repeat(108) };
        await expect(client.playback.playFiles(0, [long])).rejects.toMatchObject({ kind: 'bad-argument' });
        await expect(client.playback.download(0, [long])).rejects.toMatchObject({ kind: 'bad-argument' });
        expect(host.requests).toEqual([]);
    });
});

describe('a local file', () => {
    it('opens in the selected window, and its path is told', async () => {
        await setUp({ picked: '/videos/größer.avi' });
        expect(await client.playback.openLocal()).toMatchObject({ Wnd: 0, Path: '/videos/größer.avi' });
    });

    it('that was not chosen is no failure', async () => {
        await setUp({ picked: '' });
        expect(await client.playback.openLocal()).toBeNull();
    });

    it('that cannot be played is one, and so is a picker that failed', async () => {
        await setUp({ picked: '/videos/text.txt', brokenFile: true });
        await expect(client.playback.openLocal()).rejects.toMatchObject({ ret: 1016, reply: { Path: '/videos/text.txt' } });
        delete host.settings.picked;
        await expect(client.playback.openLocal()).rejects.toMatchObject({ ret: 1016 });
    });
});

describe('the way between the pages', () => {
    it('tells what became of each live stream', async () => {
        await setUp({ channels: 3 });
        await client.startAll(1);
        expect((await client.showPage(Page.Playback)).channels).toEqual([]);
        host.settings.refuse = [1];
        const { channels } = await client.showPage(Page.Live);
        expect(channels.map(({ Ret, Stream }) => [Ret, Stream])).toEqual([[100, 1], [122, 1], [100, 1]]);
        expect((await client.showPage(Page.Live)).channels).toEqual([]);
    });
});

describe('a picture into the fixed file', () => {
    it('has its channel in place of the sub type', async () => {
        await setUp();
        await client.startPreview(2, 0);
        expect(await client.capture(2)).toMatchObject({ Msg: 19, Channel: 2, Ret: 100 });
        expect(lastRequest()).toEqual({ MainType: 19, SubType: 2 });
        await expect(client.capture(3)).rejects.toMatchObject({ ret: 1016 });
    });
});

describe('playback events', () => {
    it('come out under their names', async () => {
        await setUp({ picked: '/videos/a.avi' });
        await client.playback.setPageMode(PageMode.ByTime);
        const heard: unknown[] = [];
        for (const name of ['playbackWindow', 'fileStarted', 'playbackPosition', 'playbackEnd', 'downloadProgress', 'downloaded'] as const)
            client.on(name, (data) => heard.push([name, data]));
        await client.playback.startByTime([span(1, 0)], { select: 0 });
        process().playback.tick(5);
        process().playback.end(0);
        await client.playback.download(1, [file]);
        process().playback.progress(500);
        process().playback.progress(1000);
        await client.playback.setPageMode(PageMode.ByName);
        await client.playback.playFiles(1, [file]);
        const window = { Wnd: 0, Zoom: false, Record: false, Audio: false, Mode: -1 };
        expect(heard.filter(([name]: any) => name !== 'playbackWindow')).toEqual([
            ['playbackPosition', { pos: 36005, wnd: 0 }], ['playbackPosition', { wnd: 1 }], ['playbackPosition', { wnd: 2 }], ['playbackPosition', { wnd: 3 }],
            ['playbackEnd', { Chn: 1, Wnd: 0 }],
            ['downloadProgress', { Pos: 500 }], ['downloadProgress', { Pos: 1000 }], ['downloaded', { DownPath: '/home/you/Downloads' }],
            ['fileStarted', { Ret: 100, Chn: 1, Stream: 0, PlayIndex: 0, Wnd: 0 }],
        ]);
        expect(heard.find(([name]: any) => name === 'playbackWindow')).toEqual(['playbackWindow', { ...window, Status: 2 }]);
    });
});

describe('hexLength', () => {
    it.each([[0, '0x00000000'], [255, '0x000000FF'], [2 ** 32, '0xFFFFFFFF'], [-1, '0x00000000'], [1.5, '0x00000001']])('%d is %s', (bytes, text) => {
        expect(hexLength(bytes)).toBe(text);
    });
});
