import { afterEach, beforeEach, describe, expect, it } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost } from '../../tests/fakeHost.mjs';
import { ALARM_CHOICES, type AlarmChoice } from '../alarms.ts';
import type { SocketLike } from '../Connection.ts';
import { nameEvent } from '../events.ts';
import { LumoClient } from '../LumoClient.ts';

let host: FakeHost;
let client: LumoClient;

beforeEach(async () => {
    host = await startFakeHost({ channels: 4, newVersion: '1.0.0.1' });
    client = new LumoClient(host.url, { openSocket: (url) => new WebSocket(url) as unknown as SocketLike });
    await client.connect();
});
afterEach(async () => {
    client.close();
    await host.close();
});

describe('the choice of alarm kinds', () => {
    it('is all false where none was stored', async () => {
        const choice = await client.alarms.readChoice();
        expect(Object.keys(choice)).toEqual([...ALARM_CHOICES]);
        expect(Object.values(choice).some(Boolean)).toBe(false);
    });

    it('comes back as it was stored', async () => {
        const choice = { ...(await client.alarms.readChoice()), Motion: true, Prompt: true } satisfies AlarmChoice;
        await client.alarms.saveChoice(choice);
        expect(host.requests.at(-1)).toMatchObject({ MainType: 14, alarmtype: choice });
        expect(await client.alarms.readChoice()).toEqual(choice);
    });
});

describe('the alarm event', () => {
    it('has its three keys', () => {
        const raw = { MainEvent: 2, SubEvent: 0, Name: 'AlarmInfo', AlarmInfo: { Channel: 3, Event: 'VideoMotion', Status: 'Start' } };
        expect(nameEvent(raw)).toEqual({ name: 'alarm', data: { Channel: 3, Event: 'VideoMotion', Status: 'Start' } });
    });

    it('is unknown without them, or of another kind', () => {
        expect(nameEvent({ MainEvent: 2, SubEvent: 0 })).toBeNull();
        expect(nameEvent({ MainEvent: 2, SubEvent: 1, AlarmInfo: {} })).toBeNull();
    });
});

describe('the load event', () => {
    it('has its keys at the top', () => {
        expect(nameEvent({ MainEvent: 0, SubEvent: 5, AppCpu: 6, SystemCpu: 40, AppMemory: 120 }))
            .toEqual({ name: 'load', data: { AppCpu: 6, SystemCpu: 40, AppMemory: 120 } });
    });
});

describe('the version check', () => {
    it.each<[boolean, number]>([[true, 1], [false, 0]])('asked by the user: %s', async (asked, SubType) => {
        const answer = client.once('version');
        await client.maintenance.checkVersion(asked);
        expect(host.requests.at(-1)).toMatchObject({ MainType: 22, SubType });
        expect(await answer).toEqual({ curVersion: '1.0.0.0', curDate: '2026-11-21', newVersion: '1.0.0.1', newDate: '2026-12-01', bNew: true, asked });
    });

    it('has empty texts where the program sends none', () => {
        expect(nameEvent({ MainEvent: 4, SubEvent: 54, bNew: false }))
            .toEqual({ name: 'version', data: { curVersion: '', curDate: '', newVersion: '', newDate: '', bNew: false, asked: true } });
    });
});
