/** Events that the process raises on its own, typed, and the table from wire numbers to names. */
import type { Colors } from './requests.ts';
import { LiveEvent, MainEvent, PlaybackEvent, ToolEvent, VoiceEvent, type RawEvent } from './wire.ts';

interface CellStatus extends Colors {
    /** See `PlayStatus`. */
    PlayStatus: number;
    /** 1 when this channel has the sound. */
    Audio: number;
    DigitalZoom: boolean | number;
    /** 1 original aspect, 0 normal, -1 not set since the last stop. */
    RageState: number;
}

/** MainEvent 0, SubEvent 0: the selected cell and what it shows. `Channel` is -1 for an empty cell. */
export interface SelectionData extends CellStatus {
    Channel: number;
    Wnd: number;
}

/** MainEvent 0, SubEvent 2: the state of one channel. */
export interface ChannelData extends CellStatus {
    Chn: number;
    CurChannel: number;
}

/** One element of MainEvent 0, SubEvent 3, indexed by channel. */
export interface ChannelResult {
    Ret: number;
    Chn: number;
    /** Absent after a recording of all channels; 9 after a stop of all. */
    Stream?: number;
    Record: boolean | number;
    Error?: number;
}

export interface DeviceLost {
    Ret: number;
}

/** `nShowElect`: 0 do not offer electronic PTZ, 1 offer it, 2 it was just quit on a cell. */
export type ElectronicPtzOffer = 0 | 1 | 2;

/** MainEvent 1, SubEvent 0: the selected window of the playback page. */
export interface PlaybackWindowData {
    Wnd: number;
    Zoom: boolean | number;
    Record: boolean | number;
    Audio: boolean | number;
    /** See `PlayStatus`. */
    Status: number;
    /** 1 to 4 while slow or fast: 2, 4, 8, 16 times; -1 otherwise. */
    Mode: number;
}

/** MainEvent 1, SubEvent 1: the next file of a list begins, or could not. */
export interface FileStarted {
    Ret: number;
    Chn: number;
    Stream: number;
    /** Its place in the list, from 0. */
    PlayIndex: number;
    Wnd: number;
}

/** MainEvent 1, SubEvent 2: a window has shown its last picture. */
export interface PlaybackEnd {
    Chn: number;
    Wnd: number;
}

/**
 * MainEvent 1, SubEvent 3, every second. `pos` is thousandths of the file in page modes 0 and 1, the second of the day
 * in mode 2 (0: no picture yet), and absent for a window without a channel.
 */
export interface PlaybackPosition {
    pos?: number;
    wnd: number;
}

/** MainEvent 1, SubEvent 4: thousandths of the file under way; while converting, of the whole list. */
export interface DownloadProgress {
    Pos: number;
}

/** MainEvent 1, SubEvent 5: the whole list is on the disk. */
export interface Downloaded {
    DownPath: string;
}

/** MainEvent 6, SubEvent 0, for each block of sound: seconds left, 5 to 0. */
export interface VoiceRecording {
    Pos: number;
}

/**
 * MainEvent 6. Recording ended: 100, or 1016 when the file could not be written. Sent: 100, or the device library's own
 * number. Play ended: 100.
 */
export interface VoiceEnd {
    Ret: number;
}

/** `Status` of an upgrade. `Done` and `Failed` are its end. */
export const UpgradeState = { Sending: 0, Done: 1, Writing: 2, Failed: 3 } as const;

/** MainEvent 3, SubEvent 0. Sizes in bytes; 0 while they are unknown. */
export interface UpgradeData {
    Status: number;
    TotalSize: number;
    SendSize: number;
}

/** MainEvent 2. */
export interface AlarmData {
    /** From 0; 0 too where it concerns the device as a whole. */
    Channel: number;
    /** "VideoMotion" for instance; empty for a kind without a name. */
    Event: string;
    /** "Start", "Stop", "Pulse", or empty. */
    Status: string;
}

/** MainEvent 0, SubEvent 5, every second: percent of the whole machine, and MiB. */
export interface LoadData {
    AppCpu: number;
    SystemCpu: number;
    AppMemory: number;
}

/** MainEvent 0, SubEvent 4, and MainEvent 4, SubEvent 54: the viewer program's own version. Texts are empty where there is none. */
export interface VersionData {
    curDate: string;
    curVersion: string;
    newDate: string;
    newVersion: string;
    /** The server has a newer one. */
    bNew: boolean;
    /** The check was asked for by the user, not made at log in. */
    asked: boolean;
}

export interface ProcessEvents {
    selection: SelectionData;
    channel: ChannelData;
    results: ChannelResult[];
    electronicPtz: ElectronicPtzOffer;
    playbackWindow: PlaybackWindowData;
    fileStarted: FileStarted;
    playbackEnd: PlaybackEnd;
    playbackPosition: PlaybackPosition;
    downloadProgress: DownloadProgress;
    downloaded: Downloaded;
    upgrade: UpgradeData;
    deviceLost: DeviceLost;
    alarm: AlarmData;
    load: LoadData;
    version: VersionData;
    voiceRecording: VoiceRecording;
    voiceRecordingEnded: VoiceEnd;
    voiceSent: VoiceEnd;
    voicePlayEnded: VoiceEnd;
}

export type NamedEvent = { [K in keyof ProcessEvents]: { name: K; data: ProcessEvents[K] } }[keyof ProcessEvents];

/** Gives a wire event its name, or null for a kind this library does not know (it still comes out as `event`). */
export function nameEvent(raw: RawEvent): NamedEvent | null {
    if (raw.MainEvent === MainEvent.DeviceLost && raw.SubEvent === 0)
        return { name: 'deviceLost', data: { Ret: Number(raw.Ret) } };
    if (raw.MainEvent === MainEvent.Upgrade && raw.SubEvent === 0)
        return isObject(raw.Data) ? { name: 'upgrade', data: raw.Data as unknown as UpgradeData } : null;
    if (raw.MainEvent === MainEvent.Voice) return nameVoiceEvent(raw);
    if (raw.MainEvent === MainEvent.Playback) return namePlaybackEvent(raw);
    if (raw.MainEvent === MainEvent.Alarm) return nameAlarmEvent(raw);
    if (raw.MainEvent === MainEvent.Tool && raw.SubEvent === ToolEvent.Version) return versionEvent(raw, true);
    if (raw.MainEvent !== MainEvent.Live) return null;
    switch (raw.SubEvent) {
        case LiveEvent.Selection:
            return isObject(raw.Data) ? { name: 'selection', data: raw.Data as unknown as SelectionData } : null;
        case LiveEvent.Channel:
            return isObject(raw.Data) ? { name: 'channel', data: raw.Data as unknown as ChannelData } : null;
        case LiveEvent.Results:
            return { name: 'results', data: resultsOf(raw.ChnStatus) };
        case LiveEvent.Version:
            return versionEvent(raw, false);
        case LiveEvent.Load:
            return { name: 'load', data: { AppCpu: Number(raw.AppCpu), SystemCpu: Number(raw.SystemCpu), AppMemory: Number(raw.AppMemory) } };
        case LiveEvent.ElectronicPtz:
            return { name: 'electronicPtz', data: Number(raw.nShowElect) as ElectronicPtzOffer };
        default:
            return null;
    }
}

const PLAYBACK_NAMES = new Map<number, keyof ProcessEvents>([
    [PlaybackEvent.Window, 'playbackWindow'],
    [PlaybackEvent.End, 'playbackEnd'],
    [PlaybackEvent.Position, 'playbackPosition'],
    [PlaybackEvent.DownloadProgress, 'downloadProgress'],
    [PlaybackEvent.Downloaded, 'downloaded'],
]);

function namePlaybackEvent(raw: RawEvent): NamedEvent | null {
    if (!isObject(raw.Data)) return null;
    // The code of a file's start stands beside its data.
    if (raw.SubEvent === PlaybackEvent.FileStarted)
        return { name: 'fileStarted', data: { ...raw.Data, Ret: Number(raw.Ret) } as FileStarted };
    const name = PLAYBACK_NAMES.get(raw.SubEvent);
    return name ? ({ name, data: raw.Data } as unknown as NamedEvent) : null;
}

function nameAlarmEvent(raw: RawEvent): NamedEvent | null {
    const info = raw.AlarmInfo;
    if (raw.SubEvent !== 0 || !isObject(info)) return null;
    return { name: 'alarm', data: { Channel: Number(info.Channel), Event: textOf(info.Event), Status: textOf(info.Status) } };
}

function versionEvent(raw: RawEvent, asked: boolean): NamedEvent {
    const [curDate, curVersion, newDate, newVersion] = [raw.curDate, raw.curVersion, raw.newDate, raw.newVersion].map(textOf) as [string, string, string, string];
    return { name: 'version', data: { curDate, curVersion, newDate, newVersion, bNew: raw.bNew === true, asked } };
}

function textOf(value: unknown): string {
    return typeof value === 'string' ? value : '';
}

/** Their keys stand at the top. The last `Pos` of a recording that ended by itself says no more than its end. */
function nameVoiceEvent(raw: RawEvent): NamedEvent | null {
    const end = { Ret: Number(raw.Ret) };
    switch (raw.SubEvent) {
        case VoiceEvent.Recording:
            return { name: 'voiceRecording', data: { Pos: Number(raw.Pos) } };
        case VoiceEvent.RecordingEnded:
            return { name: 'voiceRecordingEnded', data: end };
        case VoiceEvent.Sent:
            return { name: 'voiceSent', data: end };
        case VoiceEvent.PlayEnded:
            return { name: 'voicePlayEnded', data: end };
        default:
            return null;
    }
}

/** An empty list may come as null: the array was never appended to. */
function resultsOf(value: unknown): ChannelResult[] {
    return Array.isArray(value) ? (value.filter(isObject) as unknown as ChannelResult[]) : [];
}

function isObject(value: unknown): value is Record<string, unknown> {
    return typeof value === 'object' && value !== null && !Array.isArray(value);
}
