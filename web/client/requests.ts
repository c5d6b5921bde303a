/** Requests and replies by family, key for key as the process reads and writes them. */
import type { Reply, Request, RetReply } from './wire.ts';

// ---- login, logout, re-login (8, 9, 28) ----

export interface LoginByAddress {
    kind: 'address';
    /** IP address, host name, or a plain `rtsp://` address for a single channel. */
    address: string;
    port: number;
    user: string;
    password: string;
}

export interface LoginBySerial {
    kind: 'serial';
    serialNumber: string;
    user: string;
    password: string;
}

export interface LoginByToken {
    kind: 'token';
    serialNumber: string;
    token: string;
    user: string;
    password: string;
}

export type DeviceAddress = LoginByAddress | LoginBySerial | LoginByToken;

export interface LoginRequest extends Request {
    Device: {
        /** 0 by address, 1 by serial number, 2 by serial number and token. */
        LoginType: 0 | 1 | 2;
        IP?: string;
        SN?: string;
        tcsToken?: string;
        User: string;
        Password: string;
        Port: number;
    };
    Title: string;
    Browse: number;
    AlarmStyle?: string;
    WebType?: string;
    SampleRate_16?: boolean;
}

export interface LoginReply extends RetReply {
    /** The session's number. */
    Id: number;
    /** True when the browser's render window was found. */
    adjustBytool: boolean | 0 | 1;
    /** Screen scale in percent; 1 when it could not be read. */
    DPIRadio: number;
    /** The device library's own error number, when the device refused. */
    ErrorCode?: number;
    /** With `Ret` 1012. */
    CloudErrCode?: string;
}

export interface ReloginReply extends RetReply {
    Id: number;
    SerialNo: string;
}

// ---- preview (4) ----

export interface StartPreviewReply extends RetReply {
    Chn: number;
    /** The channel that the cell showed before; -1 if none, and 0 after a start of many. */
    oldChn: number;
    Stream: number;
    /** The device library's error number, with `Ret` 122. */
    Error?: number;
}

/** SubTypes 1, 3, 5, 7. In 3 and 5 `Chn` is always -1. */
export interface ChannelReply extends RetReply {
    Chn: number;
}

export interface Colors {
    nBrightness: number;
    nContrast: number;
    nSaturation: number;
    nHue: number;
}

/** `Ret` is 1016 in every case: read the values, not the code. */
export interface ColorReply extends RetReply, Colors {}

/** Which value `SetColor` writes; `All` writes one value into all four. */
export const ColorType = { Brightness: 0, Contrast: 1, Saturation: 2, Hue: 3, All: 4 } as const;
export type ColorIndex = (typeof ColorType)[keyof typeof ColorType];

export interface PlayStatusReply extends RetReply {
    /** See `PlayStatus`; -1 for a channel outside 0 to 63. */
    Status: number;
}

/** The page code of a play state. */
export const PlayStatus = {
    None: -1,
    Stopped: 0,
    Playing: 2,
    Paused: 4,
    Slow: 5,
    Fast: 6,
    StepForward: 7,
    StepBack: 8,
} as const;

export interface SoundReply extends RetReply {
    Audio: boolean;
    Chn: number;
}

export interface SnapshotReply extends RetReply {
    Chn: number;
    /** The folder, not the file. Present on success only. */
    CapPath?: string;
}

/** One channel. */
export interface RecordReply extends RetReply {
    /** The folder, not the file. */
    RecPath: string;
    Chn: number;
    Record: boolean;
}

/** All channels: no `Ret`, `Record` always 0; the results are in the event before it. */
export interface RecordAllReply extends Reply {
    Chn: number;
    Record: number;
}

// ---- split, windows, scale (3, 11, 29) ----

/** A split is told by its mode, not by its count. */
export const SPLIT_CELLS = [1, 4, 9, 16, 25, 36, 64] as const;
export type SplitMode = 0 | 1 | 2 | 3 | 4 | 5 | 6;

export interface SplitReply extends RetReply {
    /** The channel in cell 0 of the live page, -1 when it is empty. */
    Chn: number;
}

// ---- position (12) ----

/** Physical pixels, relative to the browser's client window. */
export interface Pos {
    Left: number;
    Top: number;
    Width: number;
    Height: number;
}

// ---- client configuration (18) ----

export interface SaveConfigRequest extends Request {
    RecPath: string;
    CapPath: string;
    DownPath: string;
    RecordType: number;
}

export interface ConfigReply extends RetReply {
    ToolVersion: string;
    ToolDate: string;
    CapFileType: number;
    /** 0 raw stream, 2 AVI. */
    RecordFileType: number;
    RecPath: string;
    CapPath: string;
    DownPath: string;
}

/** The pickers spell their code `nRet`. Cancelling gives an empty `Path` or another code. */
export interface PickReply extends Reply {
    nRet: number;
    Path?: string;
}

// ---- picture into the fixed file (19) ----

/** `Channel` in place of `SubMsg`. */
export interface CaptureReply extends Omit<RetReply, 'SubMsg'> {
    Channel: number;
}
