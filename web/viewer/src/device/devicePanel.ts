/** What is written into the device: firmware, configuration, other files. */
import { h, setAttribute, setText } from '../dom.ts';
import type { Session } from '../session.ts';
import { FileImport } from './fileImport.ts';
import { Firmware } from './firmware.ts';

const NOTHING_NEWER = 'Install the newer one';

export class DevicePanel {
    readonly element: HTMLElement;
    readonly firmware: Firmware;
    readonly fileImport: FileImport;
    private readonly session: Session;
    private readonly file = h('output', { class: 'path', 'data-testid': 'firmware-file' });
    private readonly pick = button('firmware-pick', 'Choose a file…');
    private readonly start = button('firmware-start', 'Install this file', 'primary');
    private readonly ask = button('firmware-ask', 'Look for newer firmware');
    private readonly online = button('firmware-online', NOTHING_NEWER);
    private readonly bar = h('progress', { max: 1, value: 0, 'aria-label': 'Upgrade', 'data-testid': 'firmware-progress' });
    private readonly words = h('p', { class: 'hint', role: 'status', 'data-testid': 'firmware-text' });
    private readonly config = button('import-config', 'Import a configuration…');
    private readonly other = button('import-file', 'Send another file…');
    private readonly channel = h('select', { 'data-testid': 'import-channel' });
    /** Nothing tells how far it is. */
    private readonly importBar = h('progress', { 'aria-label': 'Import', 'data-testid': 'import-progress' });
    private readonly importWords = h('p', { class: 'hint', role: 'status', 'data-testid': 'import-text' });
    private listed = -1;

    constructor(session: Session) {
        this.session = session;
        this.firmware = new Firmware(session);
        this.fileImport = new FileImport(session);
        this.element = h('section', { class: 'panel', 'aria-label': 'Device' },
            h('h2', {}, 'Firmware'),
            h('p', { class: 'hint' }, 'The device starts again after an upgrade. Leave it switched on meanwhile.'),
            this.file, this.pick, this.start, this.ask, this.online,
            this.bar, this.words,
            h('h2', {}, 'Import'),
            h('p', { class: 'hint' }, 'A configuration has 64 KiB at most and replaces that of the device.'), this.config,
            h('label', { class: 'field' }, h('span', {}, 'Channel of another file'), this.channel),
            this.other, this.importBar, this.importWords);
        this.pick.addEventListener('click', () => void this.firmware.pick());
        this.start.addEventListener('click', () => void this.firmware.startFile());
        this.ask.addEventListener('click', () => void this.firmware.ask());
        this.online.addEventListener('click', () => void this.firmware.startOnline());
        this.config.addEventListener('click', () => void this.fileImport.config());
        this.other.addEventListener('click', () => void this.fileImport.file(this.channel.value === '' ? undefined : Number(this.channel.value)));
    }

    render(): void {
        const { firmware } = this;
        const live = this.session.phase === 'live';
        const free = live && !firmware.isRunning;
        setText(this.file, firmware.file === '' ? 'No file chosen' : firmware.file);
        this.pick.disabled = this.ask.disabled = !free;
        this.start.disabled = !free || firmware.file === '';
        this.online.disabled = !free || firmware.version === null;
        setText(this.online, firmware.version === null ? NOTHING_NEWER : `Install ${firmware.version}`);
        this.bar.hidden = firmware.phase === 'idle' || firmware.phase === 'failed';
        if (firmware.phase === 'starting') this.bar.removeAttribute('value');
        else this.bar.value = firmware.progress;
        setText(this.words, firmware.text);
        setAttribute(this.words, 'data-phase', firmware.phase);
        // A new configuration in the middle of an upgrade would be lost with the restart.
        this.config.disabled = this.other.disabled = !free;
        this.importBar.hidden = !this.fileImport.isRunning;
        setText(this.importWords, this.fileImport.text);
        this.renderChannels();
    }

    /** Only when their number changed: a list that is open would close. */
    private renderChannels(): void {
        const { length } = this.session.model.channels;
        if (length === this.listed) return;
        this.listed = length;
        const channels = Array.from({ length }, (_, channel) => h('option', { value: channel }, `Channel ${channel + 1}`));
        this.channel.replaceChildren(h('option', { value: '' }, 'All channels'), ...channels);
    }
}

function button(testId: string, label: string, kind = ''): HTMLButtonElement {
    return h('button', { type: 'button', 'data-testid': testId, ...(kind ? { class: kind } : {}) }, label);
}
