/**
 * One visit: connection, log in, and what brings both back when they go. Speaks to no element but the one that the
 * surface is kept over.
 */
import {
    detectPlatform, downText, Emitter, LumoClient, LumoError, messageOf, needsContentOffset, RET_FAILURE, SurfaceRect,
    type DeviceAddress, type Down, type Encryption, type LoadData, type LoginOptions, type LoginReply, type VersionData,
} from '../../client/index.ts';
import { LiveModel } from './model.ts';

export type Phase =
    /** Nobody is logged in. */
    | 'login'
    /** The first log in is under way. */
    | 'logging-in'
    | 'live'
    /** The device or the process went away and is being brought back. */
    | 'recovering';

export interface Status {
    kind: 'info' | 'busy' | 'error';
    text: string;
}

interface SessionEvents {
    /** Anything that is shown may have changed. */
    changed: void;
    /** Logged in again. `anew`: in another process, which remembers nothing of the one before. */
    recovered: { anew: boolean };
    /** The device or the process went: what was under way there is gone. The model is as it was. */
    interrupted: void;
    /** Nobody is logged in any more. */
    ended: void;
}

/**
 * Codes after which another attempt with the same words would only lock the user out. That the user is logged in already
 * (207) is none of them: right after a loss the device may still hold the session that was lost.
 */
const HOPELESS = new Set([106, 206]);
/** Codes that say nothing of the user: there is no window yet, no device yet, or no room in it yet. */
const NOT_YET = new Set([207, 218, 1003, 1006, 1012]);
const DEVICE_LOST = 'The connection to the device was lost.';
const FIRST_WAIT_MS = 1000;
const MOST_WAIT_MS = 30000;

export class Session extends Emitter<SessionEvents> {
    readonly client: LumoClient;
    readonly model = new LiveModel();
    readonly surface: SurfaceRect;
    phase: Phase = 'login';
    status: Status = { kind: 'busy', text: 'Connecting to the viewer host…' };
    deviceName = '';
    /** The last report of this computer's load; null while nobody is logged in. */
    load: LoadData | null = null;
    /** What the version file server said last; null when it said nothing. */
    version: VersionData | null = null;
    /** The device tells its alarms: it does so only where the log in was by serial number. */
    hearsAlarms = false;
    down: Down | null = null;
    private readonly loginOptions: LoginOptions;
    private credentials: DeviceAddress | null = null;
    /** What the process said to the log in; null while none has succeeded in this process. */
    private greeting: LoginReply | null = null;
    /** What the loss is not to change, and whether the process went with it. */
    private kept: Pick<LiveModel, 'split' | 'selected'> = { split: 0, selected: 0 };
    private anew = false;
    /** The device went while a log in was under way. */
    private gone = false;
    /** The next attempt to log in; told false, it is not made. Its timer stands still without a connection. */
    private next: ((go: boolean) => void) | null = null;
    private timer: ReturnType<typeof setTimeout> | null = null;
    private waitMs = FIRST_WAIT_MS;

    constructor(hostUrl: string, title: string, element: HTMLElement, loginOptions: LoginOptions, encryption: Encryption = 'off') {
        super();
        this.loginOptions = loginOptions;
        this.client = new LumoClient(hostUrl, { title, encryption });
        this.surface = new SurfaceRect(element, this.client, { contentOffset: true });
        this.client.on('state', () => this.changed());
        this.client.on('open', () => this.onOpen());
        this.client.on('down', (down) => this.onDown(down));
        this.client.on('deviceLost', () => this.onDeviceLost());
        this.client.on('selection', (data) => (this.model.onSelection(data), this.changed()));
        this.client.on('electronicPtz', (offer) => (this.model.onElectronicPtz(offer), this.changed()));
        this.client.on('load', (load) => ((this.load = load), this.changed()));
        this.client.on('version', (version) => ((this.version = version), this.changed()));
        this.client.on('channel', (data) => (this.model.onChannel(data), this.changed()));
    }

    connect(): void {
        // A failure is told by `down`, and attempts go on.
        this.client.connect().catch(() => undefined);
    }

    dispose(): void {
        this.dropNext();
        this.surface.dispose();
        this.client.close();
    }

    changed(): void {
        this.emit('changed', undefined);
    }

    tell(kind: Status['kind'], text: string): void {
        this.status = { kind, text };
        this.changed();
    }

    /**
     * Runs `work` and tells how it went: `done`, if that is anything, or why not. `failed` stands in for the general failure
     * code, which says nothing about what was tried. True when it is done.
     */
    async attempt(done: string, work: () => Promise<unknown>, failed?: string): Promise<boolean> {
        try {
            await work();
            if (done) this.tell('info', done);
            else this.changed();
            return true;
        } catch (error) {
            const general = error instanceof LumoError && error.ret === RET_FAILURE;
            // When the connection went, that was told already, and is more.
            if (this.phase !== 'live') this.changed();
            else this.tell('error', general && failed ? failed : messageOf(error));
            return false;
        }
    }

    fullScreen(): Promise<boolean> {
        return this.attempt('Full screen. Escape leaves it.', async () => {
            await this.client.fullScreen();
            this.surface.enteredFullScreen();
        });
    }

    /** `patient`: a device that does not answer yet is asked again, until it does or somebody logs in by hand. */
    login(device: DeviceAddress, patient = false): Promise<boolean> {
        this.dropNext();
        this.waitMs = FIRST_WAIT_MS;
        return this.tryLogin(device, patient);
    }

    private async tryLogin(device: DeviceAddress, patient: boolean): Promise<boolean> {
        if (this.phase !== 'login') return false;
        this.phase = 'logging-in';
        this.tell('busy', 'Logging in…');
        try {
            await this.unlessLost(() => this.enter(device));
            this.begin(device);
            this.credentials = device;
            this.tell('info', `Logged in. ${this.model.channels.length} channels.`);
            return true;
        } catch (error) {
            this.phase = 'login';
            // The device let it in: another log in would leave this one standing.
            if (this.greeting && this.client.isOpen) this.client.logout();
            this.greeting = null;
            if (patient && isNotYet(error)) return new Promise((resolve) => this.tryLater(error, (go) => resolve(go && this.tryLogin(device, true))));
            this.tell('error', messageOf(error));
            return false;
        }
    }

    logout(): void {
        this.dropNext();
        this.credentials = this.greeting = null;
        // The process hides the surface itself, before anything else.
        this.surface.stop(false);
        if (this.client.isOpen) this.client.logout();
        this.phase = 'login';
        this.load = null;
        this.model.reset(0);
        this.emit('ended', undefined);
        this.tell('info', 'Logged out.');
    }

    private async enter(device: DeviceAddress): Promise<void> {
        this.greeting = await this.client.login(device, this.loginOptions);
        this.model.reset(await this.channelCount());
    }

    /** Fails as well when the device goes while `work` is under way. */
    private async unlessLost(work: () => Promise<void>): Promise<void> {
        this.gone = false;
        await work();
        if (this.gone) throw new LumoError('lost', DEVICE_LOST);
    }

    /** Brings up the surface. */
    private begin(device: DeviceAddress): void {
        this.phase = 'live';
        this.hearsAlarms = device.kind !== 'address';
        this.deviceName = device.kind === 'address' ? `${device.address}:${device.port}` : device.serialNumber;
        this.changed();
        if (!this.surface.isRunning) this.surface.start(needsContentOffset(detectPlatform(), this.greeting?.adjustBytool ?? false));
    }

    /** No reply tells the number of channels; stopping all of them, when none runs, names each. */
    private async channelCount(): Promise<number> {
        return (await this.client.stopAll()).channels.length;
    }

    // ---- bringing back ----

    private onOpen(): void {
        this.down = null;
        if (this.phase === 'recovering') {
            this.dropNext();
            void this.recover();
        } else if (this.phase === 'login' && !this.goOn(true)) this.tell('info', 'Ready to log in.');
    }

    private onDown(down: Down): void {
        this.down = down;
        this.greeting = null;
        this.anew = true;
        this.surface.stop(false);
        if (this.phase === 'live') this.beginRecovery();
        this.cancelTimer();
        this.tell('error', downText(down));
    }

    private onDeviceLost(): void {
        this.gone = true;
        if (this.phase !== 'live') return;
        this.beginRecovery();
        this.tell('error', DEVICE_LOST);
        void this.recover();
    }

    private beginRecovery(): void {
        const { split, selected } = this.model;
        this.kept = { split, selected };
        this.anew = this.greeting === null;
        this.phase = 'recovering';
        this.waitMs = FIRST_WAIT_MS;
        this.emit('interrupted', undefined);
    }

    private async recover(): Promise<void> {
        const device = this.credentials;
        if (this.phase !== 'recovering' || !this.client.isOpen || !device) return;
        this.tell('busy', 'Logging in again…');
        try {
            await this.unlessLost(() => this.comeBack(device));
        } catch (error) {
            this.onRecoveryFailed(error);
            return;
        }
        if (this.phase !== 'recovering') return; // logged out meanwhile
        this.begin(device);
        this.tell('info', 'The connection is back.');
        this.emit('recovered', { anew: this.anew });
    }

    /** In place when the process has the session still, anew when it is another. Stops when the user logs out meanwhile. */
    private async comeBack(device: DeviceAddress): Promise<void> {
        let { greeting } = this;
        if (greeting) await this.client.relogin();
        else greeting = await this.client.login(device, this.loginOptions);
        if (this.phase !== 'recovering') return;
        this.greeting = greeting;
        const count = await this.channelCount();
        if (this.phase !== 'recovering') return;
        this.model.reset(count);
        // Split and selected cell are the process's own and outlive a log in in place.
        Object.assign(this.model, this.kept);
        if (this.anew) this.model.splitChanged(this.kept.split, (await this.client.setSplit(this.kept.split)).Chn);
    }

    private onRecoveryFailed(error: unknown): void {
        if (this.phase !== 'recovering') return;
        if (error instanceof LumoError && error.ret !== undefined && HOPELESS.has(error.ret)) {
            this.logout();
            this.tell('error', messageOf(error));
            return;
        }
        this.tryLater(error, (go) => go && void this.recover());
    }

    // ---- the next attempt ----

    private tryLater(error: unknown, attempt: (go: boolean) => void): void {
        this.next = attempt;
        if (!this.client.isOpen) return; // the next connection brings it
        const wait = this.waitMs;
        this.waitMs = Math.min(wait * 2, MOST_WAIT_MS);
        this.tell('error', `${messageOf(error)} Next attempt in ${Math.round(wait / 1000)} s.`);
        this.timer = setTimeout(() => this.goOn(true), wait);
    }

    /** False when no attempt was to come. */
    private goOn(go: boolean): boolean {
        const { next } = this;
        this.next = null;
        this.cancelTimer();
        next?.(go);
        return next !== null;
    }

    private dropNext(): void {
        this.goOn(false);
    }

    private cancelTimer(): void {
        if (this.timer !== null) clearTimeout(this.timer);
        this.timer = null;
    }
}

function isNotYet(error: unknown): boolean {
    if (!(error instanceof LumoError)) return false;
    return error.kind === 'timeout' || error.kind === 'lost' || error.kind === 'closed' || NOT_YET.has(error.ret ?? 0);
}
