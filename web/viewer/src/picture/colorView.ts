/**
 * The image colour page: one channel, by a login and a decoder of its own, as it comes; beside it the sliders for the
 * channel in the selected cell of the live view, which go on behind this page.
 */
import { Page } from '../../../client/index.ts';
import { h, setPressed } from '../dom.ts';
import type { Session } from '../session.ts';
import { group, segment, tool } from '../toolbar.ts';

export class ColorView {
    readonly toolbar: HTMLElement;
    private readonly session: Session;
    private readonly channel = h('select', { 'data-testid': 'color-channel', 'aria-label': 'Channel' });
    private readonly streams = [segment('Main', 'color-stream-0', 'Main stream: full size'), segment('Sub', 'color-stream-1', 'Sub stream: light')];
    private readonly startButton = tool('play', 'Show', 'color-start', 'Show this channel');
    private readonly stopButton = tool('stop', 'Stop', 'color-stop', 'End the stream and its login');
    private stream = 0;
    /** The channel that is shown, or null. */
    private shown: number | null = null;
    private busy = false;
    private listed = -1;

    constructor(session: Session) {
        this.session = session;
        this.toolbar = h('div', { class: 'toolbar', role: 'toolbar', 'aria-label': 'Image' },
            h('label', { class: 'inline' }, h('span', {}, 'Channel'), this.channel), group('Stream', this.streams),
            h('span', { class: 'gap' }), this.startButton, this.stopButton);
        this.streams.forEach((button, stream) => button.addEventListener('click', () => void this.chooseStream(stream)));
        this.channel.addEventListener('change', () => void this.start());
        this.startButton.addEventListener('click', () => void this.start());
        this.stopButton.addEventListener('click', () => void this.stop());
    }

    /** Shows the page, and on it the channel that was selected. */
    async enter(): Promise<boolean> {
        const { client, model } = this.session;
        this.listChannels();
        if (model.current >= 0) this.channel.value = String(model.current);
        const entered = await this.act('Image.', () => client.showPage(Page.Color));
        if (entered && model.channels.length > 0) await this.start();
        return entered;
    }

    /** Another page ended it, or the session. */
    left(): void {
        this.shown = null;
    }

    render(): void {
        const live = this.session.phase === 'live' && !this.busy;
        this.listChannels();
        this.channel.disabled = this.startButton.disabled = !live;
        this.stopButton.disabled = !live || this.shown === null;
        this.streams.forEach((button, stream) => (setPressed(button, this.stream === stream), (button.disabled = !live)));
    }

    selection(): string {
        return this.shown === null ? 'Nothing shown' : `Channel ${this.shown + 1}`;
    }

    private async start(): Promise<void> {
        const channel = Number(this.channel.value);
        this.session.tell('busy', `Logging in once more for channel ${channel + 1}…`);
        this.shown = null;
        const started = await this.act(`Channel ${channel + 1} is shown as it comes.`, () => this.session.client.colorPage.start(channel, this.stream));
        if (started) this.shown = channel;
        this.session.changed();
    }

    private async stop(): Promise<void> {
        this.shown = null;
        await this.act('Stopped.', () => this.session.client.colorPage.stop());
    }

    private async chooseStream(stream: number): Promise<void> {
        this.stream = stream;
        if (this.shown !== null) await this.start();
        else this.session.changed();
    }

    private async act(done: string, work: () => Promise<unknown>): Promise<boolean> {
        this.busy = true;
        this.session.changed();
        const good = await this.session.attempt(done, work);
        this.busy = false;
        this.session.changed();
        return good;
    }

    /** Only when their number changed: a list that is open would close. */
    private listChannels(): void {
        const { length } = this.session.model.channels;
        if (length === this.listed) return;
        this.listed = length;
        this.channel.replaceChildren(...Array.from({ length }, (_, channel) => h('option', { value: channel }, `Channel ${channel + 1}`)));
    }
}
