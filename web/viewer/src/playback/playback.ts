/**
 * What the user does on the playback page, as commands. Every action tells the status line how it went and leaves the
 * model true.
 */
import {
    ALL_CHANNELS, NO_CHANNEL, Page, PageMode, PlayCommand, PlayStatus, RET_SUCCESS,
    type PageModeIndex, type PlayCommandIndex,
} from '../../../client/index.ts';
import type { Session } from '../session.ts';
import { clock, DAY_SECONDS, shiftDate, timeText, type DateText } from './dayTime.ts';
import { goOn, keep, type KeptWindow, type Verdict } from './keeper.ts';
import { PlaybackModel, type Speed } from './playbackModel.ts';
import type { RecordingList } from './recordingList.ts';
import { nextRecorded, pieceOf, pictureSpan, type Block, type RecordedFile, type RecordedPicture } from './recordings.ts';
import { thousandthsFor } from './seek.ts';

const NOT_PLAYING = 'Nothing is played. Click into the timeline first.';

export class PlaybackActions {
    readonly model = new PlaybackModel();
    readonly recordings: RecordingList;
    private readonly session: Session;
    /** Where each window was last started, and in which of its recordings it need not be started again. */
    private lastStarts: (number | null)[] = [null, null, null, null];
    /** Where the span begins that each window plays: a seek counts from there. */
    private readonly begins: (number | null)[] = [null, null, null, null];
    /** The newest wish to play somewhere, while an older one is being fulfilled. */
    private wish: number | null = null;
    private seeking = false;
    private keeping = false;
    /** What starts and stops windows goes one after the other. */
    private turn: Promise<unknown> = Promise.resolve();

    constructor(session: Session, recordings: RecordingList) {
        this.session = session;
        this.recordings = recordings;
        const { client } = session;
        client.on('playbackWindow', (data) => (this.model.onWindow(data), session.changed()));
        client.on('playbackPosition', (data) => {
            this.model.onPosition(data);
            // The last of its kind in every second.
            if (data.wnd === this.model.windows.length - 1) void this.keepTogether();
            session.changed();
        });
        client.on('playbackEnd', ({ Wnd }) => void this.onEnd(Wnd));
        client.on('fileStarted', ({ Ret, PlayIndex, Wnd }) => this.onFileStarted(Ret, PlayIndex, Wnd));
    }

    private get client() {
        return this.session.client;
    }

    // ---- the page ----

    /** Shows the page, with the channels that were live in its windows. */
    enter(live: readonly number[]): Promise<boolean> {
        return this.session.attempt('', async () => {
            await this.client.showPage(Page.Playback);
            await this.client.playback.setPageMode(this.model.mode);
            this.model.selected = 0;
            if (this.model.chosen.length === 0) {
                const wanted = live.length > 0 ? live : [0];
                wanted.slice(0, this.model.visibleWindows).forEach((channel, window) => this.model.choose(channel, window));
            }
            if (this.model.date === '') await this.chooseLatestDate();
            this.session.tell('info', 'Click into the timeline to play from there.');
        });
    }

    /** After the session came back: the page as it was, playing where it stood. */
    async reenter(): Promise<void> {
        const { position, mode } = this.model;
        const played = this.model.isActive;
        this.model.stopped();
        const back = await this.session.attempt('The connection is back.', async () => {
            await this.client.showPage(Page.Playback);
            await this.client.playback.setPageMode(mode);
            this.model.selected = 0;
        });
        if (back && played && mode === PageMode.ByTime && position !== null) await this.playAt(Math.floor(position));
    }

    async setMode(mode: PageModeIndex): Promise<void> {
        if (this.model.mode === mode) return;
        await this.session.attempt('', () => this.inTurn(() => this.changeMode(mode)));
    }

    private async changeMode(mode: PageModeIndex): Promise<void> {
        // Each mode has decoders of its own: what plays in one would go on behind the other.
        await this.stopAll();
        await this.client.playback.setPageMode(mode);
        this.model.mode = mode;
        this.model.selected = 0;
    }

    // ---- what to play ----

    async setDate(date: DateText): Promise<void> {
        if (date === this.model.date) return;
        if (this.model.mode !== PageMode.Local && this.model.isActive) await this.stop();
        this.model.date = date;
        this.model.position = null;
        this.session.changed();
    }

    shiftDate(days: number): Promise<void> {
        return this.setDate(shiftDate(this.model.date, days));
    }

    private async chooseLatestDate(): Promise<void> {
        const channel = this.model.chosen[0]?.channel ?? 0;
        const days = await this.recordings.days(channel);
        const now = new Date();
        this.model.date = days?.at(-1) ?? new Date(now.getTime() - now.getTimezoneOffset() * 60000).toISOString().slice(0, 10);
    }

    /** Into the selected window when it is free, else into the first free one, else in place of the selected one; or out. */
    async toggleChannel(channel: number): Promise<void> {
        const { model } = this;
        if (model.mode !== PageMode.ByTime) await this.setMode(PageMode.ByTime);
        const shown = model.windowOf(channel);
        await this.session.attempt('', () => this.inTurn(async () => {
            const { position, isActive } = model;
            if (shown >= 0) {
                if (model.windows[shown]?.active) await this.client.playback.stop(channel);
                model.choose(NO_CHANNEL, shown);
                return;
            }
            const free = [model.selected, ...model.windows.keys()].find((window) => window < model.visibleWindows && model.windows[window]?.chosen === NO_CHANNEL);
            const window = free ?? model.selected;
            const replaced = model.windows[window];
            if (replaced?.active) await this.client.playback.stop(replaced.chosen);
            model.choose(channel, window);
            this.lastStarts[window] = null;
            if (isActive && position !== null) await this.startWindows([window], Math.floor(position));
        }));
    }

    // ---- playing by time ----

    /**
     * All chosen channels from this second of the day on. Where nothing was recorded, from where the next one begins. A
     * wish that comes while another is being fulfilled takes the place of those before it.
     */
    async playAt(seconds: number): Promise<void> {
        this.wish = seconds;
        if (this.seeking) return;
        this.seeking = true;
        try {
            while (this.wish !== null) {
                const next = this.wish;
                this.wish = null;
                await this.session.attempt('', () => this.inTurn(() => this.goTo(next)));
            }
        } finally {
            this.seeking = false;
        }
    }

    private async goTo(wanted: number): Promise<void> {
        const { model } = this;
        if (model.mode !== PageMode.ByTime) await this.changeMode(PageMode.ByTime);
        if (model.chosen.length === 0) throw new Error('Choose a channel on the left first.');
        const lists = await Promise.all(model.chosen.map(({ channel }) => this.ready(channel)));
        const at = firstRecorded(lists, wanted);
        if (at === null) throw new Error(`Nothing was recorded at ${clock(wanted)} or later on this day.`);
        const windows = model.chosen.filter((_, i) => { const blocks = lists[i]; return !blocks || nextRecorded(blocks, at) === at; }).map(({ window }) => window);
        const moved = at !== wanted ? ` Nothing was recorded at ${clock(wanted)}.` : '';
        this.session.tell('busy', `Going to ${clock(at)}…`);
        if (!(await this.seekTo(windows, at))) await this.restart(windows, at, lists);
        this.session.tell('info', `Playing from ${clock(at)} on.${moved}`);
    }

    /** The recordings of a channel on the day; null when the device gives no list. */
    private async ready(channel: number): Promise<readonly Block[] | null> {
        const known = this.recordings.known(channel, this.model.date);
        if (known) return known.blocks;
        const state = await this.recordings.load(channel, this.model.date);
        return state.kind === 'known' ? state.day.blocks : null;
    }

    /** Within what plays, when that can be told exactly. False when everything is to be started anew. */
    private async seekTo(windows: readonly number[], at: number): Promise<boolean> {
        const { model } = this;
        const { span } = model;
        const open = model.windows.flatMap(({ active }, window) => (active ? [window] : []));
        if (!span || open.join() !== [...windows].sort().join() || open.length === 0) return false;
        if (windows.some((window) => this.begins[window] !== span.begin)) return false; // one that came later
        const param = thousandthsFor(at - span.begin, span.end - span.begin);
        if (param === null) return false;
        const results = await this.client.playback.control(PlayCommand.Seek, ALL_CHANNELS, param);
        if (!model.controlled(results)) return false;
        if (!model.isRunning) await this.controlled(PlayCommand.Resume);
        for (const window of windows) this.lastStarts[window] = at;
        for (const window of model.active) window.position = at;
        model.position = at;
        return true;
    }

    /** Every window from the same second to the same end, so that a later seek means the same in each. */
    private async restart(windows: readonly number[], at: number, lists: readonly (readonly Block[] | null)[]): Promise<void> {
        const { model } = this;
        const { speed } = model;
        if (model.isActive) await this.stopAll();
        const ends = lists.flatMap((blocks) => (blocks ? [blocks.at(-1)?.end ?? 0] : [DAY_SECONDS]));
        model.span = { begin: at, end: Math.min(Math.max(...ends, at + 1), DAY_SECONDS - 1) };
        model.position = at;
        await this.startWindows(windows, at, true);
        if (speed !== 0) await this.stepSpeed(speed);
    }

    private async startWindows(windows: readonly number[], at: number, all = false): Promise<void> {
        const { model } = this;
        model.span ??= { begin: at, end: DAY_SECONDS - 1 };
        const { span, date } = model;
        const spans = windows.map((window) => ({ channel: model.windows[window]?.chosen ?? NO_CHANNEL, window, begin: timeText(date, at), end: timeText(date, span.end) }));
        for (const window of windows) this.lastStarts[window] = this.begins[window] = at;
        const stream = Math.max(0, this.recordings.known(spans[0]?.channel ?? 0, date)?.files[0]?.stream ?? 0);
        const results = await this.client.playback.startByTime(spans, all ? { stream, select: model.selected } : { stream });
        const failed: number[] = [];
        for (const { window, channel } of spans) {
            // The code of a window is good although the device refused: only its state tells.
            const opened = results.some(({ Wnd, Ret }) => Wnd === window && Ret === RET_SUCCESS);
            const status = opened ? (await this.client.playback.status(channel)).Status : PlayStatus.Stopped;
            if (status === PlayStatus.Stopped) {
                failed.push(channel);
                model.stoppedWindow(window);
            } else model.started(window);
        }
        if (failed.length > 0) throw new Error(`Channel ${failed.map((channel) => channel + 1).join(', ')} could not be played: the device refused, or has no recording there.`);
    }

    // ---- keeping together ----

    private async keepTogether(): Promise<void> {
        const { model } = this;
        if (this.keeping || this.seeking || model.mode !== PageMode.ByTime || !model.isRunning || model.chosen.length < 2) return;
        const decide = () => {
            const windows = this.keptWindows();
            return windows && keep(windows, model.speed > 0 ? 2 ** model.speed : 1);
        };
        if (decide()) await this.carryOut(decide);
    }

    private async onEnd(window: number): Promise<void> {
        const { model } = this;
        const after = model.windows[window]?.position ?? model.position;
        const last = model.active.length <= 1;
        model.stoppedWindow(window);
        if (last && model.mode === PageMode.ByTime) {
            const decide = () => {
                const windows = this.keptWindows();
                return windows && after !== null && !model.isActive ? goOn(windows, after) : null;
            };
            // A single channel is led over its gaps by the device.
            if (model.chosen.length > 1 && decide()) return this.carryOut(decide);
        }
        if (last && model.mode !== PageMode.ByName) {
            model.position = null;
            this.session.tell('info', 'The recording has ended.');
        } else this.session.changed();
    }

    /** Null without lists: then nobody knows of gaps. */
    private keptWindows(): KeptWindow[] | null {
        const { model } = this;
        const kept: KeptWindow[] = [];
        for (const { channel, window } of model.chosen) {
            const day = this.recordings.known(channel, model.date);
            const state = model.windows[window];
            if (!day || !state) return null;
            kept.push({ window, active: state.active, position: state.position, blocks: day.blocks, lastStart: this.lastStarts[window] ?? null });
        }
        return kept;
    }

    /** Decides when its turn has come: until then the user may have gone elsewhere. */
    private async carryOut(decide: () => Verdict | null): Promise<void> {
        if (this.keeping) return;
        this.keeping = true;
        const { model } = this;
        await this.session.attempt('', () => this.inTurn(async () => {
            const verdict = decide();
            if (!verdict) return;
            const { stop, start, at } = verdict;
            const { speed } = model;
            for (const window of stop) {
                const channel = model.windows[window]?.chosen ?? NO_CHANNEL;
                await this.client.playback.stop(channel);
                model.stoppedWindow(window);
                this.lastStarts[window] = null;
            }
            if (start.length === 0) return;
            await this.startWindows(start, Math.floor(at));
            for (const window of start) if (speed !== 0) await this.stepSpeed(speed, model.windows[window]?.chosen);
        }));
        this.keeping = false;
    }

    // ---- files by name, pictures, local files ----

    /** From this file of the day on, one after the other. */
    playFile(channel: number, file: RecordedFile): Promise<boolean> {
        return this.session.attempt('', () => this.inTurn(async () => {
            const { model } = this;
            const day = this.recordings.known(channel, model.date);
            const files = day?.files.filter(({ begin }) => begin >= file.begin) ?? [file];
            if (model.mode === PageMode.ByName) await this.stopAll();
            else await this.changeMode(PageMode.ByName);
            this.session.tell('busy', `Opening the recording of ${clock(file.begin)}…`);
            model.playing = { channel, names: files.map(({ name }) => name), index: 0 };
            await this.client.playback.playFiles(channel, files.map((each) => pieceOf(model.date, each)), { stream: file.stream });
            this.session.tell('info', `Playing the recording of ${clock(file.begin)}.`);
        }), 'The recording could not be played: the device refused it.');
    }

    private onFileStarted(ret: number, index: number, window: number): void {
        if (this.model.playing) this.model.playing.index = index;
        if (ret === RET_SUCCESS) {
            this.model.started(window);
            this.model.position = 0;
            this.session.changed();
        } else this.session.tell('error', 'The next recording could not be played: the device refused it.');
    }

    showPicture(channel: number, picture: RecordedPicture): Promise<boolean> {
        return this.session.attempt(`The picture of ${clock(picture.at)}.`, () => this.inTurn(async () => {
            if (this.model.mode === PageMode.ByName) await this.stopAll();
            else await this.changeMode(PageMode.ByName);
            await this.client.playback.showPicture(channel, pictureSpan(this.model.date, picture));
            this.model.picture = true;
        }), 'The picture could not be fetched: the device refused it.');
    }

    openLocal(): Promise<boolean> {
        return this.session.attempt('', async () => {
            const { model } = this;
            if (model.mode !== PageMode.Local) await this.inTurn(() => this.changeMode(PageMode.Local));
            this.session.tell('busy', 'Choose a file in the window of the picker…');
            const reply = await this.client.playback.openLocal();
            if (!reply) {
                this.session.tell('info', 'No file was chosen.');
                return;
            }
            model.started(reply.Wnd);
            model.selected = reply.Wnd;
            model.localPath = reply.Path;
            model.position = 0;
            this.session.tell('info', reply.Path ? `Playing ${reply.Path}.` : 'Playing the file.');
        }, 'The file could not be played: it is no recording that the viewer knows, or it cannot be read.');
    }

    // ---- control ----

    /** Pause, go on at normal speed, or begin. */
    async togglePlay(): Promise<void> {
        const { model } = this;
        if (model.isRunning) await this.control(PlayCommand.Pause, 'Paused.');
        else if (model.isActive) await this.control(PlayCommand.Resume, 'Playing.');
        else if (model.mode === PageMode.ByTime) await this.playAt(Math.floor(model.position ?? 0));
        else if (model.mode === PageMode.Local) await this.openLocal();
        else this.session.tell('error', 'Choose a recording in the list first.');
    }

    step(forward: boolean): Promise<boolean> {
        return this.control(forward ? PlayCommand.StepForward : PlayCommand.StepBack, forward ? 'One picture forward.' : 'One picture back.',
            forward ? 'There is no next picture.' : 'There is no picture before this one any more.');
    }

    setSpeed(speed: Speed): Promise<boolean> {
        return this.session.attempt('', async () => {
            if (!this.model.isActive) throw new Error(NOT_PLAYING);
            await this.stepSpeed(speed);
            this.session.tell('info', speed === 0 ? 'Normal speed.' : `Speed ${speedText(speed)}.`);
        }, 'The device does not play at this speed.');
    }

    /** The process counts speeds up one by one, from normal. */
    private async stepSpeed(speed: Speed, channel: number = ALL_CHANNELS): Promise<void> {
        const { playback } = this.client;
        const command = speed > 0 ? PlayCommand.Faster : PlayCommand.Slower;
        const present = channel === ALL_CHANNELS ? this.model.speed : 0;
        const onTheWay = Math.sign(present) === Math.sign(speed) && Math.abs(present) <= Math.abs(speed) ? present : 0;
        if (onTheWay === 0 && channel === ALL_CHANNELS && (speed === 0 || present !== 0)) await this.controlled(PlayCommand.Resume);
        for (let i = Math.abs(onTheWay); i < Math.abs(speed); i++) {
            if (channel === ALL_CHANNELS) await this.controlled(command);
            else this.model.controlled(await playback.control(command, channel));
        }
    }

    /** In thousandths of a file; by time a seek goes to a second, see `playAt`. */
    seekFile(thousandths: number): Promise<boolean> {
        return this.session.attempt('', async () => {
            if (!this.model.isActive) throw new Error(NOT_PLAYING);
            const channel = this.model.mode === PageMode.Local ? this.model.currentChannel : ALL_CHANNELS;
            const results = await this.client.playback.control(PlayCommand.Seek, channel, thousandths);
            if (!this.model.controlled(results)) throw new Error('The place could not be reached.');
            this.model.position = thousandths;
        });
    }

    async skip(seconds: number): Promise<void> {
        const { position } = this.model;
        if (position !== null && this.model.mode === PageMode.ByTime) await this.playAt(Math.min(Math.max(0, Math.floor(position) + seconds), DAY_SECONDS - 1));
    }

    stop(): Promise<boolean> {
        return this.session.attempt('Stopped.', () => this.inTurn(() => this.stopAll()));
    }

    private async stopAll(): Promise<void> {
        this.wish = null;
        await this.client.playback.stop();
        this.model.stopped();
    }

    private control(command: PlayCommandIndex, done: string, failed = 'The device did not take the command.'): Promise<boolean> {
        return this.session.attempt(done, async () => {
            if (!this.model.isActive) throw new Error(NOT_PLAYING);
            await this.controlled(command, failed);
        });
    }

    private async controlled(command: PlayCommandIndex, failed = 'The device did not take the command.'): Promise<void> {
        if (!this.model.controlled(await this.client.playback.control(command))) throw new Error(failed);
    }

    // ---- the selected window ----

    select(window: number): Promise<boolean> {
        return this.session.attempt('', async () => {
            await this.client.selectPlaybackWindow(window);
            this.model.selected = window;
        });
    }

    toggleSound(): Promise<boolean> {
        return this.onWindow(async (channel, window) => {
            const { Audio } = await this.client.playback.toggleSound(channel);
            this.model.sounded(window, Audio);
            return Audio ? `Sound of ${this.windowName(window)} on.` : 'Sound off.';
        }, 'This recording has no sound, or this computer cannot play it.');
    }

    snapshot(): Promise<boolean> {
        return this.onWindow(async (channel, window) => {
            const { CapPath } = await this.client.playback.snapshot(channel);
            return `Snapshot of ${this.windowName(window)} saved in ${CapPath}.`;
        }, 'The snapshot could not be saved. Is there a picture, and can the folder be written?');
    }

    toggleClip(): Promise<boolean> {
        return this.onWindow(async (channel, window) => {
            const { Record, RecPath } = await this.client.playback.toggleClip(channel);
            this.model.current.clip = Record;
            return Record ? `Cutting a clip of ${this.windowName(window)} into ${RecPath}.` : `The clip of ${this.windowName(window)} is saved in ${RecPath}.`;
        }, 'The clip could not be started. Can its folder be written?');
    }

    toggleZoom(): Promise<boolean> {
        const wanted = !this.model.current.zoom;
        return this.onWindow(async (channel) => {
            // A plain click arms a window for a drag, and a drag disarms it: the first toggle may lead to what it is already.
            let { Zoom } = await this.client.playback.toggleZoom(channel);
            if (Zoom !== wanted) ({ Zoom } = await this.client.playback.toggleZoom(channel));
            this.model.current.zoom = Zoom;
            return Zoom ? 'Draw a rectangle in the picture to enlarge it.' : 'The whole picture again.';
        }, 'The picture cannot be enlarged now.');
    }

    private onWindow(work: (channel: number, window: number) => Promise<string>, failed: string): Promise<boolean> {
        const { currentChannel, selected } = this.model;
        if (currentChannel < 0) {
            this.session.tell('error', 'The selected window plays nothing.');
            return Promise.resolve(false);
        }
        return this.session.attempt('', async () => this.session.tell('info', await work(currentChannel, selected)), failed);
    }

    private windowName(window: number): string {
        if (this.model.mode === PageMode.Local) return 'the file';
        const channel = this.model.mode === PageMode.ByName ? this.model.playing?.channel : this.model.windows[window]?.chosen;
        return `channel ${(channel ?? 0) + 1}`;
    }

    private inTurn<T>(work: () => Promise<T>): Promise<T> {
        const mine = this.turn.then(work);
        this.turn = mine.catch(() => undefined);
        return mine;
    }
}

/** A channel without a list has something everywhere. */
function firstRecorded(lists: readonly (readonly Block[] | null)[], wanted: number): number | null {
    const found = lists.flatMap((blocks) => {
        const at = blocks ? nextRecorded(blocks, wanted) : wanted;
        return at === null ? [] : [at];
    });
    return found.length > 0 ? Math.min(...found) : null;
}

export function speedText(speed: Speed): string {
    return speed >= 0 ? `${2 ** speed}×` : `1/${2 ** -speed}×`;
}
