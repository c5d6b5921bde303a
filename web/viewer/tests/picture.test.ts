// @vitest-environment jsdom
import { describe, expect, it } from 'vitest';
import type { FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AUTO, app, click, commands, eachOnItsOwn, host, id, open, process, soon, told } from './page.ts';

/** Electronic PTZ, the image page and the drawn rule, against the stand-in host. */
const shown = (name: string) => id<HTMLElement>(name).closest('[hidden]') === null;

async function enter(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await open(AUTO, { channels: 4, ...settings });
    await told('Logged in');
}

async function playing(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await enter(settings);
    click('channel-2');
    await told('Channel 3 started.');
}

eachOnItsOwn();

describe('electronic PTZ', () => {
    async function steering(): Promise<void> {
        await playing();
        click('picture-panel');
        process().picture.offer(1);
        await soon(() => expect(shown('ptz-open')).toBe(true));
        click('ptz-open');
        await soon(() => expect(shown('ptz-up')).toBe(true));
    }

    it('is offered when the process says so', async () => {
        await playing();
        click('picture-panel');
        expect(shown('ptz-open')).toBe(false);
        process().picture.offer(1);
        await soon(() => expect(shown('ptz-open')).toBe(true));
        expect(shown('ptz-up')).toBe(false);
        process().picture.offer(0);
        await soon(() => expect(shown('ptz-open')).toBe(false));
    });

    it('steers and zooms to the very edge, and says where the picture ends', async () => {
        await steering();
        click('ptz-in');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([512, 512, 7680, 7680]));
        click('ptz-left');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([0, 512, 7168, 7680]));
        click('ptz-left');
        await told('The picture ends there.');
        click('ptz-up');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([0, 0, 7168, 7168]));
        click('ptz-right');
        click('ptz-down');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([512, 512, 7680, 7680]));
        click('ptz-out');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([0, 0, 8192, 8192]));
        click('ptz-whole');
        await told('This is the whole picture.');
    });

    it('keeps presets, goes to them and removes them', async () => {
        await steering();
        expect(id('ptz-preset-1').disabled).toBe(true);
        click('ptz-in');
        click('ptz-keep');
        await soon(() => expect(id('ptz-preset-1').disabled).toBe(false));
        click('ptz-preset-1');
        await soon(() => expect(id('ptz-preset-1').hasAttribute('data-stored')).toBe(true));
        expect(id('ptz-preset-2').disabled).toBe(true);
        click('ptz-whole');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([0, 0, 8192, 8192]));
        click('ptz-preset-1');
        await soon(() => expect(process().picture.regions.get(2)).toEqual([512, 512, 7680, 7680]));
        click('ptz-remove');
        click('ptz-preset-1');
        await soon(() => expect(id('ptz-preset-1').disabled).toBe(true));
        expect(process().picture.presets.get(2)?.size).toBe(0);
        expect(id('ptz-remove').disabled).toBe(true);
    });

    it('ends with a right click into the picture, and keeps its presets', async () => {
        await steering();
        click('ptz-keep');
        await soon(() => expect(id('ptz-preset-3').disabled).toBe(false));
        click('ptz-preset-3');
        await soon(() => expect(id('ptz-preset-3').hasAttribute('data-stored')).toBe(true));
        process().picture.quit();
        await soon(() => expect(shown('ptz-open')).toBe(true));
        expect(shown('ptz-up')).toBe(false);
        click('ptz-open');
        await soon(() => expect(shown('ptz-preset-3')).toBe(true));
        expect(id('ptz-preset-3').disabled).toBe(false);
    });

    it('is forgotten by a start of any channel, presets and all', async () => {
        await steering();
        click('ptz-keep');
        await soon(() => expect(id('ptz-preset-3').disabled).toBe(false));
        click('ptz-preset-3');
        await soon(() => expect(id('ptz-preset-3').hasAttribute('data-stored')).toBe(true));
        click('channel-2');
        await soon(() => expect(shown('ptz-up')).toBe(false));
        process().picture.offer(1);
        await soon(() => expect(shown('ptz-open')).toBe(true));
        click('ptz-open');
        await soon(() => expect(shown('ptz-preset-3')).toBe(true));
        expect(id('ptz-preset-3').disabled).toBe(true);
    });
});

describe('the image page', () => {
    it('shows the selected channel by a login of its own, and the live streams go on', async () => {
        await playing();
        click('view-color');
        await told('Channel 3 is shown as it comes.');
        expect(process().picture.colour).toEqual({ Channel: 2, Stream: 0 });
        expect(process().page).toBe(2);
        expect(process().cells[0]).toBe(2);
        expect(shown('color-brightness')).toBe(true);
        expect(shown('color-start')).toBe(true);
        expect(shown('split-0')).toBe(false);
    });

    it('changes the colours of the live channel behind it', async () => {
        await playing();
        click('view-color');
        await told('Channel 3 is shown');
        const slider = id<HTMLInputElement>('color-contrast');
        slider.value = '100';
        slider.dispatchEvent(new Event('input'));
        await soon(() => expect(commands(4).at(-1)).toMatchObject({ SubType: 3, Type: 1, Value: 100 }));
    });

    it('shows another channel and stream, and stops', async () => {
        await playing();
        click('view-color');
        await told('Channel 3 is shown');
        const select = id<HTMLSelectElement>('color-channel');
        select.value = '1';
        select.dispatchEvent(new Event('change'));
        await soon(() => expect(process().picture.colour).toEqual({ Channel: 1, Stream: 0 }));
        await told('Channel 2 is shown');
        click('color-stream-1');
        await soon(() => expect(process().picture.colour).toEqual({ Channel: 1, Stream: 1 }));
        await told('Channel 2 is shown');
        await soon(() => expect(id('color-stop').disabled).toBe(false));
        click('color-stop');
        await told('Stopped.');
        expect(process().picture.colour).toBeNull();
        expect(id('color-stop').disabled).toBe(true);
    });

    it.each([[1017, 'log'], [122, 'refused'], [121, '']])('says why it could not start with %i', async (colourRet, word) => {
        await playing({ colourRet });
        click('view-color');
        await soon(() => expect(id<HTMLElement>('status').dataset.kind).toBe('error'));
        expect(id('status').textContent?.toLowerCase()).toContain(word);
        expect(id('color-stop').disabled).toBe(true);
    });

    it('is left for the live page with all streams as they were', async () => {
        await playing();
        click('view-color');
        await told('Channel 3 is shown');
        click('view-live');
        await told('Live.');
        expect(process().picture.colour).toBeNull();
        expect(id('channel-2').parentElement?.dataset.state).toBe('playing');
        expect(commands(4).filter(({ SubType }) => SubType === 0).length).toBe(1);
    });

    it('lies between playback and live without losing the live streams', async () => {
        await playing();
        click('view-playback');
        await soon(() => expect(process().page).toBe(1));
        await soon(() => expect(id('view-playback').getAttribute('aria-pressed')).toBe('true'));
        click('view-color');
        await told('is shown as it comes');
        click('view-live');
        await told('Live.');
        await soon(() => expect(id('channel-2').parentElement?.dataset.state).toBe('playing'));
        expect(process().cells[0]).toBe(2);
    });

    it('gives way to the live page when the device came back', async () => {
        await playing();
        click('view-color');
        await told('Channel 3 is shown');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await soon(() => expect(id('view-live').getAttribute('aria-pressed')).toBe('true'));
        await soon(() => expect(id('channel-2').parentElement?.dataset.state).toBe('playing'));
        expect(process().page).toBe(0);
    });

    it('is where an automatic log in leads when asked', async () => {
        await open(`${AUTO}&view=color`, { channels: 4 });
        await told('Channel 1 is shown as it comes.');
    });
});

describe('the rule over channel 1', () => {
    /** Of a field of 400 by 200. */
    const point = (x: number, y: number) => {
        const field = id<SVGSVGElement>('rule-field');
        field.getBoundingClientRect = () => new DOMRect(10, 20, 400, 200);
        field.dispatchEvent(new MouseEvent('click', { bubbles: true, clientX: 10 + x, clientY: 20 + y }));
    };
    const rule = (fact: object) => soon(() => expect(process().picture.rule).toMatchObject(fact));

    it('is a line after two points, and another arrow redraws it', async () => {
        await enter();
        click('rule-panel');
        point(100, 50);
        await rule({ ShowRule: 0 });
        point(300, 100);
        await rule({ SubType: 1, Channel: 0, RuleType: 0, ShowRule: 1, AlarmDirectLine: 1, RuleLine: { StartX: 2048, StartY: 2048, StopX: 6144, StopY: 4096 } });
        expect(id('rule-text').textContent).toBe('Shown when channel 1 plays.');
        click('rule-arrow-both');
        await rule({ ShowRule: 1, AlarmDirectLine: 2 });
    });

    it('is a region from three corners on, to eight', async () => {
        await enter();
        click('rule-panel');
        click('rule-region');
        for (let i = 0; i < 8; i++) point(i * 50, i * 25);
        await rule({ RuleType: 1, ShowRule: 1, ptsNum: 8 });
        expect(process().picture.rule?.RuleRegion[2]).toEqual({ X: 2048, Y: 2048 });
        click('rule-undo');
        await rule({ ptsNum: 7 });
        point(0, 0);
        point(0, 0);
        await rule({ ShowRule: 0 });
        expect(id('rule-text').textContent).toContain('three to 8 corners');
    });

    it('is taken off by Clear, and when its kind changes', async () => {
        await enter();
        click('rule-panel');
        point(100, 50);
        point(300, 100);
        await rule({ ShowRule: 1 });
        click('rule-clear');
        await rule({ ShowRule: 0 });
        expect(id('rule-clear').disabled).toBe(true);
        point(100, 50);
        point(300, 100);
        await rule({ ShowRule: 1 });
        click('rule-region');
        await rule({ ShowRule: 0 });
    });

    it('is told to the process one after the other, the newest last', async () => {
        await enter();
        click('rule-panel');
        point(100, 50);
        point(300, 100);
        click('rule-arrow-none');
        click('rule-arrow-both');
        await rule({ ShowRule: 1, AlarmDirectLine: 2 });
        expect(commands(34).length).toBeLessThan(4);
    });

    it('is shown over channel 1 when that plays', async () => {
        await enter();
        click('channel-0');
        await told('Channel 1 started.');
        click('rule-panel');
        point(0, 0);
        point(400, 200);
        await soon(() => expect(id('rule-text').textContent).toBe('Shown over channel 1.'));
    });

    it('is drawn again by the process that comes after', async () => {
        await enter();
        click('rule-panel');
        point(100, 50);
        point(300, 100);
        await rule({ ShowRule: 1 });
        host.drop();
        await soon(() => expect(host.processes.length).toBe(2));
        await rule({ ShowRule: 1, RuleLine: { StartX: 2048, StartY: 2048, StopX: 6144, StopY: 4096 } });
    });

    it('is forgotten with the session', async () => {
        await enter();
        click('rule-panel');
        point(100, 50);
        point(300, 100);
        await rule({ ShowRule: 1 });
        click('logout');
        await told('Logged out.');
        expect(app.session.phase).toBe('login');
        click('login-submit');
        await told('Logged in');
        click('rule-panel');
        await soon(() => expect(id('rule-clear').disabled).toBe(true));
    });
});
