/** Keeps work from being done too often: at once the first time, then once at the end of each pause in which it was asked for. */
export class Pace {
    private readonly run: () => void;
    private readonly pauseMs: number;
    private timer: ReturnType<typeof setTimeout> | null = null;
    private wanted = false;

    constructor(run: () => void, pauseMs: number) {
        this.run = run;
        this.pauseMs = pauseMs;
    }

    ask(): void {
        this.wanted = true;
        if (this.timer === null) this.go();
    }

    /** What was asked for and not done is not done any more. */
    cancel(): void {
        if (this.timer !== null) clearTimeout(this.timer);
        this.timer = null;
        this.wanted = false;
    }

    private go(): void {
        this.wanted = false;
        // Not an animation frame: a tab that is hidden has none.
        this.timer = setTimeout(() => {
            this.timer = null;
            if (this.wanted) this.go();
        }, this.pauseMs);
        this.run();
    }
}
