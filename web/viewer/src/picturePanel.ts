/** Colour, electronic PTZ and two-lens zoom of the channel in the selected cell. */
import { ColorType, type ColorIndex, type Colors } from '../../client/index.ts';
import { h, setText } from './dom.ts';
import { LensControls } from './lensControls.ts';
import type { LiveActions } from './live.ts';
import { PtzPad } from './picture/ptzPad.ts';
import type { Session } from './session.ts';

const MIDDLE = 64;

const SLIDERS: readonly { type: ColorIndex; key: keyof Colors; name: string }[] = [
    { type: ColorType.Brightness, key: 'nBrightness', name: 'Brightness' },
    { type: ColorType.Contrast, key: 'nContrast', name: 'Contrast' },
    { type: ColorType.Saturation, key: 'nSaturation', name: 'Saturation' },
    { type: ColorType.Hue, key: 'nHue', name: 'Hue' },
];

export class PicturePanel {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly subject = h('p', { class: 'hint' });
    private readonly lens: LensControls;
    private readonly ptz: PtzPad;
    private readonly reset = h('button', { type: 'button', 'data-testid': 'color-reset' }, 'Reset');
    private readonly rows: { key: keyof Colors; input: HTMLInputElement; output: HTMLOutputElement }[];

    constructor(session: Session, actions: LiveActions) {
        this.session = session;
        this.lens = new LensControls(session);
        this.ptz = new PtzPad(session);
        this.rows = SLIDERS.map(({ type, key, name }) => {
            const input = h('input', { type: 'range', min: 0, max: 128, step: 1, value: MIDDLE, 'aria-label': name, 'data-testid': `color-${name.toLowerCase()}` });
            input.addEventListener('input', () => actions.setColor(type, input.valueAsNumber));
            input.addEventListener('dblclick', () => actions.setColor(type, MIDDLE));
            return { key, input, output: h('output') };
        });
        this.reset.addEventListener('click', () => actions.setColor(ColorType.All, MIDDLE));
        const lines = this.rows.map(({ input, output }, index) =>
            h('label', { class: 'slider' }, h('span', {}, SLIDERS[index]?.name ?? ''), output, input));
        this.element = h('section', { class: 'panel', 'aria-label': 'Picture' }, h('h2', {}, 'Picture'), this.subject, ...lines, this.reset,
            this.ptz.element, this.lens.element);
    }

    /** behind: the live view is, and goes on there; only its colours can be changed. */
    render(behind = false): void {
        const { model, phase } = this.session;
        const active = phase === 'live' && model.currentChannel?.playing === true;
        const where = behind ? ' of the live view' : '';
        setText(this.subject, active ? `Channel ${model.current + 1}${where}` : `Select a cell with a picture${where}.`);
        this.lens.element.hidden = behind;
        this.lens.render();
        if (behind) this.ptz.element.hidden = true;
        else this.ptz.render();
        this.reset.disabled = !active;
        for (const { key, input, output } of this.rows) {
            const value = active ? model.colors[key] : MIDDLE;
            input.disabled = !active;
            if (input.valueAsNumber !== value) input.value = String(value);
            setText(output, active ? String(value) : '');
        }
    }
}
