import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { Connection, downText, type ConnectionOptions, type Down } from '../Connection.ts';
import { socketMaker } from './FakeSocket.ts';

const URL = 'ws://127.0.0.1:9002/';

beforeEach(() => void vi.useFakeTimers());
afterEach(() => void vi.useRealTimers());

function setUp(options: ConnectionOptions = {}) {
    const maker = socketMaker();
    const connection = new Connection(URL, { openSocket: maker.openSocket, random: () => 1, ...options });
    const downs: Down[] = [];
    connection.on('down', (down) => downs.push(down));
    return { ...maker, connection, downs };
}

describe('Connection', () => {
    it('puts the title into the address, escaped', () => {
        const { connection, last } = setUp({ title: 'Web Viewer - a1b2c3' });
        connection.connect();
        expect(last().url).toBe('ws://127.0.0.1:9002/?title=Web%20Viewer%20-%20a1b2c3');
    });

    it('adds the title to a query that is there', () => {
        const maker = socketMaker();
        new Connection('ws://h/?a=1', { title: 't', openSocket: maker.openSocket }).connect();
        expect(maker.last().url).toBe('ws://h/?a=1&title=t');
    });

    it('goes from idle over connecting to open', () => {
        const { connection, last } = setUp();
        const states: string[] = [connection.state];
        connection.on('state', (state) => states.push(state));
        connection.connect();
        last().open();
        expect(states).toEqual(['idle', 'connecting', 'open']);
    });

    it('doubles the wait up to the limit', () => {
        const { connection, last, downs, sockets } = setUp({ backoffFirstMs: 500, backoffMaxMs: 3000 });
        connection.connect();
        for (const wait of [500, 1000, 2000, 3000, 3000]) {
            last().closed(1006);
            expect(downs.at(-1)?.retryInMs).toBe(wait);
            const before = sockets.length;
            vi.advanceTimersByTime(wait - 1);
            expect(sockets.length).toBe(before);
            vi.advanceTimersByTime(1);
            expect(sockets.length).toBe(before + 1);
        }
    });

    it('keeps the back-off for a process that ends at once, and forgets it after a stable time', () => {
        const { connection, last, downs } = setUp({ stableAfterMs: 10000 });
        connection.connect();
        for (const wait of [500, 1000]) {
            last().open();
            last().closed(4001, 'exit code 1');
            expect(downs.at(-1)?.retryInMs).toBe(wait);
            vi.advanceTimersByTime(wait);
        }
        last().open();
        vi.advanceTimersByTime(10000);
        last().closed(4001);
        expect(downs.at(-1)?.retryInMs).toBe(500);
    });

    it.each([
        [4001, true, 'process-ended'],
        [4002, true, 'process-not-started'],
        [1006, true, 'lost'],
        [1006, false, 'unreachable'],
    ] as const)('tells close code %i (opened: %s) as %s', (code, opened, cause) => {
        const { connection, last, downs } = setUp();
        connection.connect();
        if (opened) last().open();
        last().closed(code, 'why');
        expect(downs).toEqual([{ cause, code, reason: 'why', retryInMs: 500 }]);
        expect(downText(downs[0] as Down)).toMatch(/\.$/);
    });

    it('says the reason that the host gave', () => {
        expect(downText({ cause: 'process-ended', code: 4001, reason: 'exit code 139', retryInMs: 1 })).toContain('exit code 139');
    });

    it('makes no further attempt after close', () => {
        const { connection, last, sockets, downs } = setUp();
        connection.connect();
        last().open();
        connection.close();
        vi.advanceTimersByTime(100000);
        expect(sockets.length).toBe(1);
        expect(downs).toEqual([]);
        expect(connection.state).toBe('closed');
    });

    it('makes no further attempt when told not to', () => {
        const { connection, last, downs } = setUp({ reconnect: false });
        connection.connect();
        last().closed(1006);
        expect(downs[0]?.retryInMs).toBeNull();
        expect(connection.state).toBe('closed');
    });

    it('tries at once when asked while waiting, and only once', () => {
        const { connection, last, sockets } = setUp();
        connection.connect();
        last().closed(1006);
        connection.connect();
        expect(sockets.length).toBe(2);
        vi.advanceTimersByTime(100000);
        expect(sockets.length).toBe(2);
    });

    it('gives up on an address that no socket can be made of', () => {
        const connection = new Connection('nonsense', {
            openSocket: () => {
                throw new SyntaxError('bad address');
            },
        });
        const downs: Down[] = [];
        connection.on('down', (down) => downs.push(down));
        connection.connect();
        expect(downs[0]).toMatchObject({ cause: 'unreachable', retryInMs: null });
    });

    it('refuses to send unless open', () => {
        const { connection, last } = setUp();
        expect(connection.send('a')).toBe(false);
        connection.connect();
        expect(connection.send('b')).toBe(false);
        last().open();
        expect(connection.send('c')).toBe(true);
        expect(last().sent).toEqual(['c']);
    });

    it('ignores what an old socket still says', () => {
        const { connection, last, sockets } = setUp();
        const heard: string[] = [];
        connection.on('message', (text) => heard.push(text));
        connection.connect();
        const old = last();
        old.open();
        connection.close();
        connection.connect();
        old.receive('late');
        expect(heard).toEqual([]);
        expect(sockets.length).toBe(2);
    });
});
