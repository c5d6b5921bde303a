/**
 * Brings the live pictures back after a loss as they were: each channel in its cell, with its stream, and the sound. What
 * does not come at once is tried again, until it comes or the user wants something else.
 */
import { LumoError, messageOf, Page, PlayStatus, RET_SUCCESS, type ChannelResult } from '../../client/index.ts';
import type { LiveMemory } from './model.ts';
import type { Session } from './session.ts';

const FIRST_MS = 1000;
/** While nothing plays an attempt costs nobody anything. */
const MOST_MS = 30000;
/** Else a cell goes dark for it. */
const MOST_DISTURBING_MS = 300000;
const REFUSED = 122;

export class LiveReturn {
    private readonly session: Session;
    /** The live page is shown: only there can an attempt be made. */
    private readonly isShown: () => boolean;
    /** The live page was left, and is remembered there. */
    private readonly isAway: () => boolean;
    /** What is to be there; null when it is, or when the user has changed it. Another object after each loss. */
    private wish: LiveMemory | null = null;
    private timer: ReturnType<typeof setTimeout> | null = null;
    private waitMs = FIRST_MS;
    private attempts = 0;
    private work: Promise<void> = Promise.resolve();

    constructor(session: Session, isShown: () => boolean, isAway: () => boolean) {
        this.session = session;
        this.isShown = isShown;
        this.isAway = isAway;
        session.on('interrupted', () => this.onInterrupted());
        session.on('ended', () => this.forget());
    }

    /** Resolves when no attempt is under way. What the user starts meanwhile would go elsewhere. */
    get idle(): Promise<void> {
        return this.work;
    }

    /** The user wants something else. */
    forget(): void {
        this.cancelTimer();
        this.wish = null;
    }

    /** The user chose which channel sounds. */
    sounded(channel: number): void {
        if (this.wish) this.wish.sound = channel;
    }

    /** What is still to come is somebody else's affair from now on; null when nothing is. */
    take(): LiveMemory | null {
        const { wish } = this;
        this.forget();
        return wish;
    }

    /** After a log in. `anew`: the process is another one. */
    bringBack(anew: boolean, wish = this.wish): Promise<void> {
        this.wish = wish;
        this.waitMs = FIRST_MS;
        return this.attempt(async (wanted) => {
            if (wanted.playing.length === 0) return;
            // The same process has kept what stood where, over a log in in place, and starts it.
            await this.client.showPage(Page.Live);
            await this.learn(wanted, anew ? await this.place(wanted, this.present(wanted)) : []);
        });
    }

    /** Any stop makes the process forget which channel has the sound, although that goes on: tell it anew. */
    async reviveSound(channel: number): Promise<void> {
        if (channel < 0 || !this.model.channels[channel]?.playing) return;
        let { Audio } = await this.client.toggleSound(channel);
        if (!Audio) ({ Audio } = await this.client.toggleSound(channel));
        this.model.sounded(channel, Audio);
    }

    private get client() {
        return this.session.client;
    }

    private get model() {
        return this.session.model;
    }

    private onInterrupted(): void {
        this.cancelTimer();
        if (this.isAway()) return;
        const now = this.model.remember();
        const before = this.wish;
        this.wish = { ...(before ?? now), recording: [...new Set([...(before?.recording ?? []), ...now.recording])] };
    }

    private attempt(run: (wish: LiveMemory) => Promise<void>): Promise<void> {
        const { wish } = this;
        if (!wish) return Promise.resolve();
        this.work = this.carryOut(wish, run);
        return this.work;
    }

    private async carryOut(wish: LiveMemory, run: (wish: LiveMemory) => Promise<void>): Promise<void> {
        let trouble = '';
        try {
            await run(wish);
            if (this.isWanted(wish)) await this.reviveSound(wish.sound);
        } catch (error) {
            trouble = messageOf(error);
        }
        if (this.isWanted(wish)) this.conclude(wish, trouble);
    }

    /** Neither lost again meanwhile nor changed by the user. */
    private isWanted(wish: LiveMemory): boolean {
        return this.wish === wish && this.session.phase === 'live';
    }

    private conclude(wish: LiveMemory, trouble: string): void {
        const missing = this.missing(wish);
        const ended = endedText(wish.recording);
        if (missing.length > 0 || trouble) {
            const wait = this.schedule();
            return this.session.tell('error', `${trouble || this.model.failureText(missing)} Next attempt in ${Math.round(wait / 1000)} s.${ended}`);
        }
        const count = this.present(wish).length;
        this.forget();
        this.session.tell('info', `The connection is back${count > 0 ? `, with ${count} channel${count > 1 ? 's' : ''}` : ''}.${ended}`);
    }

    /** What the device still has of it. */
    private present(wish: LiveMemory): number[] {
        return wish.playing.filter((channel) => channel < this.model.channels.length && wish.cells.includes(channel));
    }

    private missing(wish: LiveMemory): number[] {
        return this.present(wish).filter((channel) => !this.model.channels[channel]?.playing);
    }

    // ---- again ----

    private schedule(wait = this.waitMs): number {
        const most = this.model.playing.length > 0 ? MOST_DISTURBING_MS : MOST_MS;
        this.waitMs = Math.min(wait * 2, most);
        this.cancelTimer();
        this.timer = setTimeout(() => this.onTimer(), wait);
        return wait;
    }

    private onTimer(): void {
        this.timer = null;
        // A recording would be cut by it.
        if (this.isShown() && this.session.phase === 'live' && this.model.recording.length === 0) void this.attempt((wish) => this.again(wish));
        else this.schedule();
    }

    /** One of those that are missing shows whether the device can: in the selected cell, for a start goes there. */
    private async again(wish: LiveMemory): Promise<void> {
        const { model } = this;
        const missing = this.missing(wish);
        const channel = missing[this.attempts++ % missing.length];
        if (channel === undefined) return this.learn(wish, []);
        const replaced = model.current;
        if (!(await this.try(wish, channel))) {
            if (replaced >= 0) await this.try(wish, replaced);
        } else if (model.cellOf(channel) !== wish.cells.indexOf(channel) && this.isWanted(wish)) {
            await this.client.stopPreview(channel);
            await this.learn(wish, await this.place(wish, replaced >= 0 ? [replaced, ...missing] : missing));
        }
    }

    /** False when the device refuses. */
    private async try(wish: LiveMemory, channel: number): Promise<boolean> {
        const stream = wish.streams[channel] ?? 0;
        const replaced = this.model.current;
        try {
            this.model.started(channel, (await this.client.startPreview(channel, stream)).oldChn, stream);
            return true;
        } catch (error) {
            if (!(error instanceof LumoError) || error.ret === undefined) throw error;
            this.model.startFailed(channel, replaced, error.message);
            return false;
        }
    }

    // ---- cells ----

    /**
     * Starts channels in the cells where they stood. A start goes into the selected window of the page that is shown, and
     * only on the playback page can a command select one; its number is then that of the live cell. What plays is stopped
     * for it and stands in its cell again afterwards. Resolves with those that the device refused.
     */
    private async place(wish: LiveMemory, channels: readonly number[]): Promise<ChannelResult[]> {
        const refused: ChannelResult[] = [];
        if (channels.length === 0) return refused;
        await this.client.showPage(Page.Playback);
        try {
            for (const Chn of channels) {
                if (!this.isWanted(wish)) break;
                const Stream = wish.streams[Chn] ?? 0;
                await this.client.selectPlaybackWindow(wish.cells.indexOf(Chn));
                const { Ret, Error } = await this.startAnyway(Chn, Stream);
                if (Ret !== RET_SUCCESS) refused.push({ Ret, Chn, Stream, Record: false, ...(Error === undefined ? {} : { Error }) });
            }
        } finally {
            await this.client.showPage(Page.Live);
        }
        return refused;
    }

    /** What the process said, whatever it was. */
    private async startAnyway(channel: number, stream: number): Promise<{ Ret: number; Error?: number }> {
        try {
            return await this.client.startPreview(channel, stream);
        } catch (error) {
            if (error instanceof LumoError && error.ret !== undefined) return error.reply as unknown as { Ret: number; Error?: number };
            throw error;
        }
    }

    /** No reply tells what came back: each channel is asked. */
    private async learn(wish: LiveMemory, refused: readonly ChannelResult[]): Promise<void> {
        const channels = this.present(wish);
        const states = await Promise.all(channels.map((channel) => this.client.playStatus(channel)));
        if (!this.isWanted(wish)) return;
        this.model.cameBack(wish, channels.map((Chn, i) => {
            const Stream = wish.streams[Chn] ?? 0;
            if (states[i]?.Status === PlayStatus.Playing) return { Ret: RET_SUCCESS, Chn, Stream, Record: false };
            return refused.find((result) => result.Chn === Chn) ?? { Ret: REFUSED, Chn, Stream, Record: false };
        }));
        this.session.changed();
    }

    private cancelTimer(): void {
        if (this.timer !== null) clearTimeout(this.timer);
        this.timer = null;
    }
}

function endedText(channels: readonly number[]): string {
    if (channels.length === 0) return '';
    const names = channels.map((channel) => channel + 1).join(', ');
    return channels.length === 1 ? ` The recording of channel ${names} ended.` : ` The recordings of channels ${names} ended.`;
}
