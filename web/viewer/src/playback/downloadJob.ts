/**
 * Downloads as the page shows them: one list of files after the other, each list for one channel, with the conversion
 * that follows on it. Follows the events of the process; speaks to it by what it is given.
 */
import { Emitter, type FileSpan } from '../../../client/index.ts';

export interface DownloadList {
    channel: number;
    stream: number;
    /** 0 video; anything else is never converted. */
    fileType: number;
    files: FileSpan[];
}

export interface DownloadDriver {
    start(list: DownloadList): Promise<unknown>;
    stop(): Promise<unknown>;
}

export type DownloadPhase = 'idle' | 'downloading' | 'converting' | 'done' | 'failed';

/** Nothing tells the page that a download broke off: it just goes no further. */
const STALLED_MS = 30000;

/** The end is told alike for a whole file and for one that broke off; only a whole one is nearly full just before. */
const NEARLY_WHOLE = 990;

export class DownloadJob extends Emitter<{ changed: void }> {
    phase: DownloadPhase = 'idle';
    /** Where the files are, or why they are not. */
    message = '';
    private readonly driver: DownloadDriver;
    private readonly stalledMs: number;
    private lists: DownloadList[] = [];
    private listIndex = 0;
    private fileIndex = 0;
    private thousandths = 0;
    private brokenOff = 0;
    private converts = false;
    private watchdog: ReturnType<typeof setTimeout> | null = null;

    constructor(driver: DownloadDriver, stalledMs = STALLED_MS) {
        super();
        this.driver = driver;
        this.stalledMs = stalledMs;
    }

    get isRunning(): boolean {
        return this.phase === 'downloading' || this.phase === 'converting';
    }

    /** 0 to 1, of the downloads or of the conversion of one list. */
    get progress(): number {
        if (this.phase === 'done') return 1;
        if (this.phase === 'converting') return this.thousandths / 1000;
        const all = this.lists.reduce((sum, list) => sum + list.files.length, 0);
        return all === 0 ? 0 : Math.min(1, (this.filesBefore + this.fileIndex + this.thousandths / 1000) / all);
    }

    /** "File 2 of 3" */
    get text(): string {
        const all = this.lists.reduce((sum, list) => sum + list.files.length, 0);
        if (this.phase === 'downloading') return all === 1 ? 'Downloading' : `Downloading file ${Math.min(this.filesBefore + this.fileIndex + 1, all)} of ${all}`;
        return this.phase === 'converting' ? 'Converting to AVI' : this.message;
    }

    /** Rejects when the very first list could not be started. `avi`: videos are converted afterwards. */
    async run(lists: readonly DownloadList[], avi: boolean): Promise<void> {
        this.lists = lists.filter(({ files }) => files.length > 0);
        this.listIndex = 0;
        this.brokenOff = 0;
        this.converts = avi;
        this.message = '';
        try {
            await this.startList();
        } catch (error) {
            this.end('failed', error instanceof Error ? error.message : String(error));
            throw error;
        }
    }

    async stop(why = 'The download was stopped.'): Promise<void> {
        if (!this.isRunning) return;
        this.end('failed', why);
        await this.driver.stop();
    }

    /** It is gone already, with its page or its session. */
    lost(why: string): void {
        if (this.isRunning) this.end('failed', why);
    }

    onProgress(pos: number): void {
        if (!this.isRunning) return;
        const before = this.thousandths;
        this.thousandths = pos;
        if (this.phase === 'downloading') {
            this.watch();
            if (pos >= 1000) this.fileDone(before >= NEARLY_WHOLE);
        }
        this.emit('changed', undefined);
    }

    async onDownloaded(folder: string): Promise<void> {
        if (!this.isRunning) return;
        if (this.listIndex + 1 >= this.lists.length) {
            if (this.brokenOff === 0) this.end('done', `Saved in ${folder}.`);
            else this.end('failed', this.whatBrokeOff(folder));
            return;
        }
        this.listIndex++;
        await this.startList().catch((error: unknown) => this.end('failed', error instanceof Error ? error.message : String(error)));
    }

    private get filesBefore(): number {
        return this.lists.slice(0, this.listIndex).reduce((sum, list) => sum + list.files.length, 0);
    }

    private whatBrokeOff(folder: string): string {
        const all = this.filesBefore + (this.lists[this.listIndex]?.files.length ?? 0);
        if (all === 1) return 'The download broke off: the device ended it early, or the disk here is full.';
        return `${this.brokenOff} of ${all} downloads broke off: the device ended them early, or the disk here is full. The others are saved in ${folder}.`;
    }

    private async startList(): Promise<void> {
        const list = this.lists[this.listIndex];
        if (!list) throw new Error('There is nothing to download in this range.');
        this.phase = 'downloading';
        this.fileIndex = 0;
        this.thousandths = 0;
        this.watch();
        this.emit('changed', undefined);
        await this.driver.start(list);
    }

    private fileDone(whole: boolean): void {
        if (!whole) this.brokenOff++;
        this.fileIndex++;
        this.thousandths = 0;
        const list = this.lists[this.listIndex];
        if (!list || this.fileIndex < list.files.length) return;
        // The end of the list is told by itself; only a conversion comes in between.
        if (this.converts && list.fileType === 0) this.phase = 'converting';
        this.unwatch();
    }

    private watch(): void {
        this.unwatch();
        const seconds = Math.round(this.stalledMs / 1000);
        this.watchdog = setTimeout(() => void this.stop(`The download broke off: nothing came from the device for ${seconds} s.`).catch(() => undefined), this.stalledMs);
    }

    private unwatch(): void {
        if (this.watchdog !== null) clearTimeout(this.watchdog);
        this.watchdog = null;
    }

    private end(phase: 'done' | 'failed', message: string): void {
        this.unwatch();
        this.phase = phase;
        this.message = message;
        this.emit('changed', undefined);
    }
}
