/** The device's firmware: from a file of this computer or from the vendor. State and words; holds no element. */
import { messageOf, UpgradeState, type UpgradeData } from '../../../client/index.ts';
import type { Session } from '../session.ts';

export type FirmwarePhase = 'idle' | 'starting' | 'sending' | 'writing' | 'done' | 'failed';

const DONE = 'The new firmware is installed. The device starts again now, and the page logs in to it by itself.';
const FAILED = 'The firmware was not installed: the device refused it, or could not be reached any more. It keeps the old one.';
const CUT_OFF = 'The connection was lost during the upgrade. If the device starts again now, it may have been installed.';

export class Firmware {
    phase: FirmwarePhase = 'idle';
    /** Chosen by the user, on this computer. */
    file = '';
    /** What the device can fetch; null: it was not asked, or knows nothing newer. */
    version: string | null = null;
    /** 0 to 1. */
    progress = 0;
    /** What to read below the buttons. */
    text = '';
    private readonly session: Session;

    constructor(session: Session) {
        this.session = session;
        session.client.on('upgrade', (data) => this.onProgress(data));
        session.on('interrupted', () => this.onInterrupted());
        session.on('ended', () => this.forget());
    }

    get isRunning(): boolean {
        return this.phase === 'starting' || this.phase === 'sending' || this.phase === 'writing';
    }

    async pick(): Promise<void> {
        await this.session.attempt('', async () => {
            const path = await this.session.client.maintenance.pickFirmware();
            if (path === null) this.session.tell('info', 'No firmware file was chosen.');
            else this.file = path;
        });
    }

    async ask(): Promise<void> {
        await this.session.attempt('', async () => {
            this.version = await this.session.client.maintenance.newVersion();
            this.session.tell('info', this.version === null ? 'The device knows of no newer firmware.' : `The device can fetch firmware ${this.version}.`);
        });
    }

    startFile(): Promise<void> {
        return this.start(() => this.session.client.maintenance.startUpgrade(this.file));
    }

    startOnline(): Promise<void> {
        return this.start(() => this.session.client.maintenance.startOnlineUpgrade());
    }

    private async start(run: () => Promise<unknown>): Promise<void> {
        if (this.isRunning) return;
        this.turn('starting', 'The device prepares for it…', 0);
        try {
            await run();
            // Its first progress may have come before the reply.
            if (this.phase === 'starting') this.turn('sending', 'Sending the firmware…', 0);
        } catch (error) {
            if (this.phase === 'starting') this.end('failed', messageOf(error));
        }
    }

    /** Sizes may be 0 while nothing is known, and `Status` says more than they do. */
    private onProgress({ Status, TotalSize, SendSize }: UpgradeData): void {
        const share = TotalSize > 0 ? Math.min(1, Math.max(0, SendSize / TotalSize)) : 0;
        switch (Status) {
            case UpgradeState.Done:
                this.progress = 1;
                this.version = null;
                return this.end('done', DONE);
            case UpgradeState.Failed:
                // The end of an upgrade may be told twice; the second time the device knows nothing of it.
                if (this.isRunning) this.end('failed', FAILED);
                return;
            case UpgradeState.Writing:
                return this.turn('writing', 'The device installs the firmware. Leave it switched on.', share);
            default:
                return this.turn('sending', `Sending the firmware: ${Math.floor(share * 100)} %.`, share);
        }
    }

    private onInterrupted(): void {
        if (this.isRunning) this.end('failed', CUT_OFF);
    }

    private forget(): void {
        this.phase = 'idle';
        this.file = this.text = '';
        this.version = null;
        this.progress = 0;
    }

    private turn(phase: FirmwarePhase, text: string, progress: number): void {
        this.phase = phase;
        this.text = text;
        this.progress = progress;
        this.session.changed();
    }

    private end(phase: 'done' | 'failed', text: string): void {
        this.phase = phase;
        this.text = text;
        this.session.tell(phase === 'done' ? 'info' : 'error', text);
    }
}
