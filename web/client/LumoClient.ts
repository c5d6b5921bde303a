/**
 * The viewer process as an object: one method per command, one event per event.
 *
 * A method resolves with the reply when the process says success, and rejects with a `LumoError` otherwise. The
 * connection is opened again by itself when it goes; a new connection means a new process, so logging in again is
 * the application's part: do it in a listener of `open`.
 */
import { AlarmCommands } from './alarms.ts';
import { AudioCommands } from './audio.ts';
import { decipher, encipher, keyOf, randomKeyText } from './cipher.ts';
import { ColorPageCommands } from './colorPage.ts';
import type { Command } from './commandSender.ts';
import { CommandQueue, lost } from './CommandQueue.ts';
import { Connection, type ConnectionOptions, type ConnectionState, type Down, type SocketLike } from './Connection.ts';
import { Emitter } from './Emitter.ts';
import { LumoError } from './errors.ts';
import { nameEvent, type ChannelResult, type ProcessEvents } from './events.ts';
import { loginRequest, type LoginOptions } from './login.ts';
import { MaintenanceCommands } from './maintenance.ts';
import { PlaybackCommands } from './playback.ts';
import { PtzCommands } from './ptz.ts';
import type * as R from './requests.ts';
import { RET_SUCCESS } from './ret.ts';
import { RuleCommands } from './rules.ts';
import { ALL_CHANNELS, classify, ConfigSub, MainType, PositionSub, PreviewSub } from './wire.ts';
import type { PageIndex, RawEvent, Reply, RetReply } from './wire.ts';

export interface ClientEvents extends ProcessEvents {
    /** Every event of the process, known to this library or not. Comes before the named one. */
    event: RawEvent;
    state: ConnectionState;
    /** The connection stands. Commands sent from a listener go out before those that were kept back. */
    open: void;
    down: Down;
    /** A message that is neither event nor reply to a command that still waits. */
    stray: unknown;
}

const PICK_FOLDER = { record: ConfigSub.PickRecordFolder, capture: ConfigSub.PickCaptureFolder, download: ConfigSub.PickDownloadFolder } as const;
export type FolderPurpose = keyof typeof PICK_FOLDER;

export interface Timeouts {
    commandMs: number;
    /** Log in and re-login: the device may take its time. */
    loginMs: number;
    /** Starting many channels, one after the other. */
    startAllMs: number;
}

/**
 * Whether messages are enciphered. `both`: with a key that the process makes. `requests`: with one that this library makes,
 * and then only what it sends. Either key travels in the clear: this keeps a casual reader out and no other.
 */
export type Encryption = 'off' | 'requests' | 'both';

export interface ClientOptions extends ConnectionOptions {
    /** `off` unless told; agreed anew with each connection, before anything else is sent. */
    encryption?: Encryption;
    timeouts?: Partial<Timeouts>;
    maxQueued?: number;
    openSocket?: (url: string) => SocketLike;
}

/** A command on all channels: its reply, and what became of each channel. */
export interface AllReply<T extends Reply> {
    reply: T;
    channels: ChannelResult[];
}

interface KeyReply extends RetReply {
    /** `iv` is empty: zeros. */
    key: { key: string; iv: string };
}

export class LumoClient extends Emitter<ClientEvents> {
    /** The choice of alarm kinds. */
    readonly alarms: AlarmCommands;
    /** Talk, and the custom alarm voice. */
    readonly audio: AudioCommands;
    /** The stream of the image colour page. */
    readonly colorPage: ColorPageCommands;
    /** Firmware of the device, files into it, and the viewer program's own version. */
    readonly maintenance: MaintenanceCommands;
    /** Recorded video, downloads. */
    readonly playback: PlaybackCommands;
    /** Electronic PTZ of the selected cell. */
    readonly ptz: PtzCommands;
    /** The rule drawn over channel 0. */
    readonly rules: RuleCommands;
    private readonly connection: Connection;
    private readonly queue: CommandQueue;
    private readonly timeouts: Timeouts;
    private readonly title: string | undefined;
    private readonly encryption: Encryption;
    /** Commands may go out: the connection stands, and the key is agreed. */
    private ready = false;
    private agreeing = false;
    private requestKey: Uint8Array | null = null;
    private replyKey: Uint8Array | null = null;
    private lastResults: ChannelResult[] = [];
    private readonly resultsOfReply = new WeakMap<Reply, ChannelResult[]>();

    constructor(url: string, options: ClientOptions = {}) {
        super();
        this.title = options.title;
        this.timeouts = { commandMs: 30000, loginMs: 60000, startAllMs: 180000, ...options.timeouts };
        this.connection = new Connection(url, options);
        const queueOptions = { timeoutMs: this.timeouts.commandMs, maxQueued: options.maxQueued ?? 64 };
        this.encryption = options.encryption ?? 'off';
        this.queue = new CommandQueue((text) => this.send(text), queueOptions);
        const sender = {
            request: <T extends Reply>(command: Command, timeoutMs?: number) => this.request<T>(command, timeoutMs),
            checked: <T extends RetReply>(command: Command, timeoutMs?: number) => this.checked<T>(command, timeoutMs),
            manyMs: this.timeouts.startAllMs,
        };
        this.alarms = new AlarmCommands(sender);
        this.audio = new AudioCommands(sender);
        this.colorPage = new ColorPageCommands(sender);
        this.maintenance = new MaintenanceCommands(sender);
        this.playback = new PlaybackCommands(sender);
        this.ptz = new PtzCommands(sender);
        this.rules = new RuleCommands(sender);
        this.connection.on('state', (state) => this.emit('state', state));
        this.connection.on('open', () => this.onOpen());
        this.connection.on('down', (down) => this.onDown(down));
        this.connection.on('message', (text) => this.onMessage(text));
    }

    get state(): ConnectionState {
        return this.connection.state;
    }

    get isOpen(): boolean {
        return this.ready;
    }

    get backlogBytes(): number {
        return this.connection.backlogBytes;
    }

    /** Starts connecting; resolves when the connection stands. Attempts go on after a rejection, unless `reconnect` is off. */
    connect(): Promise<void> {
        if (this.isOpen) return Promise.resolve();
        return new Promise((resolve, reject) => {
            const stop = [
                this.on('open', () => (stop.forEach((off) => off()), resolve())),
                this.on('down', (down) => (stop.forEach((off) => off()), reject(new LumoError('closed', down.reason || down.cause)))),
            ];
            this.connection.connect();
        });
    }

    /** Ends the connection, and with it the process and everything that it shows. */
    close(): void {
        this.forgetKeys();
        this.connection.close();
        this.queue.failAll(new LumoError('closed', 'The connection to the viewer host was closed.'));
    }

    /** Any command; resolves with the reply whatever its code. `timeoutMs` 0 waits without limit. */
    request<T extends Reply>(command: Command, timeoutMs?: number): Promise<T> {
        return this.queue.request<T>(command, this.mayQueue, timeoutMs);
    }

    /** Any command that has no reply. */
    post(command: Command): void {
        this.queue.post(command, this.mayQueue);
    }

    // ---- the session ----

    /** Logs in and binds the surface to the browser's window. Stops nothing of an earlier log in: log out before. */
    async login(device: R.DeviceAddress, options: LoginOptions = {}): Promise<R.LoginReply> {
        const titled = this.title === undefined ? options : { title: this.title, ...options };
        return this.checked<R.LoginReply>({ ...loginRequest(device, titled) }, this.timeouts.loginMs);
    }

    /** Takes everything of the session down. There is no reply; later commands wait until it is done. */
    logout(): void {
        this.post({ MainType: MainType.Logout, SubType: 0 });
    }

    /** Logs in again in place with the same credentials, after `deviceLost`. All streams are stopped by it. */
    relogin(): Promise<R.ReloginReply> {
        return this.checked({ MainType: MainType.Relogin, SubType: 0 }, this.timeouts.loginMs);
    }

    // ---- preview ----

    /** Starts the channel in the selected cell, in place of what that shows. Success promises a stream, not yet a picture. */
    startPreview(channel: number, stream: number): Promise<R.StartPreviewReply> {
        return this.checked({ ...preview(PreviewSub.Start), Channel: channel, Stream: stream });
    }

    /** Starts every channel in the cell of its own number; the split stays. See the results for single failures. */
    startAll(stream: number): Promise<AllReply<R.StartPreviewReply>> {
        return this.startMany(ALL_CHANNELS, stream);
    }

    /**
     * Starts channels 0 to 4 * `quads` - 1 in the cells of their own numbers and changes the split to mode `quads`
     * (above 6: a single cell).
     */
    startFirst(quads: number, stream: number): Promise<AllReply<R.StartPreviewReply>> {
        if (!Number.isInteger(quads) || quads < 1 || quads > 16)
            return Promise.reject(new LumoError('bad-argument', 'Between 4 and 64 channels can be started at once.'));
        return this.startMany(quads * 100, stream);
    }

    stopPreview(channel: number): Promise<R.ChannelReply> {
        return this.checked({ ...preview(PreviewSub.Stop), Channel: channel });
    }

    /** The results name every channel of the device, playing or not: this is also the way to learn their number. */
    async stopAll(): Promise<AllReply<R.ChannelReply>> {
        const reply = await this.checked<R.ChannelReply>({ ...preview(PreviewSub.Stop), Channel: ALL_CHANNELS });
        return { reply, channels: this.resultsOf(reply) };
    }

    /** The reply's code is 1016 in every case; only the values count. */
    async readColor(channel: number): Promise<R.Colors> {
        return this.request<R.ColorReply>({ ...preview(PreviewSub.ReadColor), Channel: channel });
    }

    /** On the channel in the selected cell. `value` 0 to 128, 64 in the middle. */
    setColor(type: R.ColorIndex, value: number): Promise<R.ChannelReply> {
        return this.checked({ ...preview(PreviewSub.SetColor), Type: type, Value: value });
    }

    playStatus(channel: number): Promise<R.PlayStatusReply> {
        return this.checked({ ...preview(PreviewSub.PlayStatus), Channel: channel });
    }

    /** The surface fills the screen until Escape is pressed there. */
    fullScreen(): Promise<R.ChannelReply> {
        return this.checked(preview(PreviewSub.FullScreen));
    }

    currentChannel(): Promise<R.ChannelReply> {
        return this.checked(preview(PreviewSub.CurrentChannel));
    }

    toggleSound(channel: number): Promise<R.SoundReply> {
        return this.checked({ ...preview(PreviewSub.ToggleSound), Channel: channel });
    }

    snapshot(channel: number): Promise<R.SnapshotReply> {
        return this.checked({ ...preview(PreviewSub.Snapshot), Channel: channel });
    }

    /** One picture into the fixed file beside the program; a channel that is not live is opened for it, which takes seconds. */
    capture(channel: number): Promise<R.CaptureReply> {
        return this.checked<R.CaptureReply & RetReply>({ MainType: MainType.Capture, SubType: channel });
    }

    record(channel: number, on: boolean): Promise<R.RecordReply> {
        return this.checked({ ...preview(PreviewSub.Record), Channel: channel, Record: on ? 1 : 0 });
    }

    /** This reply has no code; what became of each channel is in the results. */
    async recordAll(on: boolean): Promise<AllReply<R.RecordAllReply>> {
        const command = { ...preview(PreviewSub.Record), Channel: ALL_CHANNELS, Record: on ? 1 : 0 };
        const reply = await this.request<R.RecordAllReply>(command, this.timeouts.startAllMs);
        return { reply, channels: this.resultsOf(reply) };
    }

    /** The channel in the selected cell. */
    originalAspect(on: boolean): Promise<RetReply> {
        return this.checked(preview(on ? PreviewSub.OriginalAspect : PreviewSub.NormalAspect));
    }

    // ---- layout ----

    /** Selects cell 0, without a `selection` event. */
    setSplit(mode: R.SplitMode): Promise<R.SplitReply> {
        return this.checked({ MainType: MainType.Split, SubType: mode });
    }

    /**
     * Shows another page of the surface. Leaving the live page stops its streams, and coming back starts them again in
     * their cells: the results name every channel, or none when nothing had been stopped. Leaving playback stops all of it,
     * a download included.
     */
    async showPage(page: PageIndex): Promise<AllReply<RetReply>> {
        const reply = await this.checked<RetReply>({ MainType: MainType.Page, SubType: page }, this.timeouts.startAllMs);
        return { reply, channels: this.resultsOf(reply) };
    }

    /** Does nothing while the live page is shown. */
    selectPlaybackWindow(index: number): Promise<RetReply> {
        return this.checked({ MainType: MainType.SelectPlaybackWindow, SubType: index });
    }

    /** Two-lens scale of the selected cell: `speed` tenths in or out, or back to 0. */
    scaleStep(direction: 'in' | 'out' | 'reset', speed = 1): Promise<RetReply> {
        const subType = { in: 0, out: 1, reset: 2 }[direction];
        return this.checked({ MainType: MainType.ScaleStep, SubType: subType, Speed: speed });
    }

    showSurface(pos: R.Pos): Promise<RetReply> {
        return this.checked({ MainType: MainType.Position, SubType: PositionSub.Show, Pos: pos });
    }

    hideSurface(): Promise<RetReply> {
        const pos = { Left: 0, Top: 0, Width: 0, Height: 0 };
        return this.checked({ MainType: MainType.Position, SubType: PositionSub.Hide, Pos: pos });
    }

    /** No reply: moves come in numbers. */
    moveSurface(pos: R.Pos): void {
        this.post({ MainType: MainType.Position, SubType: PositionSub.Move, Pos: pos, Potocol: 1 });
    }

    // ---- client configuration ----

    readConfig(): Promise<R.ConfigReply> {
        return this.checked({ MainType: MainType.ClientConfig, SubType: ConfigSub.Read });
    }

    saveConfig(config: Pick<R.SaveConfigRequest, 'RecPath' | 'CapPath' | 'DownPath' | 'RecordType'>): Promise<RetReply> {
        const { RecPath, CapPath, DownPath, RecordType } = config;
        return this.checked({ MainType: MainType.ClientConfig, SubType: ConfigSub.Save, RecPath, CapPath, DownPath, RecordType });
    }

    /**
     * Shows the native picker and resolves with the path, or with null when the user took none. Waits without limit
     * unless told otherwise: the user may take all day, and a picker that is not installed never answers.
     */
    async pickFolder(purpose: FolderPurpose, timeoutMs = 0): Promise<string | null> {
        const reply = await this.request<R.PickReply>({ MainType: MainType.ClientConfig, SubType: PICK_FOLDER[purpose] }, timeoutMs);
        const path = (reply.Path ?? '').replace(/[\r\n]+$/, '');
        return reply.nRet === RET_SUCCESS && path !== '' ? path : null;
    }

    // ---- inside ----

    private get mayQueue(): boolean {
        return this.state === 'connecting' || this.state === 'waiting' || this.state === 'open';
    }

    private async checked<T extends RetReply>(command: Command, timeoutMs?: number): Promise<T> {
        const reply = await this.request<T>(command, timeoutMs);
        if (reply.Ret === RET_SUCCESS) return reply;
        const { ErrorCode, Error: error } = reply as { ErrorCode?: number; Error?: number };
        throw LumoError.fromReply(reply.Ret, reply, ErrorCode ?? error);
    }

    /** The code of this reply is that of the last channel alone, so it is not judged here. */
    private async startMany(channel: number, stream: number): Promise<AllReply<R.StartPreviewReply>> {
        const command = { ...preview(PreviewSub.Start), Channel: channel, Stream: stream };
        const reply = await this.request<R.StartPreviewReply>(command, this.timeouts.startAllMs);
        return { reply, channels: this.resultsOf(reply) };
    }

    /** The process sends the results right before the reply that they belong to, and works one command at a time. */
    private resultsOf(reply: Reply): ChannelResult[] {
        return this.resultsOfReply.get(reply) ?? [];
    }

    private send(text: string): boolean {
        if (!this.ready && !this.agreeing) return false;
        return this.connection.send(this.requestKey ? encipher(text, this.requestKey) : text);
    }

    private onOpen(): void {
        if (this.encryption === 'off') this.begin();
        else if (this.encryption === 'requests') this.tellKey();
        else void this.askKey();
    }

    private begin(): void {
        this.ready = true;
        this.emit('open', undefined);
        this.queue.flush();
    }

    /** Commands that the key is agreed with: in the clear, and before all others. */
    private agree<T>(give: () => T): T {
        this.agreeing = true;
        try {
            return give();
        } finally {
            this.agreeing = false;
        }
    }

    /** There is no reply to a key of the page's own. */
    private tellKey(): void {
        const key = randomKeyText();
        this.agree(() => this.post({ MainType: MainType.KeyExchange, SubType: 0, Potocol: 1, key }));
        this.requestKey = keyOf(key);
        this.begin();
    }

    private async askKey(): Promise<void> {
        try {
            const reply = await this.agree(() => this.checked<KeyReply>({ MainType: MainType.KeyExchange, SubType: 0 }));
            this.requestKey = this.replyKey = keyOf(reply.key.key);
        } catch (error) {
            if (error instanceof LumoError && (error.kind === 'lost' || error.kind === 'closed')) return; // `down` tells
            return this.giveUp();
        }
        this.begin();
    }

    /** Nothing is sent in the clear that was meant to be enciphered. */
    private giveUp(): void {
        this.close();
        this.emit('down', { cause: 'unreachable', code: 0, reason: 'The viewer program does not encipher its messages.', retryInMs: null });
    }

    private forgetKeys(): void {
        this.ready = false;
        this.requestKey = this.replyKey = null;
    }

    private onDown(down: Down): void {
        this.forgetKeys();
        this.lastResults = [];
        // Before the first connection stands, commands go on waiting for it; after that they belong to a dead process.
        if (down.cause !== 'unreachable' || down.retryInMs === null) this.queue.failAll(lost());
        this.emit('down', down);
    }

    private onMessage(sent: string): void {
        const text = this.replyKey ? decipher(sent, this.replyKey) : sent;
        if (text === null) return this.emit('stray', sent);
        const incoming = classify(text);
        if (incoming.kind === 'event') this.onEvent(incoming.message);
        else if (incoming.kind === 'other') this.emit('stray', incoming.message);
        else this.onReply(incoming.msgId, incoming.message);
    }

    private onReply(msgId: number, reply: Reply): void {
        this.resultsOfReply.set(reply, this.lastResults);
        this.lastResults = [];
        if (!this.queue.settleReply(msgId, reply)) this.emit('stray', reply);
    }

    private onEvent(raw: RawEvent): void {
        this.emit('event', raw);
        const named = nameEvent(raw);
        if (!named) return;
        if (named.name === 'results') this.lastResults = named.data;
        this.emit(named.name, named.data as never);
    }
}

function preview(SubType: number): Command {
    return { MainType: MainType.Preview, SubType };
}
