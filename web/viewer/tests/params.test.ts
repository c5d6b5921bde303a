// @vitest-environment jsdom
import { beforeEach, describe, expect, it, vi } from 'vitest';
import { loginDefaults } from '../src/loginView.ts';
import { lookAround, readParams } from '../src/params.ts';
import { recall, remember } from '../src/remember.ts';

const at = (href: string) => new URL(href) as unknown as Location;
const none = readParams('');

beforeEach(() => {
    localStorage.clear();
    vi.stubEnv('DEV', false);
});

describe('readParams', () => {
    it('reads all of them', () => {
        const text = '?host=ws://127.0.0.1:7/&address=10.0.0.9&port=81&user=u&password=p&auto=1&split=1&channels=4&stream=1&webtype=White&speech=16&encryption=both&view=playback';
        expect(readParams(text)).toEqual({
            host: 'ws://127.0.0.1:7/', address: '10.0.0.9', port: 81, user: 'u', password: 'p', auto: true, split: 1, channels: 4, stream: 1, webType: 'White', wideSpeech: true, encryption: 'both', view: 'playback',
        });
    });

    it('has defaults', () => {
        expect(none).toEqual({ host: null, address: null, port: null, user: null, password: null, auto: false, split: null, channels: 0, stream: null, webType: 'Black', wideSpeech: false, encryption: 'off', view: 'live' });
    });

    it.each(['?port=99999', '?split=7', '?channels=65', '?stream=x', '?port=-1', '?split=', '?auto=yes'])('takes %s as absent', (text) => {
        expect(readParams(text)).toEqual(none);
    });
});

describe('lookAround', () => {
    it('finds the host that serves the page', async () => {
        const asked: string[] = [];
        const found = await lookAround(none, at('http://127.0.0.1:9010/x?y'), (url) => Promise.resolve(asked.push(url) > 0));
        expect(found).toEqual({ hostUrl: 'ws://127.0.0.1:9010/', device: null });
        expect(asked).toEqual(['http://127.0.0.1:9010/api/host']);
    });

    it('takes any other server for the device', async () => {
        expect(await lookAround(none, at('http://10.0.0.9:8080/'), () => Promise.resolve(false))).toEqual({
            hostUrl: 'ws://127.0.0.1:9002/', device: { address: '10.0.0.9', port: 8080, origin: 'http://10.0.0.9:8080' },
        });
        expect((await lookAround(none, at('http://10.0.0.9/'), () => Promise.resolve(false))).device?.port).toBe(80);
    });

    it('obeys the address line', async () => {
        const params = readParams('?host=ws://[::1]:5/');
        expect((await lookAround(params, at('http://127.0.0.1:9010/'), () => Promise.resolve(true))).hostUrl).toBe('ws://[::1]:5/');
    });

    it('asks nobody when the page is a file', async () => {
        const ask = vi.fn();
        expect(await lookAround(none, at('file:///index.html'), ask)).toEqual({ hostUrl: 'ws://127.0.0.1:9002/', device: null });
        expect(ask).not.toHaveBeenCalled();
    });
});

describe('loginDefaults', () => {
    const free = { hostUrl: '', device: null };

    it('takes the address line first, then the serving device, then memory', () => {
        remember({ kind: 'serial', address: 'kept', port: 1, user: 'kept', serialNumber: 'S' });
        expect(loginDefaults(none, free)).toMatchObject({ kind: 'serial', address: 'kept', port: 1, user: 'kept', serialNumber: 'S', password: '' });
        const served = { hostUrl: '', device: { address: 'dev', port: 2, origin: 'http://dev:2' } };
        expect(loginDefaults(none, served)).toMatchObject({ kind: 'address', address: 'dev', port: 2 });
        expect(loginDefaults(readParams('?address=line&port=3&password=p'), served)).toMatchObject({ address: 'line', port: 3, password: 'p' });
    });

    it('has values when nothing is known', () => {
        expect(loginDefaults(none, free)).toMatchObject({ kind: 'address', address: '127.0.0.1', port: 8080, user: 'admin' });
    });

    it('survives a memory that is broken or forbidden', () => {
        localStorage.setItem('lumo-viewer', '{broken');
        expect(recall()).toEqual({});
        const forbidden = { getItem: () => null, setItem: () => { throw new Error('forbidden'); } } as unknown as Storage;
        expect(() => remember({ user: 'u' }, forbidden)).not.toThrow();
    });
});
