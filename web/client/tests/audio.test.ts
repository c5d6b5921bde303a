import { afterEach, beforeEach, describe, expect, it } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import type { SocketLike } from '../Connection.ts';
import { nameEvent } from '../events.ts';
import { LumoClient } from '../LumoClient.ts';
import { deviceErrorText } from '../ret.ts';

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
        send({ Msg: request.MainType, SubMsg: request.SubType, MsgID: request.MsgID, Ret: 100, ...keys });
        return true;
    },
});

afterEach(async () => {
    client.close();
    await host.close();
});

describe('talk and alarm voice', () => {
    beforeEach(() => setUp(answering({})));

    it.each<[string, () => Promise<unknown>, object]>([
        ['talkToChannel', () => client.audio.talkToChannel(3), { MainType: 16, SubType: 0, Channel: 3 }],
        ['talkToChannel, all', () => client.audio.talkToChannel(), { MainType: 16, SubType: 0, Channel: -1 }],
        ['talkToDevice', () => client.audio.talkToDevice(), { MainType: 16, SubType: 1 }],
        ['stopTalk', () => client.audio.stopTalk(), { MainType: 16, SubType: 2 }],
        ['talkAbility', () => client.audio.talkAbility(), { MainType: 16, SubType: 3 }],
        ['recordVoice', () => client.audio.recordVoice(), { MainType: 20, SubType: 0 }],
        ['stopRecording', () => client.audio.stopRecording(), { MainType: 20, SubType: 1 }],
        ['playVoice', () => client.audio.playVoice(), { MainType: 20, SubType: 2 }],
        ['sendVoice', () => client.audio.sendVoice(2, 7), { MainType: 20, SubType: 3, Channel: 2, FilePurpose: 7 }],
        ['sendVoice, as it stands', () => client.audio.sendVoice(), { MainType: 20, SubType: 3, Channel: -1, FilePurpose: 0 }],
        ['stopPlaying', () => client.audio.stopPlaying(), { MainType: 20, SubType: 4 }],
    ])('%s goes out as the process reads it', async (_, run, expected) => {
        await run();
        const { MsgID, ...rest } = host.requests.at(-1) ?? {};
        expect(MsgID).toBeTypeOf('number');
        expect(rest).toEqual(expected);
    });
});

describe('the list of channels that can talk', () => {
    it.each<[string, unknown, boolean[] | null]>([
        ['stands under the name that the answer tells', { Name: 'T@X', 'T@X': [1, 0, 2], Ret: 100 }, [true, false, true]],
        ['may hold truth values', { Name: 'T', T: [true, false] }, [true, false]],
        ['may be empty', { Name: 'T', T: [] }, []],
        ['is unknown without a name', { T: [1] }, null],
        ['is unknown under a name that is none', { Name: {}, T: [1] }, null],
        ['is unknown when it is no list', { Name: 'T', T: { 0: 1 } }, null],
        ['is unknown when nothing was told', undefined, null],
        ['is unknown when null was told', null, null],
        ['is unknown when the answer is a list', [1, 1], null],
    ])('%s', async (_, Data, expected) => {
        await setUp(answering({ Data }));
        expect(await client.audio.talkAbility()).toEqual(expected);
    });

    it('rejects with the process\'s code', async () => {
        await setUp(answering({ Ret: 1013 }));
        await expect(client.audio.talkAbility()).rejects.toMatchObject({ kind: 'ret', ret: 1013 });
    });
});

describe('events of the alarm voice', () => {
    beforeEach(() => setUp());

    it.each<[object, object | null]>([
        [{ SubEvent: 0, Ret: 100, Pos: 4 }, { name: 'voiceRecording', data: { Pos: 4 } }],
        [{ SubEvent: 1, Ret: 100, Pos: 0 }, { name: 'voiceRecordingEnded', data: { Ret: 100 } }],
        [{ SubEvent: 1, Ret: 1016 }, { name: 'voiceRecordingEnded', data: { Ret: 1016 } }],
        [{ SubEvent: 2, Ret: -11300 }, { name: 'voiceSent', data: { Ret: -11300 } }],
        [{ SubEvent: 3, Ret: 100 }, { name: 'voicePlayEnded', data: { Ret: 100 } }],
        [{ SubEvent: 4, Ret: 100 }, null],
    ])('%o', (keys, expected) => {
        expect(nameEvent({ MainEvent: 6, ...keys } as never)).toEqual(expected);
    });

    it('reach a listener by name', async () => {
        const heard = client.once('voiceRecording');
        host.push({ MainEvent: 6, SubEvent: 0, Ret: 100, Pos: 5 });
        expect(await heard).toEqual({ Pos: 5 });
    });
});

it('tells the device\'s numbers in words', async () => {
    await setUp();
    expect(deviceErrorText(-11300)).toBe('The device says: it refused the request.');
    expect(deviceErrorText(-7)).toBe('The device answered with error -7.');
});
