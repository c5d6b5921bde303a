/**
 * How loud the microphone is. The process tells no level, so the browser listens beside it, where it may: the user is
 * asked, and a page that is not served securely gets nothing. The talk does not depend on it.
 */
import { h } from '../dom.ts';

/** An open microphone. */
export interface Ear {
    /** 0 to 1. */
    level(): number;
    close(): void;
}

export type Listen = () => Promise<Ear>;

export class LevelMeter {
    readonly element = h('meter', { min: 0, max: 1, low: 0.7, high: 0.9, optimum: 0.3, 'aria-label': 'Microphone level', 'data-testid': 'talk-level' });
    /** The browser does not let us hear. */
    deaf = false;
    private readonly listen: Listen;
    private readonly onDeaf: () => void;
    private ear: Ear | null = null;
    private on = false;

    constructor(onDeaf: () => void, listen: Listen = listenToMicrophone) {
        this.onDeaf = onDeaf;
        this.listen = listen;
    }

    /** On while somebody speaks; the browser shows that, too. */
    set active(on: boolean) {
        if (on === this.on) return;
        this.on = on;
        if (on) void this.open();
        else this.close();
    }

    private async open(): Promise<void> {
        try {
            const ear = await this.listen();
            if (!this.on || this.ear) return ear.close(); // it took its time
            this.ear = ear;
            this.draw();
        } catch {
            this.deaf = true;
            this.onDeaf();
        }
    }

    private close(): void {
        this.ear?.close();
        this.ear = null;
        this.element.value = 0;
    }

    private draw(): void {
        if (!this.ear) return;
        this.element.value = this.ear.level();
        requestAnimationFrame(() => this.draw());
    }
}

/** Speech lies between some -60 dB and full scale; the meter shows decibels. */
export function levelOf(samples: Float32Array): number {
    const power = samples.reduce((sum, sample) => sum + sample * sample, 0) / Math.max(samples.length, 1);
    return power > 0 ? Math.min(1, Math.max(0, 1 + (10 * Math.log10(power)) / 60)) : 0;
}

async function listenToMicrophone(): Promise<Ear> {
    // As it is: what the browser does for a call would hide a loud room.
    const audio = { echoCancellation: false, noiseSuppression: false, autoGainControl: false };
    const stream = await navigator.mediaDevices.getUserMedia({ audio });
    const context = new AudioContext();
    const analyser = context.createAnalyser();
    const samples = new Float32Array(analyser.fftSize);
    context.createMediaStreamSource(stream).connect(analyser);
    return {
        level: () => {
            analyser.getFloatTimeDomainData(samples);
            return levelOf(samples);
        },
        close: () => {
            stream.getTracks().forEach((track) => track.stop());
            void context.close();
        },
    };
}
