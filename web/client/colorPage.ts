/**
 * The stream of the image colour page, by a login of its own. Reached as `client.colorPage`. Show the page with
 * `showPage(Page.Color)` first; any other page ends the stream. `setColor` and `readColor` are for the live channels.
 */
import type { CommandSender } from './commandSender.ts';
import { ColorPageSub, MainType } from './wire.ts';
import type { RetReply } from './wire.ts';

export class ColorPageCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    /** In place of what the page shows. `Ret` 1017: the device refused the second login; 122: it refused the stream. */
    start(channel: number, stream: number): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.ColorPage, SubType: ColorPageSub.Start, Channel: channel, Stream: stream }, this.sender.manyMs);
    }

    /** Succeeds when none runs, too. */
    stop(): Promise<RetReply> {
        return this.sender.checked({ MainType: MainType.ColorPage, SubType: ColorPageSub.Stop });
    }
}
