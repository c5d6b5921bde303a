/** What a device has recorded on a day: its files and pictures, and what follows from them. Pure values. */
import type { FileSpan } from '../../../client/index.ts';
import { secondsOn, timeText, type DateText } from './dayTime.ts';

/** Seconds since midnight, the end not included. */
export interface Block {
    begin: number;
    end: number;
}

export interface RecordedFile extends Block {
    name: string;
    /** Bytes. */
    length: number;
    type: number;
    stream: number;
}

export interface RecordedPicture {
    name: string;
    at: number;
    /** Bytes. */
    length: number;
}

export interface RecordedDay {
    date: DateText;
    files: RecordedFile[];
    pictures: RecordedPicture[];
    /** The files as one, where one follows on the other. */
    blocks: Block[];
}

/** Between two files of one recording: the end of one is written to the second, the next begins in it. */
const SEAM_SECONDS = 1;

/** From the device's answer. Null when it is none; what is no file or picture in it is left out. */
export function readDay(date: DateText, answer: unknown): RecordedDay | null {
    if (!isObject(answer) || !Array.isArray(answer.files)) return null;
    const files = answer.files.flatMap((entry) => readFile(date, entry)).sort((a, b) => a.begin - b.begin);
    const pictures = (Array.isArray(answer.pictures) ? answer.pictures : []).flatMap((entry) => readPicture(date, entry));
    pictures.sort((a, b) => a.at - b.at);
    return { date, files, pictures, blocks: mergeBlocks(files) };
}

function readFile(date: DateText, entry: unknown): RecordedFile[] {
    if (!isObject(entry) || typeof entry.name !== 'string') return [];
    const begin = secondsOn(date, String(entry.begin));
    const end = secondsOn(date, String(entry.end));
    if (begin === null || end === null || end <= begin) return [];
    return [{ name: entry.name, begin, end, length: number(entry.length), type: number(entry.type), stream: number(entry.stream) }];
}

function readPicture(date: DateText, entry: unknown): RecordedPicture[] {
    if (!isObject(entry) || typeof entry.name !== 'string') return [];
    const at = secondsOn(date, String(entry.time));
    return at === null ? [] : [{ name: entry.name, at, length: number(entry.length) }];
}

export function mergeBlocks(files: readonly Block[]): Block[] {
    const blocks: Block[] = [];
    for (const { begin, end } of [...files].sort((a, b) => a.begin - b.begin)) {
        const last = blocks.at(-1);
        if (last && begin <= last.end + SEAM_SECONDS) last.end = Math.max(last.end, end);
        else blocks.push({ begin, end });
    }
    return blocks;
}

export function blockAt(blocks: readonly Block[], at: number): Block | null {
    return blocks.find(({ begin, end }) => at >= begin && at < end) ?? null;
}

/** When something is recorded at or after `at`; null when nothing is. */
export function nextRecorded(blocks: readonly Block[], at: number): number | null {
    const found = blocks.find(({ end }) => at < end);
    return found ? Math.max(found.begin, at) : null;
}

/** The parts of the files that lie within a range, as a download names them. */
export function piecesOf(day: RecordedDay, from: number, to: number): FileSpan[] {
    return day.files.filter(({ begin, end }) => begin < to && end > from).map((file) => pieceOf(day.date, file, from, to));
}

/** A whole file, or the part of it within a range: its name stays, the times tell the part. */
export function pieceOf(date: DateText, file: RecordedFile, from = file.begin, to = file.end): FileSpan {
    const begin = Math.max(file.begin, from);
    const end = Math.min(file.end, to);
    const share = (end - begin) / (file.end - file.begin);
    return { name: file.name, begin: fullText(date, begin), end: fullText(date, end), length: Math.round(file.length * share) };
}

/** A file may reach into the days beside its own. */
function fullText(date: DateText, seconds: number): string {
    return new Date(Date.parse(`${date}T00:00:00Z`) + seconds * 1000).toISOString().slice(0, 19).replace('T', ' ');
}

export function pictureSpan(date: DateText, picture: RecordedPicture): FileSpan {
    const at = timeText(date, picture.at);
    return { name: picture.name, begin: at, end: at, length: picture.length };
}

export function isObject(value: unknown): value is Record<string, unknown> {
    return typeof value === 'object' && value !== null && !Array.isArray(value);
}

function number(value: unknown): number {
    return typeof value === 'number' && Number.isFinite(value) ? value : 0;
}
