/** The top line: what this is, which device, how the connection stands. */
import { h, setAttribute, setPressed, setText } from './dom.ts';
import { icon } from './icons.ts';
import type { Session } from './session.ts';
import { group, segment, tool } from './toolbar.ts';

export type ViewName = 'live' | 'playback' | 'color';

export class Header {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly device = h('span', { class: 'device', 'data-testid': 'device' });
    private readonly alarms = tool('alarm', null, 'alarms-panel', 'Alarms of the device');
    private readonly text = h('span');
    private readonly pill = h('span', { class: 'pill', 'data-testid': 'connection' }, h('i', { class: 'dot' }), this.text);
    private readonly retry = h('button', { type: 'button', class: 'quiet', 'data-testid': 'retry' }, 'Try now');
    private readonly logout = h('button', { type: 'button', class: 'quiet', 'data-testid': 'logout' }, icon('logout'), 'Log out');

    private readonly views: Record<ViewName, HTMLButtonElement> = {
        live: segment('Live', 'view-live', 'Live pictures'),
        playback: segment('Playback', 'view-playback', 'What was recorded'),
        color: segment('Image', 'view-color', 'Colour of the picture'),
    };
    private readonly viewGroup = group('View', Object.values(this.views));

    constructor(session: Session, show: (view: ViewName) => void, toggleAlarms: () => void) {
        this.session = session;
        this.retry.addEventListener('click', () => session.connect());
        this.logout.addEventListener('click', () => session.logout());
        this.alarms.addEventListener('click', toggleAlarms);
        for (const [view, button] of Object.entries(this.views)) button.addEventListener('click', () => show(view as ViewName));
        this.element = h(
            'header', { class: 'top' },
            h('span', { class: 'brand' }, 'Lumo', h('b', {}, 'Viewer')),
            this.device, this.viewGroup, h('span', { class: 'spacer' }), this.alarms, this.pill, this.retry, this.logout,
        );
    }

    /** `alarmsOpen`: their panel is; `alarms`: how many go on. */
    render(view: ViewName, alarmsOpen: boolean, alarms: number): void {
        const { session } = this;
        const [state, text] = stateOf(session);
        setAttribute(this.pill, 'data-state', state);
        setText(this.text, text);
        this.retry.hidden = session.client.state !== 'waiting' && session.client.state !== 'closed';
        const inside = session.phase === 'live' || session.phase === 'recovering';
        setText(this.device, inside ? session.deviceName : '');
        this.viewGroup.hidden = !inside;
        for (const [name, button] of Object.entries(this.views)) {
            setPressed(button, name === view);
            button.disabled = session.phase !== 'live';
        }
        this.logout.hidden = this.alarms.hidden = !inside;
        setPressed(this.alarms, alarmsOpen);
        setAttribute(this.alarms, 'data-alarms', alarms > 0 ? String(alarms) : null);
    }
}

function stateOf(session: Session): ['good' | 'busy' | 'bad', string] {
    if (session.client.state === 'connecting') return ['busy', 'Connecting'];
    if (!session.client.isOpen) return ['bad', 'No viewer host'];
    if (session.phase === 'recovering') return ['busy', 'Reconnecting'];
    return ['good', session.phase === 'live' ? 'Connected' : 'Viewer ready'];
}
