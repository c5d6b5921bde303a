/** The playback page against the stand-in host, driven by its test ids as a person would: what its tests share. */
import { afterEach, beforeEach, expect, vi } from 'vitest';
import { startFakeHost, type AnyRequest, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import { App } from '../src/app.ts';
import { readParams } from '../src/params.ts';

export let host: FakeHost;
export let app: App;

export const DATE = '2026-11-20';
export const id = <T extends HTMLElement = HTMLButtonElement>(name: string): T => {
    const element = document.querySelector<T>(`[data-testid="${name}"]`);
    if (!element) throw new Error(`no element ${name}`);
    return element;
};
export const click = (name: string) => id(name).click();
export const told = (text: string) => vi.waitFor(() => expect(id('status').textContent).toContain(text), { timeout: 5000 });
export const pressed = (name: string) => id(name).getAttribute('aria-pressed') === 'true';
export const process = () => {
    const last = host.processes.at(-1);
    if (!last) throw new Error('no process');
    return last;
};
export const windows = () => process().playback.windows;
export const commands = (mainType: number, subType?: number) =>
    host.requests.filter((request) => request.MainType === mainType && (subType === undefined || request.SubType === subType));
export const last = (mainType: number, subType?: number) => commands(mainType, subType).at(-1) as AnyRequest;
export const press = (key: string) => document.body.dispatchEvent(new KeyboardEvent('keydown', { key, bubbles: true }));

function files(channel: number, ...spans: [string, string][]): AnyRequest[] {
    return spans.map(([begin, end], i) => ({ name: `rec${channel}/video/${i}.h265x`, begin: `${DATE} ${begin}:00`, end: `${DATE} ${end}:00`, length: 3600, type: 0, stream: 0 }));
}

export const RECORDINGS = {
    '2026-11-19': { 0: { files: [{ name: 'old', begin: '2026-11-19 08:00:00', end: '2026-11-19 09:00:00', length: 1, type: 0, stream: 0 }] } },
    [DATE]: {
        0: { files: files(0, ['10:00', '10:30'], ['10:30', '11:00']), pictures: [{ name: 'rec0/20261120T100500Z.jpg', time: `${DATE} 10:05:00`, length: 900 }] },
        1: { files: files(1, ['10:00', '10:10'], ['10:40', '11:00']) },
        2: { files: files(2, ['10:00', '11:00']) },
        3: { files: files(3, ['10:00', '11:00']) },
        4: { files: files(4, ['09:00', '11:00']) },
        5: { files: files(5, ['10:00', '10:10'], ['10:40', '11:00']) },
    },
};

/** Logs in and goes to playback, with these channels chosen. */
export async function enter(channels: number[] = [0], settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await open('&view=playback', { recordings: RECORDINGS, ...settings });
    await told('Click into the timeline');
    for (const channel of channels.filter((each) => each !== 0)) await choose(channel);
    if (!channels.includes(0)) await choose(0);
}

export async function choose(channel: number): Promise<void> {
    const before = pressed(`play-channel-${channel}`);
    click(`play-channel-${channel}`);
    await vi.waitFor(() => expect(pressed(`play-channel-${channel}`)).toBe(!before));
}

export async function open(query: string, settings: Partial<FakeHostSettings> = {}): Promise<void> {
    host = await startFakeHost({ channels: 16, ...settings });
    document.body.innerHTML = '<div id="app"></div>';
    const address = `?auto=1&password=p&address=127.0.0.1&port=${host.port}${query}`;
    app = new App(document.getElementById('app') as HTMLElement, readParams(address), { hostUrl: host.url, device: null });
    app.start();
}

/** Logs in by serial number, and goes to playback. `servedByDevice`: the page comes from the device and not from the host. */
export async function enterBySerial(servedByDevice: boolean): Promise<void> {
    host = await startFakeHost({ channels: 16, recordings: RECORDINGS });
    document.body.innerHTML = '<div id="app"></div>';
    const device = servedByDevice ? { address: '127.0.0.1', port: host.port, origin: `http://127.0.0.1:${host.port}` } : null;
    app = new App(document.getElementById('app') as HTMLElement, readParams(''), { hostUrl: host.url, device });
    app.start();
    await told('Ready to log in.');
    id<HTMLInputElement>('login-kind-serial').click();
    id<HTMLInputElement>('login-serial').value = 'LUMO00000001';
    id<HTMLButtonElement>('login-submit').form?.requestSubmit();
    await told('Logged in');
    click('view-playback');
    await told('Click into the timeline');
}

export async function goTo(text: string): Promise<void> {
    id<HTMLInputElement>('go-to-time').value = text;
    id<HTMLButtonElement>('go-to').form?.requestSubmit();
    await told(`Playing from ${text}`);
}

/** Each test gets a page and a host of its own. */
export function eachOnItsOwn(): void {
    beforeEach(() => localStorage.clear());
    afterEach(async () => {
        app.dispose();
        await host.close();
    });
}
