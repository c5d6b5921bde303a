/**
 * The playback page of the surface: recorded video in up to four windows, downloads, and the way between the pages.
 * Reached as `client.playback`.
 */
import type { CommandSender } from './commandSender.ts';
import { LumoError } from './errors.ts';
import { RET_SUCCESS } from './ret.ts';
import { ALL_CHANNELS, MainType, PlaybackSub, utf8Length } from './wire.ts';
import type { Request, RetReply } from './wire.ts';

/** What the windows of the page play. Each mode has decoders of its own: stop what plays before changing it. */
export const PageMode = {
    /** Files of this computer. */
    Local: 0,
    /** Recorded files, one after the other, in one window. */
    ByName: 1,
    /** Spans of time, one a window. */
    ByTime: 2,
} as const;
export type PageModeIndex = (typeof PageMode)[keyof typeof PageMode];

export const PLAYBACK_WINDOWS = 4;

export const PlayCommand = {
    Pause: 2,
    /** At normal speed. */
    Resume: 3,
    /** To `Param` thousandths of the window's span or file. */
    Seek: 4,
    /** 2, 4, 8, 16 times, then normal. */
    Faster: 10,
    /** 1/2, 1/4, 1/8, 1/16, then normal. */
    Slower: 11,
    StepForward: 100,
    StepBack: 101,
} as const;
export type PlayCommandIndex = (typeof PlayCommand)[keyof typeof PlayCommand];

/** A span of recorded time for one window. Times: "2026-11-20 10:00:00", the device's own clock. */
export interface TimeSpan {
    channel: number;
    /** 0 to 3. */
    window: number;
    begin: string;
    end: string;
    fileType?: number;
}

/** A recorded file, or a part of one. */
export interface FileSpan {
    /** At most 107 bytes. Empty: whatever was recorded in the span. */
    name: string;
    begin: string;
    end: string;
    /** Bytes, 0 if unknown. */
    length: number;
}

/** What became of one window of a start by time. `Chn` counts the entries of the request; `Wnd` tells the window. */
export interface WindowResult {
    Ret: number;
    Chn: number;
    Stream: number;
    Wnd: number;
}

export interface StartReply extends RetReply {
    ChnStatus?: WindowResult[] | null;
}

/** One window of a play control. */
export interface ControlResult {
    Ret: number;
    Chn: number;
    Wnd: number;
    /** See `PlayStatus`. */
    Status: number;
    /** 1 to 4, while slow or fast. */
    Mode?: number;
}

/** `Ret` is 100 in every case: read the windows. */
export interface ControlReply extends RetReply {
    Cmd: number;
    ChnStatus: ControlResult[];
}

/** `Wnd` is -1 when no window shows the channel. */
export interface WindowReply extends RetReply {
    Chn: number;
    Wnd: number;
}

export interface LocalFileReply extends RetReply {
    Wnd?: number;
    /** Absent when the picker failed, empty when the user took nothing. */
    Path?: string;
}

export interface PlaybackSoundReply extends WindowReply {
    Audio: boolean;
}

export interface ZoomReply extends WindowReply {
    Zoom: boolean;
}

export interface ClipReply extends WindowReply {
    Record: boolean;
    /** The folder, not the file. */
    RecPath: string;
}

export interface PlaybackSnapshotReply extends WindowReply {
    /** The folder, not the file. */
    CapPath: string;
}

export interface WindowStatusReply extends RetReply {
    Data: { Chn: number; Wnd: number; Zoom: boolean; Record: boolean; Audio: boolean; Status: number };
}

export interface DownloadReply extends RetReply {
    DownPath: string;
}

/** As many bytes of a name as the process keeps. */
const NAME_WIDTH = 107;
/** A selected window above the last: the selection stays. */
export const KEEP_SELECTION = PLAYBACK_WINDOWS + 1;

export class PlaybackCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    setPageMode(mode: PageModeIndex): Promise<RetReply> {
        return this.sender.checked({ ...playback(PlaybackSub.PageMode), Mode: mode });
    }

    /**
     * Starts each window at its span, all in one go; other windows go on. Resolves when at least one window could be
     * opened. That says nothing of the device, which may still refuse: ask `status` of each.
     */
    async startByTime(spans: readonly TimeSpan[], options: { stream?: number; select?: number } = {}): Promise<WindowResult[]> {
        const FileInfo = spans.map(({ channel, window, begin, end, fileType = 0 }) =>
            ({ Channel: channel, BeginTime: begin, EndTime: end, Wnd: window, FileType: fileType }));
        const { stream: Stream = 0, select: SelectWnd = KEEP_SELECTION } = options;
        const command = { ...playback(PlaybackSub.Start), Mode: PageMode.ByTime, SelectWnd, Stream, Channel: spans[0]?.channel ?? 0, FileInfo };
        const reply = await this.sender.request<StartReply>(command, this.sender.manyMs);
        const windows = reply.ChnStatus ?? [];
        // The code is that of the last window alone.
        if (!windows.some((window) => window.Ret === RET_SUCCESS)) throw LumoError.fromReply(reply.Ret, reply);
        return windows;
    }

    /** Plays the files in one window, one after the other; `fileStarted` tells of each. The page mode is to be `ByName`. */
    async playFiles(channel: number, files: readonly FileSpan[], options: { stream?: number; window?: number } = {}): Promise<StartReply> {
        checkNames(files);
        const { stream: Stream = 0, window: SelectWnd = 0 } = options;
        const command = { ...playback(PlaybackSub.Start), Mode: PageMode.ByName, SelectWnd, Stream, Channel: channel, FileInfo: files.map(fileInfo) };
        return this.sender.checked(command, this.sender.manyMs);
    }

    /**
     * Shows the native picker and plays the file in the selected window. Null when the user took none. Waits without
     * limit unless told otherwise. The page mode is to be `Local`.
     */
    async openLocal(timeoutMs = 0): Promise<Required<LocalFileReply> | null> {
        const reply = await this.sender.request<LocalFileReply>(playback(PlaybackSub.OpenLocal), timeoutMs);
        if (reply.Path === '') return null;
        if (reply.Ret !== RET_SUCCESS) throw LumoError.fromReply(reply.Ret, reply);
        return { Wnd: 0, Path: '', ...reply };
    }

    /** One channel, or all. Never fails. No `playbackEnd` follows. */
    stop(channel: number = ALL_CHANNELS): Promise<WindowReply> {
        return this.sender.checked({ ...playback(PlaybackSub.Stop), Channel: channel });
    }

    /** One channel, or all in turn: one result for a channel, four for all, idle windows included. */
    async control(command: PlayCommandIndex, channel: number = ALL_CHANNELS, param = 0): Promise<ControlResult[]> {
        const reply = await this.sender.checked<ControlReply>({ ...playback(PlaybackSub.Control), Channel: channel, Cmd: command, Param: param });
        return reply.ChnStatus;
    }

    snapshot(channel: number): Promise<PlaybackSnapshotReply> {
        return this.sender.checked({ ...playback(PlaybackSub.Snapshot), Channel: channel });
    }

    /** At most one window sounds. */
    toggleSound(channel: number): Promise<PlaybackSoundReply> {
        return this.sender.checked({ ...playback(PlaybackSub.ToggleSound), Channel: channel });
    }

    /** Of the selected window; `channel` is to be the one that it shows. A drag in the window then enlarges. */
    toggleZoom(channel: number): Promise<ZoomReply> {
        return this.sender.checked({ ...playback(PlaybackSub.ToggleZoom), Channel: channel });
    }

    toggleClip(channel: number): Promise<ClipReply> {
        return this.sender.checked({ ...playback(PlaybackSub.ToggleClip), Channel: channel });
    }

    async status(channel: number): Promise<WindowStatusReply['Data']> {
        const reply = await this.sender.checked<WindowStatusReply>({ ...playback(PlaybackSub.Status), Channel: channel });
        return reply.Data;
    }

    /**
     * Downloads the files one after the other. `downloadProgress` tells of each, `downloaded` ends the list. With
     * `RecordType` 2 in the configuration and `fileType` 0, each becomes an AVI once all are there.
     */
    download(channel: number, files: readonly FileSpan[], options: { stream?: number; fileType?: number } = {}): Promise<DownloadReply> {
        return this.startDownload(channel, files, '', options);
    }

    /** Shows a still picture of the device in window 0. No events; `stop` takes it away. */
    showPicture(channel: number, picture: FileSpan): Promise<DownloadReply> {
        return this.startDownload(channel, [picture], 'PicturePlay', { fileType: 1 });
    }

    /** Ends the download. A conversion under way still ends its file. */
    stopDownload(): Promise<RetReply> {
        return this.sender.checked(playback(PlaybackSub.StopDownload));
    }

    private async startDownload(channel: number, files: readonly FileSpan[], Event: string, options: { stream?: number; fileType?: number }): Promise<DownloadReply> {
        checkNames(files);
        const { stream: Stream = 0, fileType: FileType = 0 } = options;
        return this.sender.checked({ ...playback(PlaybackSub.Download), Stream, Channel: channel, FileInfo: files.map(fileInfo), FileType, Event }, this.sender.manyMs);
    }
}

function playback(SubType: number): Request & Record<string, unknown> {
    return { MainType: MainType.Playback, SubType };
}

function fileInfo({ name, begin, end, length }: FileSpan): Record<string, unknown> {
    return { FileName: name, BeginTime: begin, EndTime: end, FileLength: hexLength(length) };
}

/** "0x" and eight digits: all that the process reads. */
export function hexLength(bytes: number): string {
    const kept = Math.min(Math.max(0, Math.trunc(bytes)), 0xffffffff);
    return `0x${kept.toString(16).toUpperCase().padStart(8, '0')}`;
}

function checkNames(files: readonly FileSpan[]): void {
    if (files.some(({ name }) => utf8Length(name) > NAME_WIDTH))
        throw new LumoError('bad-argument', `The name of a recording is longer than ${NAME_WIDTH} bytes.`);
}

