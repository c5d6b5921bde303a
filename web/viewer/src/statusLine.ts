/** The bottom line: the last word, and what is selected. */
import { h, setAttribute, setText } from './dom.ts';
import type { Session } from './session.ts';

export class StatusLine {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly text = h('span', { class: 'status-text', role: 'status', 'aria-live': 'polite', 'data-testid': 'status' });
    private readonly selected = h('span', { class: 'selected', 'data-testid': 'selected' });

    private readonly load = h('span', { class: 'load', 'data-testid': 'load', title: 'Load of this computer, and memory of the viewer program' });
    private readonly version = h('span', { class: 'version-notice', 'data-testid': 'version-notice' });

    /** `notice`: what else is to be seen here. */
    constructor(session: Session, title: string, notice: HTMLElement) {
        this.session = session;
        this.element = h('footer', { class: 'status' }, this.text, notice, this.version, this.load, this.selected, h('span', { class: 'session-title' }, title));
    }

    /** `selected`: what is, on the page that is shown. */
    render(selected: string): void {
        const { status, phase, load, version } = this.session;
        setText(this.text, status.text);
        setAttribute(this.text, 'data-kind', status.kind);
        setText(this.load, load ? `Processor ${load.SystemCpu} %, viewer ${load.AppCpu} %, ${load.AppMemory} MiB` : '');
        setText(this.version, version?.bNew ? `Version ${version.newVersion} of the viewer program is available.` : '');
        setText(this.selected, phase === 'live' ? selected : '');
    }
}
