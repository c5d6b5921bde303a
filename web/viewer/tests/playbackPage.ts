/** The playback page against the stand-in host, driven by its test ids as a person would: what its tests share. */
import { expect, vi } from 'vitest';
import type { AnyRequest, FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AUTO, click, commands, host, id, pressed, process, show, startHost, told } from './page.ts';

export const DATE = '2026-11-20';
export const windows = () => process().playback.windows;
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
    await openPlayback('&view=playback', { recordings: RECORDINGS, ...settings });
    await told('Click into the timeline');
    for (const channel of channels.filter((each) => each !== 0)) await choose(channel);
    if (!channels.includes(0)) await choose(0);
}

export async function choose(channel: number): Promise<void> {
    const before = pressed(`play-channel-${channel}`);
    click(`play-channel-${channel}`);
    await vi.waitFor(() => expect(pressed(`play-channel-${channel}`)).toBe(!before));
}

/** Logs in by itself at an address where recordings can be asked for. */
export async function openPlayback(query: string, settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await startHost(settings);
    show(`${AUTO}&address=127.0.0.1&port=${host.port}${query}`);
}

/** Logs in by serial number, and goes to playback. `servedByDevice`: the page comes from the device and not from the host. */
export async function enterBySerial(servedByDevice: boolean): Promise<void> {
    await startHost({ recordings: RECORDINGS });
    const device = servedByDevice ? { address: '127.0.0.1', port: host.port, origin: `http://127.0.0.1:${host.port}` } : null;
    show('', device);
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
