import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import { LumoClient, type ClientOptions } from '../LumoClient.ts';
import { ColorType } from '../requests.ts';
import type { SocketLike } from '../Connection.ts';

const TITLE = 'Web Viewer - a1b2c3';
const device = { kind: 'address', address: '10.0.0.9', port: 8080, user: 'u', password: 'p' } as const;
const login = { browse: 2 };

let host: FakeHost;
let client: LumoClient;

async function setUp(settings: Partial<FakeHostSettings> = {}, options: ClientOptions = {}): Promise<void> {
    host = await startFakeHost({ channels: 4, ...settings });
    const openSocket = (url: string) => new WebSocket(url) as unknown as SocketLike;
    client = new LumoClient(host.url, { title: TITLE, openSocket, backoffFirstMs: 1, backoffMaxMs: 5, ...options });
}

/** The last request, without its number. */
function lastRequest() {
    const { MsgID, ...rest } = host.requests.at(-1) ?? {};
    expect(MsgID).toBeTypeOf('number');
    return rest;
}

const sent = (count: number) => vi.waitFor(() => expect(host.requests.length).toBeGreaterThanOrEqual(count));

afterEach(async () => {
    client.close();
    await host.close();
});

describe('commands', () => {
    beforeEach(async () => {
        await setUp({ picked: '/home/you/Videos\n' });
        await client.connect();
    });

    it('tells the host the title of the page', () => {
        expect(host.urls).toEqual(['/?title=Web%20Viewer%20-%20a1b2c3']);
    });

    it('logs in with the title, and gives the reply', async () => {
        const reply = await client.login(device, login);
        expect(reply).toMatchObject({ Msg: 8, Ret: 100, Id: 7, adjustBytool: true, DPIRadio: 100 });
        expect(lastRequest()).toMatchObject({ MainType: 8, Title: TITLE, Browse: 2, Device: { LoginType: 0, IP: '10.0.0.9', Port: 8080 } });
    });

    it('tells a refused log in in words, with the code and the reply', async () => {
        const failure = client.login({ ...device, password: 'wrong' }, login);
        await expect(failure).rejects.toMatchObject({ kind: 'ret', ret: 106, reply: { ErrorCode: -11302 } });
        await expect(failure).rejects.toThrow('password is wrong');
    });

    it('refuses a log in that the process could not hold, without sending it', async () => {
        await expect(client.login({ ...device, user: 'x'.repeat(64) }, login)).rejects.toMatchObject({ kind: 'bad-argument' });
        expect(host.requests).toEqual([]);
    });

    it('logs out without waiting for a reply', async () => {
        client.logout();
        await sent(1);
        expect(lastRequest()).toEqual({ MainType: 9, SubType: 0 });
    });

    it('logs in again in place', async () => {
        expect(await client.relogin()).toMatchObject({ Msg: 28, Ret: 100, SerialNo: 'LUMO00000001' });
    });

    it.each<[string, () => Promise<unknown>, object]>([
        ['startPreview', () => client.startPreview(2, 1), { MainType: 4, SubType: 0, Channel: 2, Stream: 1 }],
        ['startAll', () => client.startAll(1), { MainType: 4, SubType: 0, Channel: -1, Stream: 1 }],
        ['startFirst', () => client.startFirst(1, 0), { MainType: 4, SubType: 0, Channel: 100, Stream: 0 }],
        ['stopPreview', () => client.stopPreview(3), { MainType: 4, SubType: 1, Channel: 3 }],
        ['stopAll', () => client.stopAll(), { MainType: 4, SubType: 1, Channel: -1 }],
        ['readColor', () => client.readColor(1), { MainType: 4, SubType: 2, Channel: 1 }],
        ['playStatus', () => client.playStatus(1), { MainType: 4, SubType: 4, Channel: 1 }],
        ['fullScreen', () => client.fullScreen(), { MainType: 4, SubType: 5 }],
        ['currentChannel', () => client.currentChannel(), { MainType: 4, SubType: 7 }],
        ['toggleSound', () => client.toggleSound(1), { MainType: 4, SubType: 8, Channel: 1 }],
        ['recordAll', () => client.recordAll(true), { MainType: 4, SubType: 10, Channel: -1, Record: 1 }],
        ['setSplit', () => client.setSplit(3), { MainType: 3, SubType: 3 }],
        ['selectPlaybackWindow', () => client.selectPlaybackWindow(2), { MainType: 11, SubType: 2 }],
        ['scaleStep in', () => client.scaleStep('in', 3), { MainType: 29, SubType: 0, Speed: 3 }],
        ['scaleStep out', () => client.scaleStep('out'), { MainType: 29, SubType: 1, Speed: 1 }],
        ['scaleStep reset', () => client.scaleStep('reset'), { MainType: 29, SubType: 2, Speed: 1 }],
        ['showSurface', () => client.showSurface({ Left: 1, Top: 2, Width: 3, Height: 4 }), { MainType: 12, SubType: 2, Pos: { Left: 1, Top: 2, Width: 3, Height: 4 } }],
        ['hideSurface', () => client.hideSurface(), { MainType: 12, SubType: 1, Pos: { Left: 0, Top: 0, Width: 0, Height: 0 } }],
        ['readConfig', () => client.readConfig(), { MainType: 18, SubType: 51 }],
        ['saveConfig', () => client.saveConfig({ RecPath: '/r', CapPath: '/c', DownPath: '/d', RecordType: 2 }), { MainType: 18, SubType: 50, RecPath: '/r', CapPath: '/c', DownPath: '/d', RecordType: 2 }],
        ['pickFolder of recordings', () => client.pickFolder('record'), { MainType: 18, SubType: 48 }],
        ['pickFolder of snapshots', () => client.pickFolder('capture'), { MainType: 18, SubType: 49 }],
        ['pickFolder of downloads', () => client.pickFolder('download'), { MainType: 18, SubType: 53 }],
    ])('%s sends exactly its keys and resolves', async (_name, run, keys) => {
        await run();
        expect(lastRequest()).toEqual(keys);
    });

    it('works on the channel in the selected cell', async () => {
        await client.startPreview(0, 0);
        await client.setColor(ColorType.Hue, 90);
        expect(lastRequest()).toEqual({ MainType: 4, SubType: 3, Type: 3, Value: 90 });
        expect(await client.readColor(0)).toMatchObject({ nBrightness: 64, nHue: 90 });
        expect(await client.snapshot(0)).toMatchObject({ CapPath: '/home/you/Pictures/Capture' });
        expect(await client.record(0, true)).toMatchObject({ Record: true, RecPath: '/home/you/Videos/Record' });
        await client.originalAspect(true);
        expect(lastRequest()).toEqual({ MainType: 4, SubType: 12 });
        await client.originalAspect(false);
        expect(lastRequest()).toEqual({ MainType: 4, SubType: 13 });
    });

    it('rejects what the process refuses', async () => {
        await expect(client.setColor(ColorType.Hue, 90)).rejects.toMatchObject({ ret: 1016 });
        await expect(client.snapshot(0)).rejects.toMatchObject({ ret: 1016 });
    });

    it('takes the values of a colour reply although its code says failure', async () => {
        expect(await client.readColor(0)).toMatchObject({ Ret: 1016, nContrast: 64 });
    });

    it('moves the surface without asking for a reply', async () => {
        client.moveSurface({ Left: 1, Top: 2, Width: 3, Height: 4 });
        await client.currentChannel();
        expect(host.requests[0]).toMatchObject({ MainType: 12, SubType: 4, Potocol: 1, Pos: { Left: 1 } });
    });

    it('cuts the line end off a picked path', async () => {
        expect(await client.pickFolder('record')).toBe('/home/you/Videos');
    });

    it('takes a cancelled picker as no path', async () => {
        delete host.settings.picked;
        expect(await client.pickFolder('record')).toBeNull();
        host.settings.picked = '';
        expect(await client.pickFolder('record')).toBeNull();
    });
});

describe('commands on all channels', () => {
    it('come with the results of each', async () => {
        await setUp({ channels: 4, refuse: [2] });
        await client.connect();
        const [stopped, started] = await Promise.all([client.stopAll(), client.startAll(1)]);
        expect(stopped.channels.map((result) => result.Stream)).toEqual([9, 9, 9, 9]);
        expect(started.channels.map((result) => result.Ret)).toEqual([100, 100, 122, 100]);
        expect(started.channels[2]).toMatchObject({ Chn: 2, Stream: 1, Error: -10005 });
        expect(started.reply.Ret).toBe(100);
        const { channels } = await client.recordAll(true);
        expect(channels.map((result) => result.Record)).toEqual([true, true, false, true]);
    });

    it('have no results when there is no channel', async () => {
        await setUp({ channels: 0 });
        await client.connect();
        expect((await client.startAll(0)).channels).toEqual([]);
    });

    it.each([0, 17, 1.5])('refuse to start %d quads', async (quads) => {
        await setUp();
        await expect(client.startFirst(quads, 0)).rejects.toMatchObject({ kind: 'bad-argument' });
    });
});

describe('silence', () => {
    it('of a command that is never answered ends in its time-out', async () => {
        await setUp();
        await client.connect();
        const unanswered = client.request({ MainType: 4, SubType: 6 }, 20);
        await expect(unanswered).rejects.toMatchObject({ kind: 'timeout' });
        expect((await client.currentChannel()).Ret).toBe(100);
    });

    it('a reply after its time-out comes out as stray', async () => {
        let answer: (() => void) | null = null;
        await setUp({
            intercept: (request, send) => {
                if (request.MainType !== 11) return false;
                answer = () => send({ Msg: 11, SubMsg: 0, MsgID: request.MsgID, Ret: 100 });
                return true;
            },
        });
        await client.connect();
        await expect(client.request({ MainType: 11, SubType: 0 }, 10)).rejects.toMatchObject({ kind: 'timeout' });
        await vi.waitFor(() => expect(answer).not.toBeNull());
        const stray = client.once('stray');
        answer!();
        expect(await stray).toMatchObject({ Msg: 11 });
    });

    it('unknown commands are answered by 1019', async () => {
        await setUp();
        await client.connect();
        expect(await client.request({ MainType: 35, SubType: 0 })).toMatchObject({ Ret: 1019 });
    });
});

describe('events', () => {
    beforeEach(async () => {
        await setUp();
        await client.connect();
    });

    it('come out under their names, and raw before', async () => {
        const order: string[] = [];
        client.on('event', (raw) => order.push(`raw ${raw.MainEvent}/${raw.SubEvent}`));
        client.on('selection', (data) => order.push(`selection ${data.Wnd}`));
        client.on('electronicPtz', (offer) => order.push(`ptz ${offer}`));
        client.on('deviceLost', () => order.push('lost'));
        host.processes[0]?.select(3);
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await vi.waitFor(() => expect(order.length).toBe(6));
        expect(order).toEqual(['raw 0/0', 'selection 3', 'raw 0/6', 'ptz 0', 'raw 5/0', 'lost']);
    });

    it('of an unknown kind come out raw', async () => {
        const raw = client.once('event');
        host.push({ MainEvent: 9, SubEvent: 9, New: 1 });
        expect(await raw).toEqual({ MainEvent: 9, SubEvent: 9, New: 1 });
    });

    it('survive a listener that throws', async () => {
        const complaint = vi.spyOn(console, 'error').mockImplementation(() => undefined);
        client.on('deviceLost', () => {
            throw new Error('listener');
        });
        const heard = client.once('deviceLost');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        expect(await heard).toEqual({ Ret: 100 });
        expect(complaint).toHaveBeenCalledOnce();
        complaint.mockRestore();
    });

    it('garbage from the host hurts nothing', async () => {
        const strays: unknown[] = [];
        client.on('stray', (message) => strays.push(message));
        for (const text of ['not json', 'null', '[]', '{"Msg":1,"MsgID":999}']) host.push(text);
        expect((await client.currentChannel()).Ret).toBe(100);
        expect(strays).toEqual(['not json', null, [], { Msg: 1, MsgID: 999 }]);
    });
});

describe('the connection', () => {
    it('may come after the commands: they wait for it', async () => {
        await setUp();
        const connected = client.connect();
        const reply = await client.login(device, login);
        await connected;
        expect(reply.Ret).toBe(100);
    });

    it('refuses commands when none is being made', async () => {
        await setUp();
        await expect(client.currentChannel()).rejects.toMatchObject({ kind: 'closed' });
        expect(() => client.logout()).toThrow('no connection');
    });

    it('comes back by itself; what was under way is lost, logging in is ours', async () => {
        await setUp({ intercept: (request) => request.MainType === 11 });
        await client.connect();
        const hanging = client.selectPlaybackWindow(0);
        hanging.catch(() => undefined);
        await sent(1);
        const down = client.once('down');
        const open = client.once('open');
        host.drop(4001, 'exit code 1');
        expect(await down).toMatchObject({ cause: 'process-ended', code: 4001, reason: 'exit code 1' });
        await expect(hanging).rejects.toMatchObject({ kind: 'lost' });
        await open;
        expect((await client.login(device, login)).Ret).toBe(100);
        expect(host.urls.length).toBe(2);
    });

    it('tells a process that never started from one that ended', async () => {
        await setUp({}, { reconnect: false });
        await client.connect();
        const down = client.once('down');
        host.drop(4002, 'no program');
        expect(await down).toMatchObject({ cause: 'process-not-started', retryInMs: null });
    });

    it('sends what an open listener asks before what waited', async () => {
        await setUp();
        client.on('open', () => void client.relogin());
        const connected = client.connect();
        void client.currentChannel();
        await connected;
        await sent(2);
        expect(host.requests.map((request) => request.MainType)).toEqual([28, 4]);
    });

    it('says that it could not be made', async () => {
        await setUp({}, { reconnect: false });
        await host.close();
        await expect(client.connect()).rejects.toMatchObject({ kind: 'closed' });
    });

    it('ends waiting commands when it is closed', async () => {
        await setUp({ intercept: () => true });
        await client.connect();
        const hanging = client.currentChannel();
        client.close();
        await expect(hanging).rejects.toMatchObject({ kind: 'closed' });
    });
});
