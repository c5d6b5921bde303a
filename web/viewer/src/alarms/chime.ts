/** The sound of an alarm: two short tones, never more than once a second. */

export type Ring = () => void;

const PAUSE_MS = 1000;

export class Chime {
    private readonly ring: Ring;
    private readonly now: () => number;
    private last = -Infinity;

    constructor(ring: Ring = twoTones(), now: () => number = () => performance.now()) {
        this.ring = ring;
        this.now = now;
    }

    sound(): void {
        const now = this.now();
        if (now - this.last < PAUSE_MS) return;
        this.last = now;
        this.ring();
    }
}

/** A browser lets a page sound only after the user has touched it; by the time of a log in that has happened. */
function twoTones(): Ring {
    let context: AudioContext | null = null;
    return () => {
        if (typeof AudioContext === 'undefined') return;
        context ??= new AudioContext();
        const start = context.currentTime;
        [880, 660].forEach((hertz, i) => {
            if (context) tone(context, hertz, start + i * 0.18);
        });
    };
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
