/** Below the pictures: the date, where playback stands, the timeline; for a file, its position alone. */
import { PageMode } from '../../../client/index.ts';
import { h, setAttribute, setText } from '../dom.ts';
import { icon, type IconName } from '../icons.ts';
import type { Session } from '../session.ts';
import { group } from '../toolbar.ts';
import { clock, duration, isDate, parseClock } from './dayTime.ts';
import type { PlaybackActions } from './playback.ts';
import { listWords } from './recordingList.ts';
import type { Block } from './recordings.ts';
import { Timeline, type TimelineRow } from './timeline.ts';

export class DayPanel {
    readonly element: HTMLElement;
    readonly timeline: Timeline;
    private readonly session: Session;
    private readonly actions: PlaybackActions;
    private readonly date = h('input', { type: 'date', 'aria-label': 'Date', 'data-testid': 'date' });
    private readonly earlier = small('previous', 'day-before', 'The day before');
    private readonly later = small('next', 'day-after', 'The day after');
    private readonly clock = h('output', { class: 'clock', 'data-testid': 'position', 'aria-label': 'Position' });
    private readonly at = h('input', { class: 'at', placeholder: 'hh:mm:ss', 'aria-label': 'Time to go to', autocomplete: 'off', spellcheck: 'false', 'data-testid': 'go-to-time' });
    private readonly go = h('button', { type: 'submit', 'data-testid': 'go-to' }, 'Go');
    private readonly goTo = h('form', { class: 'go-to' }, this.at, this.go);
    private readonly range = h('span', { class: 'range' });
    private readonly get = h('button', { type: 'button', class: 'quiet', 'data-testid': 'range-download' }, icon('download'), 'Download…');
    private readonly drop = h('button', { type: 'button', class: 'quiet', 'aria-label': 'Forget the range', title: 'Forget the range (Escape)', 'data-testid': 'range-clear' }, icon('close'));
    private readonly rangeBox = h('span', { class: 'range-box' }, this.range, this.get, this.drop);
    private readonly hint = h('span', { class: 'hint', }, 'Click to play, drag to choose a range');
    private readonly name = h('span', { class: 'file-name', 'data-testid': 'file-name' });
    private readonly slider = h('input', { type: 'range', min: 0, max: 1000, step: 1, 'aria-label': 'Position in the file', 'data-testid': 'file-position' });
    private readonly fileRow = h('div', { class: 'file-row' }, this.name, this.slider);
    private readonly dayBox: HTMLElement;
    private readonly zoom: HTMLElement;
    /** The slider is in the user's hand: reports do not move it. */
    private held = false;

    constructor(session: Session, actions: PlaybackActions, onRange: (range: Block | null) => void, onDownload: () => void) {
        this.session = session;
        this.actions = actions;
        this.timeline = new Timeline({ play: (seconds) => void actions.playAt(seconds), range: onRange });
        this.zoom = group('Span', this.timeline.zoomButtons);
        this.dayBox = h('span', { class: 'day' }, this.earlier, this.date, this.later);
        this.element = h('section', { class: 'day-panel', 'aria-label': 'Timeline' },
            h('div', { class: 'day-bar' }, this.dayBox, this.clock, this.goTo, this.rangeBox, this.hint, h('span', { class: 'spacer' }), this.zoom),
            this.fileRow, this.timeline.element);
        this.earlier.addEventListener('click', () => void actions.shiftDate(-1));
        this.later.addEventListener('click', () => void actions.shiftDate(1));
        this.date.addEventListener('change', () => isDate(this.date.value) && void actions.setDate(this.date.value));
        this.goTo.addEventListener('submit', (event) => (event.preventDefault(), this.goToTyped()));
        this.get.addEventListener('click', onDownload);
        this.drop.addEventListener('click', () => onRange(null));
        this.slider.addEventListener('input', () => (this.held = true));
        this.slider.addEventListener('change', () => void this.seekFile());
    }

    render(range: Block | null): void {
        const { model } = this.actions;
        const live = this.session.phase === 'live';
        const byTime = model.mode === PageMode.ByTime;
        const local = model.mode === PageMode.Local;
        for (const element of [this.dayBox, this.goTo, this.timeline.element, this.zoom]) element.hidden = local;
        for (const control of [this.date, this.earlier, this.later, this.at, this.go]) control.disabled = !live;
        if (this.date.value !== model.date) this.date.value = model.date;
        setText(this.clock, this.positionText());
        this.clock.hidden = local && !model.isActive;
        this.rangeBox.hidden = local || range === null;
        this.hint.hidden = local || range !== null;
        if (range) setText(this.range, `${clock(range.begin)} – ${clock(range.end)} (${duration(range.end - range.begin)})`);
        this.renderFile(!byTime);
        this.timeline.render({ rows: this.rows(), position: byTime ? model.position : null, range, selected: model.selected, enabled: live });
        setAttribute(this.element, 'data-mode', String(model.mode));
        // As high as it ever gets: the pictures above stay where they are when a channel comes or goes.
        this.timeline.element.style.setProperty('--rows', String(Math.min(model.windows.length, Math.max(1, this.session.model.channels.length))));
    }

    private positionText(): string {
        const { mode, position } = this.actions.model;
        if (position === null) return '--:--:--';
        return mode === PageMode.ByTime ? clock(position) : `${(position / 10).toFixed(1)} %`;
    }

    private renderFile(shown: boolean): void {
        const { model } = this.actions;
        this.fileRow.hidden = !shown;
        this.slider.disabled = !model.isActive || this.session.phase !== 'live';
        if (!this.held) this.slider.value = String(Math.round(model.position ?? 0));
        const local = model.mode === PageMode.Local;
        const name = local ? model.localPath.replace(/^.*[\\/]/, '') : (model.playing?.names[model.playing.index] ?? '').replace(/^.*\//, '');
        setText(this.name, name || (local ? 'Open a file of this computer to play it.' : ''));
        setAttribute(this.name, 'title', local ? model.localPath : null);
    }

    private rows(): TimelineRow[] {
        const { model, recordings } = this.actions;
        return model.chosen.map(({ channel, window }) => {
            const state = recordings.day(channel, model.date);
            const words = state.kind === 'none' || state.kind === 'nowhere' ? `${listWords(state)} Click to play from a time.` : listWords(state);
            return { channel, window, state: state.kind, words, blocks: state.kind === 'known' ? state.day.blocks : [] };
        });
    }

    private goToTyped(): void {
        const seconds = parseClock(this.at.value);
        if (seconds === null) this.session.tell('error', 'Type a time of the day, such as 10:30 or 10:30:15.');
        else void this.actions.playAt(seconds);
    }

    private async seekFile(): Promise<void> {
        await this.actions.seekFile(this.slider.valueAsNumber);
        this.held = false;
    }
}

function small(name: IconName, testId: string, title: string): HTMLButtonElement {
    return h('button', { type: 'button', class: 'tool small', title, 'aria-label': title, 'data-testid': testId }, icon(name));
}
