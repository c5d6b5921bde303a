/** Play, step, speed, and what can be done with the selected window. */
import { PageMode } from '../../../client/index.ts';
import { h, setAttribute, setPressed } from '../dom.ts';
import { icon, type IconName } from '../icons.ts';
import type { Session } from '../session.ts';
import { group, isTyping, segment, tool, type PanelName } from '../toolbar.ts';
import { speedText, type PlaybackActions } from './playback.ts';
import type { Speed } from './playbackModel.ts';

const SPEEDS: readonly Speed[] = [-4, -3, -2, -1, 0, 1, 2, 3, 4];

export class PlaybackToolbar {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly actions: PlaybackActions;
    private readonly sources = [
        segment('Recordings', 'source-device', 'What the device recorded'),
        segment('Local file', 'source-local', 'A file on this computer'),
    ];
    private readonly stepBack = tool('stepBack', null, 'step-back', 'One picture back (,)');
    private readonly play = tool('play', null, 'play', 'Play (Space)');
    private readonly stepForward = tool('stepForward', null, 'step-forward', 'One picture forward (.)');
    private readonly stop = tool('stop', null, 'play-stop', 'Stop');
    private readonly slower = tool('slower', null, 'slower', 'Slower ([)');
    private readonly faster = tool('faster', null, 'faster', 'Faster (])');
    private readonly speed = h('select', { class: 'speed', 'aria-label': 'Speed', title: 'Speed', 'data-testid': 'speed' },
        ...SPEEDS.map((speed) => h('option', { value: speed }, speedText(speed))));
    private readonly open = tool('folder', 'Open a file…', 'open-local', 'Play a file of this computer (O)');
    private readonly sound = tool('sound', null, 'play-sound', 'Sound (M)');
    private readonly snapshot = tool('camera', null, 'play-snapshot', 'Snapshot (S)');
    private readonly clip = tool('record', null, 'clip', 'Cut a clip (R)');
    private readonly zoom = tool('zoom', null, 'zoom', 'Enlarge a part: draw a rectangle in the picture; a right click shows the whole again (Z)');
    private readonly full = tool('full', null, 'play-full-screen', 'Full screen (F)');
    private readonly panels: Record<'files' | 'settings', HTMLButtonElement> = {
        files: tool('download', 'Files', 'files-panel', 'Recordings of the day, and downloads (D)'),
        settings: tool('settings', null, 'playback-settings-panel', 'Folders and files'),
    };

    constructor(session: Session, actions: PlaybackActions, togglePanel: (name: PanelName) => void) {
        this.session = session;
        this.actions = actions;
        this.element = h('div', { class: 'toolbar', role: 'toolbar', 'aria-label': 'Playback' },
            group('Source', this.sources), this.open, h('span', { class: 'gap' }),
            this.stepBack, this.play, this.stepForward, this.stop, h('span', { class: 'gap' }),
            this.slower, this.speed, this.faster,
            h('span', { class: 'spacer' }), this.sound, this.snapshot, this.clip, this.zoom, this.full,
            h('span', { class: 'gap' }), ...Object.values(this.panels));
        this.wire(togglePanel);
    }

    dispose(): void {
        document.removeEventListener('keydown', this.onKey);
    }

    /** `download`: 0 to 1, null while there is none. */
    render(openPanel: PanelName | null, download: number | null): void {
        const { model } = this.actions;
        const live = this.session.phase === 'live';
        const local = model.mode === PageMode.Local;
        this.sources.forEach((button, index) => (setPressed(button, (index === 1) === local), (button.disabled = !live)));
        this.open.hidden = !local;
        this.open.disabled = !live;
        this.play.disabled = !live;
        this.stop.disabled = !live || !(model.isActive || model.picture);
        for (const control of [this.stepBack, this.stepForward, this.slower, this.faster, this.speed]) control.disabled = !live || !model.isActive;
        for (const button of [this.sound, this.snapshot, this.clip, this.zoom]) button.disabled = !live || model.currentChannel < 0;
        this.full.disabled = !live;
        this.renderPlay(model.isRunning);
        if (Number(this.speed.value) !== model.speed) this.speed.value = String(model.speed);
        const { sound, clip, zoom } = model.current;
        setPressed(this.sound, sound);
        setPressed(this.clip, clip);
        setPressed(this.zoom, zoom);
        setAttribute(this.clip, 'title', clip ? 'End the clip (R)' : 'Cut a clip (R)');
        for (const [name, button] of Object.entries(this.panels)) setPressed(button, openPanel === name);
        // Seen although the panel is closed.
        setAttribute(this.panels.files, 'data-busy', download === null ? null : 'true');
        this.panels.files.style.setProperty('--done', `${((download ?? 0) * 100).toFixed(1)}%`);
    }

    private renderPlay(running: boolean): void {
        const name: IconName = running ? 'pause' : 'play';
        if (this.play.dataset.icon === name) return;
        this.play.dataset.icon = name;
        this.play.replaceChildren(icon(name));
        const title = running ? 'Pause (Space)' : 'Play (Space)';
        this.play.title = title;
        this.play.setAttribute('aria-label', title);
    }

    private wire(togglePanel: (name: PanelName) => void): void {
        const { actions } = this;
        const [device, local] = this.sources as [HTMLButtonElement, HTMLButtonElement];
        const clicks: [HTMLButtonElement, () => unknown][] = [
            [device, () => actions.setMode(PageMode.ByTime)], [local, () => actions.setMode(PageMode.Local)], [this.open, () => actions.openLocal()],
            [this.stepBack, () => actions.step(false)], [this.play, () => actions.togglePlay()], [this.stepForward, () => actions.step(true)],
            [this.stop, () => actions.stop()],
            [this.slower, () => this.changeSpeed(-1)], [this.faster, () => this.changeSpeed(1)],
            [this.sound, () => actions.toggleSound()], [this.snapshot, () => actions.snapshot()], [this.clip, () => actions.toggleClip()],
            [this.zoom, () => actions.toggleZoom()], [this.full, () => this.session.fullScreen()],
            [this.panels.files, () => togglePanel('files')], [this.panels.settings, () => togglePanel('settings')],
        ];
        for (const [button, run] of clicks) button.addEventListener('click', () => void run());
        this.speed.addEventListener('change', () => void actions.setSpeed(Number(this.speed.value) as Speed));
        document.addEventListener('keydown', this.onKey);
    }

    private changeSpeed(by: 1 | -1): void {
        const wanted = this.actions.model.speed + by;
        if (SPEEDS.includes(wanted as Speed)) void this.actions.setSpeed(wanted as Speed);
    }

    private readonly onKey = (event: KeyboardEvent): void => {
        if (this.element.hidden || event.ctrlKey || event.altKey || event.metaKey || isTyping(event.target)) return;
        const button = this.keys[event.key.toLowerCase()];
        // A button that has the focus takes the space bar itself.
        if (!button || button.hidden || (event.key === ' ' && event.target instanceof HTMLButtonElement)) return;
        // Steps may be repeated by holding the key.
        if (event.repeat && button !== this.stepBack && button !== this.stepForward) return;
        event.preventDefault();
        button.click();
    };

    private get keys(): Record<string, HTMLButtonElement | undefined> {
        return {
            ' ': this.play, k: this.play, ',': this.stepBack, '.': this.stepForward, '[': this.slower, ']': this.faster,
            m: this.sound, s: this.snapshot, r: this.clip, z: this.zoom, f: this.full, o: this.open, d: this.panels.files,
        };
    }
}
