/**
 * The websocket to the host: opens it, opens it again with back-off when it goes, and says why it went.
 * Knows nothing of commands; text goes in and out as it is.
 */
import { Emitter } from './Emitter.ts';

export type ConnectionState = 'idle' | 'connecting' | 'open' | 'waiting' | 'closed';

/** Close codes that the host gives itself. */
export const CloseCode = {
    /** The process ended; the reason says how. */
    ProcessEnded: 4001,
    /** The process could not be started; the reason says why. */
    ProcessNotStarted: 4002,
} as const;

export type DownCause =
    /** The process ended (4001). The host is there and starts a new process for a new connection. */
    | 'process-ended'
    /** The host could not start a process (4002). */
    | 'process-not-started'
    /** The connection broke, or the host went away. */
    | 'lost'
    /** No connection came about: no host, a refused origin, or a wrong address. */
    | 'unreachable';

export interface Down {
    cause: DownCause;
    code: number;
    reason: string;
    /** Milliseconds until the next attempt; null when there is none. */
    retryInMs: number | null;
}

export interface ConnectionEvents {
    state: ConnectionState;
    open: void;
    down: Down;
    message: string;
}

/** The part of `WebSocket` that is used; the `ws` package's class fits too. */
export interface SocketLike {
    readonly readyState: number;
    readonly bufferedAmount: number;
    send(text: string): void;
    close(code?: number, reason?: string): void;
    addEventListener(type: 'open', listener: () => void): void;
    addEventListener(type: 'message', listener: (event: { data: unknown }) => void): void;
    addEventListener(type: 'close', listener: (event: { code: number; reason: string }) => void): void;
    addEventListener(type: 'error', listener: () => void): void;
}

export interface ConnectionOptions {
    /** Added to the address as `?title=`: the host finds the browser's window by it. */
    title?: string;
    /** First wait before another attempt, doubled each time. */
    backoffFirstMs?: number;
    backoffMaxMs?: number;
    /** A connection that stood this long counts as good and starts the back-off anew. */
    stableAfterMs?: number;
    reconnect?: boolean;
    openSocket?: (url: string) => SocketLike;
    /** 0 to 1; spreads the attempts of many pages. */
    random?: () => number;
}

const OPEN = 1;

export class Connection extends Emitter<ConnectionEvents> {
    private readonly url: string;
    private readonly options: Required<Omit<ConnectionOptions, 'title'>>;
    private socket: SocketLike | null = null;
    private retryTimer: ReturnType<typeof setTimeout> | null = null;
    private stableTimer: ReturnType<typeof setTimeout> | null = null;
    private failures = 0;
    private current: ConnectionState = 'idle';

    constructor(url: string, options: ConnectionOptions = {}) {
        super();
        this.url = withTitle(url, options.title);
        this.options = {
            backoffFirstMs: options.backoffFirstMs ?? 500,
            backoffMaxMs: options.backoffMaxMs ?? 15000,
            stableAfterMs: options.stableAfterMs ?? 10000,
            reconnect: options.reconnect ?? true,
            openSocket: options.openSocket ?? ((address) => new WebSocket(address) as unknown as SocketLike),
            random: options.random ?? Math.random,
        };
    }

    get state(): ConnectionState {
        return this.current;
    }

    /** Bytes handed over and not yet sent. */
    get backlogBytes(): number {
        return this.socket?.bufferedAmount ?? 0;
    }

    /** Starts connecting, or tries at once when it is waiting for the next attempt. */
    connect(): void {
        if (this.current === 'connecting' || this.current === 'open') return;
        this.clearTimers();
        this.attempt();
    }

    /** Ends the connection for good; `connect` may start another. */
    close(): void {
        this.clearTimers();
        const socket = this.socket;
        this.socket = null;
        this.failures = 0;
        this.setState('closed');
        socket?.close(1000);
    }

    /** False when the text could not be handed over. */
    send(text: string): boolean {
        if (!this.socket || this.current !== 'open' || this.socket.readyState !== OPEN) return false;
        this.socket.send(text);
        return true;
    }

    private attempt(): void {
        this.setState('connecting');
        let socket: SocketLike;
        try {
            socket = this.options.openSocket(this.url);
        } catch (error) {
            // A malformed address, or one that the page's policy forbids: no later attempt would fare better.
            this.socket = null;
            this.setState('closed');
            this.emit('down', { cause: 'unreachable', code: 0, reason: String(error), retryInMs: null });
            return;
        }
        this.socket = socket;
        let opened = false;
        socket.addEventListener('open', () => {
            if (this.socket !== socket) return;
            opened = true;
            this.onOpen();
        });
        socket.addEventListener('message', (event) => {
            if (this.socket === socket && typeof event.data === 'string') this.emit('message', event.data);
        });
        socket.addEventListener('error', () => undefined); // a close event follows and tells more
        socket.addEventListener('close', (event) => {
            if (this.socket === socket) this.onClose(event.code, event.reason, opened);
        });
    }

    private onOpen(): void {
        this.stableTimer = setTimeout(() => (this.failures = 0), this.options.stableAfterMs);
        this.setState('open');
        this.emit('open', undefined);
    }

    private onClose(code: number, reason: string, opened: boolean): void {
        this.clearTimers();
        this.socket = null;
        const retryInMs = this.options.reconnect ? this.nextWaitMs() : null;
        if (retryInMs !== null) this.retryTimer = setTimeout(() => this.attempt(), retryInMs);
        this.setState(retryInMs === null ? 'closed' : 'waiting');
        this.emit('down', { cause: causeOf(code, opened), code, reason, retryInMs });
    }

    private nextWaitMs(): number {
        const full = Math.min(this.options.backoffFirstMs * 2 ** this.failures, this.options.backoffMaxMs);
        this.failures = Math.min(this.failures + 1, 16);
        return Math.round(full * (0.75 + 0.25 * this.options.random()));
    }

    private clearTimers(): void {
        if (this.retryTimer !== null) clearTimeout(this.retryTimer);
        if (this.stableTimer !== null) clearTimeout(this.stableTimer);
        this.retryTimer = this.stableTimer = null;
    }

    private setState(state: ConnectionState): void {
        if (this.current === state) return;
        this.current = state;
        this.emit('state', state);
    }
}

function causeOf(code: number, opened: boolean): DownCause {
    if (code === CloseCode.ProcessEnded) return 'process-ended';
    if (code === CloseCode.ProcessNotStarted) return 'process-not-started';
    return opened ? 'lost' : 'unreachable';
}

function withTitle(url: string, title: string | undefined): string {
    if (title === undefined) return url;
    const separator = url.includes('?') ? '&' : '?';
    return `${url}${separator}title=${encodeURIComponent(title)}`;
}

/** A sentence for a status line. */
export function downText(down: Down): string {
    const why = down.reason ? ` (${down.reason})` : '';
    switch (down.cause) {
        case 'process-ended':
            return `The viewer program ended${why}.`;
        case 'process-not-started':
            return `The viewer program could not be started${why}.`;
        case 'lost':
            return 'The connection to the viewer host was lost.';
        case 'unreachable':
            return 'The viewer host is not running on this computer, or refuses this page.';
    }
}
