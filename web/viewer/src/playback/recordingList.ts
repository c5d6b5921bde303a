/**
 * Asks the device for its list of recordings and keeps the answers. A device need not have one: playback by date and
 * time works all the same.
 */
import { Emitter, type DeviceAddress } from '../../../client/index.ts';
import { isDate, type DateText } from './dayTime.ts';
import { isObject, readDay, type RecordedDay } from './recordings.ts';

export type DayState =
    | { kind: 'loading' }
    | { kind: 'known'; day: RecordedDay }
    /** The device gives no list. */
    | { kind: 'none' }
    /** Nobody knows where to ask for one. */
    | { kind: 'nowhere' };

/** A list of the present day grows; whatever zone the device is in, that is a day beside this computer's at most. */
const GROWS_MS = 20000;
const PRESENT_MS = 2 * 86400 * 1000;
/** A device that gave none may have been busy. */
const NONE_MS = 300000;
/** A device may have to look through its disks. */
const TIMEOUT_MS = 30000;

interface Entry {
    state: DayState;
    askedAt: number;
}

export class RecordingList extends Emitter<{ changed: void }> {
    /** Of the device's web calls; null: nobody knows an address to ask. */
    private base: string | null = null;
    private readonly entries = new Map<string, Entry>();
    private readonly fetchJson: typeof fetchJson;

    constructor(ask = fetchJson) {
        super();
        this.fetchJson = ask;
    }

    /** Forgets what another device told. */
    useDevice(base: string | null): void {
        this.base = base;
        this.entries.clear();
    }

    /** What is known now; asks when nothing is, or when it may be out of date. */
    day(channel: number, date: DateText): DayState {
        const entry = this.entries.get(`${channel} ${date}`);
        if (!entry || isStale(entry, date)) void this.load(channel, date);
        return entry?.state ?? (this.base === null ? { kind: 'nowhere' } : { kind: 'loading' });
    }

    /** The known recordings, null without a list. */
    known(channel: number, date: DateText): RecordedDay | null {
        const state = this.day(channel, date);
        return state.kind === 'known' ? state.day : null;
    }

    /** Waits for an answer, whatever it is. */
    async load(channel: number, date: DateText): Promise<DayState> {
        const { base } = this;
        if (base === null) return { kind: 'nowhere' };
        const key = `${channel} ${date}`;
        const before = this.entries.get(key)?.state;
        this.entries.set(key, { state: before ?? { kind: 'loading' }, askedAt: Date.now() });
        const answer = await this.fetchJson(`${base}/api/recordings?channel=${channel}&date=${date}`);
        const day = readDay(date, answer);
        // A list that was there before is better than none.
        const state: DayState = day ? { kind: 'known', day } : before?.kind === 'known' ? before : { kind: 'none' };
        if (this.base !== base) return state;
        this.entries.set(key, { state, askedAt: Date.now() });
        this.emit('changed', undefined);
        return state;
    }

    /** Dates on which the channel recorded, in order; null when the device does not tell. */
    async days(channel: number): Promise<DateText[] | null> {
        if (this.base === null) return null;
        const answer = await this.fetchJson(`${this.base}/api/recordings/days?channel=${channel}`);
        if (!isObject(answer) || !Array.isArray(answer.days)) return null;
        return answer.days.filter((day): day is string => typeof day === 'string' && isDate(day)).sort();
    }
}

function isStale({ state, askedAt }: Entry, date: DateText): boolean {
    const age = Date.now() - askedAt;
    if (state.kind === 'none') return age > NONE_MS;
    return age > GROWS_MS && Math.abs(Date.parse(`${date}T12:00:00Z`) - Date.now()) < PRESENT_MS;
}

/** What stands in the place of a list. */
export function listWords(state: DayState): string {
    switch (state.kind) {
        case 'loading':
            return 'Asking the device…';
        case 'none':
            return 'The device gives no list of its recordings.';
        case 'nowhere':
            return 'Not listed: the address of the device is not known after this log in.';
        case 'known':
            return state.day.blocks.length === 0 ? 'Nothing was recorded on this day.' : '';
    }
}

/** Null for whatever is no JSON: a device's own web pages answer any address. */
export async function fetchJson(url: string): Promise<unknown> {
    try {
        const response = await fetch(url, { cache: 'no-store', signal: AbortSignal.timeout(TIMEOUT_MS) });
        return response.ok ? await response.json() : null;
    } catch {
        return null;
    }
}

/**
 * Where the device of a log in is asked. A serial number is no address: the device that served the page is, where one did
 * (`servedBy`, its origin); else nobody knows.
 */
export function baseFor(device: DeviceAddress, servedBy: string | null): string | null {
    return device.kind === 'address' ? baseOf(device.address, device.port) : servedBy;
}

/** Of a device that was logged in to by this address. */
export function baseOf(address: string, port: number): string | null {
    if (address === '' || address.includes('://')) return null;
    const host = address.includes(':') && !address.startsWith('[') ? `[${address}]` : address;
    return `http://${host}:${port}`;
}
