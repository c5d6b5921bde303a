/** Press to talk: what the user wants, and the commands that bring it about one after the other. */
import { messageOf } from '../../../client/index.ts';
import type { Session } from '../session.ts';

/** The device itself, all of its channels that can talk, or one channel. */
export type Target = 'device' | 'all' | number;

export class Talk {
    /** Which channels can talk; null while that is not known. */
    able: boolean[] | null = null;
    private readonly session: Session;
    private wanted: Target | null = null;
    private running: Target | null = null;
    private busy = false;

    constructor(session: Session) {
        this.session = session;
        // The process ends the talk itself when the device goes, and with itself.
        session.on('interrupted', () => this.forget());
        session.on('ended', () => this.forget());
    }

    get state(): 'idle' | 'starting' | 'talking' | 'stopping' {
        if (this.wanted === this.running) return this.running === null ? 'idle' : 'talking';
        return this.wanted === null ? 'stopping' : 'starting';
    }

    /** Whatever the device does not say is tried. */
    canTalk(channel: number): boolean {
        return this.able === null || this.able[channel] === true;
    }

    /** Asks the device which channels can talk. */
    async load(): Promise<void> {
        try {
            this.able = await this.session.client.audio.talkAbility();
        } catch {
            this.able = null; // a device that does not say may still talk
        }
        this.session.changed();
    }

    press(target: Target): void {
        if (this.session.phase !== 'live') return;
        this.wanted = target;
        void this.settle();
    }

    release(): void {
        this.wanted = null;
        void this.settle();
    }

    private forget(): void {
        this.wanted = this.running = null;
        this.able = null;
    }

    /** The user may let go, or choose anew, while the device still answers. */
    private async settle(): Promise<void> {
        if (this.busy) return;
        this.busy = true;
        try {
            while (this.wanted !== this.running) {
                this.session.changed();
                if (this.wanted === null) await this.stop();
                else await this.start(this.wanted);
            }
        } finally {
            this.busy = false;
            this.session.changed();
        }
    }

    private async start(target: Target): Promise<void> {
        const { audio } = this.session.client;
        this.session.tell('busy', `Calling ${nameOf(target)}…`);
        try {
            await (target === 'device' ? audio.talkToDevice() : audio.talkToChannel(target === 'all' ? undefined : target));
            this.running = target;
            this.session.tell('info', `Talking to ${nameOf(target)}.`);
        } catch (error) {
            // The process has stopped whatever ran before.
            this.running = null;
            this.wanted = null;
            this.tellError(`There is no talk with ${nameOf(target)}: the device refused it, or this computer has no microphone or no sound. ${messageOf(error)}`);
        }
    }

    private async stop(): Promise<void> {
        try {
            await this.session.client.audio.stopTalk();
            this.session.tell('info', 'The talk has ended.');
        } catch (error) {
            this.tellError(messageOf(error));
        }
        this.running = null;
    }

    /** When the connection went, that was told already, and is more. */
    private tellError(text: string): void {
        if (this.session.phase === 'live') this.session.tell('error', text);
    }
}

export function nameOf(target: Target): string {
    if (target === 'device') return 'the device';
    return target === 'all' ? 'all channels' : `channel ${target + 1}`;
}
