/** Puts the parts together: one session, its views, and one render for whatever changed. */
import { ALARM_STYLE, PageMode, SessionTitle, type DeviceAddress, type SplitMode } from '../../client/index.ts';
import { AlarmPanel } from './alarms/alarmPanel.ts';
import { TalkPanel } from './audio/talkPanel.ts';
import { ChannelList } from './channelList.ts';
import { DevicePanel } from './device/devicePanel.ts';
import { h } from './dom.ts';
import { Header, type ViewName } from './header.ts';
import { LiveActions } from './live.ts';
import { loginDefaults, LoginView } from './loginView.ts';
import { splitFor } from './model.ts';
import type { Params, Surroundings } from './params.ts';
import { ColorView } from './picture/colorView.ts';
import { RulePanel } from './picture/rulePanel.ts';
import { PicturePanel } from './picturePanel.ts';
import { PlaybackView } from './playback/playbackView.ts';
import { recall, remember } from './remember.ts';
import { Session } from './session.ts';
import { SettingsPanel } from './settingsPanel.ts';
import { StatusLine } from './statusLine.ts';
import { Toolbar, type PanelName } from './toolbar.ts';

export class App {
    readonly session: Session;
    readonly actions: LiveActions;
    readonly playback: PlaybackView;
    view: ViewName = 'live';
    private readonly params: Params;
    private readonly servedBy: string | null;
    private readonly title: SessionTitle;
    private readonly root: HTMLElement;
    private readonly video = h('div', { class: 'video', 'data-testid': 'video' }, h('span', {}, 'The video appears here.'));
    private readonly stage = h('div', { class: 'stage' }, this.video);
    private readonly header: Header;
    private readonly login: LoginView;
    private readonly toolbar: Toolbar;
    private readonly list: ChannelList;
    private readonly status: StatusLine;
    private readonly picture: PicturePanel;
    private readonly rule: RulePanel;
    private readonly color: ColorView;
    private readonly settings: SettingsPanel;
    private readonly alarms: AlarmPanel;
    private readonly talk: TalkPanel;
    private readonly device: DevicePanel;
    private readonly workspace: HTMLElement;
    private openPanel: PanelName | null = null;
    private renderQueued = false;
    private keptStream: number;
    private switching = false;
    /** The user was told that leaving playback stops the download. */
    private warned = false;

    constructor(root: HTMLElement, params: Params, surroundings: Surroundings) {
        this.root = root;
        this.params = params;
        this.servedBy = surroundings.device?.origin ?? null;
        const title = (this.title = new SessionTitle().keep());
        const kept = recall();
        this.session = new Session(surroundings.hostUrl, title.text, this.video, { webType: params.webType, sampleRate16: params.wideSpeech, alarmStyle: ALARM_STYLE }, params.encryption);
        this.actions = new LiveActions(this.session, () => this.view === 'live' && !this.switching);
        this.actions.stream = this.keptStream = params.stream ?? kept.stream ?? 0;
        this.header = new Header(this.session, (view) => void this.show(view), () => this.togglePanel('alarms'));
        this.playback = new PlaybackView(this.session, (name) => this.togglePanel(name), () => this.openFiles());
        this.login = new LoginView(this.session, loginDefaults(params, surroundings), (device) => void this.enter(device));
        this.toolbar = new Toolbar(this.session, this.actions, (name) => this.togglePanel(name));
        this.list = new ChannelList(this.session, this.actions);
        this.picture = new PicturePanel(this.session, this.actions);
        this.rule = new RulePanel(this.session);
        this.color = new ColorView(this.session);
        this.settings = new SettingsPanel(this.session, kept.fill === true, (fill) => this.setFill(fill));
        this.alarms = new AlarmPanel(this.session);
        this.status = new StatusLine(this.session, title.text, this.alarms.silence);
        this.talk = new TalkPanel(this.session);
        this.device = new DevicePanel(this.session);
        const middle = h('div', { class: 'middle' }, this.stage, this.playback.day.element);
        this.workspace = h('div', { class: 'workspace' }, this.list.element, this.playback.channels.element, middle,
            this.talk.element, this.alarms.element, this.picture.element, this.rule.element, this.device.element, this.settings.element,
            this.playback.files.element);
        this.setFill(kept.fill === true);
        this.session.on('changed', () => this.queueRender());
        this.session.on('recovered', ({ anew }) => void this.onRecovered(anew));
        this.session.on('interrupted', () => this.playback.job.lost('The download was cut off: the connection was lost.'));
        this.session.on('ended', () => this.onEnded());
    }

    start(): void {
        this.root.replaceChildren(this.header.element, this.toolbar.element, this.playback.toolbar.element, this.color.toolbar, this.workspace, this.login.element, this.status.element);
        this.render();
        this.login.focus();
        if (this.params.auto) this.session.client.once('open').then(() => this.enter(this.login.device(), true));
        this.session.connect();
    }

    /** Ends the session and lets go of the page. */
    dispose(): void {
        this.session.dispose();
        this.toolbar.dispose();
        this.playback.dispose();
        this.alarms.dispose();
        this.settings.dispose();
        this.actions.forget();
        this.title.release();
        this.root.replaceChildren();
    }

    /** `patient`: waits for a device that does not answer yet. */
    private async enter(device: DeviceAddress, patient = false): Promise<void> {
        if (!(await this.session.login(device, patient))) return;
        this.login.clearPassword();
        const { params, actions } = this;
        const { model } = this.session;
        this.playback.useDevice(device, this.servedBy, model.channels.length);
        const count = Math.min(params.channels, model.channels.length);
        const split = (params.split ?? (count > 0 ? splitFor(count) : null)) as SplitMode | null;
        if (split !== null && split !== model.split) await actions.setSplit(split);
        if (count === 1) await actions.start(0);
        else if (count > 1) await actions.startFirst(count, model.split);
        if (params.view !== 'live') await this.show(params.view);
        // What nobody waits for comes last.
        void this.alarms.load();
        this.session.client.maintenance.checkVersion(false).catch(() => undefined); // no matter for a status line
    }

    /** One page of the surface at a time: the streams of the other stop. */
    async show(view: ViewName): Promise<void> {
        if (view === this.view || this.switching || this.session.phase !== 'live' || !this.mayLeave()) return;
        this.switching = true;
        await this.actions.settled;
        if (this.openPanel !== 'settings' && this.openPanel !== 'alarms') this.openPanel = null;
        await this.switchTo(view);
        this.switching = false;
        this.render();
    }

    /** The live streams stop for playback only: behind the image they go on. */
    private async switchTo(view: ViewName): Promise<void> {
        if (this.session.phase !== 'live') return;
        if (this.view === 'playback') this.playback.lost('');
        if (view === 'playback') {
            const { playing } = this.actions.leave();
            if (!(await this.playback.actions.enter(playing))) return this.actions.stay();
        } else if (view === 'color') {
            if (!(await this.color.enter())) return;
        }
        if (view !== 'color') this.color.left();
        this.view = view;
        if (view === 'live') await this.actions.enter();
    }

    /** Leaving playback ends a download; that is not to happen by mistake. */
    private mayLeave(): boolean {
        if (this.view !== 'playback' || !this.playback.job.isRunning || this.warned) {
            this.warned = false;
            return true;
        }
        this.warned = true;
        this.session.tell('error', 'A download is under way, and ends when you leave. Choose Live again to leave all the same.');
        return false;
    }

    private async onRecovered(anew: boolean): Promise<unknown> {
        this.rule.restore();
        if (this.view === 'color') await this.backToLive();
        return this.view === 'playback' ? this.playback.actions.reenter() : this.actions.bringBack(anew);
    }

    /** The image's own login went with the other. */
    private async backToLive(): Promise<void> {
        this.color.left();
        this.view = 'live';
        await this.actions.enter();
    }

    private onEnded(): void {
        this.playback.lost('');
        this.color.left();
        this.rule.forget();
        this.actions.forget();
        this.view = 'live';
        this.openPanel = null;
    }

    private openFiles(): void {
        if (this.openPanel !== 'files') this.togglePanel('files');
    }

    private togglePanel(name: PanelName): void {
        this.openPanel = this.openPanel === name ? null : name;
        if (this.openPanel === 'settings') void this.settings.load();
        if (this.openPanel === 'files') void this.playback.files.load();
        if (this.openPanel === 'talk') void this.talk.load();
        this.render();
    }

    private rememberStream(): void {
        if (this.actions.stream === this.keptStream) return;
        this.keptStream = this.actions.stream;
        remember({ stream: this.keptStream });
    }

    private setFill(fill: boolean): void {
        this.stage.classList.toggle('fill', fill);
        remember({ fill });
        this.session.surface.refresh();
    }

    /** Many things change at once; the page is brought up to date once for all of them. */
    private queueRender(): void {
        if (this.renderQueued) return;
        this.renderQueued = true;
        queueMicrotask(() => {
            this.renderQueued = false;
            this.render();
        });
    }

    private render(): void {
        const { phase } = this.session;
        const inside = phase === 'live' || phase === 'recovering';
        const live = inside && this.view === 'live';
        const playback = inside && this.view === 'playback';
        const color = inside && this.view === 'color';
        this.root.dataset.phase = phase;
        this.root.dataset.view = this.view;
        this.login.element.hidden = inside;
        this.workspace.hidden = !inside;
        this.toolbar.element.hidden = this.list.element.hidden = !live;
        this.playback.toolbar.element.hidden = this.playback.channels.element.hidden = this.playback.day.element.hidden = !playback;
        this.color.toolbar.hidden = !color;
        this.talk.element.hidden = this.openPanel !== 'talk';
        this.alarms.element.hidden = this.openPanel !== 'alarms';
        this.picture.element.hidden = this.openPanel !== 'picture' && !color;
        this.rule.element.hidden = this.openPanel !== 'rule';
        this.device.element.hidden = this.openPanel !== 'device';
        this.settings.element.hidden = this.openPanel !== 'settings';
        this.playback.files.element.hidden = this.openPanel !== 'files';
        this.header.render(this.view, this.openPanel === 'alarms', this.alarms.model.active);
        this.login.render();
        this.toolbar.render(this.openPanel);
        this.list.render();
        if (this.openPanel === 'settings') this.settings.render();
        else this.picture.render(color);
        if (this.openPanel === 'rule') this.rule.render();
        if (color) this.color.render();
        if (this.openPanel === 'device') this.device.render();
        if (this.openPanel === 'alarms') this.alarms.render();
        this.alarms.renderSilence(inside);
        this.talk.render(inside && this.openPanel === 'talk');
        if (playback) this.playback.render(this.openPanel);
        this.status.render(playback ? this.playbackSelection() : color ? this.color.selection() : this.liveSelection());
        this.rememberStream();
        this.session.surface.refresh();
    }

    private liveSelection(): string {
        const { model } = this.session;
        return `Cell ${model.selected + 1}: ${model.current < 0 ? 'empty' : `channel ${model.current + 1}`}`;
    }

    private playbackSelection(): string {
        const { model } = this.playback.actions;
        if (model.mode === PageMode.Local) return `Window ${model.selected + 1}: ${model.current.active ? 'local file' : 'empty'}`;
        const channel = model.mode === PageMode.ByName ? (model.playing?.channel ?? -1) : model.current.chosen;
        return `Window ${model.selected + 1}: ${channel < 0 ? 'empty' : `channel ${channel + 1}`}`;
    }
}
