/** The bottom line: the last word, and what is selected. */
import { h, setAttribute, setText } from './dom.ts';
import type { Session } from './session.ts';

export class StatusLine {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly text = h('span', { class: 'status-text', role: 'status', 'aria-live': 'polite', 'data-testid': 'status' });
    private readonly selected = h('span', { class: 'selected', 'data-testid': 'selected' });

    constructor(session: Session, title: string) {
        this.session = session;
        this.element = h('footer', { class: 'status' }, this.text, this.selected, h('span', { class: 'session-title' }, title));
    }

    render(): void {
        const { status, model, phase } = this.session;
        setText(this.text, status.text);
        setAttribute(this.text, 'data-kind', status.kind);
        const channel = model.current < 0 ? 'empty' : `channel ${model.current + 1}`;
        setText(this.selected, phase === 'live' ? `Cell ${model.selected + 1}: ${channel}` : '');
    }
}
