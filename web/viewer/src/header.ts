/** The top line: what this is, which device, how the connection stands. */
import { h, setAttribute, setText } from './dom.ts';
import { icon } from './icons.ts';
import type { Session } from './session.ts';

export class Header {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly device = h('span', { class: 'device', 'data-testid': 'device' });
    private readonly text = h('span');
    private readonly pill = h('span', { class: 'pill', 'data-testid': 'connection' }, h('i', { class: 'dot' }), this.text);
    private readonly retry = h('button', { type: 'button', class: 'quiet', 'data-testid': 'retry' }, 'Try now');
    private readonly logout = h('button', { type: 'button', class: 'quiet', 'data-testid': 'logout' }, icon('logout'), 'Log out');

    constructor(session: Session) {
        this.session = session;
        this.retry.addEventListener('click', () => session.connect());
        this.logout.addEventListener('click', () => session.logout());
        this.element = h(
            'header', { class: 'top' },
            h('span', { class: 'brand' }, 'Lumo', h('b', {}, 'Viewer')),
            this.device, h('span', { class: 'spacer' }), this.pill, this.retry, this.logout,
        );
    }

    render(): void {
        const { session } = this;
        const [state, text] = stateOf(session);
        setAttribute(this.pill, 'data-state', state);
        setText(this.text, text);
        setText(this.device, session.phase === 'live' || session.phase === 'recovering' ? session.deviceName : '');
        this.retry.hidden = session.client.state !== 'waiting' && session.client.state !== 'closed';
        this.logout.hidden = session.phase !== 'live' && session.phase !== 'recovering';
    }
}

function stateOf(session: Session): ['good' | 'busy' | 'bad', string] {
    if (session.client.state === 'connecting') return ['busy', 'Connecting'];
    if (!session.client.isOpen) return ['bad', 'No viewer host'];
    if (session.phase === 'recovering') return ['busy', 'Reconnecting'];
    return ['good', session.phase === 'live' ? 'Connected' : 'Viewer ready'];
}
