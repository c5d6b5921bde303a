/**
 * What the page knows of the live view: which channel stands in which cell, what each channel does, which cell is
 * selected. Fed by replies and events; holds no client and no element.
 */
import {
    NO_CHANNEL, PlayStatus, RET_SUCCESS, retText, SPLIT_CELLS,
    type ChannelData, type ChannelResult, type Colors, type ElectronicPtzOffer, type SelectionData, type SplitMode,
} from '../../client/index.ts';

export interface Channel {
    playing: boolean;
    stream: number;
    recording: boolean;
    original: boolean;
    /** Why the last start failed. */
    error: string | null;
}

export interface LiveMemory {
    /** Channel per cell. */
    cells: number[];
    /** Stream per channel. */
    streams: number[];
    playing: number[];
    recording: number[];
    /** The channel that sounds, or -1. */
    sound: number;
}

const MIDDLE: Colors = { nBrightness: 64, nContrast: 64, nSaturation: 64, nHue: 64 };
const CELLS = 64;

export class LiveModel {
    channels: Channel[] = [];
    /** Channel per cell, -1 for an empty one. */
    cells: number[] = new Array<number>(CELLS).fill(NO_CHANNEL);
    selected = 0;
    split: SplitMode = 0;
    soundChannel = NO_CHANNEL;
    /** Of the channel in the selected cell. */
    colors: Colors = { ...MIDDLE };
    /** The picture in the selected cell is large enough to steer in. */
    steerable = false;
    /** Channels in which electronic PTZ is open, each with the presets that it has. */
    readonly steered = new Map<number, Set<number>>();
    /** Presets outlive the end of the steering. */
    private readonly presets = new Map<number, Set<number>>();

    /** A fresh log in: nothing plays, cell 0 is selected, the split fits the channels. */
    reset(channelCount: number): void {
        this.channels = Array.from({ length: channelCount }, newChannel);
        this.cells.fill(NO_CHANNEL);
        this.selected = 0;
        this.split = splitFor(channelCount);
        this.soundChannel = NO_CHANNEL;
        this.colors = { ...MIDDLE };
        this.forgetSteering();
        this.steerable = false;
    }

    get current(): number {
        return this.cells[this.selected] ?? NO_CHANNEL;
    }

    get currentChannel(): Channel | null {
        return this.channels[this.current] ?? null;
    }

    get visibleCells(): number {
        return SPLIT_CELLS[this.split];
    }

    get playing(): number[] {
        return this.channels.flatMap((channel, index) => (channel.playing ? [index] : []));
    }

    get recording(): number[] {
        return this.channels.flatMap((channel, index) => (channel.recording ? [index] : []));
    }

    /** Why these channels do not play: the reason of the first stands for all. */
    failureText(channels: readonly number[]): string {
        const names = channels.map((channel) => channel + 1).join(', ');
        return `Channel ${names}: ${this.channels[channels[0] ?? NO_CHANNEL]?.error ?? ''}`;
    }

    cellOf(channel: number): number {
        return this.cells.indexOf(channel);
    }

    splitChanged(mode: SplitMode, channelInFirstCell: number): void {
        this.split = mode;
        this.selected = 0;
        this.cells[0] = channelInFirstCell;
    }

    /** One channel was started in the selected cell, in place of `oldChannel`. */
    started(channel: number, oldChannel: number, stream: number): void {
        // After a maximised cell was restored the process may have another cell selected than it told.
        const cell = oldChannel >= 0 && this.cellOf(oldChannel) >= 0 ? this.cellOf(oldChannel) : this.selected;
        this.selected = cell;
        this.stopped(oldChannel);
        this.stopped(channel);
        this.forgetSteering();
        this.place(channel, cell, stream);
    }

    /** A start failed: the cell and the channel are empty now. */
    startFailed(channel: number, oldChannel: number, error: string): void {
        this.stopped(oldChannel);
        this.stopped(channel);
        this.forgetSteering();
        const state = this.channels[channel];
        if (state) state.error = error;
    }

    /** Channels were started in the cells of their own numbers. */
    startedMany(results: readonly ChannelResult[]): void {
        for (const { Chn } of results) this.stopped(Chn);
        this.forgetSteering();
        for (const result of results) {
            const state = this.channels[result.Chn];
            if (!state) continue;
            if (result.Ret === RET_SUCCESS) this.place(result.Chn, result.Chn, result.Stream ?? 0);
            else state.error = retText(result.Ret, result.Error);
        }
    }

    stopped(channel: number): void {
        const state = this.channels[channel];
        if (!state) return;
        Object.assign(state, newChannel(), { stream: state.stream });
        const cell = this.cellOf(channel);
        if (cell >= 0) this.cells[cell] = NO_CHANNEL;
        if (this.soundChannel === channel) this.soundChannel = NO_CHANNEL;
    }

    stoppedAll(): void {
        this.channels.forEach((_, index) => this.stopped(index));
        this.cells.fill(NO_CHANNEL);
    }

    /** What plays where, to be given back to `cameBack`. */
    remember(): LiveMemory {
        const { playing, recording, soundChannel: sound } = this;
        return { cells: [...this.cells], streams: this.channels.map(({ stream }) => stream), playing, recording, sound };
    }

    /** The page was away and the process told what became of each channel that had played. */
    cameBack({ cells, streams }: LiveMemory, results: readonly ChannelResult[]): void {
        this.stoppedAll();
        this.forgetSteering();
        for (const { Chn, Ret, Error: error, Stream } of results) {
            const cell = cells.indexOf(Chn);
            if (cell < 0) continue;
            if (Ret === RET_SUCCESS) this.place(Chn, cell, Stream ?? streams[Chn] ?? 0);
            else if (this.channels[Chn]) this.channels[Chn].error = retText(Ret, error);
        }
    }

    recorded(channel: number, recording: boolean): void {
        const state = this.channels[channel];
        if (state) state.recording = recording;
    }

    sounded(channel: number, on: boolean): void {
        if (on) this.soundChannel = channel;
        else if (this.soundChannel === channel) this.soundChannel = NO_CHANNEL;
    }

    steeringOpened(channel: number): void {
        if (!this.presets.has(channel)) this.presets.set(channel, new Set());
        this.steered.set(channel, this.presets.get(channel) as Set<number>);
    }

    /**
     * 2: the user ended the steering in some cell, and the event does not say in which. Those where it goes on may be opened
     * again without harm.
     */
    onElectronicPtz(offer: ElectronicPtzOffer): void {
        if (offer === 2) this.steered.clear();
        else this.steerable = offer === 1;
    }

    /** A start of any channel makes the process forget all regions and presets. */
    private forgetSteering(): void {
        this.steered.clear();
        this.presets.clear();
    }

    /** The user clicked into a cell of the surface. */
    onSelection(data: SelectionData): void {
        this.selected = data.Wnd;
        if (data.Wnd >= 0 && data.Wnd < CELLS) this.cells[data.Wnd] = data.Channel;
        this.onStatus(data.Channel, data, true);
    }

    onChannel(data: ChannelData): void {
        this.onStatus(data.Chn, data, data.Chn === data.CurChannel);
    }

    private onStatus(index: number, data: SelectionData | ChannelData, isCurrent: boolean): void {
        const channel = this.channels[index];
        if (!channel) return;
        channel.playing = data.PlayStatus === PlayStatus.Playing;
        channel.original = data.RageState === 1;
        this.sounded(index, data.Audio === 1);
        if (!isCurrent) return;
        const { nBrightness, nContrast, nSaturation, nHue } = data;
        this.colors = { nBrightness, nContrast, nSaturation, nHue };
    }

    private place(channel: number, cell: number, stream: number): void {
        const state = this.channels[channel];
        if (!state) return;
        this.cells[cell] = channel;
        Object.assign(state, { playing: true, stream, error: null, original: false });
    }
}

function newChannel(): Channel {
    return { playing: false, stream: 0, recording: false, original: false, error: null };
}

/** The split that the process chooses at log in. */
export function splitFor(channelCount: number): SplitMode {
    const mode = SPLIT_CELLS.findIndex((cells) => channelCount <= cells);
    return (mode < 0 ? SPLIT_CELLS.length - 1 : mode) as SplitMode;
}
