/** The channels: a click starts one in the selected cell. */
import { arrowKeys, h, setAttribute, setText } from './dom.ts';
import { icon } from './icons.ts';
import type { LiveActions } from './live.ts';
import type { Channel } from './model.ts';
import type { Session } from './session.ts';

interface Row {
    element: HTMLElement;
    start: HTMLButtonElement;
    stop: HTMLButtonElement;
    note: HTMLElement;
}

export class ChannelList {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly actions: LiveActions;
    private readonly list = h('ul', { class: 'channels', 'data-testid': 'channels' });
    private readonly count = h('span', { class: 'count' });
    private rows: Row[] = [];

    constructor(session: Session, actions: LiveActions) {
        this.session = session;
        this.actions = actions;
        arrowKeys(this.list);
        this.element = h('nav', { class: 'side', 'aria-label': 'Channels' }, h('h2', {}, 'Channels', this.count), this.list);
    }

    render(): void {
        const { channels } = this.session.model;
        if (this.rows.length !== channels.length) this.build(channels.length);
        const playing = this.session.model.playing.length;
        setText(this.count, channels.length > 0 ? `${playing} of ${channels.length}` : '');
        channels.forEach((channel, index) => this.renderRow(index, channel));
    }

    private build(count: number): void {
        this.rows = Array.from({ length: count }, (_, index) => this.buildRow(index));
        this.list.replaceChildren(...this.rows.map((row) => row.element));
    }

    private buildRow(index: number): Row {
        const note = h('span', { class: 'note' });
        const number = String(index + 1).padStart(2, '0');
        const start = h(
            'button', { type: 'button', class: 'channel', 'data-testid': `channel-${index}` },
            h('i', { class: 'dot' }), h('span', { class: 'name' }, `Channel ${number}`), note,
        );
        const stop = h('button', { type: 'button', class: 'row-stop', tabindex: -1, 'aria-label': `Stop channel ${index + 1}`, title: 'Stop', 'data-testid': `channel-${index}-stop` }, icon('close'));
        start.addEventListener('click', () => void this.actions.start(index));
        start.addEventListener('keydown', (event) => {
            if (event.key === 'Delete') void this.actions.stop(index);
        });
        stop.addEventListener('click', () => void this.actions.stop(index));
        return { element: h('li', {}, start, stop), start, stop, note };
    }

    private renderRow(index: number, channel: Channel): void {
        const row = this.rows[index];
        if (!row) return;
        const { model, phase } = this.session;
        const state = channel.recording ? 'recording' : channel.playing ? 'playing' : channel.error ? 'failed' : 'idle';
        setAttribute(row.element, 'data-state', state);
        setAttribute(row.start, 'aria-current', model.current === index ? 'true' : null);
        setAttribute(row.start, 'title', channel.error ?? startHint(channel, model.selected));
        setText(row.note, noteOf(channel, model.cellOf(index), model.soundChannel === index));
        row.start.disabled = phase !== 'live';
        row.stop.hidden = !channel.playing;
    }
}

function startHint(channel: Channel, selected: number): string {
    return channel.playing ? `Show in cell ${selected + 1} (Delete stops it)` : `Start in cell ${selected + 1}`;
}

function noteOf(channel: Channel, cell: number, sound: boolean): string {
    if (channel.error) return 'failed';
    if (!channel.playing) return '';
    const parts = [sound ? 'sound' : null, channel.stream === 1 ? 'sub' : null, cell >= 0 ? `#${cell + 1}` : null];
    return parts.filter((part) => part !== null).join(' · ');
}
