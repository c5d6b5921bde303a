import { beforeEach, describe, expect, it } from 'vitest';
import { LiveModel, splitFor } from '../src/model.ts';

const COLORS = { nBrightness: 1, nContrast: 2, nSaturation: 3, nHue: 4 };
const status = (over: object) => ({ PlayStatus: 2, Audio: 0, DigitalZoom: false, RageState: 0, ...COLORS, ...over });

let model: LiveModel;
beforeEach(() => {
    model = new LiveModel();
    model.reset(8);
});

describe('splitFor', () => {
    it.each([[1, 0], [2, 1], [4, 1], [5, 2], [9, 2], [10, 3], [16, 3], [17, 4], [25, 4], [26, 5], [36, 5], [37, 6], [64, 6]])(
        '%i channels get mode %i', (channels, mode) => expect(splitFor(channels)).toBe(mode));
});

describe('LiveModel', () => {
    it('starts empty with cell 0 selected', () => {
        expect([model.selected, model.current, model.playing, model.visibleCells]).toEqual([0, -1, [], 9]);
    });

    it('puts a started channel into the selected cell', () => {
        model.onSelection({ Channel: -1, Wnd: 3, ...status({ PlayStatus: -1 }) });
        model.started(5, -1, 1);
        expect([model.cellOf(5), model.current, model.playing]).toEqual([3, 5, [5]]);
        expect(model.currentChannel).toMatchObject({ playing: true, stream: 1 });
    });

    it('moves a channel that stood elsewhere and replaces what the cell showed', () => {
        model.startedMany([{ Ret: 100, Chn: 0, Stream: 0, Record: false }, { Ret: 100, Chn: 1, Stream: 0, Record: false }]);
        model.started(1, 0, 0);
        expect(model.cells.slice(0, 2)).toEqual([1, -1]);
        expect(model.playing).toEqual([1]);
    });

    it('learns from the replaced channel that another cell was selected', () => {
        model.startedMany([0, 1, 2].map((Chn) => ({ Ret: 100, Chn, Stream: 0, Record: false })));
        model.started(7, 2, 0);
        expect([model.selected, model.cells[2], model.cells[0]]).toEqual([2, 7, 0]);
    });

    it('keeps the reason of a failed start until the next one', () => {
        model.startFailed(4, -1, 'refused');
        expect(model.channels[4]).toMatchObject({ playing: false, error: 'refused' });
        model.started(4, -1, 0);
        expect(model.channels[4]?.error).toBeNull();
    });

    it('takes the results of many, each for itself', () => {
        model.startedMany([{ Ret: 100, Chn: 0, Stream: 1, Record: false }, { Ret: 122, Chn: 1, Stream: 1, Record: false, Error: -10005 }]);
        expect(model.playing).toEqual([0]);
        expect(model.channels[1]?.error).toContain('cannot be reached');
    });

    it('ignores results of channels that the device does not have', () => {
        model.startedMany([{ Ret: 100, Chn: 8, Stream: 0, Record: false }]);
        expect(model.playing).toEqual([]);
        expect(model.cells).not.toContain(8);
    });

    it('forgets recording, sound and cell of a stopped channel', () => {
        model.started(0, -1, 0);
        model.recorded(0, true);
        model.sounded(0, true);
        model.stopped(0);
        expect(model.channels[0]).toMatchObject({ playing: false, recording: false });
        expect([model.soundChannel, model.current]).toEqual([-1, -1]);
    });

    it('selects the first cell with another split', () => {
        model.selected = 5;
        model.splitChanged(1, 3);
        expect([model.split, model.selected, model.current, model.visibleCells]).toEqual([1, 0, 3, 4]);
    });

    it('takes the colours of the selected channel only', () => {
        model.started(0, -1, 0);
        model.onChannel({ Chn: 1, CurChannel: 0, ...status({}) });
        expect(model.colors.nHue).toBe(64);
        model.onChannel({ Chn: 0, CurChannel: 0, ...status({}) });
        expect(model.colors).toEqual(COLORS);
    });

    it('reads sound and aspect from a selection', () => {
        model.onSelection({ Channel: 2, Wnd: 2, ...status({ Audio: 1, RageState: 1 }) });
        expect([model.soundChannel, model.channels[2]?.original, model.current]).toEqual([2, true, 2]);
        model.onSelection({ Channel: 2, Wnd: 2, ...status({}) });
        expect([model.soundChannel, model.channels[2]?.original]).toEqual([-1, false]);
    });

    it('survives an event about no channel', () => {
        model.onChannel({ Chn: -1, CurChannel: -1, ...status({ PlayStatus: -1 }) });
        expect(model.playing).toEqual([]);
    });
});
