/** The zoom of a camera with two lenses, in the selected cell. The camera tells nobody whether it has them: it just moves. */
import { h } from './dom.ts';
import type { Session } from './session.ts';

/** Tenths a click. */
const STEP = 5;

type Direction = 'in' | 'out' | 'reset';

const BUTTONS: readonly { direction: Direction; label: string; title: string }[] = [
    { direction: 'out', label: '−', title: 'Wider' },
    { direction: 'reset', label: '1×', title: 'Back to the widest' },
    { direction: 'in', label: '+', title: 'Closer' },
];

export class LensControls {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly buttons: HTMLButtonElement[];
    /** The surface stands still while the camera is asked: one step at a time. */
    private busy = false;

    constructor(session: Session) {
        this.session = session;
        this.buttons = BUTTONS.map(({ direction, label, title }) => {
            const button = h('button', { type: 'button', title, 'aria-label': title, 'data-testid': `lens-${direction}` }, label);
            button.addEventListener('click', () => void this.step(direction));
            return button;
        });
        this.element = h('div', { class: 'lens' }, h('h2', {}, 'Two-lens zoom'),
            h('div', { class: 'segmented', role: 'group', 'aria-label': 'Two-lens zoom' }, ...this.buttons),
            h('p', { class: 'hint' }, 'For cameras with two lenses. With one cell shown, the slider in the picture does the same.'));
    }

    render(): void {
        const { model, phase } = this.session;
        const active = phase === 'live' && model.currentChannel?.playing === true;
        for (const button of this.buttons) button.disabled = !active || this.busy;
    }

    private async step(direction: Direction): Promise<void> {
        this.busy = true;
        this.render();
        await this.session.attempt('', () => this.session.client.scaleStep(direction, STEP));
        this.busy = false;
        this.session.changed();
    }
}
