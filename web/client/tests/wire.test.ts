import { describe, expect, it } from 'vitest';
import { nameEvent } from '../events.ts';
import { KNOWN_RETS, retText } from '../ret.ts';
import { classify } from '../wire.ts';

describe('classify', () => {
    it('knows a reply by Msg and MsgID', () => {
        expect(classify('{"Msg":12,"SubMsg":2,"MsgID":3,"Ret":100}')).toMatchObject({ kind: 'reply', msgId: 3 });
    });

    it('knows an event by MainEvent and SubEvent', () => {
        expect(classify('{"MainEvent":5,"SubEvent":0,"Ret":100}')).toMatchObject({ kind: 'event' });
    });

    it.each(['', 'not json', 'null', '[]', '7', '"text"', '{}', '{"Msg":4,"MsgID":null}', '{"MainEvent":"0","SubEvent":0}'])(
        'takes %j as neither', (text) => {
            expect(classify(text).kind).toBe('other');
        });
});

describe('nameEvent', () => {
    const Data = { Channel: 3, Wnd: 1, PlayStatus: 2, Audio: 0, DigitalZoom: false, RageState: 0, nBrightness: 64, nContrast: 64, nSaturation: 64, nHue: 64 };

    it.each([
        [{ MainEvent: 0, SubEvent: 0, Data }, 'selection', Data],
        [{ MainEvent: 0, SubEvent: 2, Data }, 'channel', Data],
        [{ MainEvent: 0, SubEvent: 3, ChnStatus: [{ Ret: 100, Chn: 0 }] }, 'results', [{ Ret: 100, Chn: 0 }]],
        [{ MainEvent: 0, SubEvent: 6, nShowElect: 2 }, 'electronicPtz', 2],
        [{ MainEvent: 1, SubEvent: 0, Data: { Wnd: 2, Mode: -1 } }, 'playbackWindow', { Wnd: 2, Mode: -1 }],
        [{ MainEvent: 1, SubEvent: 1, Ret: 1016, Data: { PlayIndex: 3 } }, 'fileStarted', { Ret: 1016, PlayIndex: 3 }],
        [{ MainEvent: 1, SubEvent: 2, Data: { Chn: 1, Wnd: 1 } }, 'playbackEnd', { Chn: 1, Wnd: 1 }],
        [{ MainEvent: 1, SubEvent: 3, Data: { wnd: 1 } }, 'playbackPosition', { wnd: 1 }],
        [{ MainEvent: 1, SubEvent: 4, Data: { Pos: 500 } }, 'downloadProgress', { Pos: 500 }],
        [{ MainEvent: 1, SubEvent: 5, Data: { DownPath: '/d' } }, 'downloaded', { DownPath: '/d' }],
        [{ MainEvent: 5, SubEvent: 0, Ret: 100 }, 'deviceLost', { Ret: 100 }],
    ])('names %j', (raw, name, data) => {
        expect(nameEvent(raw)).toEqual({ name, data });
    });

    it('takes a list that was never filled as empty', () => {
        expect(nameEvent({ MainEvent: 0, SubEvent: 3, ChnStatus: null })).toEqual({ name: 'results', data: [] });
    });

    it.each([
        { MainEvent: 0, SubEvent: 0 },
        { MainEvent: 0, SubEvent: 2, Data: [] },
        { MainEvent: 0, SubEvent: 55, AppCpu: 1 },
        { MainEvent: 1, SubEvent: 3 },
        { MainEvent: 1, SubEvent: 6, Data: {} },
        { MainEvent: 5, SubEvent: 1 },
    ])('has no name for %j', (raw) => {
        expect(nameEvent(raw)).toBeNull();
    });
});

describe('retText', () => {
    it('has a sentence for every code of the process', () => {
        const codes = [100, 106, 107, 109, 121, 122, 206, 207, 218, 999, 1003, 1006, 1007, 1008, 1009, 1012, 1013, 1014, 1015, 1016, 1017, 1019];
        expect(KNOWN_RETS).toEqual(codes);
        for (const code of codes) expect(retText(code)).toMatch(/^[A-Z].*\.$/);
    });

    it('gives no two codes the same sentence', () => {
        expect(new Set(KNOWN_RETS.map((code) => retText(code))).size).toBe(KNOWN_RETS.length);
    });

    it('names an unknown code', () => {
        expect(retText(4711)).toContain('4711');
    });

    it('adds what the device said where the code alone says little', () => {
        expect(retText(122, -10005)).toBe('The device refused the stream: it cannot be reached, or did not answer in time.');
        expect(retText(1017, -4)).toBe('The log in failed (device error -4).');
        expect(retText(1006, -10005)).toBe(retText(1006));
    });
});
