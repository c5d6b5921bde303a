import { describe, expect, it } from 'vitest';
import { browserKind, detectPlatform, needsContentOffset } from '../browserKind.ts';
import { loginRequest } from '../login.ts';

const address = { kind: 'address', address: '10.0.0.9', port: 8080, user: 'u', password: 'p' } as const;
const CHROME = 'Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36';
const EDGE = 'Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/130.0.0.0 Safari/537.36 Edg/130.0.0.0';
const FIREFOX = 'Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0';

describe('loginRequest', () => {
    it('writes the keys of a log in by address', () => {
        expect(loginRequest(address, { title: 'T', browse: 2, webType: 'Black' })).toEqual({
            MainType: 8, SubType: 0,
            Device: { LoginType: 0, IP: '10.0.0.9', User: 'u', Password: 'p', Port: 8080 },
            Title: 'T', Browse: 2, WebType: 'Black',
        });
    });

    it('writes the keys of a log in by serial number', () => {
        const request = loginRequest({ kind: 'serial', serialNumber: 'LUMO1', user: 'u', password: 'p' }, { browse: 1, alarmStyle: 'Tool', sampleRate16: true });
        expect(request).toEqual({
            MainType: 8, SubType: 0,
            Device: { LoginType: 1, SN: 'LUMO1', User: 'u', Password: 'p', Port: 0 },
            Title: '', Browse: 1, AlarmStyle: 'Tool', SampleRate_16: true,
        });
    });

    it('writes the keys of a log in by token', () => {
        const request = loginRequest({ kind: 'token', serialNumber: 'LUMO1', token: 't', user: '', password: '' }, { browse: 2 });
        expect(request.Device).toEqual({ LoginType: 2, SN: 'LUMO1', tcsToken: 't', User: '', Password: '', Port: 0 });
    });

    it.each([
        ['address', 63], ['user', 63], ['password', 63],
    ] as const)('takes a %s of %i bytes and refuses one more, counted in UTF-8', (key, width) => {
        expect(() => loginRequest({ ...address, [key]: 'x'.repeat(width) }, { browse: 2 })).not.toThrow();
        expect(() => loginRequest({ ...address, [key]: 'ä'.repeat((width + 1) / 2) }, { browse: 2 })).toThrow(`longer than ${width} bytes`);
    });

    it('refuses a serial number above 31 bytes', () => {
        const device = { kind: 'serial', serialNumber: 'x'.repeat(32), user: 'u', password: 'p' } as const;
        expect(() => loginRequest(device, { browse: 2 })).toThrow('longer than 31 bytes');
    });

    it.each([-1, 65536, 1.5, Number.NaN])('refuses port %d', (port) => {
        expect(() => loginRequest({ ...address, port }, { browse: 2 })).toThrow('port');
    });
});

describe('browser and platform', () => {
    it('tells Chromium and its kin from the rest', () => {
        expect([CHROME, EDGE, FIREFOX].map(browserKind)).toEqual([2, 2, 1]);
    });

    it('tells Windows from X11', () => {
        expect([CHROME, EDGE].map(detectPlatform)).toEqual(['x11', 'windows']);
    });

    it('adds the content offset on X11 always, on Windows only without a render window', () => {
        expect(needsContentOffset('x11', true)).toBe(true);
        expect(needsContentOffset('x11', false)).toBe(true);
        expect(needsContentOffset('windows', 1)).toBe(false);
        expect(needsContentOffset('windows', 0)).toBe(true);
    });
});
