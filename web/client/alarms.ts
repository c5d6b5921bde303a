/**
 * Alarms of the device come as `alarm` events, after a log in by serial number with the alarm style "Tool". The process
 * also keeps the page's choice of kinds, on this computer, and acts on none of it. Reached as `client.alarms`.
 */
import type { CommandSender } from './commandSender.ts';
import type { RetReply } from './wire.ts';
import { MainType } from './wire.ts';

/** The alarm style to log in with. */
export const ALARM_STYLE = 'Tool';

/** The choice, in the order in which the process stores it. What each means is the page's own affair. */
export const ALARM_CHOICES = [
    'Prompt', 'all', 'Motion', 'Blind', 'Loss', 'IO', 'Analyze', 'Human', 'FaceDetect', 'DiskError', 'DiskFull', 'Carshape',
] as const;
export type AlarmChoiceKey = (typeof ALARM_CHOICES)[number];
export type AlarmChoice = Record<AlarmChoiceKey, boolean>;

interface AlarmChoiceReply extends RetReply {
    alarmtype: Partial<AlarmChoice>;
}

export class AlarmCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    saveChoice(choice: AlarmChoice): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.SaveAlarmChoice, SubType: 0, alarmtype: { ...choice } });
    }

    /** All false on a computer where none was ever stored. */
    async readChoice(): Promise<AlarmChoice> {
        const { alarmtype } = await this.sender.checked<AlarmChoiceReply>({ MainType: MainType.ReadAlarmChoice, SubType: 0 });
        return Object.fromEntries(ALARM_CHOICES.map((key) => [key, alarmtype?.[key] === true])) as AlarmChoice;
    }
}
