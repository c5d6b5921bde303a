import { afterEach, beforeEach, describe, expect, it } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import type { SocketLike } from '../Connection.ts';
import { LumoError } from '../errors.ts';
import { nameEvent } from '../events.ts';
import { LumoClient } from '../LumoClient.ts';
import { VoiceFileKind } from '../maintenance.ts';

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

const failureOf = async (promise: Promise<unknown>): Promise<LumoError> => {
    const error = await promise.then(() => null, (reason: unknown) => reason);
    expect(error).toBeInstanceOf(LumoError);
    return error as LumoError;
};

afterEach(async () => {
    client.close();
    await host.close();
});

describe('firmware and import', () => {
    beforeEach(() => setUp(answering({ Ret: 100, nRet: 100, Path: '/fw.bin', NewVersion: 'V2' })));

    it.each<[string, () => Promise<unknown>, object]>([
        ['pickFirmware', () => client.maintenance.pickFirmware(), { MainType: 25, SubType: 0 }],
        ['startUpgrade', () => client.maintenance.startUpgrade('/fw.bin'), { MainType: 25, SubType: 1, FileName: '/fw.bin' }],
        ['newVersion', () => client.maintenance.newVersion(), { MainType: 21, SubType: 0 }],
        ['startOnlineUpgrade', () => client.maintenance.startOnlineUpgrade(), { MainType: 21, SubType: 1 }],
        ['importConfig', () => client.maintenance.importConfig(), { MainType: 30, SubType: 0, Channel: 255 }],
        ['importFile', () => client.maintenance.importFile(2), { MainType: 30, SubType: 1, Channel: 2 }],
        ['importFile, all', () => client.maintenance.importFile(), { MainType: 30, SubType: 1, Channel: 255 }],
        ['importVoice, alarm', () => client.maintenance.importVoice(VoiceFileKind.Alarm, 1), { MainType: 30, SubType: 2, Channel: 1 }],
        ['importVoice, other', () => client.maintenance.importVoice(VoiceFileKind.Other), { MainType: 30, SubType: 3, Channel: 255 }],
        ['importVoice, short', () => client.maintenance.importVoice(VoiceFileKind.Short), { MainType: 30, SubType: 4, Channel: 255 }],
        ['scaleStep in', () => client.scaleStep('in', 5), { MainType: 29, SubType: 0, Speed: 5 }],
        ['scaleStep out', () => client.scaleStep('out', 5), { MainType: 29, SubType: 1, Speed: 5 }],
        ['scaleStep reset', () => client.scaleStep('reset'), { MainType: 29, SubType: 2, Speed: 1 }],
    ])('%s goes out as the process reads it, with a number to be answered by', async (_, run, expected) => {
        await run();
        const { MsgID, ...rest } = host.requests.at(-1) ?? {};
        expect(MsgID).toBeTypeOf('number');
        expect(rest).toEqual(expected);
    });
});

describe('the firmware picker', () => {
    it.each<[string, object, string | null]>([
        ['gives the path', { nRet: 100, Path: '/fw.bin' }, '/fw.bin'],
        ['gives it without a line end', { nRet: 100, Path: '/fw.bin\r\n' }, '/fw.bin'],
        ['gives null when nothing was taken', { nRet: 1016 }, null],
    ])('%s', async (_, keys, expected) => {
        await setUp(answering({ SubMsg: 1, ...keys }));
        expect(await client.maintenance.pickFirmware()).toBe(expected);
    });
});

describe('the newest firmware', () => {
    it('is what the device tells, whatever number above 0 comes with it', async () => {
        await setUp(answering({ Ret: 2884, NewVersion: 'V4.03.bin' }));
        expect(await client.maintenance.newVersion()).toBe('V4.03.bin');
    });

    it('is null when the device knows of none', async () => {
        await setUp(answering({ Ret: 1, NewVersion: '' }));
        expect(await client.maintenance.newVersion()).toBeNull();
    });

    it.each([0, -1, -10005])('is a failure with %i, even if a version stands beside it', async (Ret) => {
        await setUp(answering({ Ret, NewVersion: 'V4.03.bin' }));
        const error = await failureOf(client.maintenance.newVersion());
        expect(error.ret).toBe(Ret);
        expect(error.message).toContain('does not tell');
    });
});

describe('the end of an import', () => {
    it.each<[string, object, boolean]>([
        ['is true when the device has it', { nRet: 100 }, true],
        ['is false when no file was picked', { nRet: 1014 }, false],
    ])('%s', async (_, keys, expected) => {
        await setUp(answering(keys));
        expect(await client.maintenance.importConfig()).toBe(expected);
    });

    it.each<[string, object, number, string]>([
        ['a configuration that is too long', { nRet: 1015 }, 1015, 'larger than 64 KiB'],
        ['a file that is empty', { nRet: 109 }, 109, 'missing or empty'],
        ['a voice that could not start', { Ret: 1013 }, 1013, 'cannot do this'],
        ['a transfer that broke off, by the device library’s number', { nRet: -10005 }, -10005, 'cannot be reached'],
        ['a number that nobody knows', { nRet: -77 }, -77, 'error -77'],
    ])('fails in plain words: %s', async (_, keys, ret, words) => {
        await setUp(answering(keys));
        const error = await failureOf(client.maintenance.importFile());
        expect(error.ret).toBe(ret);
        expect(error.message).toContain(words);
    });
});

describe('the upgrade event', () => {
    beforeEach(() => setUp());

    it('has a name and its sizes', () => {
        expect(nameEvent({ MainEvent: 3, SubEvent: 0, Data: { Status: 2, TotalSize: 10, SendSize: 5 } }))
            .toEqual({ name: 'upgrade', data: { Status: 2, TotalSize: 10, SendSize: 5 } });
    });

    it('is unknown without its data, or of another kind', () => {
        expect(nameEvent({ MainEvent: 3, SubEvent: 0 })).toBeNull();
        expect(nameEvent({ MainEvent: 3, SubEvent: 1, Data: {} })).toBeNull();
    });
});
