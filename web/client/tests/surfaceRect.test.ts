// @vitest-environment jsdom
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import type { Pos } from '../requests.ts';
import { SurfaceRect } from '../SurfaceRect.ts';

/** Where the element lies; jsdom lays nothing out. */
let place: { left: number; top: number; width: number; height: number };
let element: HTMLElement;
let visibility: DocumentVisibilityState;
let target: ReturnType<typeof makeTarget>;
let surface: SurfaceRect;

function makeTarget() {
    const log: string[] = [];
    const text = (pos: Pos) => [pos.Left, pos.Top, pos.Width, pos.Height].join();
    return {
        log,
        isOpen: true,
        backlogBytes: 0,
        showFails: false,
        showSurface(pos: Pos) {
            log.push(`show ${text(pos)}`);
            return this.showFails ? Promise.reject(new Error('no')) : Promise.resolve();
        },
        hideSurface() {
            log.push('hide');
            return Promise.resolve();
        },
        moveSurface(pos: Pos) {
            log.push(`move ${text(pos)}`);
        },
    };
}

function define(object: object, name: string, get: () => unknown): void {
    Object.defineProperty(object, name, { configurable: true, get });
}

/** One animation frame, and everything that it brought about. */
const frame = () => vi.advanceTimersByTimeAsync(17);
const scroll = () => document.dispatchEvent(new Event('scroll'));

beforeEach(() => {
    vi.useFakeTimers({ toFake: ['setTimeout', 'setInterval', 'clearInterval', 'clearTimeout', 'requestAnimationFrame', 'cancelAnimationFrame', 'performance'] });
    place = { left: 10, top: 20, width: 400, height: 300 };
    visibility = 'visible';
    element = document.body.appendChild(document.createElement('div'));
    const rect = () => ({ ...place, right: place.left + place.width, bottom: place.top + place.height }) as DOMRect;
    element.getBoundingClientRect = rect;
    element.getClientRects = () => (place.width > 0 ? [rect()] : []) as unknown as DOMRectList;
    define(document.documentElement, 'clientWidth', () => 1000);
    define(document.documentElement, 'clientHeight', () => 800);
    define(document, 'visibilityState', () => visibility);
    target = makeTarget();
    surface = new SurfaceRect(element, target, { contentOffset: false });
});

afterEach(() => {
    surface.dispose();
    element.remove();
    vi.useRealTimers();
    Object.assign(window, { devicePixelRatio: 1 });
});

describe('SurfaceRect', () => {
    it('shows at the start and is silent while nothing changes', async () => {
        surface.start();
        expect(target.log).toEqual(['show 10,20,400,300']);
        await vi.advanceTimersByTimeAsync(5000);
        expect(target.log.length).toBe(1);
        expect(surface.current).toEqual({ Left: 10, Top: 20, Width: 400, Height: 300 });
    });

    it('sends nothing before the start', async () => {
        scroll();
        await vi.advanceTimersByTimeAsync(2000);
        expect(target.log).toEqual([]);
    });

    it('follows a scroll with one message per frame', async () => {
        surface.start();
        for (let top = 19; top >= 5; top--) {
            place.top = top;
            scroll();
        }
        expect(target.log.length).toBe(1);
        await frame();
        expect(target.log.slice(1)).toEqual(['move 10,5,400,300']);
        scroll();
        await frame();
        expect(target.log.length).toBe(2);
    });

    it('follows a resize of the window', async () => {
        surface.start();
        place.width = 500;
        window.dispatchEvent(new Event('resize'));
        await frame();
        expect(target.log.at(-1)).toBe('move 10,20,500,300');
    });

    it('follows the zoom of the page in physical pixels', async () => {
        surface.start();
        Object.assign(window, { devicePixelRatio: 1.5 });
        window.dispatchEvent(new Event('resize'));
        await frame();
        expect(target.log.at(-1)).toBe('move 15,30,600,450');
    });

    it('hides when the origin is scrolled out and shows when it is back', async () => {
        surface.start();
        place.top = -30;
        scroll();
        await frame();
        place.top = 30;
        scroll();
        await frame();
        expect(target.log.slice(1)).toEqual(['hide', 'show 10,30,400,300']);
    });

    it('hides at once with the tab, without an animation frame, and shows again', () => {
        surface.start();
        visibility = 'hidden';
        document.dispatchEvent(new Event('visibilitychange'));
        visibility = 'visible';
        document.dispatchEvent(new Event('visibilitychange'));
        expect(target.log.slice(1)).toEqual(['hide', 'show 10,20,400,300']);
    });

    it.each([
        ['removed', () => element.remove()],
        ['not laid out', () => void (place.width = 0)],
        ['invisible', () => void (element.style.visibility = 'hidden')],
    ])('hides an element that was %s without any event', async (_name, change) => {
        surface.start();
        change();
        await vi.advanceTimersByTimeAsync(600);
        expect(target.log.at(-1)).toBe('hide');
    });

    it('sees a silent change of place by its slow check', async () => {
        surface.start();
        place.left = 77;
        await vi.advanceTimersByTimeAsync(600);
        expect(target.log.at(-1)).toBe('move 77,20,400,300');
    });

    it('hides while covered', () => {
        surface.start();
        surface.covered = true;
        surface.covered = true;
        surface.covered = false;
        expect(target.log.slice(1)).toEqual(['hide', 'show 10,20,400,300']);
    });

    it('shows anew after another log in', () => {
        surface.start();
        surface.start();
        expect(target.log).toEqual(['show 10,20,400,300', 'show 10,20,400,300']);
    });

    it('hides and falls silent when stopped', async () => {
        surface.start();
        surface.stop();
        place.top = 40;
        scroll();
        await vi.advanceTimersByTimeAsync(2000);
        expect(target.log.slice(1)).toEqual(['hide']);
        expect(vi.getTimerCount()).toBe(0);
    });

    it('stops without a word when the process is gone', () => {
        surface.start();
        surface.stop(false);
        expect(target.log.length).toBe(1);
    });

    it('sends nothing without a connection', async () => {
        target.isOpen = false;
        surface.start();
        await vi.advanceTimersByTimeAsync(1000);
        expect(target.log).toEqual([]);
    });

    it('sends only the newest rectangle to a process that is behind', async () => {
        surface.start();
        target.backlogBytes = 1 << 20;
        for (let top = 0; top < 10; top++) {
            place.top = top;
            scroll();
            await frame();
        }
        expect(target.log.length).toBe(1);
        target.backlogBytes = 0;
        await frame();
        expect(target.log.slice(1)).toEqual(['move 10,9,400,300']);
    });

    it('tries a failed show again', async () => {
        target.showFails = true;
        surface.start();
        await vi.advanceTimersByTimeAsync(1);
        target.showFails = false;
        await vi.advanceTimersByTimeAsync(600);
        expect(target.log).toEqual(['show 10,20,400,300', 'show 10,20,400,300']);
    });

    it('leaves the surface alone while it fills the screen', async () => {
        surface.start();
        surface.enteredFullScreen();
        visibility = 'hidden';
        document.dispatchEvent(new Event('visibilitychange'));
        window.dispatchEvent(new Event('pointermove'));
        await vi.advanceTimersByTimeAsync(900);
        expect(target.log.length).toBe(1);
        visibility = 'visible';
        place.top = 50;
        window.dispatchEvent(new Event('focus'));
        await frame();
        expect(target.log.slice(1)).toEqual(['move 10,50,400,300']);
    });

    it('notices by the pointer that full screen is over', async () => {
        surface.start();
        surface.enteredFullScreen();
        await vi.advanceTimersByTimeAsync(1500);
        place.top = 60;
        window.dispatchEvent(new Event('pointermove'));
        await frame();
        expect(target.log.slice(1)).toEqual(['move 10,60,400,300']);
    });

    it('adds the offset of the content area when asked to', () => {
        for (const [name, value] of [['outerWidth', 1008], ['outerHeight', 904], ['innerWidth', 1000], ['innerHeight', 800]] as const)
            define(window, name, () => value);
        surface.start(true);
        expect(target.log).toEqual(['show 14,120,400,300']);
    });
});
