import { afterEach, describe, expect, it, vi } from 'vitest';
import { WebSocket } from 'ws';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import type { Down, SocketLike } from '../Connection.ts';
import { LumoClient, type Encryption } from '../LumoClient.ts';

let host: FakeHost;
let client: LumoClient;

async function setUp(encryption: Encryption, settings: Partial<FakeHostSettings> = {}): Promise<void> {
    host = await startFakeHost({ channels: 4, ...settings });
    client = new LumoClient(host.url, { encryption, backoffFirstMs: 10, openSocket: (url) => new WebSocket(url) as unknown as SocketLike });
}

const isPlain = (frame: string) => frame.startsWith('{');

afterEach(async () => {
    client.close();
    await host.close();
});

describe('with a key of the process', () => {
    it('asks for it first, and then enciphers both ways', async () => {
        await setUp('both');
        const connected = client.connect();
        const early = client.currentChannel();
        await connected;
        expect((await early).Ret).toBe(100);
        expect(host.requests.map(({ MainType }) => MainType)).toEqual([32, 4]);
        expect(host.frames.map(isPlain)).toEqual([true, false]);
    });

    it('hears events', async () => {
        await setUp('both');
        await client.connect();
        const loads: unknown[] = [];
        client.on('load', (load) => loads.push(load));
        host.processes[0]?.send({ MainEvent: 0, SubEvent: 5, AppCpu: 3, SystemCpu: 20, AppMemory: 80 });
        await vi.waitFor(() => expect(loads).toEqual([{ AppCpu: 3, SystemCpu: 20, AppMemory: 80 }]));
    });

    it('is not open before the key is there', async () => {
        await setUp('both');
        const opened: boolean[] = [];
        client.on('state', (state) => state === 'open' && opened.push(client.isOpen));
        await client.connect();
        expect(opened).toEqual([false]);
        expect(client.isOpen).toBe(true);
    });

    it('asks again on the next connection', async () => {
        await setUp('both');
        await client.connect();
        const again = client.once('open');
        host.drop(4001, 'exit code 0');
        await again;
        expect((await client.currentChannel()).Ret).toBe(100);
        expect(host.requests.map(({ MainType }) => MainType)).toEqual([32, 32, 4]);
    });

    it('sends nothing in the clear to a process that makes no key', async () => {
        await setUp('both', { noCipher: true });
        const downs: Down[] = [];
        client.on('down', (down) => downs.push(down));
        const connected = client.connect();
        const early = client.currentChannel();
        early.catch(() => undefined);
        await expect(connected).rejects.toThrow('does not encipher');
        await expect(early).rejects.toThrow('closed');
        expect(downs).toMatchObject([{ cause: 'unreachable', retryInMs: null }]);
        expect(host.requests.map(({ MainType }) => MainType)).toEqual([32]);
    });

    it('takes what is no message of ours for a stray', async () => {
        await setUp('both');
        await client.connect();
        const strays: unknown[] = [];
        client.on('stray', (stray) => strays.push(stray));
        host.push('in the clear');
        await vi.waitFor(() => expect(strays).toEqual(['in the clear']));
    });
});

describe('with a key of the page', () => {
    it('enciphers what it sends, and reads replies as they come', async () => {
        await setUp('requests');
        await client.connect();
        expect((await client.currentChannel()).Ret).toBe(100);
        expect(host.requests[0]).toMatchObject({ MainType: 32, Potocol: 1, key: expect.stringMatching(/^[!-~]{16}$/) });
        expect(host.frames.map(isPlain)).toEqual([true, false]);
    });
});

describe('without', () => {
    it('speaks as ever', async () => {
        await setUp('off');
        await client.connect();
        await client.currentChannel();
        expect(host.frames.map(isPlain)).toEqual([true]);
    });
});
