/** Which part of a day the timeline shows, and where a second stands in it. Pure values. */
import { DAY_SECONDS } from './dayTime.ts';

export interface Scale {
    /** Seconds since midnight. */
    from: number;
    to: number;
}

export const WHOLE_DAY: Scale = { from: 0, to: DAY_SECONDS };
/** The spans that the buttons offer, in seconds. */
export const SPANS = [DAY_SECONDS, 6 * 3600, 3600, 600] as const;
const LEAST_SPAN = 60;
const TICKS = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600];

/** 0 at the left edge, 1 at the right one. */
export function placeOf(scale: Scale, seconds: number): number {
    return (seconds - scale.from) / (scale.to - scale.from);
}

/** The whole second that holds a place. */
export function secondAt(scale: Scale, place: number): number {
    const seconds = scale.from + Math.min(Math.max(place, 0), 1) * (scale.to - scale.from);
    return Math.min(Math.max(0, Math.floor(seconds)), DAY_SECONDS - 1);
}

/** A span of so many seconds with `seconds` at the place where it stood, or in the middle when it was out of sight. */
export function zoomTo(scale: Scale, span: number, seconds: number): Scale {
    const size = Math.min(Math.max(span, LEAST_SPAN), DAY_SECONDS);
    const place = placeOf(scale, seconds);
    const anchor = place >= 0 && place <= 1 ? place : 0.5;
    return kept(seconds - anchor * size, size);
}

export function pan(scale: Scale, seconds: number): Scale {
    return kept(scale.from + seconds, scale.to - scale.from);
}

/** Unchanged while the second is in sight; else the span that begins a little before it. */
export function reveal(scale: Scale, seconds: number): Scale {
    if (seconds >= scale.from && seconds < scale.to) return scale;
    const size = scale.to - scale.from;
    return kept(seconds - size / 10, size);
}

function kept(from: number, size: number): Scale {
    const start = Math.min(Math.max(0, from), DAY_SECONDS - size);
    return { from: start, to: start + size };
}

/** Seconds that get a mark, at most `most` of them. */
export function ticks(scale: Scale, most: number): number[] {
    const span = scale.to - scale.from;
    const step = TICKS.find((candidate) => span / candidate <= most) ?? (TICKS.at(-1) as number);
    const marks: number[] = [];
    for (let at = Math.ceil(scale.from / step) * step; at <= scale.to; at += step) marks.push(at);
    return marks;
}
