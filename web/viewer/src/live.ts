/**
 * What the user does on the live page, as commands. Every action tells the status line how it went and leaves the
 * model true.
 */
import { ColorType, messageOf, NO_CHANNEL, Page, RET_SUCCESS, type ChannelResult, type ColorIndex, type SplitMode } from '../../client/index.ts';
import { LiveReturn } from './liveReturn.ts';
import type { LiveMemory, LiveModel } from './model.ts';
import type { Session } from './session.ts';

export class LiveActions {
    /** For the next start: 0 main, 1 sub. */
    stream = 0;
    private readonly session: Session;
    private readonly back: LiveReturn;
    private colorWish = new Map<ColorIndex, number>();
    private colorBusy = false;
    /** What played when the page was left. */
    private away: LiveMemory | null = null;

    /** `isShown`: the live page is, and no other is on its way. */
    constructor(session: Session, isShown: () => boolean) {
        this.session = session;
        this.back = new LiveReturn(session, isShown, () => this.away !== null);
    }

    private get model(): LiveModel {
        return this.session.model;
    }

    private get client() {
        return this.session.client;
    }

    // ---- streams ----

    /** In the selected cell, in place of what that shows. */
    start(channel: number, stream = this.stream): Promise<boolean> {
        this.session.tell('busy', `Starting channel ${channel + 1}…`);
        return this.act(`Channel ${channel + 1} started.`, async () => {
            this.back.forget();
            const replaced = this.model.current;
            const stops = replaced >= 0 || this.model.channels[channel]?.playing === true;
            const { soundChannel } = this.model;
            try {
                const reply = await this.client.startPreview(channel, stream);
                this.model.started(channel, reply.oldChn, stream);
            } catch (error) {
                this.model.startFailed(channel, replaced, messageOf(error));
                throw error;
            } finally {
                if (stops) await this.back.reviveSound(soundChannel);
            }
        });
    }

    stop(channel: number): Promise<boolean> {
        return this.act(`Channel ${channel + 1} stopped.`, async () => {
            this.back.forget();
            const { soundChannel } = this.model;
            await this.client.stopPreview(channel);
            this.model.stopped(channel);
            await this.back.reviveSound(soundChannel);
        });
    }

    /** As many channels as the split has cells. */
    startAll(): Promise<boolean> {
        const count = Math.min(this.model.visibleCells, this.model.channels.length);
        return this.startFirst(count, this.model.split);
    }

    /** Channels 0 to `count` - 1, each in the cell of its number, in split `split`. */
    startFirst(count: number, split: SplitMode): Promise<boolean> {
        this.session.tell('busy', `Starting ${count} channels…`);
        return this.act(`${count} channels started.`, async () => {
            this.back.forget();
            const { soundChannel } = this.model;
            if (this.model.split !== split) await this.changeSplit(split);
            await this.clearCells(count);
            const results = await this.startRange(count);
            this.model.startedMany(results);
            for (const surplus of this.model.playing.filter((channel) => channel >= count && this.model.cellOf(channel) === channel))
                if (results.some((result) => result.Chn === surplus)) await this.stopQuietly(surplus);
            if (this.model.split !== split) await this.changeSplit(split);
            await this.back.reviveSound(soundChannel);
            const failed = results.filter((result) => result.Chn < count && result.Ret !== RET_SUCCESS);
            if (failed.length > 0) throw new Error(this.model.failureText(failed.map(({ Chn }) => Chn)));
        });
    }

    stopAll(): Promise<boolean> {
        this.session.tell('busy', 'Stopping all channels…');
        return this.act('All channels stopped.', async () => {
            this.back.forget();
            await this.client.stopAll();
            this.model.stoppedAll();
        });
    }

    /** The stream for the next start, and for the channel in the selected cell at once. */
    async chooseStream(stream: number): Promise<void> {
        this.stream = stream;
        const { current, currentChannel } = this.model;
        if (currentChannel?.playing && currentChannel.stream !== stream) await this.start(current, stream);
        else this.session.changed();
    }

    /** After the connection came back: all that was shown before. `anew`: by another process. */
    bringBack(anew: boolean): Promise<void> {
        const { away } = this;
        this.away = null;
        return away ? this.back.bringBack(anew, away) : this.back.bringBack(anew);
    }

    // ---- the page ----

    /** Resolves when no stream is being brought back. */
    get settled(): Promise<void> {
        return this.back.idle;
    }

    /** Another page is about to be shown: the streams stop with it. */
    leave(): LiveMemory {
        const { soundChannel: sound } = this.model;
        this.away ??= { ...this.model.remember(), ...this.back.take(), sound };
        return this.away;
    }

    /** The other page did not come. */
    stay(): void {
        // After a loss it is what comes back.
        if (this.session.phase === 'live') this.away = null;
    }

    /** Shows the live page again with all that it showed. */
    async enter(): Promise<boolean> {
        const away = this.away;
        return this.act('', async () => {
            this.session.tell('busy', 'Going back to the live pictures…');
            const { channels } = await this.client.showPage(Page.Live);
            this.away = null;
            this.session.tell('info', 'Live.');
            if (!away) return;
            this.model.cameBack(away, channels);
            // Another process since: it remembers nothing.
            if (channels.length === 0 && away.playing.length > 0) return this.back.bringBack(true, away);
            const lost = channels.filter(({ Chn, Ret }) => away.playing.includes(Chn) && Ret !== RET_SUCCESS);
            if (lost.length > 0) throw new Error(this.model.failureText(lost.map(({ Chn }) => Chn)));
        });
    }

    /** The session ended, or the page goes: there is nothing to come back to. */
    forget(): void {
        this.away = null;
        this.back.forget();
    }

    setSplit(mode: SplitMode): Promise<boolean> {
        return this.act('', () => this.changeSplit(mode));
    }

    // ---- the selected channel ----

    toggleSound(): Promise<boolean> {
        const channel = this.model.current;
        if (channel < 0) return this.refuse();
        return this.act('', async () => {
            const other = this.model.soundChannel;
            // The process leaves channel 0 sounding when another channel's sound is opened.
            if (other === 0 && channel !== 0) this.model.sounded(0, (await this.client.toggleSound(0)).Audio);
            const { Audio } = await this.client.toggleSound(channel);
            this.model.sounded(channel, Audio);
            this.back.sounded(this.model.soundChannel);
            this.session.tell('info', Audio ? `Sound of channel ${channel + 1} on.` : 'Sound off.');
        }, `Channel ${channel + 1} sends no sound, or this computer cannot play it.`);
    }

    snapshot(): Promise<boolean> {
        const channel = this.model.current;
        if (channel < 0) return this.refuse();
        return this.act('', async () => {
            const { CapPath } = await this.client.snapshot(channel);
            this.session.tell('info', `Snapshot of channel ${channel + 1} saved in ${CapPath ?? 'the snapshot folder'}.`);
        }, 'The snapshot could not be saved. Is there a picture, and can the folder be written?');
    }

    toggleRecord(): Promise<boolean> {
        const channel = this.model.current;
        if (channel < 0) return this.refuse();
        return this.act('', async () => {
            const wanted = !this.model.currentChannel?.recording;
            const { Record, RecPath } = await this.client.record(channel, wanted);
            this.model.recorded(channel, Record);
            this.session.tell('info', Record ? `Recording channel ${channel + 1} into ${RecPath}.` : `Recording of channel ${channel + 1} saved in ${RecPath}.`);
        }, 'The recording could not be started. Can its folder be written?');
    }

    toggleAspect(): Promise<boolean> {
        const { currentChannel } = this.model;
        if (!currentChannel) return this.refuse();
        return this.act('', async () => {
            const original = !currentChannel.original;
            await this.client.originalAspect(original);
            currentChannel.original = original;
            this.session.tell('info', original ? 'Original aspect.' : 'Stretched to the cell.');
        });
    }

    /** Sliders move faster than commands go: one is under way at a time, and only the newest value of each counts. */
    setColor(type: ColorIndex, value: number): void {
        this.model.colors = applyColor(this.model.colors, type, value);
        this.colorWish.set(type, value);
        this.session.changed();
        if (!this.colorBusy) void this.sendColors();
    }

    private async sendColors(): Promise<void> {
        this.colorBusy = true;
        for (let next = this.takeColor(); next; next = this.takeColor()) {
            const [type, value] = next;
            await this.act('', () => this.client.setColor(type, value));
        }
        this.colorBusy = false;
    }

    private takeColor(): [ColorIndex, number] | undefined {
        const next = this.colorWish.entries().next().value;
        if (next) this.colorWish.delete(next[0]);
        return next;
    }

    // ---- inside ----

    private async startRange(count: number): Promise<ChannelResult[]> {
        const total = this.model.channels.length;
        if (count >= total) return (await this.client.startAll(this.stream)).channels;
        const quads = Math.ceil(count / 4);
        // Beyond six quads the process shows a single cell, and more channels than there are cannot be asked for.
        const { channels } = quads * 4 <= total ? await this.client.startFirst(quads, this.stream) : await this.client.startAll(this.stream);
        const mode = quads <= 6 ? quads : 0;
        if (quads * 4 <= total) this.model.splitChanged(mode as SplitMode, this.model.cells[0] ?? NO_CHANNEL);
        return channels;
    }

    /** A start of many does not look at what the cells show: what would stay behind a new channel is stopped before. */
    private async clearCells(count: number): Promise<void> {
        const total = this.model.channels.length;
        const reach = count >= total ? total : Math.min(Math.ceil(count / 4) * 4, total);
        for (const channel of this.model.playing) {
            const cell = this.model.cellOf(channel);
            if (channel >= reach && cell >= 0 && cell < reach) await this.stopQuietly(channel);
        }
    }

    private async stopQuietly(channel: number): Promise<void> {
        await this.client.stopPreview(channel);
        this.model.stopped(channel);
    }

    private async changeSplit(mode: SplitMode): Promise<void> {
        const { Chn } = await this.client.setSplit(mode);
        this.model.splitChanged(mode, Chn);
    }

    private refuse(): Promise<boolean> {
        this.session.tell('error', 'The selected cell is empty. Start a channel in it first.');
        return Promise.resolve(false);
    }

    private async act(done: string, work: () => Promise<unknown>, failed?: string): Promise<boolean> {
        await this.back.idle;
        return this.session.attempt(done, work, failed);
    }
}

function applyColor(colors: LiveModel['colors'], type: ColorIndex, value: number): LiveModel['colors'] {
    const keys = ['nBrightness', 'nContrast', 'nSaturation', 'nHue'] as const;
    if (type === ColorType.All) return { nBrightness: value, nContrast: value, nSaturation: value, nHue: value };
    const key = keys[type];
    return key ? { ...colors, [key]: value } : colors;
}
