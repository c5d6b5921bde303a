import type { WebSocket } from 'ws';

export interface FakeWindow {
    channel: number;
    playing: boolean;
    /** 0 normal, 1 stopped, 2 paused, 16 to 19 slow, 32 to 35 fast, 48 and 49 single pictures. */
    state: number;
    zoom: boolean;
    record: boolean;
    /** Seconds of the day. */
    begin: number;
    end: number;
    at: number;
}

export interface FakePlayback {
    mode: number;
    selected: number;
    sound: number;
    windows: FakeWindow[];
    download: { files: AnyRequest[]; channel: number; index: number; converts: boolean } | null;
    picture: string | null;
    select(wnd: number): void;
    drag(wnd: number): void;
    tick(seconds?: number): void;
    end(wnd: number): void;
    progress(pos: number): void;
    converted(count: number): void;
}

export interface FakeAudio {
    /** 'device', -1 for all channels, or a channel; null while nobody talks. */
    talking: 'device' | number | null;
    recording: boolean;
    playing: boolean;
    /** Bytes in the voice file. */
    size: number;
    /** Blocks of 20 ms. */
    hear(blocks: number): void;
    playEnds(): void;
    sent(ret: number): void;
}

export interface FakeMaintenance {
    /** The file or the version that is being installed; null while none is. */
    upgrading: string | null;
    progress(status: number, sent: number, total?: number): void;
    /** The end of a transfer. */
    imported(ret: number): void;
}

export interface FakePicture {
    /** Left, top, right, bottom of the shown part, by channel; none for the whole picture. */
    regions: Map<number, number[]>;
    opened: Set<number>;
    presets: Map<number, Map<number, number[]>>;
    colour: { Channel: number; Stream: number } | null;
    rule: AnyRequest | null;
    /** A right click of the user into the selected cell. */
    quit(): void;
    /** 0 no, 1 yes. */
    offer(nShowElect: number): void;
}

export interface FakeProcess {
    audio: FakeAudio;
    maintenance: FakeMaintenance;
    picture: FakePicture;
    page: number;
    selected: number;
    cells: number[];
    /** By channel. */
    streams: number[];
    /** The channel that sounds, or -1. */
    sound: number;
    playback: FakePlayback;
    alarmChoice: Record<string, boolean>;
    select(wnd: number): void;
    /** To the page, as it stands or enciphered. */
    send(message: unknown): void;
}

/** Tests look into whatever the page sent. */
export type AnyRequest = Record<string, any>;

export interface FakeHostSettings {
    channels: number;
    refuse?: number[];
    picked?: string;
    /** What the version file server has; without it none answers. */
    newVersion?: string;
    /** A process that knows no enciphered messages. */
    noCipher?: boolean;
    page?: string;
    reloginRet?: number;
    /** Of a start of the colour page's stream. */
    colourRet?: number;
    /** 1 for each channel that can talk; null: the device does not say. All can without it. */
    talkers?: number[] | null;
    noMicrophone?: boolean;
    /** What the device can fetch; null: it does not tell. */
    firmware?: string | null;
    upgradeRet?: number;
    importRet?: number;
    /** The dialog of an import says nothing. */
    pickerFails?: boolean;
    refusePlayback?: number[];
    refuseDownload?: boolean;
    brokenFile?: boolean;
    /** Date, then channel. */
    recordings?: Record<string, Record<number, { files?: AnyRequest[]; pictures?: AnyRequest[] }>>;
    intercept?: (request: AnyRequest, send: (message: unknown) => void) => boolean;
}

export interface FakeHost {
    port: number;
    url: string;
    requests: AnyRequest[];
    /** As they came, enciphered or not. */
    frames: string[];
    urls: string[];
    sockets: Set<WebSocket>;
    processes: FakeProcess[];
    settings: FakeHostSettings;
    push(message: unknown): void;
    drop(code?: number, reason?: string): void;
    close(): Promise<void>;
}

export function startFakeHost(options?: Partial<FakeHostSettings>): Promise<FakeHost>;
