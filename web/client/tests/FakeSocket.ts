import type { SocketLike } from '../Connection.ts';

/** A socket that opens, speaks and closes when the test says so. */
export class FakeSocket implements SocketLike {
    readyState = 0;
    bufferedAmount = 0;
    readonly sent: string[] = [];
    private readonly listeners = new Map<string, ((event: never) => void)[]>();

    constructor(readonly url: string) {}

    addEventListener(type: string, listener: (event: never) => void): void {
        this.listeners.set(type, [...(this.listeners.get(type) ?? []), listener]);
    }

    send(text: string): void {
        this.sent.push(text);
    }

    close(code = 1000): void {
        this.closed(code);
    }

    open(): void {
        this.readyState = 1;
        this.raise('open', undefined);
    }

    receive(message: unknown): void {
        this.raise('message', { data: typeof message === 'string' ? message : JSON.stringify(message) });
    }

    closed(code: number, reason = ''): void {
        if (this.readyState === 3) return;
        this.readyState = 3;
        this.raise('close', { code, reason });
    }

    private raise(type: string, event: unknown): void {
        for (const listener of this.listeners.get(type) ?? []) listener(event as never);
    }
}

export function socketMaker(): { sockets: FakeSocket[]; openSocket: (url: string) => FakeSocket; last: () => FakeSocket } {
    const sockets: FakeSocket[] = [];
    return {
        sockets,
        openSocket: (url) => {
            const socket = new FakeSocket(url);
            sockets.push(socket);
            return socket;
        },
        last: () => {
            const socket = sockets.at(-1);
            if (!socket) throw new Error('no socket was opened');
            return socket;
        },
    };
}
