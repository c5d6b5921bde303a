/** The alarm voice: recorded and played on this computer, sent to the device. State and words; holds no element. */
import { deviceErrorText, RET_SUCCESS, retText } from '../../../client/index.ts';
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
    toggleRecording(): Promise<boolean> {
        const { audio } = this.session.client;
        if (this.state === 'recording') return this.session.attempt('', () => audio.stopRecording());
        return this.session.attempt('', async () => {
            await audio.recordVoice();
            // The first blocks may have come before the reply.
            if (this.state === 'idle') this.begin('recording', 'Speak now.');
        }, 'Nothing is recorded: this computer has no microphone, or it is in use.');
    }

    togglePlay(): Promise<boolean> {
        const { audio } = this.session.client;
        if (this.state === 'playing') return this.session.attempt('', () => audio.stopPlaying());
        return this.session.attempt('', async () => {
            await audio.playVoice();
            this.begin('playing', 'Playing the alarm voice.');
        }, 'Nothing is played: there is no recording, or this computer has no sound.');
    }

    /** `channel` undefined: all. */
    async send(channel: number | undefined, purpose: number): Promise<void> {
        this.sending = true;
        this.session.tell('busy', 'Sending the alarm voice…');
        const begun = await this.session.attempt('', () => this.session.client.audio.sendVoice(channel, purpose), 'The alarm voice was not sent: there is no recording, or the device refused it.');
        if (!begun) this.sending = false;
        this.session.changed();
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
}
