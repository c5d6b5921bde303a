/** The sound of an alarm: two short tones, never more than once a second. */

const PAUSE_MS = 1000;

/** What sounds. */
export interface Speaker {
    /** False while the browser keeps the page silent, as it does until the user has touched it. */
    readonly runs: boolean;
    /** Called when `runs` may have changed. */
    onChange: () => void;
    /** Asks for it to run, now and at each touch of the page. */
    wake(): void;
    ring(): void;
    close(): void;
}

export class Chime {
    private readonly speaker: Speaker;
    private readonly now: () => number;
    private last = -Infinity;
    private isWanted = false;

    constructor(speaker: Speaker = new PageSpeaker(), now: () => number = () => performance.now()) {
        this.speaker = speaker;
        this.now = now;
    }

    set onChange(listener: () => void) {
        this.speaker.onChange = listener;
    }

    /** It is to sound, and the browser does not let it. */
    get isKept(): boolean {
        return this.isWanted && !this.speaker.runs;
    }

    /** There may be something to sound soon. */
    prepare(): void {
        this.isWanted = true;
        this.speaker.wake();
    }

    sound(): void {
        const now = this.now();
        if (now - this.last < PAUSE_MS) return;
        this.last = now;
        this.prepare();
        // What is not heard now is not heard later: tones of a silent context would all sound together when it runs.
        if (this.speaker.runs) this.speaker.ring();
    }

    dispose(): void {
        this.speaker.close();
    }
}

const TOUCHES = ['click', 'keydown'] as const;

export class PageSpeaker implements Speaker {
    onChange: () => void = () => undefined;
    private context: AudioContext | null = null;
    private readonly onTouch = () => this.resume();

    /** Where there is no sound at all, no touch would help. */
    get runs(): boolean {
        return typeof AudioContext === 'undefined' || this.context?.state === 'running';
    }

    wake(): void {
        if (typeof AudioContext === 'undefined') return;
        if (!this.context) {
            this.context = new AudioContext();
            this.context.addEventListener('statechange', () => this.onChange());
            for (const touch of TOUCHES) document.addEventListener(touch, this.onTouch, { capture: true });
        }
        this.resume();
    }

    ring(): void {
        const { context } = this;
        if (!context) return;
        [880, 660].forEach((hertz, i) => tone(context, hertz, context.currentTime + i * 0.18));
    }

    close(): void {
        for (const touch of TOUCHES) document.removeEventListener(touch, this.onTouch, { capture: true });
        void this.context?.close().catch(() => undefined);
        this.context = null;
    }

    private resume(): void {
        const { context } = this;
        if (!context || context.state === 'running') return;
        context.resume().catch(() => undefined); // refused: the next touch asks again
    }
}

function tone(context: AudioContext, hertz: number, at: number): void {
    const oscillator = context.createOscillator();
    const gain = context.createGain();
    oscillator.frequency.value = hertz;
    gain.gain.setValueAtTime(0.2, at);
    gain.gain.exponentialRampToValueAtTime(0.001, at + 0.16);
    oscillator.connect(gain).connect(context.destination);
    oscillator.start(at);
    oscillator.stop(at + 0.17);
}
