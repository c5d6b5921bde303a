/**
 * What the page knows of the playback view: what each window plays and how, which window is selected, and where in the
 * day the windows stand. Fed by replies and events; holds no client and no element.
 */
import {
    NO_CHANNEL, PageMode, PLAYBACK_WINDOWS, PlayStatus, RET_SUCCESS,
    type ControlResult, type PageModeIndex, type PlaybackPosition, type PlaybackWindowData,
} from '../../../client/index.ts';
import type { DateText } from './dayTime.ts';

export interface PlayWindow {
    /** What the user wants to see here; stays when it stops. A local file's window has its own number. */
    chosen: number;
    /** A stream or file is open. */
    active: boolean;
    /** See `PlayStatus`. */
    status: number;
    /** 1 to 4 while slow or fast. */
    step: number;
    sound: boolean;
    zoom: boolean;
    clip: boolean;
    /** Seconds of the day; null before the first picture. */
    position: number | null;
}

/** How the speed buttons count: -4 is 1/16, 0 normal, 4 is 16 times. */
export type Speed = -4 | -3 | -2 | -1 | 0 | 1 | 2 | 3 | 4;

export class PlaybackModel {
    mode: PageModeIndex = PageMode.ByTime;
    windows: PlayWindow[] = Array.from({ length: PLAYBACK_WINDOWS }, emptyWindow);
    selected = 0;
    date: DateText = '';
    /** Where the windows stand: second of the day by time, thousandths of the file otherwise. */
    position: number | null = null;
    /** Of the last start by time, the same for every window. */
    span: { begin: number; end: number } | null = null;
    /** By name: the files under way and the one that plays. */
    playing: { channel: number; names: string[]; index: number } | null = null;
    localPath = '';
    /** A still picture of the device stands in the first window. */
    picture = false;
    private channelCount = 0;

    reset(channelCount: number): void {
        this.channelCount = channelCount;
        this.windows = Array.from({ length: PLAYBACK_WINDOWS }, emptyWindow);
        this.selected = 0;
        this.stopped();
    }

    /** As the process lays the page out. */
    get visibleWindows(): number {
        return this.mode !== PageMode.ByName && this.channelCount > 1 ? PLAYBACK_WINDOWS : 1;
    }

    get current(): PlayWindow {
        return this.windows[this.selected] ?? (this.windows[0] as PlayWindow);
    }

    /** The channel of the selected window's commands; a local file goes by the number of its window. */
    get currentChannel(): number {
        if (!this.current.active) return NO_CHANNEL;
        return this.mode === PageMode.Local ? this.selected : this.mode === PageMode.ByName ? (this.playing?.channel ?? NO_CHANNEL) : this.current.chosen;
    }

    /** Channels to be played by time, in the order of their windows. */
    get chosen(): { channel: number; window: number }[] {
        return this.windows.slice(0, Math.min(PLAYBACK_WINDOWS, Math.max(1, this.channelCount)))
            .flatMap(({ chosen }, window) => (chosen >= 0 ? [{ channel: chosen, window }] : []));
    }

    get active(): PlayWindow[] {
        return this.windows.filter((window) => window.active);
    }

    get isActive(): boolean {
        return this.active.length > 0;
    }

    /** Pictures go on by themselves. */
    get isRunning(): boolean {
        return this.active.some(({ status }) => status === PlayStatus.Playing || status === PlayStatus.Slow || status === PlayStatus.Fast);
    }

    /** Of the first window that plays. */
    get speed(): Speed {
        const window = this.active[0];
        if (!window) return 0;
        return (window.status === PlayStatus.Fast ? window.step : window.status === PlayStatus.Slow ? -window.step : 0) as Speed;
    }

    windowOf(channel: number): number {
        return this.windows.findIndex((window) => window.chosen === channel);
    }

    choose(channel: number, window: number): void {
        const target = this.windows[window];
        if (target) Object.assign(target, emptyWindow(), { chosen: channel });
    }

    /** A window was opened and plays from its beginning. */
    started(window: number): void {
        const target = this.windows[window];
        if (target) Object.assign(target, emptyWindow(), { chosen: target.chosen, active: true, status: PlayStatus.Playing });
    }

    stoppedWindow(window: number): void {
        const target = this.windows[window];
        if (target) Object.assign(target, emptyWindow(), { chosen: target.chosen });
    }

    /** All windows; what was chosen stays. */
    stopped(): void {
        this.windows.forEach((_, window) => this.stoppedWindow(window));
        this.position = null;
        this.span = null;
        this.playing = null;
        this.localPath = '';
        this.picture = false;
    }

    /** True when every window that was open took the command. */
    controlled(results: readonly ControlResult[]): boolean {
        let good = true;
        for (const { Ret, Wnd, Status, Mode } of results) {
            const window = this.windows[Wnd];
            if (!window?.active) continue;
            good &&= Ret === RET_SUCCESS;
            Object.assign(window, { status: Status, step: Mode ?? -1 });
        }
        return good;
    }

    onWindow({ Wnd, Zoom, Record, Audio, Status, Mode }: PlaybackWindowData): void {
        const window = this.windows[Wnd];
        this.selected = window ? Wnd : this.selected;
        if (!window?.active) return;
        if (Audio) for (const other of this.windows) other.sound = false;
        Object.assign(window, { zoom: Boolean(Zoom), clip: Boolean(Record), sound: Boolean(Audio), step: Mode });
        // A window that is not open reports the state that it last had.
        if (Status !== PlayStatus.Stopped) window.status = Status;
    }

    sounded(window: number, on: boolean): void {
        this.windows.forEach((other, index) => (other.sound = on && index === window));
    }

    onPosition({ pos, wnd }: PlaybackPosition): void {
        const window = this.windows[wnd];
        if (this.mode !== PageMode.ByTime) {
            if (this.isActive && pos !== undefined) this.position = pos;
            return;
        }
        // 0: no picture yet, or one from before the span.
        if (window?.active && pos !== undefined && pos > 0) window.position = pos;
        const positions = this.active.flatMap(({ position }) => (position === null ? [] : [position]));
        if (positions.length > 0) this.position = Math.min(...positions);
    }
}

function emptyWindow(): PlayWindow {
    return { chosen: NO_CHANNEL, active: false, status: PlayStatus.Stopped, step: -1, sound: false, zoom: false, clip: false, position: null };
}
