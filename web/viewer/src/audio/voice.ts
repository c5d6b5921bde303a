/** The alarm voice: recorded and played on this computer, sent to the device. State and words; holds no element. */
import { deviceErrorText, messageOf, RET_SUCCESS, retText, type RetReply } from '../../../client/index.ts';
import type { Session } from '../session.ts';

export class Voice {
    state: 'idle' | 'recording' | 'playing' = 'idle';
    sending = false;
    /** While recording: 5 to 0. */
    secondsLeft: number | null = null;
    private readonly session: Session;

    constructor(session: Session) {
        this.session = session;
        const { client } = session;
        client.on('voiceRecording', ({ Pos }) => this.onRecording(Pos));
        client.on('voiceRecordingEnded', ({ Ret }) => this.onRecordingEnded(Ret));
        client.on('voiceSent', ({ Ret }) => this.onSent(Ret));
        client.on('voicePlayEnded', () => this.onPlayEnded());
        session.on('interrupted', () => this.forget());
        session.on('ended', () => this.forget());
    }

    /** Starts, or stops what runs. */
    toggleRecording(): Promise<void> {
        const { audio } = this.session.client;
        if (this.state === 'recording') return this.act(() => audio.stopRecording());
        return this.act(async () => {
            const reply = await audio.recordVoice();
            // The first blocks may have come before the reply.
            if (this.state === 'idle') this.begin('recording', 'Speak now.');
            return reply;
        }, 'Nothing is recorded: this computer has no microphone, or it is in use.');
    }

    togglePlay(): Promise<void> {
        const { audio } = this.session.client;
        if (this.state === 'playing') return this.act(() => audio.stopPlaying());
        return this.act(async () => {
            const reply = await audio.playVoice();
            this.begin('playing', 'Playing the alarm voice.');
            return reply;
        }, 'Nothing is played: there is no recording, or this computer has no sound.');
    }

    /** `channel` undefined: all. */
    async send(channel: number | undefined, purpose: number): Promise<void> {
        this.sending = true;
        this.session.tell('busy', 'Sending the alarm voice…');
        await this.act(() => this.session.client.audio.sendVoice(channel, purpose), 'The alarm voice was not sent: there is no recording, or the device refused it.', () => (this.sending = false));
    }

    private begin(state: 'recording' | 'playing', text: string): void {
        this.state = state;
        this.session.tell('info', text);
    }

    private onRecording(pos: number): void {
        if (this.state === 'recording' && this.secondsLeft === pos) return; // fifty times a second
        this.state = 'recording';
        this.secondsLeft = pos;
        this.session.changed();
    }

    private onRecordingEnded(ret: number): void {
        this.state = 'idle';
        this.secondsLeft = null;
        if (ret === RET_SUCCESS) this.session.tell('info', 'The alarm voice is recorded.');
        else this.session.tell('error', 'The recording broke off: its file could not be written.');
    }

    private onPlayEnded(): void {
        this.state = 'idle';
        this.session.tell('info', 'The alarm voice was played.');
    }

    private onSent(ret: number): void {
        this.sending = false;
        if (ret === RET_SUCCESS) this.session.tell('info', 'The device has the alarm voice.');
        else this.session.tell('error', `The device did not take the alarm voice. ${ret < 0 ? deviceErrorText(ret) : retText(ret)}`);
    }

    private forget(): void {
        this.state = 'idle';
        this.sending = false;
        this.secondsLeft = null;
    }

    private async act(run: () => Promise<RetReply>, failure?: string, onFailure?: () => void): Promise<void> {
        try {
            await run();
        } catch (error) {
            onFailure?.();
            if (this.session.phase === 'live') this.session.tell('error', failure ?? messageOf(error));
        }
        this.session.changed();
    }
}
