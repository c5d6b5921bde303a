/**
 * The wire forms that every command and event share. Key names are the process's own and stand as they are,
 * misspellings included.
 */

/** `MainType` of the commands that this library speaks. */
export const MainType = {
    Page: 2,
    Split: 3,
    Preview: 4,
    Playback: 5,
    ColorPage: 6,
    Login: 8,
    Logout: 9,
    SelectPlaybackWindow: 11,
    Position: 12,
    SaveAlarmChoice: 14,
    ReadAlarmChoice: 15,
    Talk: 16,
    ClientConfig: 18,
    Capture: 19,
    Voice: 20,
    OnlineUpgrade: 21,
    CheckVersion: 22,
    Ptz: 24,
    LocalUpgrade: 25,
    Relogin: 28,
    ScaleStep: 29,
    Import: 30,
    KeyExchange: 32,
    Rule: 34,
} as const;

/** `SubType` of `MainType` 2: the page of the surface. */
export const Page = { Live: 0, Playback: 1, Color: 2 } as const;
export type PageIndex = (typeof Page)[keyof typeof Page];

/** `SubType` of `MainType` 4. 6 and 11 exist in no process and are never answered. */
export const PreviewSub = {
    Start: 0,
    Stop: 1,
    ReadColor: 2,
    SetColor: 3,
    PlayStatus: 4,
    FullScreen: 5,
    CurrentChannel: 7,
    ToggleSound: 8,
    Snapshot: 9,
    Record: 10,
    OriginalAspect: 12,
    NormalAspect: 13,
} as const;

/** `SubType` of `MainType` 5. Any other is never answered. */
export const PlaybackSub = {
    OpenLocal: 33,
    Start: 34,
    Stop: 35,
    PageMode: 36,
    Download: 39,
    Control: 40,
    Snapshot: 41,
    ToggleSound: 42,
    ToggleZoom: 43,
    ToggleClip: 44,
    Status: 45,
    StopDownload: 46,
} as const;

/** `SubType` of `MainType` 6. Any other is never answered. */
export const ColorPageSub = { Start: 0, Stop: 1 } as const;

/** `SubType` of `MainType` 12. */
export const PositionSub = { Hide: 1, Show: 2, Nothing: 3, Move: 4 } as const;

/** `SubType` of `MainType` 16. Any other stops a talk and fails. */
export const TalkSub = { Channel: 0, Device: 1, Stop: 2, Ability: 3 } as const;

/** `SubType` of `MainType` 20. Any other fails. */
export const VoiceSub = { Record: 0, StopRecording: 1, Play: 2, Send: 3, StopPlaying: 4 } as const;

/** `SubType` of `MainType` 21. Any other answers `Ret` 0. */
export const OnlineUpgradeSub = { Ask: 0, Start: 1 } as const;

/** `SubType` of `MainType` 22: which event brings the result. */
export const VersionSub = { AtLogin: 0, Asked: 1 } as const;

/** `SubType` of `MainType` 24. Any other does nothing and succeeds. */
export const PtzSub = {
    Up: 0,
    Down: 1,
    Left: 2,
    Right: 3,
    ZoomOut: 4,
    ZoomIn: 5,
    DeletePreset: 6,
    StorePreset: 7,
    GoToPreset: 8,
    Whole: 9,
    Open: 10,
} as const;

/** `SubType` of `MainType` 25. Any other is never answered; replies have `SubMsg` 1 in every case. */
export const LocalUpgradeSub = { Pick: 0, Start: 1 } as const;

/** `SubType` of `MainType` 30. Any other is never answered. */
export const ImportSub = { Config: 0, PickedFile: 1, Voice: 2, VoiceOther: 3, VoiceShort: 4 } as const;

/** `SubType` of `MainType` 34. Any other stores a rule for the next start of a channel. */
export const RuleSub = { Draw: 1 } as const;

/** `SubType` of `MainType` 18. */
export const ConfigSub = { PickRecordFolder: 48, PickCaptureFolder: 49, Save: 50, Read: 51, PickDownloadFolder: 53 } as const;

export const MainEvent = { Live: 0, Playback: 1, Alarm: 2, Upgrade: 3, Tool: 4, DeviceLost: 5, Voice: 6 } as const;

/** `SubEvent` of `MainEvent` 0. */
export const LiveEvent = { Selection: 0, Channel: 2, Results: 3, Version: 4, Load: 5, ElectronicPtz: 6 } as const;

/** `SubEvent` of `MainEvent` 4. */
export const ToolEvent = { Version: 54 } as const;

/** `SubEvent` of `MainEvent` 1. */
export const PlaybackEvent = { Window: 0, FileStarted: 1, End: 2, Position: 3, DownloadProgress: 4, Downloaded: 5 } as const;

/** `SubEvent` of `MainEvent` 6. */
export const VoiceEvent = { Recording: 0, RecordingEnded: 1, Sent: 2, PlayEnded: 3 } as const;

/**
 * A channel number that means "all channels": `MainType` 4, SubTypes 0, 1 and 10; `MainType` 5, SubTypes 35 and 40;
 * `MainType` 16, SubType 0; `MainType` 20, SubType 3.
 */
export const ALL_CHANNELS = -1;

/** A channel number of a reply or event that means "none". */
export const NO_CHANNEL = -1;

/** The process reads a message into 65536 bytes with its terminator; anything that long is cut there. */
export const MAX_MESSAGE_BYTES = 65535;

/** What the page sends. `MsgID` is put in by the client. */
export interface Request {
    MainType: number;
    SubType: number;
    MsgID?: number;
}

/** What every reply carries. */
export interface Reply {
    Msg: number;
    SubMsg: number;
    MsgID: number;
}

/** A reply with a result code; 100 is success. */
export interface RetReply extends Reply {
    Ret: number;
}

/** What every event carries. Events have no `MsgID`. */
export interface RawEvent {
    MainEvent: number;
    SubEvent: number;
    [key: string]: unknown;
}

type Json = Record<string, unknown>;

export type Incoming =
    | { kind: 'reply'; msgId: number; message: Reply & Json }
    | { kind: 'event'; message: RawEvent }
    | { kind: 'other'; message: unknown };

/** Sorts one text frame. Never throws: what is neither reply nor event is `other`. */
export function classify(text: string): Incoming {
    let message: unknown;
    try {
        message = JSON.parse(text);
    } catch {
        return { kind: 'other', message: text };
    }
    if (typeof message !== 'object' || message === null || Array.isArray(message)) return { kind: 'other', message };
    const json = message as Json;
    if (typeof json.MainEvent === 'number' && typeof json.SubEvent === 'number')
        return { kind: 'event', message: json as RawEvent };
    if ('Msg' in json && typeof json.MsgID === 'number')
        return { kind: 'reply', msgId: json.MsgID, message: json as unknown as Reply & Json };
    return { kind: 'other', message };
}

const encoder = new TextEncoder();

export function utf8Length(text: string): number {
    return encoder.encode(text).length;
}
