/** The log in form. Remembers all that was typed but the password. */
import type { DeviceAddress } from '../../client/index.ts';
import { h, setAttribute, setText } from './dom.ts';
import type { Params, Surroundings } from './params.ts';
import { recall, remember } from './remember.ts';
import type { Session } from './session.ts';

export interface LoginDefaults {
    kind: 'address' | 'serial';
    address: string;
    port: number;
    serialNumber: string;
    user: string;
    password: string;
}

/** The address line wins over the device that serves the page, and that over what was remembered. */
export function loginDefaults(params: Params, surroundings: Surroundings, remembered = recall()): LoginDefaults {
    const device = surroundings.device;
    return {
        kind: device || params.address !== null ? 'address' : (remembered.kind ?? 'address'),
        address: params.address ?? device?.address ?? remembered.address ?? '127.0.0.1',
        port: params.port ?? device?.port ?? remembered.port ?? 8080,
        serialNumber: remembered.serialNumber ?? '',
        user: params.user ?? remembered.user ?? 'admin',
        password: params.password ?? '',
    };
}

export class LoginView {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly onLogin: (device: DeviceAddress) => void;
    private readonly form: HTMLFormElement;
    private readonly error = h('p', { class: 'login-message', role: 'alert', 'data-testid': 'login-error' });
    private readonly submit = h('button', { type: 'submit', class: 'primary', 'data-testid': 'login-submit' }, 'Log in');
    private readonly address = h('input', { name: 'address', 'data-testid': 'login-address', autocomplete: 'off', spellcheck: 'false', placeholder: '192.168.1.20' });
    private readonly port = h('input', { name: 'port', type: 'number', min: 0, max: 65535, 'data-testid': 'login-port' });
    private readonly serial = h('input', { name: 'serial', 'data-testid': 'login-serial', autocomplete: 'off', spellcheck: 'false', placeholder: 'on the device’s label' });
    private readonly user = h('input', { name: 'user', 'data-testid': 'login-user', autocomplete: 'username', spellcheck: 'false' });
    private readonly password = h('input', { name: 'password', type: 'password', 'data-testid': 'login-password', autocomplete: 'current-password' });
    private readonly kinds: Record<'address' | 'serial', HTMLInputElement>;

    constructor(session: Session, defaults: LoginDefaults, onLogin: (device: DeviceAddress) => void) {
        this.session = session;
        this.onLogin = onLogin;
        this.kinds = { address: kindRadio('address'), serial: kindRadio('serial') };
        this.form = this.build();
        this.element = h('main', { class: 'login' }, this.form);
        this.fill(defaults);
    }

    focus(): void {
        (this.password.value === '' ? this.password : this.submit).focus();
    }

    clearPassword(): void {
        this.password.value = '';
    }

    render(): void {
        const { session } = this;
        const busy = session.phase === 'logging-in';
        const ready = session.client.isOpen;
        this.submit.disabled = busy || !ready;
        setText(this.submit, busy ? 'Logging in…' : 'Log in');
        const failed = session.status.kind === 'error';
        setText(this.error, failed ? session.status.text : ready ? '' : session.status.text);
        setAttribute(this.error, 'data-kind', failed ? 'error' : null);
        setAttribute(this.form, 'data-kind', this.kind);
    }

    device(): DeviceAddress {
        const user = this.user.value.trim();
        const password = this.password.value;
        if (this.kind === 'serial') return { kind: 'serial', serialNumber: this.serial.value.trim(), user, password };
        return { kind: 'address', address: this.address.value.trim(), port: Number(this.port.value), user, password };
    }

    private get kind(): 'address' | 'serial' {
        return this.kinds.serial.checked ? 'serial' : 'address';
    }

    private build(): HTMLFormElement {
        const form = h(
            'form',
            { class: 'login-card', 'data-testid': 'login-form', novalidate: true },
            h('h1', {}, 'Log in to a device'),
            h('div', { class: 'segmented wide', role: 'radiogroup', 'aria-label': 'How to find the device' },
                h('label', {}, this.kinds.address, h('span', {}, 'By address')),
                h('label', {}, this.kinds.serial, h('span', {}, 'By serial number'))),
            h('div', { class: 'row by-address' }, field('Address', this.address), field('Port', this.port, 'narrow')),
            h('div', { class: 'row by-serial' }, field('Serial number', this.serial)),
            field('User name', this.user),
            field('Password', this.password),
            this.error,
            this.submit,
        );
        form.addEventListener('change', () => this.render());
        form.addEventListener('submit', (event) => {
            event.preventDefault();
            this.send();
        });
        return form;
    }

    private send(): void {
        const empty = this.kind === 'serial' ? this.serial : this.address;
        if (empty.value.trim() === '') {
            empty.focus();
            this.session.tell('error', this.kind === 'serial' ? 'Type the serial number of the device.' : 'Type the address of the device.');
            return;
        }
        remember({
            kind: this.kind, address: this.address.value.trim(), port: Number(this.port.value),
            serialNumber: this.serial.value.trim(), user: this.user.value.trim(),
        });
        this.onLogin(this.device());
    }

    private fill(defaults: LoginDefaults): void {
        this.kinds[defaults.kind].checked = true;
        this.address.value = defaults.address;
        this.port.value = String(defaults.port);
        this.serial.value = defaults.serialNumber;
        this.user.value = defaults.user;
        this.password.value = defaults.password;
    }
}

function kindRadio(value: 'address' | 'serial'): HTMLInputElement {
    return h('input', { type: 'radio', name: 'kind', value, 'data-testid': `login-kind-${value}` });
}

function field(label: string, input: HTMLInputElement, className = ''): HTMLElement {
    return h('label', { class: `field ${className}`.trim() }, h('span', {}, label), input);
}
