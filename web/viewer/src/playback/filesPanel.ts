/** Downloads of a range, and what the device recorded on the day: files and pictures to play, show, download. */
import { PageMode, type FileSpan } from '../../../client/index.ts';
import { h, setAttribute, setText } from '../dom.ts';
import { icon } from '../icons.ts';
import type { Session } from '../session.ts';
import { clock, DAY_SECONDS, duration, parseClock, timeText } from './dayTime.ts';
import type { DownloadJob, DownloadList } from './downloadJob.ts';
import type { PlaybackActions } from './playback.ts';
import { listWords } from './recordingList.ts';
import { pieceOf, piecesOf, pictureSpan, type Block, type RecordedDay } from './recordings.ts';

const AVI = 2;
const STILL = 1;

export class FilesPanel {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly actions: PlaybackActions;
    private readonly job: DownloadJob;
    private readonly onRange: (range: Block | null) => void;
    private readonly channel = h('select', { 'data-testid': 'download-channel' });
    private readonly from = timeInput('download-from');
    private readonly to = timeInput('download-to');
    private readonly format = h('select', { 'data-testid': 'download-format' }, h('option', { value: 0 }, 'Raw stream'), h('option', { value: AVI }, 'AVI, plays everywhere'));
    private readonly start = h('button', { type: 'submit', class: 'primary', 'data-testid': 'download-start' }, 'Download');
    private readonly cancel = h('button', { type: 'button', 'data-testid': 'download-stop' }, 'Stop');
    private readonly bar = h('progress', { max: 1, value: 0, 'data-testid': 'download-progress', 'aria-label': 'Download' });
    private readonly told = h('p', { class: 'hint', 'data-testid': 'download-text', 'aria-live': 'polite' });
    private readonly under = h('div', { class: 'download' }, this.told, this.bar, this.cancel);
    private readonly files = h('ul', { class: 'files', 'data-testid': 'files' });
    private readonly filesHint = h('p', { class: 'hint' });
    private readonly pictures = h('ul', { class: 'files', 'data-testid': 'pictures' });
    private readonly picturesHead = h('h2', {}, 'Pictures');
    private readonly subject = h('span', { class: 'count' });
    private shown = '';
    private channels = '';
    private range: Block | null = null;

    constructor(session: Session, actions: PlaybackActions, job: DownloadJob, onRange: (range: Block | null) => void) {
        this.session = session;
        this.actions = actions;
        this.job = job;
        this.onRange = onRange;
        const form = h('form', {},
            h('label', { class: 'field' }, h('span', {}, 'Channel'), this.channel),
            h('div', { class: 'pair' }, h('label', { class: 'field' }, h('span', {}, 'From'), this.from), h('label', { class: 'field' }, h('span', {}, 'To'), this.to)),
            h('label', { class: 'field' }, h('span', {}, 'Save as'), this.format), this.start);
        form.addEventListener('submit', (event) => (event.preventDefault(), void this.downloadRange()));
        for (const input of [this.from, this.to]) input.addEventListener('change', () => this.onTyped());
        this.cancel.addEventListener('click', () => void this.session.attempt('', () => this.job.stop()));
        this.element = h('section', { class: 'panel files-panel', 'aria-label': 'Files' },
            h('h2', {}, 'Download'), form, this.under,
            h('h2', {}, 'Recordings', this.subject), this.filesHint, this.files, this.picturesHead, this.pictures);
    }

    /** Reads how recordings are kept. Call when the panel opens. */
    async load(): Promise<void> {
        await this.session.attempt('', async () => {
            const { RecordFileType } = await this.session.client.readConfig();
            this.format.value = String(RecordFileType === AVI ? AVI : 0);
            this.chooseChannel(String(this.actions.model.current.chosen));
        });
    }

    render(range: Block | null): void {
        const { model } = this.actions;
        this.showRange(range);
        this.renderChannels();
        this.renderJob();
        this.start.disabled = this.session.phase !== 'live' || this.job.isRunning || range === null || model.chosen.length === 0;
        setAttribute(this.start, 'title', range === null ? 'Choose a range: drag in the timeline, or type the times.' : null);
        this.renderList();
    }

    // ---- a range ----

    private showRange(range: Block | null): void {
        if (this.range?.begin === range?.begin && this.range?.end === range?.end) return;
        this.range = range;
        this.from.value = range ? clock(range.begin) : '';
        this.to.value = range ? clock(range.end) : '';
    }

    /** What is typed stands, also while the two times do not fit yet. */
    private onTyped(): void {
        this.range = this.typedRange();
        this.onRange(this.range);
    }

    private typedRange(): Block | null {
        const begin = parseClock(this.from.value);
        const end = parseClock(this.to.value);
        return begin !== null && end !== null && end > begin ? { begin, end } : null;
    }

    private renderChannels(): void {
        const { chosen } = this.actions.model;
        const key = chosen.map(({ channel }) => channel).join();
        if (key === this.channels) return;
        this.channels = key;
        const before = this.channel.value;
        const each = chosen.map(({ channel }) => h('option', { value: channel }, `Channel ${String(channel + 1).padStart(2, '0')}`));
        this.channel.replaceChildren(...each, ...(chosen.length > 1 ? [h('option', { value: 'all' }, 'All shown channels')] : []));
        this.chooseChannel(before || String(this.actions.model.current.chosen));
    }

    private chooseChannel(wanted: string): void {
        if ([...this.channel.options].some(({ value }) => value === wanted)) this.channel.value = wanted;
    }

    private async downloadRange(): Promise<void> {
        const range = this.typedRange();
        const { model } = this.actions;
        if (!range) {
            this.session.tell('error', 'Type the range as two times of the day, the first one before the second.');
            return;
        }
        const channels = this.channel.value === 'all' ? model.chosen.map(({ channel }) => channel) : [Number(this.channel.value)];
        await this.run(channels.map((channel) => this.listOf(channel, range)));
    }

    private listOf(channel: number, { begin, end }: Block): DownloadList {
        const { date } = this.actions.model;
        const day = this.actions.recordings.known(channel, date);
        // Without a list the device is asked for whatever it has in the range.
        const files: FileSpan[] = day ? piecesOf(day, begin, end) : [{ name: '', begin: timeText(date, begin), end: timeText(date, Math.min(end, DAY_SECONDS - 1)), length: 0 }];
        return { channel, stream: day?.files[0]?.stream ?? 0, fileType: 0, files };
    }

    private async run(lists: DownloadList[]): Promise<void> {
        await this.session.attempt('The download has begun.', async () => this.job.run(lists, await this.keepAs(Number(this.format.value))));
    }

    /** What becomes of a download is part of the configuration; the rest of that stays. */
    private async keepAs(type: number): Promise<boolean> {
        const { RecPath, CapPath, DownPath, RecordFileType } = await this.session.client.readConfig();
        if (RecordFileType !== type) await this.session.client.saveConfig({ RecPath, CapPath, DownPath, RecordType: type });
        return type === AVI;
    }

    private renderJob(): void {
        const { job } = this;
        this.under.hidden = job.phase === 'idle';
        this.bar.hidden = !job.isRunning;
        this.cancel.hidden = !job.isRunning;
        this.format.disabled = job.isRunning;
        this.bar.value = job.progress;
        setAttribute(this.told, 'data-kind', job.phase === 'failed' ? 'error' : null);
        setText(this.told, job.isRunning ? `${job.text}, ${Math.floor(job.progress * 100)} %` : job.text);
    }

    // ---- the day's files ----

    private renderList(): void {
        const { model, recordings } = this.actions;
        const channel = model.playing?.channel ?? (model.current.chosen >= 0 ? model.current.chosen : (model.chosen[0]?.channel ?? -1));
        setText(this.subject, channel >= 0 ? `Channel ${channel + 1}` : '');
        const state = channel >= 0 ? recordings.day(channel, model.date) : null;
        const day = state?.kind === 'known' ? state.day : null;
        const playing = model.playing?.names[model.playing.index] ?? '';
        const hint = state ? listWords(state) : 'Choose a channel on the left.';
        setText(this.filesHint, hint);
        this.filesHint.hidden = hint === '';
        const key = JSON.stringify([channel, day, playing, this.session.phase, this.job.isRunning]);
        if (key === this.shown) return;
        this.shown = key;
        this.files.replaceChildren(...(day ? day.files.map((_, i) => this.fileRow(channel, day, i, playing)) : []));
        this.pictures.replaceChildren(...(day ? day.pictures.map((_, i) => this.pictureRow(channel, day, i)) : []));
        this.picturesHead.hidden = this.pictures.hidden = !day || day.pictures.length === 0;
    }

    private fileRow(channel: number, day: RecordedDay, index: number, playing: string): HTMLElement {
        const file = day.files[index] as RecordedDay['files'][number];
        const play = h('button', { type: 'button', class: 'file', 'data-testid': `file-${index}`, title: `Play, ${duration(file.end - file.begin)}`, 'aria-current': file.name === playing && this.actions.model.mode === PageMode.ByName ? 'true' : undefined },
            icon('play'), h('span', {}, `${clock(file.begin)} – ${clock(file.end)}`), h('span', { class: 'note' }, size(file.length)));
        play.addEventListener('click', () => void this.actions.playFile(channel, file));
        const get = this.downloadButton(`file-${index}-download`, { channel, stream: file.stream, fileType: 0, files: [pieceOf(day.date, file)] });
        play.disabled = this.session.phase !== 'live';
        return h('li', {}, play, get);
    }

    private pictureRow(channel: number, day: RecordedDay, index: number): HTMLElement {
        const picture = day.pictures[index] as RecordedDay['pictures'][number];
        const show = h('button', { type: 'button', class: 'file', 'data-testid': `picture-${index}`, title: 'Show' }, icon('camera'), h('span', {}, clock(picture.at)), h('span', { class: 'note' }, size(picture.length)));
        show.addEventListener('click', () => void this.actions.showPicture(channel, picture));
        show.disabled = this.session.phase !== 'live';
        return h('li', {}, show, this.downloadButton(`picture-${index}-download`, { channel, stream: 0, fileType: STILL, files: [pictureSpan(day.date, picture)] }));
    }

    private downloadButton(testId: string, list: DownloadList): HTMLElement {
        const button = h('button', { type: 'button', class: 'row-get', title: 'Download', 'aria-label': 'Download', 'data-testid': testId }, icon('download'));
        button.disabled = this.session.phase !== 'live' || this.job.isRunning;
        button.addEventListener('click', () => void this.run([list]));
        return button;
    }
}

function timeInput(testId: string): HTMLInputElement {
    return h('input', { 'data-testid': testId, placeholder: 'hh:mm:ss', autocomplete: 'off', spellcheck: 'false', inputmode: 'numeric' });
}

function size(bytes: number): string {
    if (bytes <= 0) return '';
    return bytes >= 1e9 ? `${(bytes / 1e9).toFixed(1)} GB` : bytes >= 1e6 ? `${Math.round(bytes / 1e6)} MB` : `${Math.max(1, Math.round(bytes / 1e3))} kB`;
}
