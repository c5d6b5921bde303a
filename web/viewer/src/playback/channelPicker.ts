/** The channels of the device: a click puts one into a window of the playback page, or takes it out again. */
import { PageMode } from '../../../client/index.ts';
import { arrowKeys, h, setAttribute, setPressed, setText } from '../dom.ts';
import type { Session } from '../session.ts';
import type { PlaybackActions } from './playback.ts';

interface Row {
    element: HTMLElement;
    button: HTMLButtonElement;
    note: HTMLElement;
}

export class ChannelPicker {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly actions: PlaybackActions;
    private readonly list = h('ul', { class: 'channels' });
    private readonly count = h('span', { class: 'count' });
    private rows: Row[] = [];

    constructor(session: Session, actions: PlaybackActions) {
        this.session = session;
        this.actions = actions;
        arrowKeys(this.list);
        this.element = h('nav', { class: 'side', 'aria-label': 'Channels to play' }, h('h2', {}, 'Channels', this.count), this.list);
    }

    render(): void {
        const { channels } = this.session.model;
        if (this.rows.length !== channels.length) {
            this.rows = channels.map((_, index) => this.build(index));
            this.list.replaceChildren(...this.rows.map((row) => row.element));
        }
        const { model } = this.actions;
        const most = Math.min(channels.length, model.windows.length);
        setText(this.count, channels.length > 0 && model.mode === PageMode.ByTime ? `${model.chosen.length} of ${most}` : '');
        this.rows.forEach((row, channel) => this.renderRow(row, channel));
    }

    private build(channel: number): Row {
        const note = h('span', { class: 'note' });
        const name = `Channel ${String(channel + 1).padStart(2, '0')}`;
        const button = h('button', { type: 'button', class: 'channel', 'data-testid': `play-channel-${channel}` }, h('i', { class: 'dot' }), h('span', { class: 'name' }, name), note);
        button.addEventListener('click', () => void this.actions.toggleChannel(channel));
        return { element: h('li', {}, button), button, note };
    }

    private renderRow({ element, button, note }: Row, channel: number): void {
        const { model } = this.actions;
        const window = model.windowOf(channel);
        const shown = model.windows[window];
        const byTime = model.mode === PageMode.ByTime;
        setPressed(button, byTime && window >= 0);
        setAttribute(button, 'aria-current', byTime && window >= 0 && window === model.selected ? 'true' : null);
        setAttribute(button, 'title', window >= 0 ? `Take out of window ${window + 1}` : 'Put into a window');
        setAttribute(element, 'data-state', byTime && shown?.active ? (shown.clip ? 'recording' : 'playing') : 'idle');
        setText(note, byTime && window >= 0 ? [shown?.sound ? 'sound' : null, `#${window + 1}`].filter(Boolean).join(' · ') : '');
        button.disabled = this.session.phase !== 'live';
    }
}
