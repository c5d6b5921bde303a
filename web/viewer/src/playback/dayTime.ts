/**
 * Times of a device's day as text and as seconds since its midnight. The device's own clock throughout: nothing here
 * knows or asks for the time zone of this computer.
 */
export const DAY_SECONDS = 86400;

/** "2026-11-20" */
export type DateText = string;

export function isDate(text: string): boolean {
    const parts = /^(\d{4})-(\d\d)-(\d\d)$/.exec(text);
    return parts !== null && shiftDate(text, 0) === text;
}

/** The date so many days later. */
export function shiftDate(date: DateText, days: number): DateText {
    const [year, month, day] = date.split('-').map(Number);
    return new Date(Date.UTC(year ?? 0, (month ?? 1) - 1, (day ?? 1) + days)).toISOString().slice(0, 10);
}

/** "2026-11-20 10:00:00"; at most the last second of the day. */
export function timeText(date: DateText, seconds: number): string {
    return `${date} ${clock(seconds)}`;
}

/** Seconds since midnight of `date`; below 0 or above a day for other dates. Null for what is no time. */
export function secondsOn(date: DateText, text: string): number | null {
    const parts = /^(\d{4}-\d\d-\d\d)[ T](\d\d):(\d\d):(\d\d)/.exec(text);
    if (!parts) return null;
    const days = (Date.parse(`${parts[1]}T00:00:00Z`) - Date.parse(`${date}T00:00:00Z`)) / 1000;
    return Number.isFinite(days) ? days + Number(parts[2]) * 3600 + Number(parts[3]) * 60 + Number(parts[4]) : null;
}

/** "10:23:45"; kept within the day. */
export function clock(seconds: number): string {
    const kept = Math.min(Math.max(0, Math.floor(seconds)), DAY_SECONDS - 1);
    const two = (value: number) => String(Math.floor(value)).padStart(2, '0');
    return `${two(kept / 3600)}:${two((kept / 60) % 60)}:${two(kept % 60)}`;
}

/** "10", "10:23" or "10:23:45"; null for anything else. */
export function parseClock(text: string): number | null {
    const parts = /^\s*(\d{1,2})(?::(\d{1,2}))?(?::(\d{1,2}))?\s*$/.exec(text);
    if (!parts) return null;
    const [hours, minutes, seconds] = [Number(parts[1]), Number(parts[2] ?? 0), Number(parts[3] ?? 0)];
    return hours < 24 && minutes < 60 && seconds < 60 ? hours * 3600 + minutes * 60 + seconds : null;
}

/** "2 min 5 s", for how long something is. */
export function duration(seconds: number): string {
    const whole = Math.round(seconds);
    const parts: [number, string][] = [[Math.floor(whole / 3600), 'h'], [Math.floor(whole / 60) % 60, 'min'], [whole % 60, 's']];
    const shown = parts.filter(([value]) => value > 0).slice(0, 2);
    return shown.length > 0 ? shown.map(([value, unit]) => `${value} ${unit}`).join(' ') : '0 s';
}
