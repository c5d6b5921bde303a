import type { Reply, Request, RetReply } from './wire.ts';

export type Command = Request & Record<string, unknown>;

/** How `LumoClient` sends, for the commands that have a file of their own. */
export interface CommandSender {
    /** Resolves with the reply whatever its code. */
    request<T extends Reply>(command: Command, timeoutMs?: number): Promise<T>;
    /** Rejects when the code is another than 100. */
    checked<T extends RetReply>(command: Command, timeoutMs?: number): Promise<T>;
    /** For commands that open several streams. */
    readonly manyMs: number;
}
