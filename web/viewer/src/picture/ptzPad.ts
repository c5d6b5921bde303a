/** Steering in a large picture, in the selected cell: a pad, a zoom and presets. Offered when the process says so. */
import type { PtzDirection } from '../../../client/index.ts';
import { arrowKeys, h, setAttribute, setPressed, setText } from '../dom.ts';
import type { Session } from '../session.ts';

/** Units of 8192 a click. One step for all, so that the last one always reaches the edge. */
const STEP = 512;
const PRESETS = [1, 2, 3, 4, 5, 6];
const AT_THE_EDGE = 'The picture ends there.';

const ARROWS: readonly { direction: PtzDirection; label: string; title: string }[] = [
    { direction: 'up', label: '↑', title: 'Up' },
    { direction: 'left', label: '←', title: 'Left' },
    { direction: 'right', label: '→', title: 'Right' },
    { direction: 'down', label: '↓', title: 'Down' },
];

export class PtzPad {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly openButton = button('ptz-open', 'Steer in this picture', 'Shows a part of the picture, as a camera that is steered there would');
    private readonly whole: HTMLButtonElement;
    private readonly presets: HTMLButtonElement[];
    private readonly keep = button('ptz-keep', 'Keep', 'The next preset that is chosen keeps this part of the picture');
    private readonly remove = button('ptz-remove', 'Remove', 'The next preset that is chosen is removed');
    private readonly controls: HTMLElement;
    private readonly hint = h('p', { class: 'hint' });
    /** What a click on a preset does. */
    private presetMode: 'go' | 'keep' | 'remove' = 'go';

    constructor(session: Session) {
        this.session = session;
        const { ptz } = session.client;
        const arrows = ARROWS.map(({ direction, label, title }) => this.step(`ptz-${direction}`, label, title, (channel) => ptz.move(channel, direction, STEP)));
        const zoomIn = this.step('ptz-in', '+', 'Closer', (channel) => ptz.zoomIn(channel, STEP));
        const zoomOut = this.step('ptz-out', '−', 'Wider', (channel) => ptz.zoomOut(channel, STEP));
        this.whole = this.step('ptz-whole', '□', 'The whole picture', (channel) => ptz.whole(channel));
        this.presets = PRESETS.map((preset) => {
            const element = button(`ptz-preset-${preset}`, String(preset), `Preset ${preset}`);
            element.addEventListener('click', () => void this.onPreset(preset));
            return element;
        });
        const pad = h('div', { class: 'ptz-pad', role: 'group', 'aria-label': 'Steer' }, ...arrows, this.whole);
        const zoom = h('div', { class: 'segmented', role: 'group', 'aria-label': 'Zoom' }, zoomOut, zoomIn);
        const presets = h('div', { class: 'segmented', role: 'group', 'aria-label': 'Presets' }, ...this.presets);
        for (const group of [pad, zoom, presets]) arrowKeys(group);
        this.controls = h('div', { class: 'ptz' }, pad, zoom, presets, h('div', { class: 'pair' }, this.keep, this.remove));
        this.openButton.addEventListener('click', () => void this.open());
        this.keep.addEventListener('click', () => this.setMode('keep'));
        this.remove.addEventListener('click', () => this.setMode('remove'));
        this.element = h('div', { class: 'ptz', 'data-testid': 'ptz' }, h('h2', {}, 'Electronic PTZ'), this.openButton, this.controls, this.hint);
    }

    render(): void {
        const { model, phase } = this.session;
        const open = model.steered.has(model.current);
        this.element.hidden = phase !== 'live' || model.currentChannel?.playing !== true || !(model.steerable || open);
        this.openButton.hidden = open;
        this.controls.hidden = !open;
        const stored = model.steered.get(model.current) ?? new Set<number>();
        if (stored.size === 0 && this.presetMode === 'remove') this.presetMode = 'go';
        this.presets.forEach((element, index) => {
            const has = stored.has(PRESETS[index] ?? 0);
            element.disabled = !has && this.presetMode !== 'keep';
            setAttribute(element, 'data-stored', has ? '' : null);
        });
        this.remove.disabled = stored.size === 0;
        setPressed(this.keep, this.presetMode === 'keep');
        setPressed(this.remove, this.presetMode === 'remove');
        setText(this.hint, open ? 'A right click into the picture ends it. A start of any channel forgets the presets.' : 'This picture is large enough to look around in.');
    }

    private step(testId: string, label: string, title: string, run: (channel: number) => Promise<boolean>): HTMLButtonElement {
        const element = button(testId, label, title);
        element.addEventListener('click', () => void this.run(async (channel) => {
            if (!(await run(channel))) this.session.tell('info', element === this.whole ? 'This is the whole picture.' : AT_THE_EDGE);
        }));
        return element;
    }

    private open(): Promise<void> {
        return this.run(async (channel) => {
            if (!(await this.session.client.ptz.open(channel))) throw new Error('This picture cannot be steered in.');
            this.session.model.steeringOpened(channel);
        });
    }

    private onPreset(preset: number): Promise<void> {
        const mode = this.presetMode;
        this.presetMode = 'go';
        return this.run(async (channel) => {
            const { client, model } = this.session;
            const stored = model.steered.get(channel);
            if (mode === 'go') {
                if (!(await client.ptz.goToPreset(channel, preset))) throw new Error(`Preset ${preset} could not be shown.`);
            } else if (mode === 'keep') {
                if (await client.ptz.storePreset(channel, preset)) stored?.add(preset);
            } else if (await client.ptz.deletePreset(channel, preset)) stored?.delete(preset);
        });
    }

    private setMode(mode: 'keep' | 'remove'): void {
        this.presetMode = this.presetMode === mode ? 'go' : mode;
        this.session.changed();
    }

    private async run(work: (channel: number) => Promise<void>): Promise<void> {
        await this.session.attempt('', () => work(this.session.model.current));
    }
}

function button(testId: string, label: string, title: string): HTMLButtonElement {
    return h('button', { type: 'button', title, 'aria-label': title, 'data-testid': testId }, label);
}
