import type { WebSocket } from 'ws';

export interface FakeProcess {
    selected: number;
    cells: number[];
    select(wnd: number): void;
}

/** Tests look into whatever the page sent. */
export type AnyRequest = Record<string, any>;

export interface FakeHostSettings {
    channels: number;
    refuse?: number[];
    picked?: string;
    page?: string;
    reloginRet?: number;
    intercept?: (request: AnyRequest, send: (message: unknown) => void) => boolean;
}

export interface FakeHost {
    port: number;
    url: string;
    requests: AnyRequest[];
    urls: string[];
    sockets: Set<WebSocket>;
    processes: FakeProcess[];
    settings: FakeHostSettings;
    push(message: unknown): void;
    drop(code?: number, reason?: string): void;
    close(): Promise<void>;
}

export function startFakeHost(options?: Partial<FakeHostSettings>): Promise<FakeHost>;
