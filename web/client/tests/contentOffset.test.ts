import { describe, expect, it } from 'vitest';
import { ContentOffset, type WindowMetrics } from '../ContentOffset.ts';

type Metrics = { -readonly [K in keyof WindowMetrics]: WindowMetrics[K] };

/** A browser with 4 pixels of frame at the sides and below, and 143 of bars above, in units of the screen's scale. */
class Browser {
    readonly metrics: Metrics;
    private zoom = 1;

    constructor(private readonly scale = 1, private bars = 143, private readonly sidePanel = 0) {
        this.metrics = { screenX: 80, screenY: 60, outerWidth: 1300, outerHeight: 850, innerWidth: 0, innerHeight: 0, devicePixelRatio: 1 };
        this.layOut();
    }

    setZoom(zoom: number): void {
        this.zoom = zoom;
        this.layOut();
    }

    setBars(bars: number): void {
        this.bars = bars;
        this.layOut();
    }

    /** What the process would measure. */
    get truth() {
        return { x: (4 + this.sidePanel) * this.scale, y: this.bars * this.scale };
    }

    /** A pointer event at a place of the content area, in units of the screen's scale. */
    pointer(x: number, y: number) {
        const { screenX, screenY } = this.metrics;
        return { screenX: screenX + 4 + this.sidePanel + x, screenY: screenY + this.bars + y, clientX: x / this.zoom, clientY: y / this.zoom };
    }

    private layOut(): void {
        const m = this.metrics;
        m.devicePixelRatio = this.scale * this.zoom;
        m.innerWidth = (m.outerWidth - 8 - this.sidePanel) / this.zoom;
        m.innerHeight = (m.outerHeight - this.bars - 4) / this.zoom;
    }
}

function expectClose(actual: { x: number; y: number }, wanted: { x: number; y: number }): void {
    expect(Math.abs(actual.x - wanted.x)).toBeLessThanOrEqual(1);
    expect(Math.abs(actual.y - wanted.y)).toBeLessThanOrEqual(1);
}

describe('ContentOffset', () => {
    it.each([[1, 1], [1, 1.25], [1, 0.8], [1.5, 1], [1.5, 1.25], [2, 0.5], [2, 3]])(
        'guesses from the sizes before the first pointer event (scale %d, zoom %d)', (scale, zoom) => {
            const browser = new Browser(scale);
            browser.setZoom(zoom);
            expectClose(new ContentOffset(browser.metrics).get(), browser.truth);
        });

    it.each([[1, 1], [1, 1.25], [1.5, 0.8], [2, 1]])('learns what the sizes cannot tell (scale %d, zoom %d)', (scale, zoom) => {
        const browser = new Browser(scale, 143, 300);
        browser.setZoom(zoom);
        const offset = new ContentOffset(browser.metrics);
        for (const [x, y] of [[100, 100], [500, 300], [501, 301], [502, 302]] as const) offset.learn(browser.pointer(x, y));
        expectClose(offset.get(), browser.truth);
    });

    it('takes the first event at its word, later ones only when two agree', () => {
        const browser = new Browser(1, 143, 300);
        const offset = new ContentOffset(browser.metrics);
        expect(offset.learn(browser.pointer(100, 100))).toBe(true);
        expectClose(offset.get(), browser.truth);
        const moving = browser.pointer(120, 100);
        expect(offset.learn({ ...moving, screenX: moving.screenX + 40 })).toBe(false);
        expectClose(offset.get(), browser.truth);
        expect(offset.learn(browser.pointer(121, 100))).toBe(false);
        expectClose(offset.get(), browser.truth);
    });

    it('follows a bar that appears after the last pointer event', () => {
        const browser = new Browser(1, 143, 300);
        const offset = new ContentOffset(browser.metrics);
        offset.learn(browser.pointer(100, 100));
        browser.setBars(180);
        expectClose(offset.get(), browser.truth);
    });

    it('is zero when the page fills the window', () => {
        const browser = new Browser();
        const offset = new ContentOffset(browser.metrics);
        offset.learn(browser.pointer(100, 100));
        Object.assign(browser.metrics, { innerWidth: 1300, innerHeight: 850 });
        expect(offset.get()).toEqual({ x: 0, y: 0 });
    });

    it('takes no measure from two events on both sides of a move of the window', () => {
        const browser = new Browser(2);
        const offset = new ContentOffset(browser.metrics);
        offset.learn(browser.pointer(100, 100));
        browser.metrics.screenX = 400;
        browser.metrics.screenY = 300;
        offset.learn(browser.pointer(300, 300));
        expectClose(offset.get(), browser.truth);
    });

    it('ignores an event from outside of the window', () => {
        const browser = new Browser();
        const offset = new ContentOffset(browser.metrics);
        expect(offset.learn({ screenX: -500, screenY: 0, clientX: 10, clientY: 10 })).toBe(false);
        expect(offset.learn({ screenX: 5000, screenY: 5000, clientX: 10, clientY: 10 })).toBe(false);
        expectClose(offset.get(), browser.truth);
    });

    it('believes the browser that tells the place outright', () => {
        const metrics = { ...new Browser().metrics, devicePixelRatio: 2, mozInnerScreenX: 84, mozInnerScreenY: 203 };
        const offset = new ContentOffset(metrics);
        expect(offset.get()).toEqual({ x: 8, y: 286 });
        expect(offset.learn({ screenX: 0, screenY: 0, clientX: 0, clientY: 0 })).toBe(false);
    });
});
