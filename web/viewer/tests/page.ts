/** The whole page against the stand-in host, driven by its test ids as a person would: what its tests share. */
import { afterEach, beforeEach, expect, vi } from 'vitest';
import { startFakeHost, type FakeHost, type FakeHostSettings } from '../../tests/fakeHost.mjs';
import { App } from '../src/app.ts';
import { readParams, type Surroundings } from '../src/params.ts';

export let host: FakeHost;
export let app: App;

/** The page logs in by itself. */
export const AUTO = '?auto=1&password=p';

export const id = <T extends Element = HTMLButtonElement>(name: string): T => {
    const element = document.querySelector<T>(`[data-testid="${name}"]`);
    if (!element) throw new Error(`no element ${name}`);
    return element;
};
export const click = (name: string) => id(name).click();
export const pressed = (name: string) => id(name).getAttribute('aria-pressed') === 'true';
export const state = (channel: number) => id(`channel-${channel}`).parentElement?.dataset.state;
export const status = () => id('status').textContent ?? '';
export const soon = (fact: () => void) => vi.waitFor(fact, { timeout: 10000 });
export const says = (name: string, text: string) => soon(() => expect(id(name).textContent).toContain(text));
export const told = (text: string) => says('status', text);

export const process = () => {
    const last = host.processes.at(-1);
    if (!last) throw new Error('no process');
    return last;
};
export const commands = (mainType: number, subType?: number) =>
    host.requests.filter((request) => request.MainType === mainType && (subType === undefined || request.SubType === subType));

/** `query` as in the address line. The host has 16 channels unless told. */
export async function open(query = '', settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await startHost(settings);
    show(query);
}

export async function startHost(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    host = await startFakeHost({ channels: 16, ...settings });
}

/** `device`: the one that serves the page; else the host does. */
export function show(query: string, device: Surroundings['device'] = null): void {
    document.body.innerHTML = '<div id="app"></div>';
    app = new App(document.getElementById('app') as HTMLElement, readParams(query), { hostUrl: host.url, device });
    app.start();
}

/** Each test gets a page and a host of its own. */
export function eachOnItsOwn(): void {
    beforeEach(() => localStorage.clear());
    afterEach(async () => {
        app.dispose();
        await host.close();
    });
}
