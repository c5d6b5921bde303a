import { retText } from './ret.ts';
import type { Reply } from './wire.ts';

export type LumoErrorKind =
    /** The process answered with a code other than 100. */
    | 'ret'
    /** No reply came within the command's time. */
    | 'timeout'
    /** The connection went before the reply came. */
    | 'lost'
    /** There is no connection, and none is being made. */
    | 'closed'
    /** Too many commands wait for the connection. */
    | 'queue-full'
    /** The command is too long for the channel, or a value is wider than the process can take. */
    | 'bad-argument';

/** Why a command failed. `message` is a sentence fit for a status line. */
export class LumoError extends Error {
    override readonly name = 'LumoError';
    readonly kind: LumoErrorKind;
    /** With kind `ret`. */
    readonly ret?: number;
    /** With kind `ret`: the whole reply. */
    readonly reply?: Reply;
    /** With kind `timeout`: the command, in the channel's own terms. */
    readonly command?: string;

    constructor(kind: LumoErrorKind, message: string, ret?: number, reply?: Reply, command?: string) {
        super(message);
        this.kind = kind;
        if (ret !== undefined) this.ret = ret;
        if (reply !== undefined) this.reply = reply;
        if (command !== undefined) this.command = command;
    }

    static fromReply(ret: number, reply: Reply, deviceError?: number): LumoError {
        return new LumoError('ret', retText(ret, deviceError), ret, reply);
    }
}

/** The sentence of any thrown value. */
export function messageOf(error: unknown): string {
    return error instanceof Error ? error.message : String(error);
}
