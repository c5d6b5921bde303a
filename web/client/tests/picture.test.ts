import { afterEach, beforeEach, describe, expect, it } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import type { SocketLike } from '../Connection.ts';
import { LumoClient } from '../LumoClient.ts';
import type { Rule } from '../rules.ts';

let host: FakeHost;
let client: LumoClient;

async function setUp(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    host = await startFakeHost({ channels: 4, ...settings });
    client = new LumoClient(host.url, { openSocket: (url) => new WebSocket(url) as unknown as SocketLike });
    await client.connect();
}

/** Answers every command with these keys. */
const answering = (keys: object): Partial<FakeHostSettings> => ({
    intercept: (request, send) => {
        send({ Msg: request.MainType, SubMsg: request.SubType, MsgID: request.MsgID, ...keys });
        return true;
    },
});

function sent(): Record<string, unknown> {
    const { MsgID, ...rest } = host.requests.at(-1) ?? {};
    expect(MsgID).toBeTypeOf('number');
    return rest;
}

afterEach(async () => {
    client.close();
    await host.close();
});

describe('electronic PTZ and the colour page', () => {
    beforeEach(() => setUp(answering({ Ret: 100 })));

    it.each<[string, () => Promise<unknown>, object]>([
        ['ptz.move up', () => client.ptz.move(3, 'up', 100), { MainType: 24, SubType: 0, Channel: 3, Step: 100 }],
        ['ptz.move down', () => client.ptz.move(3, 'down', 100), { MainType: 24, SubType: 1, Channel: 3, Step: 100 }],
        ['ptz.move left', () => client.ptz.move(3, 'left', 100), { MainType: 24, SubType: 2, Channel: 3, Step: 100 }],
        ['ptz.move right', () => client.ptz.move(3, 'right', 100), { MainType: 24, SubType: 3, Channel: 3, Step: 100 }],
        ['ptz.zoomOut', () => client.ptz.zoomOut(3, 50), { MainType: 24, SubType: 4, Channel: 3, Step: 50 }],
        ['ptz.zoomIn', () => client.ptz.zoomIn(3, 50), { MainType: 24, SubType: 5, Channel: 3, Step: 50 }],
        ['ptz.deletePreset', () => client.ptz.deletePreset(3, 7), { MainType: 24, SubType: 6, Channel: 3, Preset: 7 }],
        ['ptz.storePreset', () => client.ptz.storePreset(3, 7), { MainType: 24, SubType: 7, Channel: 3, Preset: 7 }],
        ['ptz.goToPreset', () => client.ptz.goToPreset(3, 7), { MainType: 24, SubType: 8, Channel: 3, Preset: 7 }],
        ['ptz.whole', () => client.ptz.whole(3), { MainType: 24, SubType: 9, Channel: 3 }],
        ['ptz.open', () => client.ptz.open(3), { MainType: 24, SubType: 10, Channel: 3 }],
        ['colorPage.start', () => client.colorPage.start(2, 1), { MainType: 6, SubType: 0, Channel: 2, Stream: 1 }],
        ['colorPage.stop', () => client.colorPage.stop(), { MainType: 6, SubType: 1 }],
    ])('%s goes out as the process reads it', async (_, run, expected) => {
        await run();
        expect(sent()).toEqual(expected);
    });

    it('a step that is done resolves with true', async () => {
        expect(await client.ptz.zoomIn(0, 1)).toBe(true);
    });
});

it('a step that is refused resolves with false', async () => {
    await setUp(answering({ Ret: 1016 }));
    expect(await client.ptz.zoomIn(0, 1)).toBe(false);
});

it('a step that the process does not know rejects', async () => {
    await setUp(answering({ Ret: 1019 }));
    await expect(client.ptz.open(0)).rejects.toMatchObject({ kind: 'ret', ret: 1019 });
});

it('a colour page that cannot start rejects with the code', async () => {
    await setUp(answering({ Ret: 1017 }));
    await expect(client.colorPage.start(0, 0)).rejects.toMatchObject({ kind: 'ret', ret: 1017 });
});

describe('the rule over channel 0', () => {
    beforeEach(() => setUp(answering({ WndNum: 0, Chn: 0 })));

    const common = { MainType: 34, SubType: 1, Channel: 0 };
    const noLine = { StartX: 0, StartY: 0, StopX: 0, StopY: 0 };

    it.each<[string, Rule, object]>([
        ['a line', { kind: 'line', from: { x: 1.4, y: 2 }, to: { x: 3.6, y: 4 }, arrow: 'forward' },
            { RuleType: 0, ShowRule: 1, AlarmDirectLine: 1, AlarmDirectRegion: 1, ptsNum: 0, RuleLine: { StartX: 1, StartY: 2, StopX: 4, StopY: 4 }, RuleRegion: [] }],
        ['a region', { kind: 'region', corners: [{ x: 1, y: 2 }, { x: 3, y: 4 }, { x: 5, y: 6 }], arrow: 'both' },
            { RuleType: 1, ShowRule: 1, AlarmDirectLine: 2, AlarmDirectRegion: 2, ptsNum: 3, RuleLine: noLine, RuleRegion: [{ X: 1, Y: 2 }, { X: 3, Y: 4 }, { X: 5, Y: 6 }] }],
        ['a region of many corners, cut to eight', { kind: 'region', corners: Array.from({ length: 12 }, (_, x) => ({ x, y: 0 })), arrow: 'backward' },
            { RuleType: 1, ShowRule: 1, AlarmDirectLine: 0, AlarmDirectRegion: 0, ptsNum: 8, RuleLine: noLine, RuleRegion: Array.from({ length: 8 }, (_, X) => ({ X, Y: 0 })) }],
    ])('%s goes out as the process reads it', async (_, rule, expected) => {
        await client.rules.draw(rule);
        expect(sent()).toEqual({ ...common, ...expected });
    });

    it('is taken off by a rule that is not shown', async () => {
        expect(await client.rules.clear()).toMatchObject({ WndNum: 0, Chn: 0 });
        expect(sent()).toMatchObject({ ...common, ShowRule: 0 });
    });
});
