/**
 * A device's day as a picture: a row a channel with what is recorded, and where playback stands. A click plays from
 * there, a drag chooses a range, the wheel zooms. By keyboard: arrows move the mark, Enter plays from it.
 */
import { h, setAttribute, setText } from '../dom.ts';
import { clock, DAY_SECONDS } from './dayTime.ts';
import type { DayState } from './recordingList.ts';
import type { Block } from './recordings.ts';
import { pan, placeOf, reveal, secondAt, SPANS, ticks, WHOLE_DAY, zoomTo, type Scale } from './timeScale.ts';

export interface TimelineRow {
    channel: number;
    window: number;
    /** Without a list there are no blocks to show. */
    state: DayState['kind'];
    words: string;
    blocks: readonly Block[];
}

export interface TimelineState {
    rows: readonly TimelineRow[];
    position: number | null;
    range: Block | null;
    selected: number;
    enabled: boolean;
}

export interface TimelineEvents {
    play(seconds: number): void;
    range(range: Block | null): void;
}

const DRAG_PX = 5;
const TICK_PX = 90;

export class Timeline {
    readonly element: HTMLElement;
    /** For the buttons beside the day: one a span. */
    readonly zoomButtons: HTMLButtonElement[];
    scale: Scale = WHOLE_DAY;
    private readonly events: TimelineEvents;
    private readonly labels = h('div', { class: 'tl-labels' });
    private readonly ruler = h('div', { class: 'tl-ruler' });
    private readonly rows = h('div', { class: 'tl-rows' });
    private readonly head = h('i', { class: 'tl-head' });
    private readonly mark = h('i', { class: 'tl-mark' }, h('span'));
    private readonly band = h('i', { class: 'tl-band' });
    private readonly track = h('div', {
        class: 'tl-track', role: 'slider', tabindex: 0, 'data-testid': 'timeline', 'aria-label': 'Time of day. Enter plays from here.',
        'aria-valuemin': 0, 'aria-valuemax': DAY_SECONDS - 1,
    }, this.ruler, this.rows, this.band, this.head, this.mark);
    private state: TimelineState = { rows: [], position: null, range: null, selected: 0, enabled: false };
    /** The second under the pointer or chosen by keys. */
    private marked: number | null = null;
    private press: { x: number; at: number; moved: boolean } | null = null;
    private drawn = '';

    constructor(events: TimelineEvents) {
        this.events = events;
        this.zoomButtons = SPANS.map((span) => this.zoomButton(span));
        this.element = h('div', { class: 'tl' }, this.labels, this.track);
        const { track } = this;
        track.addEventListener('pointerdown', (event) => this.onDown(event));
        track.addEventListener('pointermove', (event) => this.onMove(event));
        track.addEventListener('pointerup', (event) => this.onUp(event));
        track.addEventListener('pointercancel', () => (this.press = null));
        track.addEventListener('pointerleave', () => this.press || this.setMark(null));
        track.addEventListener('wheel', (event) => this.onWheel(event), { passive: false });
        track.addEventListener('keydown', (event) => this.onKey(event));
        track.addEventListener('blur', () => this.setMark(null));
        if (typeof ResizeObserver !== 'undefined') new ResizeObserver(() => this.draw()).observe(track);
    }

    render(state: TimelineState): void {
        const before = this.state.position;
        this.state = state;
        // Playback is followed for as long as it was in sight.
        const followed = before === null || (before >= this.scale.from && before < this.scale.to);
        if (state.position !== null && followed && state.position !== before) this.scale = reveal(this.scale, state.position);
        this.draw();
    }

    private zoomButton(span: number): HTMLButtonElement {
        const text = span >= 3600 ? `${span / 3600} h` : `${span / 60} min`;
        const button = h('button', { type: 'button', title: `Show ${text} at a time`, 'data-testid': `zoom-${span}` }, text);
        button.addEventListener('click', () => this.zoom(span));
        return button;
    }

    private zoom(span: number, around = this.marked ?? this.state.position ?? this.state.range?.begin ?? this.firstRecorded): void {
        this.scale = zoomTo(this.scale, span, around);
        this.draw();
    }

    private get firstRecorded(): number {
        const begins = this.state.rows.flatMap(({ blocks }) => (blocks[0] ? [blocks[0].begin] : []));
        return begins.length > 0 ? Math.min(...begins) : DAY_SECONDS / 2;
    }

    private get lastRecorded(): number {
        return Math.max(0, ...this.state.rows.map(({ blocks }) => (blocks.at(-1)?.end ?? 1) - 1));
    }

    // ---- drawing ----

    private draw(): void {
        const { scale, state } = this;
        const width = this.track.clientWidth;
        const key = JSON.stringify([scale, width, state.rows, state.selected]);
        if (key !== this.drawn) {
            this.drawn = key;
            this.drawRuler(width);
            this.drawRows();
            for (const [i, button] of this.zoomButtons.entries()) setAttribute(button, 'aria-pressed', String(Math.round(scale.to - scale.from) === SPANS[i]));
        }
        setAttribute(this.track, 'aria-disabled', state.enabled ? null : 'true');
        setAttribute(this.track, 'aria-valuenow', String(this.marked ?? Math.floor(state.position ?? 0)));
        setAttribute(this.track, 'aria-valuetext', clock(this.marked ?? state.position ?? 0));
        this.placeAt(this.head, state.position);
        this.drawBand(state.range);
        this.drawMark();
    }

    private drawRuler(width: number): void {
        const marks = ticks(this.scale, Math.max(2, Math.floor((width || 900) / TICK_PX)));
        const whole = marks.every((at) => at % 60 === 0);
        this.ruler.replaceChildren(...marks.map((at) => {
            const tick = h('span', {}, at >= DAY_SECONDS ? '24:00' : clock(at).slice(0, whole ? 5 : 8));
            tick.style.left = percent(placeOf(this.scale, at));
            return tick;
        }));
    }

    private drawRows(): void {
        const { rows, selected } = this.state;
        this.labels.replaceChildren(...rows.map(({ channel, window }) =>
            h('span', { class: window === selected ? 'selected' : undefined }, h('b', {}, String(window + 1)), `Channel ${String(channel + 1).padStart(2, '0')}`)));
        this.rows.replaceChildren(...rows.map((row) => this.buildRow(row)));
    }

    private buildRow({ channel, state, words, blocks }: TimelineRow): HTMLElement {
        const seen = blocks.filter(({ begin, end }) => end > this.scale.from && begin < this.scale.to);
        const bars = seen.map(({ begin, end }) => {
            const bar = h('i', { class: 'bar', title: `${clock(begin)} to ${clock(end)}` });
            const left = Math.max(0, placeOf(this.scale, begin));
            bar.style.left = percent(left);
            bar.style.width = percent(Math.min(1, placeOf(this.scale, end)) - left);
            return bar;
        });
        return h('div', { class: 'tl-row', 'data-state': state, 'data-testid': `timeline-row-${channel}`, 'data-blocks': blocks.map(({ begin, end }) => `${clock(begin)}-${clock(end)}`).join(' ') },
            ...bars, words ? h('span', { class: 'tl-words', title: words }, words) : null);
    }

    private drawBand(range: Block | null): void {
        this.band.hidden = range === null;
        if (!range) return;
        const left = Math.min(Math.max(0, placeOf(this.scale, range.begin)), 1);
        const right = Math.min(Math.max(0, placeOf(this.scale, range.end)), 1);
        this.band.style.left = percent(left);
        this.band.style.width = percent(right - left);
    }

    private drawMark(): void {
        this.placeAt(this.mark, this.marked);
        if (this.marked === null) return;
        setText(this.mark.firstElementChild as Element, clock(this.marked));
        setAttribute(this.mark, 'data-side', placeOf(this.scale, this.marked) > 0.9 ? 'left' : 'right');
    }

    private placeAt(element: HTMLElement, seconds: number | null): void {
        const place = seconds === null ? -1 : placeOf(this.scale, seconds);
        element.hidden = place < 0 || place > 1;
        element.style.left = percent(place);
    }

    private setMark(seconds: number | null): void {
        if (this.marked === seconds) return;
        this.marked = seconds;
        this.draw();
    }

    // ---- hands ----

    private secondAtEvent(event: MouseEvent): number {
        const box = this.track.getBoundingClientRect();
        return secondAt(this.scale, box.width > 0 ? (event.clientX - box.left) / box.width : 0);
    }

    private onDown(event: PointerEvent): void {
        if (event.button !== 0 || !this.state.enabled) return;
        this.track.setPointerCapture?.(event.pointerId);
        this.press = { x: event.clientX, at: this.secondAtEvent(event), moved: false };
    }

    private onMove(event: PointerEvent): void {
        const at = this.secondAtEvent(event);
        this.setMark(at);
        if (!this.press) return;
        this.press.moved ||= Math.abs(event.clientX - this.press.x) > DRAG_PX;
        if (this.press.moved) this.events.range(orderly(this.press.at, at));
    }

    private onUp(event: PointerEvent): void {
        const { press } = this;
        this.press = null;
        if (!press || press.moved) return;
        this.events.play(this.secondAtEvent(event));
    }

    private onWheel(event: WheelEvent): void {
        event.preventDefault();
        const span = this.scale.to - this.scale.from;
        if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) this.scale = pan(this.scale, (span / 10) * Math.sign(event.deltaX || event.deltaY));
        else this.scale = zoomTo(this.scale, event.deltaY > 0 ? span * 1.5 : span / 1.5, this.secondAtEvent(event));
        this.draw();
    }

    private onKey(event: KeyboardEvent): void {
        const step = Math.max(1, Math.round((this.scale.to - this.scale.from) / 200)) * (event.shiftKey ? 10 : 1);
        const now = this.marked ?? Math.floor(this.state.position ?? this.firstRecorded);
        const moves: Record<string, number> = {
            ArrowLeft: now - step, ArrowRight: now + step, ArrowDown: now - step, ArrowUp: now + step,
            PageUp: now + 3600, PageDown: now - 3600, Home: this.firstRecorded, End: this.lastRecorded,
        };
        const move = moves[event.key];
        if (move !== undefined) this.moveMark(Math.min(Math.max(0, Math.floor(move)), DAY_SECONDS - 1));
        else if (event.key === 'Enter' && this.state.enabled) this.events.play(now);
        else if (event.key === 'Escape') this.events.range(null);
        else if (event.key === '+' || event.key === '=') this.zoom((this.scale.to - this.scale.from) / 2, now);
        else if (event.key === '-') this.zoom((this.scale.to - this.scale.from) * 2, now);
        else return;
        event.preventDefault();
        event.stopPropagation();
    }

    private moveMark(seconds: number): void {
        this.scale = reveal(this.scale, seconds);
        this.setMark(seconds);
    }
}

function orderly(a: number, b: number): Block {
    return { begin: Math.min(a, b), end: Math.max(a, b) + 1 };
}

function percent(place: number): string {
    return `${(place * 100).toFixed(4)}%`;
}
