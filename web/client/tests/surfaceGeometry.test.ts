import { describe, expect, it } from 'vitest';
import { samePos, toPhysical, visiblePart } from '../surfaceGeometry.ts';

const view = { left: 0, top: 0, right: 1000, bottom: 800 };
const box = (left: number, top: number, right: number, bottom: number) => ({ left, top, right, bottom });

describe('visiblePart', () => {
    it.each([
        ['inside', box(10, 20, 500, 400), box(10, 20, 500, 400)],
        ['cut on the right', box(900, 20, 1100, 400), box(900, 20, 1000, 400)],
        ['cut below', box(10, 700, 500, 900), box(10, 700, 500, 800)],
        ['origin above', box(10, -1, 500, 400), null],
        ['origin to the left', box(-1, 10, 500, 400), null],
        ['origin outside by a rounding only', box(-0.4, -0.4, 500, 400), box(-0.4, -0.4, 500, 400)],
        ['below the viewport', box(10, 900, 500, 1200), null],
        ['a strip left', box(995, 20, 1100, 400), null],
        ['no area', box(10, 10, 10, 10), null],
    ])('%s', (_name, given, wanted) => {
        expect(visiblePart(given, [view])).toEqual(wanted);
    });

    it('is cut by every box around it', () => {
        expect(visiblePart(box(10, 10, 900, 700), [view, box(0, 0, 600, 900), box(5, 5, 900, 300)])).toEqual(box(10, 10, 600, 300));
        expect(visiblePart(box(10, 10, 900, 700), [view, box(20, 0, 600, 900)])).toBeNull();
    });
});

describe('toPhysical', () => {
    it('scales and adds the offset', () => {
        expect(toPhysical(box(10, 20, 110, 70), 2, { x: 8, y: 200 })).toEqual({ Left: 28, Top: 240, Width: 200, Height: 100 });
    });

    it('rounds edges, so that neighbours share one', () => {
        const dpr = 1.25;
        const a = toPhysical(box(0, 0, 33.3, 10), dpr, { x: 0, y: 0 });
        const b = toPhysical(box(33.3, 0, 77.7, 10), dpr, { x: 0, y: 0 });
        expect(a.Left + a.Width).toBe(b.Left);
    });

    it('gives whole numbers and never a negative corner', () => {
        const pos = toPhysical(box(-0.4, -0.4, 33.33, 44.44), 1.1, { x: 0, y: 0 });
        expect(Object.values(pos).every(Number.isInteger)).toBe(true);
        expect(pos).toMatchObject({ Left: 0, Top: 0 });
        expect(Object.is(pos.Left, -0)).toBe(false);
    });

    it('follows a pinch zoom', () => {
        const pinch = { offsetLeft: 10, offsetTop: 20, scale: 2 };
        expect(toPhysical(box(20, 40, 60, 80), 1, { x: 0, y: 0 }, pinch)).toEqual({ Left: 20, Top: 40, Width: 80, Height: 80 });
    });
});

describe('samePos', () => {
    it('compares all four', () => {
        const pos = { Left: 1, Top: 2, Width: 3, Height: 4 };
        expect(samePos(pos, { ...pos })).toBe(true);
        for (const key of ['Left', 'Top', 'Width', 'Height'] as const) expect(samePos(pos, { ...pos, [key]: 9 })).toBe(false);
    });
});
