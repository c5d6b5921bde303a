// @vitest-environment jsdom
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { Chime, PageSpeaker, type Speaker } from '../src/alarms/chime.ts';

/** As a browser has it: it runs only when it is resumed after the user has touched the page. */
class FakeContext extends EventTarget {
    static all: FakeContext[] = [];
    static touched = false;
    state = 'suspended';
    currentTime = 0;
    destination = {};
    started = 0;

    constructor() {
        super();
        FakeContext.all.push(this);
    }

    resume(): Promise<void> {
        if (!FakeContext.touched) return Promise.reject(new Error('not allowed'));
        this.state = 'running';
        this.dispatchEvent(new Event('statechange'));
        return Promise.resolve();
    }

    close(): Promise<void> {
        this.state = 'closed';
        return Promise.resolve();
    }

    createOscillator() {
        return { frequency: { value: 0 }, connect: (next: unknown) => next, start: () => this.started++, stop: () => undefined };
    }

    createGain() {
        return { gain: { setValueAtTime: () => undefined, exponentialRampToValueAtTime: () => undefined }, connect: (next: unknown) => next };
    }
}

describe('the chime', () => {
    it('rings once a second at most', () => {
        let now = 0;
        const ring = vi.fn();
        const chime = new Chime({ runs: true, onChange: () => undefined, wake: () => undefined, ring, close: () => undefined }, () => now);
        for (now = 0; now < 2500; now += 100) chime.sound();
        expect(ring).toHaveBeenCalledTimes(3);
    });

    it('is kept from sounding only when it is to sound', () => {
        const speaker: Speaker = { runs: false, onChange: () => undefined, wake: vi.fn(), ring: vi.fn(), close: () => undefined };
        const chime = new Chime(speaker);
        expect(chime.isKept).toBe(false);
        chime.prepare();
        expect(chime.isKept).toBe(true);
        expect(speaker.wake).toHaveBeenCalled();
    });
});

describe('on a page that nobody has touched', () => {
    let chime: Chime;
    let now: number;
    const context = () => FakeContext.all[0] as FakeContext;

    beforeEach(() => {
        vi.stubGlobal('AudioContext', FakeContext);
        FakeContext.all = [];
        FakeContext.touched = false;
        now = 0;
        chime = new Chime(new PageSpeaker(), () => (now += 5000));
    });

    afterEach(() => {
        chime.dispose();
        vi.unstubAllGlobals();
    });

    it('nothing is kept for the first touch, which lets later alarms sound', () => {
        const changes = vi.fn();
        chime.onChange = changes;
        chime.prepare();
        for (let i = 0; i < 20; i++) chime.sound();
        expect([context().started, chime.isKept]).toEqual([0, true]);
        FakeContext.touched = true;
        document.body.click();
        expect([context().started, chime.isKept, changes.mock.calls.length]).toEqual([0, false, 1]);
        chime.sound();
        expect([context().started, FakeContext.all.length]).toEqual([2, 1]);
    });

    it('a key will do', () => {
        chime.prepare();
        FakeContext.touched = true;
        document.body.dispatchEvent(new KeyboardEvent('keydown', { key: 'a', bubbles: true }));
        expect(chime.isKept).toBe(false);
    });

    it('a chime that is done with leaves the page alone', () => {
        chime.prepare();
        chime.dispose();
        FakeContext.touched = true;
        document.body.click();
        expect(context().state).toBe('closed');
    });
});

it('a browser without sound asks for nothing', () => {
    const chime = new Chime(new PageSpeaker());
    chime.prepare();
    chime.sound();
    expect(chime.isKept).toBe(false);
    chime.dispose();
});
