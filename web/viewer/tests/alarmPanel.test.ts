// @vitest-environment jsdom
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { ALARM_CHOICES, type AlarmChoice, type AlarmChoiceKey, type AlarmData } from '../../client/index.ts';
import { AlarmPanel } from '../src/alarms/alarmPanel.ts';
import { Chime, type Speaker } from '../src/alarms/chime.ts';
import { Session } from '../src/session.ts';

/** The panel alone: a session without a connection, and alarms as its client would tell them. */
let session: Session;
let panel: AlarmPanel;
let ring: ReturnType<typeof vi.fn<() => void>>;
let speaker: { -readonly [Key in keyof Speaker]: Speaker[Key] };
let renders: number;

function hear(Event: string, Status: string, Channel = 0): void {
    const client = session.client as unknown as { emit(name: 'alarm', data: AlarmData): void };
    client.emit('alarm', { Channel, Event, Status });
}

const box = (key: AlarmChoiceKey) => panel.element.querySelector(`[data-testid="alarm-choice-${key}"]`) as HTMLInputElement;
const rows = () => [...panel.element.querySelectorAll('[data-testid="alarm"]')].map(({ textContent }) => textContent);

beforeEach(() => {
    vi.useFakeTimers();
    session = new Session('ws://127.0.0.1:1/', 'Test', document.createElement('div'), {});
    ring = vi.fn<() => void>();
    // Each alarm may sound: that they do so once a second at most is the chime's own matter.
    let now = 0;
    speaker = { runs: true, onChange: () => undefined, wake: () => undefined, ring, close: () => undefined };
    panel = new AlarmPanel(session, new Chime(speaker, () => (now += 5000)));
    document.body.replaceChildren(panel.element);
    renders = 0;
    session.on('changed', () => {
        renders++;
        panel.render();
        panel.renderSilence(true);
    });
});

afterEach(() => {
    panel.dispose();
    session.dispose();
    vi.useRealTimers();
});

describe('an alarm', () => {
    let saved: AlarmChoice[];

    beforeEach(async () => {
        saved = [];
        const choice = Object.fromEntries(ALARM_CHOICES.map((key) => [key, key === 'Prompt' || key === 'Motion'])) as AlarmChoice;
        vi.spyOn(session.client.alarms, 'readChoice').mockResolvedValue(choice);
        vi.spyOn(session.client.alarms, 'saveChoice').mockImplementation((kept) => (saved.push(kept), Promise.resolve({ Msg: 14, SubMsg: 0, MsgID: 1, Ret: 100 })));
        await panel.load();
    });

    it('of a chosen kind rings once when it begins, and not when it ends', () => {
        hear('VideoMotion', 'Start');
        expect(ring).toHaveBeenCalledTimes(1);
        hear('VideoMotion', 'Stop');
        expect(ring).toHaveBeenCalledTimes(1);
    });

    it('of a kind that is not chosen is listed in silence', () => {
        hear('VideoLoss', 'Start');
        expect(ring).not.toHaveBeenCalled();
        expect(panel.model.active).toBe(1);
    });

    it('of a kind that is switched off rings no more, and again when it is switched on', () => {
        box('Motion').click();
        hear('VideoMotion', 'Start', 1);
        expect(ring).not.toHaveBeenCalled();
        expect(saved.at(-1)).toMatchObject({ Prompt: true, Motion: false });
        box('Motion').click();
        hear('VideoMotion', 'Start', 2);
        expect(ring).toHaveBeenCalledTimes(1);
    });

    it('that cannot sound yet is told so until it can', () => {
        speaker.runs = false;
        hear('VideoMotion', 'Start');
        expect([ring.mock.calls.length, panel.silence.textContent]).toEqual([0, 'Click into the page to hear alarms.']);
        speaker.runs = true;
        speaker.onChange();
        expect([ring.mock.calls.length, panel.silence.textContent]).toEqual([0, '']);
        hear('VideoMotion', 'Start', 1);
        expect(ring).toHaveBeenCalledTimes(1);
    });

    it('is not missed by one who does not want to hear any', () => {
        speaker.runs = false;
        box('Prompt').click();
        hear('VideoMotion', 'Start');
        expect(panel.silence.textContent).toBe('');
    });

    it('never rings while the sound as a whole is off', () => {
        box('all').click();
        box('Prompt').click();
        hear('VideoMotion', 'Start');
        expect(ring).not.toHaveBeenCalled();
    });
});

it('does not ring before the choice is known', () => {
    hear('VideoMotion', 'Start');
    expect(ring).not.toHaveBeenCalled();
    expect(panel.model.active).toBe(1);
});

describe('the list', () => {
    const items = () => [...panel.element.querySelectorAll('[data-testid="alarm"]')];
    const news = () => panel.element.querySelector('[data-testid="alarm-newest"]') as HTMLElement;
    const later = () => vi.advanceTimersByTime(250);

    it('is silent: a line of its own tells the newest alarm', () => {
        vi.setSystemTime(new Date(2026, 10, 20, 10, 0, 0));
        expect(panel.element.querySelector('[data-testid="alarms"]')?.hasAttribute('aria-live')).toBe(false);
        expect([news().getAttribute('aria-live'), news().textContent]).toEqual(['polite', '']);
        hear('VideoMotion', 'Start', 2);
        expect(news().textContent).toBe(`Motion, Channel 3, ${new Date().toLocaleTimeString()}`);
        hear('StorageFailure', 'Start');
        later();
        expect(news().textContent).toMatch(/^Disk failure, Device, /);
    });

    it('tells no end and no repetition as news', () => {
        hear('VideoMotion', 'Start', 2);
        const told = news().textContent;
        vi.advanceTimersByTime(5000);
        hear('VideoMotion', 'Start', 2);
        hear('VideoMotion', 'Stop', 2);
        later();
        expect(news().textContent).toBe(told);
    });

    it('keeps its rows, newest first', () => {
        for (let i = 0; i < 3; i++) hear('VideoMotion', 'Start', i);
        later();
        const before = items();
        hear('VideoLoss', 'Start', 7);
        hear('VideoMotion', 'Stop', 1);
        later();
        expect(items().slice(1)).toEqual(before);
        expect(items().slice(1).every((item, i) => item === before[i])).toBe(true);
        expect(items().map((item) => [item.getAttribute('data-event'), item.getAttribute('data-state')])).toEqual(
            [['VideoLoss', 'lasting'], ['VideoMotion', 'lasting'], ['VideoMotion', 'over'], ['VideoMotion', 'lasting']]);
    });

    it('lets go of rows whose alarm is gone, and of all when it is cleared', () => {
        for (let i = 0; i < 250; i++) hear('VideoMotion', 'Pulse', i);
        later();
        expect(items().length).toBe(200);
        expect([items()[0]?.textContent, items().at(-1)?.textContent].map((text) => /Channel \d+/.exec(text ?? '')?.[0])).toEqual(['Channel 250', 'Channel 51']);
        (panel.element.querySelector('[data-testid="alarms-clear"]') as HTMLElement).click();
        expect([items().length, news().textContent]).toEqual([0, '']);
    });

    it('is left alone by a render without a change', () => {
        hear('VideoMotion', 'Start', 2);
        const observer = new MutationObserver(() => undefined);
        for (const watched of [news(), items()[0]?.parentElement as HTMLElement]) observer.observe(watched, { subtree: true, childList: true, characterData: true, attributes: true });
        session.changed();
        expect(observer.takeRecords()).toEqual([]);
        observer.disconnect();
    });
});

describe('a flood of alarms', () => {
    const PASSES_MS = 2;

    it('is drawn four times a second at most, and none of it is lost', () => {
        for (let i = 0; i < 1000; i++) {
            if (i < 150) hear('VideoMotion', 'Start', i);
            else hear('LocalIO', 'Pulse');
            vi.advanceTimersByTime(PASSES_MS);
        }
        vi.advanceTimersByTime(1000);
        expect(renders).toBeGreaterThan(4);
        expect(renders).toBeLessThanOrEqual(1 + (1000 * PASSES_MS) / 250);
        expect(panel.model.active).toBe(150);
        expect(panel.model.list.reduce((sum, { count }) => sum + count, 0)).toBe(1000);
        expect(rows().length).toBe(151);
        expect(rows()[0]).toContain('850 times');
    });

    it('shows its first at once and its last soon', () => {
        hear('VideoMotion', 'Start', 0);
        expect(rows().length).toBe(1);
        hear('VideoMotion', 'Start', 1);
        expect(rows().length).toBe(1);
        vi.advanceTimersByTime(250);
        expect(rows().length).toBe(2);
    });

    it('draws nothing more when it is over, or the page is gone', () => {
        hear('VideoMotion', 'Start', 0);
        vi.advanceTimersByTime(10000);
        expect(renders).toBe(1);
        hear('VideoMotion', 'Start', 1);
        hear('VideoMotion', 'Start', 2);
        panel.dispose();
        vi.advanceTimersByTime(10000);
        expect(renders).toBe(2);
    });
});
