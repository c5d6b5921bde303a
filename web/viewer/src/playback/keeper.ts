/**
 * Keeps windows on one position although their channels recorded at different times. A device plays on behind a gap at
 * once: that window would run ahead of the others, so it waits until they are there. Pure decisions.
 */
import { blockAt, nextRecorded, type Block } from './recordings.ts';

export interface KeptWindow {
    window: number;
    active: boolean;
    /** Second of the day; null before its first picture. */
    position: number | null;
    blocks: readonly Block[];
    /** Where it was last started, whatever came of it. */
    lastStart: number | null;
}

export interface Verdict {
    /** Windows that ran ahead over a gap. */
    stop: number[];
    /** Windows that have something to show from `at` on. */
    start: number[];
    at: number;
}

/** Windows started together differ by their start, and positions come once a second. */
const AHEAD_SECONDS = 4;
/** Not worth a start. */
const LEAST_SECONDS = 2;

/** `speed` is the factor, 1 for normal: at high speed a window is far ahead soon. Null when all is well. */
export function keep(windows: readonly KeptWindow[], speed: number): Verdict | null {
    const active = windows.filter((window) => window.active);
    const positions = active.flatMap(({ position }) => (position === null ? [] : [position]));
    if (positions.length < active.length) return null; // some are still starting
    if (active.length === 0) return null;
    const at = Math.min(...positions);
    const stop = active.filter(({ position, blocks }) => ranAhead(position as number, at, blocks, Math.max(1, speed)));
    const start = windows.filter((window) => !window.active && canStart(window, at));
    return stop.length + start.length > 0 ? { stop: stop.map(({ window }) => window), start: start.map(({ window }) => window), at } : null;
}

/** All have ended: where the next one has something, and which have it there. */
export function goOn(windows: readonly KeptWindow[], after: number): Verdict | null {
    const next = windows.flatMap((window) => {
        const at = nextStart(window, after);
        return at === null ? [] : [at];
    });
    if (next.length === 0) return null;
    const at = Math.min(...next);
    return { stop: [], start: windows.filter((window) => canStart(window, at)).map(({ window }) => window), at };
}

function ranAhead(position: number, at: number, blocks: readonly Block[], speed: number): boolean {
    if (position - at <= AHEAD_SECONDS * speed) return false;
    const block = blockAt(blocks, position);
    // Ahead within one recording is the device's affair; only a gap between the two is a reason to wait.
    return block !== null && at < block.begin;
}

/** Once in each recording: one that ends at once would be started for ever. */
function canStart({ blocks, lastStart }: KeptWindow, at: number): boolean {
    const block = blockAt(blocks, at);
    return block !== null && block.end - at >= LEAST_SECONDS && (lastStart === null || blockAt(blocks, lastStart) !== block);
}

function nextStart(window: KeptWindow, after: number): number | null {
    for (let at = nextRecorded(window.blocks, after); at !== null; ) {
        if (canStart(window, at)) return at;
        const block = blockAt(window.blocks, at);
        at = block ? nextRecorded(window.blocks, block.end) : null;
    }
    return null;
}
