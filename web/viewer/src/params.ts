/** What the page's address asks for, and where the host and the device are when it says nothing. */
import type { Encryption } from '../../client/index.ts';

export interface Params {
    host: string | null;
    address: string | null;
    port: number | null;
    user: string | null;
    /** For tests and demonstrations only: an address ends up in the browser's history. */
    password: string | null;
    /** Log in at once. */
    auto: boolean;
    /** Split mode, 0 to 6. */
    split: number | null;
    /** Channels to start after an automatic log in. */
    channels: number;
    /** 0 main, 1 sub. */
    stream: number | null;
    webType: string;
    /** Speech at 16000 Hz instead of 8000. */
    wideSpeech: boolean;
    /** Whether messages to and from the program are enciphered. */
    encryption: Encryption;
    /** Where an automatic log in leads to. */
    view: 'live' | 'playback' | 'color';
}

export function readParams(search: string): Params {
    const query = new URLSearchParams(search);
    return {
        host: query.get('host'),
        address: query.get('address'),
        port: integer(query, 'port', 0, 65535),
        user: query.get('user'),
        password: query.get('password'),
        auto: query.get('auto') === '1',
        split: integer(query, 'split', 0, 6),
        channels: integer(query, 'channels', 0, 64) ?? 0,
        stream: integer(query, 'stream', 0, 255),
        webType: query.get('webtype') ?? 'Black',
        wideSpeech: query.get('speech') === '16',
        encryption: encryptionOf(query.get('encryption')),
        view: viewOf(query.get('view')),
    };
}

function encryptionOf(text: string | null): Encryption {
    return text === 'both' || text === 'requests' ? text : 'off';
}

function viewOf(text: string | null): Params['view'] {
    return text === 'playback' || text === 'color' ? text : 'live';
}

function integer(query: URLSearchParams, name: string, least: number, most: number): number | null {
    const text = query.get(name);
    if (text === null || !/^\d+$/.test(text)) return null;
    const value = Number(text);
    return value >= least && value <= most ? value : null;
}

export const DEFAULT_HOST = 'ws://127.0.0.1:9002/';

export interface Surroundings {
    hostUrl: string;
    /** Served by a device itself: then that is the device to log in to. */
    device: { address: string; port: number; origin: string } | null;
}

/** Asks the page's own server whether it is the host. */
export async function lookAround(params: Params, location: Location, fetchJson = isJson): Promise<Surroundings> {
    const overHttp = location.protocol === 'http:' || location.protocol === 'https:';
    const servedByHost = overHttp && (await fetchJson(new URL('/api/host', location.href).href));
    const own = `${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}/`;
    const hostUrl = params.host ?? (servedByHost ? own : DEFAULT_HOST);
    if (!overHttp || servedByHost || import.meta.env.DEV) return { hostUrl, device: null };
    const port = Number(location.port) || (location.protocol === 'https:' ? 443 : 80);
    return { hostUrl, device: { address: location.hostname, port, origin: location.origin } };
}

async function isJson(url: string): Promise<boolean> {
    try {
        const response = await fetch(url, { cache: 'no-store' });
        return response.ok && (response.headers.get('Content-Type') ?? '').includes('json');
    } catch {
        return false;
    }
}
