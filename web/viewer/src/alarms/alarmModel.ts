/** The alarms of this session, newest first: plain values. */
import type { AlarmChoice, AlarmChoiceKey, AlarmData } from '../../../client/index.ts';

export interface Alarm {
    id: number;
    /** Milliseconds since 1970, of this computer. */
    at: number;
    /** When its stop came; null while it lasts, for one that never ends, and when its end is unknown. */
    until: number | null;
    /** It lasted when the connection was lost: nobody will tell its end. */
    cut: boolean;
    channel: number;
    event: string;
    status: string;
    /** The same pulse again and again is one entry. */
    count: number;
}

/** More than anyone reads; a flood replaces the oldest that is over. */
const MOST = 200;

export class AlarmModel {
    list: Alarm[] = [];
    private lastId = 0;

    /** True when it is a new one, and not the end or the repetition of one that is there. */
    add(data: AlarmData, at: number): boolean {
        const { Channel: channel, Event: event, Status: status } = data;
        const isSame = (alarm: Alarm) => Object.is(alarm.channel, channel) && alarm.event === event;
        const lasting = this.list.find((alarm) => isSame(alarm) && isLasting(alarm));
        if (lasting && status === 'Stop') {
            lasting.until = at;
            return false;
        }
        const [newest] = this.list;
        const repeated = status === 'Start' ? lasting : newest && isSame(newest) && newest.status === status ? newest : undefined;
        if (repeated) {
            repeated.count++;
            return false;
        }
        this.list = shortened([{ id: ++this.lastId, at, until: null, cut: false, channel, event, status, count: 1 }, ...this.list]);
        return status !== 'Stop';
    }

    /** The connection was lost: a new log in hears nothing of what ended meanwhile. True if anything lasted. */
    cut(): boolean {
        const lasting = this.list.filter(isLasting);
        for (const alarm of lasting) alarm.cut = true;
        return lasting.length > 0;
    }

    clear(): void {
        this.list = [];
    }

    /** Those that have begun and not ended. */
    get active(): number {
        return this.list.filter(isLasting).length;
    }
}

/** It has begun and not ended. */
export function isLasting({ status, until, cut }: Alarm): boolean {
    return status === 'Start' && until === null && !cut;
}

function shortened(list: Alarm[]): Alarm[] {
    if (list.length <= MOST) return list;
    // What goes on stays in sight: it goes only when nothing else is there.
    const last = list.map(isLasting).lastIndexOf(false);
    return list.filter((_, index) => index !== (last > 0 ? last : MOST));
}

const WORDS: ReadonlyMap<string, string> = new Map([
    ['LocalIO', 'Digital input'],
    ['NetAlarm', 'Network alarm'],
    ['VideoMotion', 'Motion'],
    ['VideoLoss', 'No video'],
    ['VideoBlind', 'Camera covered'],
    ['StorageNotExist', 'No disk'],
    ['StorageFailure', 'Disk failure'],
    ['StorageFailureRead', 'Disk cannot be read'],
    ['StorageFailureWrite', 'Disk cannot be written'],
    ['StorrageLowSpace', 'Disk full'],
    ['NetAbort', 'Network down'],
    ['NetIPConflict', 'Address conflict'],
    ['VideoAnalyze', 'Rule crossed'],
    ['LoginFailed', 'Log in failed'],
    ['PlateDetect', 'Number plate'],
    ['PIRAlarm', 'Warm body'],
    ['PIRDetect', 'Warm body'],
    ['appEventHumanDetectAlarm', 'Person'],
    ['FaceDetect', 'Face'],
    ['FaceDetectV2', 'Face'],
    ['FaceRecognition', 'Known face'],
]);

/** What a person reads; the process's own word for the rest. */
export function alarmWords(event: string): string {
    return WORDS.get(event) ?? (event === '' ? 'Unknown alarm' : event);
}

/** Kinds that are told of the device as a whole, whatever channel stands with them. */
const OF_THE_DEVICE = /^(Storr?age|Net|LoginFailed$)/;

/** Where it is: a channel, an input of the device, or the device itself. */
export function alarmPlace(channel: number, event: string): string {
    if (!(channel >= 0) || OF_THE_DEVICE.test(event)) return 'Device';
    return `${event === 'LocalIO' ? 'Input' : 'Channel'} ${channel + 1}`;
}

const KINDS: ReadonlyMap<string, AlarmChoiceKey> = new Map([
    ['VideoMotion', 'Motion'],
    ['VideoBlind', 'Blind'],
    ['VideoLoss', 'Loss'],
    ['LocalIO', 'IO'],
    ['VideoAnalyze', 'Analyze'],
    ['appEventHumanDetectAlarm', 'Human'],
    ['PIRAlarm', 'Human'],
    ['PIRDetect', 'Human'],
    ['FaceDetect', 'FaceDetect'],
    ['FaceDetectV2', 'FaceDetect'],
    ['FaceRecognition', 'FaceDetect'],
    ['StorageNotExist', 'DiskError'],
    ['StorageFailure', 'DiskError'],
    ['StorageFailureRead', 'DiskError'],
    ['StorageFailureWrite', 'DiskError'],
    ['StorrageLowSpace', 'DiskFull'],
    ['PlateDetect', 'Carshape'],
]);

/** Whether the user wants to hear it. The list shows every alarm, whatever the choice. */
export function isHeard(choice: AlarmChoice, event: string): boolean {
    const kind = KINDS.get(event);
    return choice.Prompt && (choice.all || (kind !== undefined && choice[kind]));
}
