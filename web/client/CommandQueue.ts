/**
 * Commands as promises. Gives each its `MsgID`, matches replies, keeps commands back while the connection is being
 * made, and ends every promise: by its reply, its time-out, or the end of the connection.
 */
import { LumoError } from './errors.ts';
import { MAX_MESSAGE_BYTES, utf8Length, type Reply, type Request } from './wire.ts';

interface Pending {
    label: string;
    resolve(reply: Reply): void;
    reject(error: LumoError): void;
    timer: ReturnType<typeof setTimeout> | null;
}

export interface CommandQueueOptions {
    /** For commands that give none of their own. */
    timeoutMs?: number;
    /** Commands that may wait for the connection. */
    maxQueued?: number;
}

export class CommandQueue {
    readonly timeoutMs: number;
    private readonly maxQueued: number;
    private readonly send: (text: string) => boolean;
    private readonly pending = new Map<number, Pending>();
    private queued: { msgId: number | null; text: string }[] = [];
    private lastMsgId = 0;

    constructor(send: (text: string) => boolean, options: CommandQueueOptions = {}) {
        this.send = send;
        this.timeoutMs = options.timeoutMs ?? 30000;
        this.maxQueued = options.maxQueued ?? 64;
    }

    /** Commands whose reply is awaited, waiting ones included. */
    get pendingCount(): number {
        return this.pending.size;
    }

    get queuedCount(): number {
        return this.queued.length;
    }

    /**
     * Sends a command and resolves with its reply, whatever its code. `timeoutMs` 0 waits without limit.
     * `mayQueue`: the connection is being made, so the command may wait for it.
     */
    request<R extends Reply>(command: Request, mayQueue: boolean, timeoutMs = this.timeoutMs): Promise<R> {
        const msgId = ++this.lastMsgId;
        return new Promise<R>((resolve, reject) => {
            const label = `MainType ${command.MainType}, SubType ${command.SubType}`;
            const timer = timeoutMs > 0 ? setTimeout(() => this.expire(msgId, timeoutMs), timeoutMs) : null;
            this.pending.set(msgId, { label, resolve: resolve as (reply: Reply) => void, reject, timer });
            const error = this.hand({ ...command, MsgID: msgId }, msgId, mayQueue);
            if (error) this.settle(msgId)?.reject(error);
        });
    }

    /** Sends a command that has no reply. Throws `LumoError` when it cannot be sent or kept. */
    post(command: Request, mayQueue: boolean): void {
        const error = this.hand({ ...command, MsgID: ++this.lastMsgId }, null, mayQueue);
        if (error) throw error;
    }

    /** True when the reply belongs to a command of ours. A reply that comes after its time-out does not. */
    settleReply(msgId: number, reply: Reply): boolean {
        const pending = this.settle(msgId);
        pending?.resolve(reply);
        return pending !== undefined;
    }

    flush(): void {
        const waiting = this.queued;
        this.queued = [];
        for (const { msgId, text } of waiting) {
            // One whose time ran out while it waited is not worth the process's work any more.
            if (msgId !== null && !this.pending.has(msgId)) continue;
            if (!this.send(text) && msgId !== null) this.settle(msgId)?.reject(lost());
        }
    }

    /** Ends everything that waits or is awaited. */
    failAll(error: LumoError): void {
        this.queued = [];
        for (const msgId of [...this.pending.keys()]) this.settle(msgId)?.reject(error);
    }

    private hand(command: Request, msgId: number | null, mayQueue: boolean): LumoError | null {
        const text = JSON.stringify(command);
        if (utf8Length(text) > MAX_MESSAGE_BYTES)
            return new LumoError('bad-argument', 'The command is too long to be sent.');
        if (this.send(text)) return null;
        if (!mayQueue) return new LumoError('closed', 'There is no connection to the viewer host.');
        if (this.queued.length >= this.maxQueued)
            return new LumoError('queue-full', 'Too many commands wait for the connection to the viewer host.');
        this.queued.push({ msgId, text });
        return null;
    }

    private expire(msgId: number, timeoutMs: number): void {
        const pending = this.settle(msgId);
        if (!pending) return;
        this.queued = this.queued.filter((entry) => entry.msgId !== msgId);
        const seconds = Math.round(timeoutMs / 100) / 10;
        pending.reject(new LumoError('timeout', `The viewer program did not answer within ${seconds} seconds.`, undefined, undefined, pending.label));
    }

    private settle(msgId: number): Pending | undefined {
        const pending = this.pending.get(msgId);
        if (!pending) return undefined;
        this.pending.delete(msgId);
        if (pending.timer !== null) clearTimeout(pending.timer);
        return pending;
    }
}

export function lost(): LumoError {
    return new LumoError('lost', 'The connection to the viewer host was lost before the answer came.');
}
