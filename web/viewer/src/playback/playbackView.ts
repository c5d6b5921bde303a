/** The playback page as a whole: its parts, and the range that they share. */
import type { DeviceAddress } from '../../../client/index.ts';
import type { Session } from '../session.ts';
import type { PanelName } from '../toolbar.ts';
import { ChannelPicker } from './channelPicker.ts';
import { DayPanel } from './dayPanel.ts';
import { DownloadJob } from './downloadJob.ts';
import { FilesPanel } from './filesPanel.ts';
import { PlaybackActions } from './playback.ts';
import { PlaybackToolbar } from './playbackToolbar.ts';
import { baseFor, RecordingList } from './recordingList.ts';
import type { Block } from './recordings.ts';

export class PlaybackView {
    readonly recordings = new RecordingList();
    readonly actions: PlaybackActions;
    readonly job: DownloadJob;
    readonly toolbar: PlaybackToolbar;
    readonly channels: ChannelPicker;
    readonly day: DayPanel;
    readonly files: FilesPanel;
    private readonly session: Session;
    private range: Block | null = null;
    private rangeDate = '';

    constructor(session: Session, togglePanel: (name: PanelName) => void, openFiles: () => void) {
        this.session = session;
        const { client } = session;
        this.actions = new PlaybackActions(session, this.recordings);
        this.job = new DownloadJob({
            start: ({ channel, files, stream, fileType }) => client.playback.download(channel, files, { stream, fileType }),
            stop: () => client.playback.stopDownload(),
        });
        this.toolbar = new PlaybackToolbar(session, this.actions, togglePanel);
        this.channels = new ChannelPicker(session, this.actions);
        this.day = new DayPanel(session, this.actions, (range) => this.setRange(range), openFiles);
        this.files = new FilesPanel(session, this.actions, this.job, (range) => this.setRange(range));
        this.recordings.on('changed', () => session.changed());
        this.job.on('changed', () => this.onJob());
        client.on('downloadProgress', ({ Pos }) => this.job.onProgress(Pos));
        client.on('downloaded', ({ DownPath }) => void this.job.onDownloaded(DownPath));
    }

    /** After a log in: nothing of another device counts any more. `servedBy`: origin of the device that served the page. */
    useDevice(device: DeviceAddress, servedBy: string | null, channelCount: number): void {
        this.recordings.useDevice(baseFor(device, servedBy));
        this.actions.model.reset(channelCount);
        this.actions.model.date = '';
        this.range = null;
    }

    /** The session or the page is gone, and with it whatever was under way. */
    lost(why: string): void {
        this.job.lost(why);
        this.actions.model.stopped();
    }

    dispose(): void {
        this.toolbar.dispose();
        this.job.lost('');
    }

    render(openPanel: PanelName | null): void {
        // A range belongs to its day.
        if (this.actions.model.date !== this.rangeDate) this.range = null;
        this.rangeDate = this.actions.model.date;
        this.toolbar.render(openPanel, this.job.isRunning ? this.job.progress : null);
        this.channels.render();
        this.day.render(this.range);
        if (openPanel === 'files') this.files.render(this.range);
    }

    private setRange(range: Block | null): void {
        this.range = range;
        this.session.changed();
    }

    private onJob(): void {
        const { phase, message } = this.job;
        if (phase === 'done') this.session.tell('info', message);
        else if (phase === 'failed' && message) this.session.tell('error', message);
        else this.session.changed();
    }
}
