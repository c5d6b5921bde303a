/** Puts the parts together: one session, its views, and one render for whatever changed. */
import { SessionTitle, type DeviceAddress, type SplitMode } from '../../client/index.ts';
import { ChannelList } from './channelList.ts';
import { h } from './dom.ts';
import { Header } from './header.ts';
import { LiveActions } from './live.ts';
import { loginDefaults, LoginView } from './loginView.ts';
import { splitFor } from './model.ts';
import type { Params, Surroundings } from './params.ts';
import { PicturePanel } from './picturePanel.ts';
import { recall, remember } from './remember.ts';
import { Session } from './session.ts';
import { SettingsPanel } from './settingsPanel.ts';
import { StatusLine } from './statusLine.ts';
import { Toolbar, type PanelName } from './toolbar.ts';

export class App {
    readonly session: Session;
    readonly actions: LiveActions;
    private readonly params: Params;
    private readonly title: SessionTitle;
    private readonly root: HTMLElement;
    private readonly video = h('div', { class: 'video', 'data-testid': 'video' }, h('span', {}, 'The video appears here.'));
    private readonly stage = h('div', { class: 'stage' }, this.video);
    private readonly header: Header;
    private readonly login: LoginView;
    private readonly toolbar: Toolbar;
    private readonly list: ChannelList;
    private readonly status: StatusLine;
    private readonly panels: Record<PanelName, PicturePanel | SettingsPanel>;
    private readonly workspace: HTMLElement;
    private openPanel: PanelName | null = null;
    private renderQueued = false;
    private keptStream: number;

    constructor(root: HTMLElement, params: Params, surroundings: Surroundings) {
        this.root = root;
        this.params = params;
        const title = (this.title = new SessionTitle().keep());
        const kept = recall();
        this.session = new Session(surroundings.hostUrl, title.text, this.video, params.webType);
        this.actions = new LiveActions(this.session);
        this.actions.stream = this.keptStream = params.stream ?? kept.stream ?? 0;
        this.header = new Header(this.session);
        this.login = new LoginView(this.session, loginDefaults(params, surroundings), (device) => void this.enter(device));
        this.toolbar = new Toolbar(this.session, this.actions, (name) => this.togglePanel(name));
        this.list = new ChannelList(this.session, this.actions);
        this.status = new StatusLine(this.session, title.text);
        this.panels = {
            picture: new PicturePanel(this.session, this.actions),
            settings: new SettingsPanel(this.session, kept.fill === true, (fill) => this.setFill(fill)),
        };
        this.workspace = h('div', { class: 'workspace' }, this.list.element, this.stage, this.panels.picture.element, this.panels.settings.element);
        this.setFill(kept.fill === true);
        this.session.on('changed', () => this.queueRender());
        this.session.on('recovered', (channels) => void this.actions.restore(channels));
    }

    start(): void {
        this.root.replaceChildren(this.header.element, this.toolbar.element, this.workspace, this.login.element, this.status.element);
        this.render();
        this.login.focus();
        if (this.params.auto) this.session.client.once('open').then(() => this.enter(this.login.device()));
        this.session.connect();
    }

    /** Ends the session and lets go of the page. */
    dispose(): void {
        this.session.dispose();
        this.toolbar.dispose();
        this.title.release();
        this.root.replaceChildren();
    }

    private async enter(device: DeviceAddress): Promise<void> {
        if (!(await this.session.login(device))) return;
        this.login.clearPassword();
        const { params, actions } = this;
        const { model } = this.session;
        const count = Math.min(params.channels, model.channels.length);
        const split = (params.split ?? (count > 0 ? splitFor(count) : null)) as SplitMode | null;
        if (split !== null && split !== model.split) await actions.setSplit(split);
        if (count === 1) await actions.start(0);
        else if (count > 1) await actions.startFirst(count, model.split);
    }

    private togglePanel(name: PanelName): void {
        this.openPanel = this.openPanel === name ? null : name;
        if (this.openPanel === 'settings') void (this.panels.settings as SettingsPanel).load();
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
        this.root.dataset.phase = phase;
        this.login.element.hidden = inside;
        this.toolbar.element.hidden = !inside;
        this.workspace.hidden = !inside;
        this.panels.picture.element.hidden = this.openPanel !== 'picture';
        this.panels.settings.element.hidden = this.openPanel !== 'settings';
        this.header.render();
        this.login.render();
        this.toolbar.render(this.openPanel);
        this.list.render();
        this.panels[this.openPanel ?? 'picture'].render();
        this.status.render();
        this.rememberStream();
        this.session.surface.refresh();
    }
}
