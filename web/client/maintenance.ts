/**
 * Firmware of the device, files into it, and the viewer program's own version. Reached as `client.maintenance`. The dialogs are windows of this computer;
 * one that cannot be shown never answers, so those commands wait without limit unless told otherwise.
 */
import { LumoError } from './errors.ts';
import type { CommandSender } from './commandSender.ts';
import type { PickReply } from './requests.ts';
import { deviceErrorText, RET_NO_PATH, RET_NOTHING_TO_DO, RET_SUCCESS, retText } from './ret.ts';
import { ImportSub, LocalUpgradeSub, MainType, OnlineUpgradeSub, VersionSub } from './wire.ts';
import type { Reply, RetReply } from './wire.ts';

/** `Ret` is the device library's own result: above 0, the device answered. */
export interface NewVersionReply extends RetReply {
    NewVersion: string;
}

/** `Ret` when the transfer could not start, else `nRet`. */
export interface ImportReply extends Reply {
    Ret?: number;
    nRet?: number;
}

/** What the alarm voice beside the program is sent as. */
export const VoiceFileKind = { Alarm: ImportSub.Voice, Other: ImportSub.VoiceOther, Short: ImportSub.VoiceShort } as const;
export type VoiceFileKindIndex = (typeof VoiceFileKind)[keyof typeof VoiceFileKind];

/** All channels, in the commands of this file. */
export const IMPORT_ALL_CHANNELS = 255;

/** Of the codes, one has a meaning of its own here. */
function importText(ret: number): string {
    if (ret === RET_NOTHING_TO_DO) return 'The configuration file cannot be read.';
    return ret < 0 ? deviceErrorText(ret) : retText(ret);
}

export class MaintenanceCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    /** Shows the picker for a firmware file; null when the user took none. */
    async pickFirmware(timeoutMs = 0): Promise<string | null> {
        const reply = await this.sender.request<PickReply>({ MainType: MainType.LocalUpgrade, SubType: LocalUpgradeSub.Pick }, timeoutMs);
        const path = (reply.Path ?? '').replace(/[\r\n]+$/, '');
        return reply.nRet === RET_SUCCESS && path !== '' ? path : null;
    }

    /** Resolves when the upgrade goes on; `upgrade` tells how far it is, and its end. */
    startUpgrade(file: string): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.LocalUpgrade, SubType: LocalUpgradeSub.Start, FileName: file }, this.sender.manyMs);
    }

    /**
     * The newest firmware that the device knows of, or null. A device that knows nothing newer repeats what it told
     * before in this session.
     */
    async newVersion(): Promise<string | null> {
        const reply = await this.sender.request<NewVersionReply>({ MainType: MainType.OnlineUpgrade, SubType: OnlineUpgradeSub.Ask }, this.sender.manyMs);
        if (!(reply.Ret > 0)) throw new LumoError('ret', 'The device does not tell whether there is a newer firmware.', reply.Ret, reply);
        return reply.NewVersion === '' ? null : reply.NewVersion;
    }

    /** To the version that `newVersion` told. */
    startOnlineUpgrade(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.OnlineUpgrade, SubType: OnlineUpgradeSub.Start }, this.sender.manyMs);
    }

    /** Asks for a newer viewer program. Resolves at once; `version` brings the answer, within a minute or never. */
    checkVersion(asked = true): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.CheckVersion, SubType: asked ? VersionSub.Asked : VersionSub.AtLogin });
    }

    /** Shows the picker and gives the device its whole configuration; false when the user took no file. */
    importConfig(timeoutMs = 0): Promise<boolean> {
        return this.import(ImportSub.Config, IMPORT_ALL_CHANNELS, timeoutMs);
    }

    /** Shows the picker and sends any file; resolves when the device has it, with false when the user took none. */
    importFile(channel: number = IMPORT_ALL_CHANNELS, timeoutMs = 0): Promise<boolean> {
        return this.import(ImportSub.PickedFile, channel, timeoutMs);
    }

    /** Sends the alarm voice of this computer; resolves when the device has it. */
    async importVoice(kind: VoiceFileKindIndex, channel: number = IMPORT_ALL_CHANNELS, timeoutMs = 0): Promise<void> {
        await this.import(kind, channel, timeoutMs);
    }

    /** One import at a time: a second one takes over the answers of the first, which then never settles. */
    private async import(SubType: number, Channel: number, timeoutMs: number): Promise<boolean> {
        const reply = await this.sender.request<ImportReply>({ MainType: MainType.Import, SubType, Channel }, timeoutMs);
        const ret = reply.nRet ?? reply.Ret ?? NaN;
        if (ret === RET_SUCCESS) return true;
        if (ret === RET_NO_PATH) return false;
        throw new LumoError('ret', importText(ret), ret, reply);
    }
}
