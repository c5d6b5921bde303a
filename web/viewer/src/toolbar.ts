/** Split, stream, and what can be done with the selected channel. */
import { SPLIT_CELLS, type SplitMode } from '../../client/index.ts';
import { arrowKeys, h, setAttribute, setPressed } from './dom.ts';
import { icon, type IconName } from './icons.ts';
import type { LiveActions } from './live.ts';
import type { Session } from './session.ts';

export type PanelName = 'picture' | 'settings' | 'files' | 'talk' | 'device' | 'rule' | 'alarms';

export class Toolbar {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly actions: LiveActions;
    private readonly splits: HTMLButtonElement[];
    private readonly streams: HTMLButtonElement[];
    private readonly startAll = tool('play', 'Start all', 'start-all', 'Start a channel in every cell');
    private readonly stopAll = tool('stop', 'Stop all', 'stop-all', 'Stop every channel');
    private readonly sound = tool('sound', null, 'sound', 'Sound (M)');
    private readonly snapshot = tool('camera', null, 'snapshot', 'Snapshot (S)');
    private readonly record = tool('record', null, 'record', 'Record (R)');
    private readonly aspect = tool('aspect', null, 'aspect', 'Original aspect (A)');
    private readonly full = tool('full', null, 'full-screen', 'Full screen (F)');
    private readonly panels: Record<'talk' | 'picture' | 'rule' | 'device' | 'settings', HTMLButtonElement> = {
        talk: tool('talk', null, 'talk-panel', 'Talk, and the alarm voice (T)'),
        picture: tool('picture', null, 'picture-panel', 'Picture: brightness, contrast, colour'),
        rule: tool('rule', null, 'rule-panel', 'Rule drawn over channel 1'),
        device: tool('device', null, 'device-panel', 'Device: firmware, import'),
        settings: tool('settings', null, 'settings-panel', 'Folders and files'),
    };

    constructor(session: Session, actions: LiveActions, togglePanel: (name: PanelName) => void) {
        this.session = session;
        this.actions = actions;
        this.splits = SPLIT_CELLS.map((cells, mode) => segment(String(cells), `split-${mode}`, `${cells} ${cells === 1 ? 'cell' : 'cells'}`));
        this.streams = [segment('Main', 'stream-0', 'Main stream: full size'), segment('Sub', 'stream-1', 'Sub stream: light')];
        this.element = h(
            'div', { class: 'toolbar', role: 'toolbar', 'aria-label': 'Live view' },
            group('Split', this.splits), group('Stream', this.streams),
            h('span', { class: 'gap' }), this.startAll, this.stopAll,
            h('span', { class: 'spacer' }), this.sound, this.snapshot, this.record, this.aspect, this.full,
            h('span', { class: 'gap' }), ...Object.values(this.panels),
        );
        this.wire(togglePanel);
    }

    render(openPanel: PanelName | null): void {
        const { model, phase } = this.session;
        const live = phase === 'live';
        const channel = model.currentChannel;
        this.splits.forEach((button, mode) => (setPressed(button, model.split === mode), (button.disabled = !live)));
        this.streams.forEach((button, stream) => (setPressed(button, this.actions.stream === stream), (button.disabled = !live)));
        for (const button of [this.startAll, this.stopAll, this.full]) button.disabled = !live;
        for (const button of [this.sound, this.snapshot, this.record, this.aspect]) button.disabled = !live || !channel?.playing;
        setPressed(this.sound, channel !== null && model.soundChannel === model.current);
        setPressed(this.record, channel?.recording === true);
        setAttribute(this.record, 'title', channel?.recording ? 'Stop recording (R)' : 'Record (R)');
        setPressed(this.aspect, channel?.original === true);
        for (const [name, button] of Object.entries(this.panels)) setPressed(button, openPanel === name);
    }

    private wire(togglePanel: (name: PanelName) => void): void {
        const { actions } = this;
        this.splits.forEach((button, mode) => button.addEventListener('click', () => void actions.setSplit(mode as SplitMode)));
        this.streams.forEach((button, stream) => button.addEventListener('click', () => void actions.chooseStream(stream)));
        const clicks: [HTMLButtonElement, () => unknown][] = [
            [this.startAll, () => actions.startAll()], [this.stopAll, () => actions.stopAll()],
            [this.sound, () => actions.toggleSound()], [this.snapshot, () => actions.snapshot()],
            [this.record, () => actions.toggleRecord()], [this.aspect, () => actions.toggleAspect()],
            [this.full, () => this.session.fullScreen()],
            [this.panels.talk, () => togglePanel('talk')], [this.panels.picture, () => togglePanel('picture')], [this.panels.rule, () => togglePanel('rule')],
            [this.panels.device, () => togglePanel('device')], [this.panels.settings, () => togglePanel('settings')],
        ];
        for (const [button, run] of clicks) button.addEventListener('click', () => void run());
        document.addEventListener('keydown', this.onKey);
    }

    dispose(): void {
        document.removeEventListener('keydown', this.onKey);
    }

    private readonly onKey = (event: KeyboardEvent): void => {
        if (this.element.hidden || event.ctrlKey || event.altKey || event.metaKey || event.repeat || isTyping(event.target)) return;
        const keys: Record<string, HTMLButtonElement> = { m: this.sound, s: this.snapshot, r: this.record, a: this.aspect, f: this.full, t: this.panels.talk };
        keys[event.key.toLowerCase()]?.click();
    };
}

export function isTyping(target: EventTarget | null): boolean {
    return target instanceof HTMLInputElement && target.type !== 'range' || target instanceof HTMLSelectElement;
}

export function tool(name: IconName, label: string | null, testId: string, title: string): HTMLButtonElement {
    const attributes = { type: 'button', class: label ? 'tool labelled' : 'tool', title, 'aria-label': label ?? title, 'data-testid': testId };
    return h('button', attributes, icon(name), label === null ? null : h('span', {}, label));
}

export function segment(label: string, testId: string, title: string): HTMLButtonElement {
    return h('button', { type: 'button', title, 'data-testid': testId }, label);
}

export function group(label: string, buttons: HTMLButtonElement[]): HTMLElement {
    const element = h('div', { class: 'segmented', role: 'group', 'aria-label': label }, ...buttons);
    arrowKeys(element);
    return element;
}
