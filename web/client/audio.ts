/**
 * Speech: the talk with a device or its channels, and the alarm voice that is recorded here and sent to the device.
 * Reached as `client.audio`. Both use this computer's one microphone: what comes second is refused.
 */
import type { CommandSender } from './commandSender.ts';
import { ALL_CHANNELS, MainType, TalkSub, VoiceSub } from './wire.ts';
import type { RetReply } from './wire.ts';

/** `Data` is the device's own answer: a list under the name that `Name` tells, 1 for a channel that can talk. */
export interface TalkAbilityReply extends RetReply {
    Data?: unknown;
}

/** What the device does with an alarm voice. Devices know others. */
export const VoicePurpose = { Alarm: 0 } as const;

export class AudioCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    /** In place of a talk that runs, even when it then fails. No reason is told. */
    talkToChannel(channel: number = ALL_CHANNELS): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Talk, SubType: TalkSub.Channel, Channel: channel }, this.sender.manyMs);
    }

    /** The device itself. */
    talkToDevice(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Talk, SubType: TalkSub.Device }, this.sender.manyMs);
    }

    /** Succeeds when none runs, too. */
    stopTalk(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Talk, SubType: TalkSub.Stop });
    }

    /** Which channels can talk, from channel 0 on; those behind the end cannot. Null when the device's answer does not say. */
    async talkAbility(): Promise<boolean[] | null> {
        const reply = await this.sender.checked<TalkAbilityReply>({ MainType: MainType.Talk, SubType: TalkSub.Ability });
        return abilityList(reply.Data);
    }

    /** From the beginning, for about five seconds at most. `voiceRecording` counts down, `voiceRecordingEnded` ends it. */
    recordVoice(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Voice, SubType: VoiceSub.Record });
    }

    stopRecording(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Voice, SubType: VoiceSub.StopRecording });
    }

    /** On this computer. `voicePlayEnded` ends it. */
    playVoice(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Voice, SubType: VoiceSub.Play });
    }

    /** `voicePlayEnded` tells when it has. */
    stopPlaying(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.Voice, SubType: VoiceSub.StopPlaying });
    }

    /** Resolves when the transfer goes on; `voiceSent` tells what came of it. */
    sendVoice(channel: number = ALL_CHANNELS, purpose: number = VoicePurpose.Alarm): Promise<RetReply> {
        const command = { MainType: MainType.Voice, SubType: VoiceSub.Send, Channel: channel, FilePurpose: purpose };
        return this.sender.checked(command, this.sender.manyMs);
    }
}

function abilityList(data: unknown): boolean[] | null {
    if (typeof data !== 'object' || data === null) return null;
    const { Name } = data as { Name?: unknown };
    const list = typeof Name === 'string' ? (data as Record<string, unknown>)[Name] : undefined;
    return Array.isArray(list) ? list.map((can) => Boolean(Number(can))) : null;
}
