/**
 * Electronic PTZ: shows a part of a large picture as if a camera were steered there. Reached as `client.ptz`. All commands
 * are for the channel in the selected cell; `electronicPtz` says when to offer them.
 *
 * Lengths are units of a square of `VIRTUAL_SIDE` laid over the picture, whatever its size. Each command resolves with
 * whether it was done: a step past the edge is refused and not shortened, and so is any step for another channel.
 */
import type { CommandSender } from './commandSender.ts';
import { RET_FAILURE, RET_SUCCESS, retText } from './ret.ts';
import { LumoError } from './errors.ts';
import { MainType, PtzSub } from './wire.ts';
import type { RetReply } from './wire.ts';

export const VIRTUAL_SIDE = 8192;

export type PtzDirection = 'up' | 'down' | 'left' | 'right';

const DIRECTIONS: Record<PtzDirection, number> = { up: PtzSub.Up, down: PtzSub.Down, left: PtzSub.Left, right: PtzSub.Right };

export class PtzCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    /** Shows the whole picture, and drags in the cell zoom no more. Done, too, when it is open already. */
    open(channel: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.Open, Channel: channel });
    }

    move(channel: number, direction: PtzDirection, step: number): Promise<boolean> {
        return this.run({ SubType: DIRECTIONS[direction], Channel: channel, Step: step });
    }

    /** Each edge goes in by `step`. */
    zoomIn(channel: number, step: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.ZoomIn, Channel: channel, Step: step });
    }

    /** Each edge goes out by `step`; refused near an edge, although the other sides have room. */
    zoomOut(channel: number, step: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.ZoomOut, Channel: channel, Step: step });
    }

    /** Back to the whole picture; refused when it is shown already. */
    whole(channel: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.Whole, Channel: channel });
    }

    /** The region as it stands, under any number. A start of any channel forgets all presets. */
    storePreset(channel: number, preset: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.StorePreset, Channel: channel, Preset: preset });
    }

    goToPreset(channel: number, preset: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.GoToPreset, Channel: channel, Preset: preset });
    }

    /** Done, too, for one that is not there, as long as there is any. */
    deletePreset(channel: number, preset: number): Promise<boolean> {
        return this.run({ SubType: PtzSub.DeletePreset, Channel: channel, Preset: preset });
    }

    private async run(command: { SubType: number; [key: string]: number }): Promise<boolean> {
        const reply = await this.sender.request<RetReply>({ MainType: MainType.Ptz, ...command });
        if (reply.Ret === RET_SUCCESS) return true;
        if (reply.Ret === RET_FAILURE) return false;
        throw new LumoError('ret', retText(reply.Ret), reply.Ret, reply);
    }
}
