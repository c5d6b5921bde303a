import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { CommandQueue, lost } from '../CommandQueue.ts';
import { LumoError } from '../errors.ts';
import type { Reply } from '../wire.ts';

beforeEach(() => void vi.useFakeTimers());
afterEach(() => void vi.useRealTimers());

function setUp(open = true, maxQueued = 3) {
    const sent: { MsgID: number; MainType: number }[] = [];
    const wire = { open };
    const queue = new CommandQueue((text) => wire.open && sent.push(JSON.parse(text)) > 0, { timeoutMs: 1000, maxQueued });
    return { queue, sent, wire };
}

const command = { MainType: 4, SubType: 7 };
const reply = (MsgID: number): Reply => ({ Msg: 4, SubMsg: 7, MsgID });

describe('CommandQueue', () => {
    it('numbers commands and matches replies in any order', async () => {
        const { queue, sent } = setUp();
        const first = queue.request(command, true);
        const second = queue.request(command, true);
        expect(sent.map((message) => message.MsgID)).toEqual([1, 2]);
        queue.settleReply(2, reply(2));
        queue.settleReply(1, reply(1));
        expect((await first).MsgID).toBe(1);
        expect((await second).MsgID).toBe(2);
        expect(queue.pendingCount).toBe(0);
    });

    it('rejects a command that gets no reply in its time, and says which', async () => {
        const { queue } = setUp();
        const promise = queue.request(command, true);
        vi.advanceTimersByTime(1000);
        await expect(promise).rejects.toMatchObject({ kind: 'timeout', message: 'The viewer program did not answer within 1 seconds.', command: 'MainType 4, SubType 7' });
        expect(queue.settleReply(1, reply(1))).toBe(false);
    });

    it('waits without limit when told to', async () => {
        const { queue } = setUp();
        const promise = queue.request(command, true, 0);
        vi.advanceTimersByTime(24 * 3600 * 1000);
        queue.settleReply(1, reply(1));
        expect((await promise).MsgID).toBe(1);
    });

    it('keeps commands until the connection stands, in order', () => {
        const { queue, sent, wire } = setUp(false);
        void queue.request(command, true);
        queue.post({ MainType: 9, SubType: 0 }, true);
        expect(sent).toEqual([]);
        wire.open = true;
        queue.flush();
        expect(sent.map((message) => message.MainType)).toEqual([4, 9]);
        expect(queue.queuedCount).toBe(0);
    });

    it('keeps no more than its bound', async () => {
        const { queue } = setUp(false, 2);
        void queue.request(command, true);
        queue.post(command, true);
        await expect(queue.request(command, true)).rejects.toMatchObject({ kind: 'queue-full' });
        expect(() => queue.post(command, true)).toThrow(LumoError);
        expect(queue.queuedCount).toBe(2);
        expect(queue.pendingCount).toBe(1);
    });

    it('does not send a command whose time ran out while it waited', async () => {
        const { queue, sent, wire } = setUp(false);
        const promise = queue.request(command, true);
        vi.advanceTimersByTime(1000);
        await expect(promise).rejects.toMatchObject({ kind: 'timeout' });
        wire.open = true;
        queue.flush();
        expect(sent).toEqual([]);
    });

    it('refuses at once when there is nothing to wait for', async () => {
        const { queue } = setUp(false);
        await expect(queue.request(command, false)).rejects.toMatchObject({ kind: 'closed' });
        expect(queue.queuedCount).toBe(0);
    });

    it('ends everything when the connection goes', async () => {
        const { queue, wire } = setUp();
        const sentOne = queue.request(command, true);
        wire.open = false;
        const waiting = queue.request(command, true);
        queue.failAll(lost());
        await expect(sentOne).rejects.toMatchObject({ kind: 'lost' });
        await expect(waiting).rejects.toMatchObject({ kind: 'lost' });
        expect(queue.queuedCount + queue.pendingCount).toBe(0);
        expect(vi.getTimerCount()).toBe(0);
    });

    it('sends what fits the channel, counted in bytes, and refuses one byte more', async () => {
        const { queue, sent } = setUp();
        const rest = JSON.stringify({ MainType: 4, SubType: 7, Text: '', MsgID: 1 }).length;
        void queue.request({ ...command, Text: 'ä'.repeat((65535 - rest - 1) / 2) + 'x' } as never, true);
        expect(sent.length).toBe(1);
        await expect(queue.request({ ...command, Text: 'ä'.repeat(32768) } as never, true)).rejects.toMatchObject({ kind: 'bad-argument' });
    });
});
