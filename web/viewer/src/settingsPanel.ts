/** Where recordings, snapshots and downloads go on this computer, and how the video area is laid out. */
import type { ConfigReply, FolderPurpose, VersionData } from '../../client/index.ts';
import { h, setText } from './dom.ts';
import type { Session } from './session.ts';

type PathKey = 'RecPath' | 'CapPath' | 'DownPath';

const FOLDERS: readonly { key: PathKey; name: string; purpose: FolderPurpose }[] = [
    { key: 'RecPath', name: 'Recordings', purpose: 'record' },
    { key: 'CapPath', name: 'Snapshots', purpose: 'capture' },
    { key: 'DownPath', name: 'Downloads', purpose: 'download' },
];

/** The program gives up after a minute, and says nothing then. */
const ANSWER_MS = 65000;
const CHECK_TEXTS = { none: '', asking: 'Asking the server…', unanswered: 'The server did not answer.' };

export class SettingsPanel {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly inputs = new Map<PathKey, HTMLInputElement>();
    private readonly recordType = h('select', { 'data-testid': 'record-type' },
        h('option', { value: 0 }, 'Raw stream'), h('option', { value: 2 }, 'AVI'));
    private readonly save = h('button', { type: 'submit', class: 'primary', 'data-testid': 'settings-save' }, 'Save');
    private readonly version = h('p', { class: 'hint' });
    private readonly newer = h('p', { class: 'hint', role: 'status', 'data-testid': 'version-text' });
    private readonly look = h('button', { type: 'button', 'data-testid': 'version-check' }, 'Look for a newer version');
    private check: 'none' | 'asking' | 'unanswered' = 'none';
    private timer: ReturnType<typeof setTimeout> | null = null;

    constructor(session: Session, fill: boolean, onFill: (fill: boolean) => void) {
        this.session = session;
        const area = h('input', { type: 'checkbox', 'data-testid': 'fill' });
        area.checked = fill;
        area.addEventListener('change', () => onFill(area.checked));
        const form = h('form', {}, ...FOLDERS.map((folder) => this.folderRow(folder)),
            h('label', { class: 'field' }, h('span', {}, 'Recordings are kept as'), this.recordType), this.save);
        form.addEventListener('submit', (event) => {
            event.preventDefault();
            void this.store();
        });
        this.element = h('section', { class: 'panel', 'aria-label': 'Settings' },
            h('h2', {}, 'Files'), form,
            h('h2', {}, 'View'), h('label', { class: 'check' }, area, h('span', {}, 'Video fills the whole area')),
            h('h2', {}, 'Program'), this.version, this.newer, this.look);
        this.look.addEventListener('click', () => void this.checkVersion());
        session.client.on('version', () => this.turn('none'));
        session.on('interrupted', () => this.turn('none'));
        session.on('ended', () => this.turn('none'));
    }

    dispose(): void {
        this.turn('none');
    }

    render(): void {
        const live = this.session.phase === 'live';
        this.save.disabled = !live;
        this.look.disabled = !live;
        setText(this.newer, CHECK_TEXTS[this.check] || versionText(this.session.version));
        for (const button of this.element.querySelectorAll<HTMLButtonElement>('.pick')) button.disabled = !live;
    }

    /** Reads what the process has. Call when the panel opens. */
    async load(): Promise<void> {
        await this.session.attempt('', async () => this.show(await this.session.client.readConfig()));
    }

    /** The answer comes as an event, within a minute or never. */
    private async checkVersion(): Promise<void> {
        this.turn('asking');
        this.timer = setTimeout(() => this.turn('unanswered'), ANSWER_MS);
        const asked = await this.session.attempt('', () => this.session.client.maintenance.checkVersion());
        if (!asked) this.turn('none');
    }

    private turn(check: typeof this.check): void {
        if (this.timer !== null) clearTimeout(this.timer);
        this.timer = null;
        this.check = check;
        this.render();
    }

    private show(config: ConfigReply): void {
        for (const [key, input] of this.inputs) input.value = config[key];
        this.recordType.value = String(config.RecordFileType);
        setText(this.version, config.ToolVersion ? `Viewer program ${config.ToolVersion}, ${config.ToolDate}` : '');
    }

    private async store(): Promise<void> {
        const path = (key: PathKey) => this.inputs.get(key)?.value.trim() ?? '';
        const RecordType = Number(this.recordType.value) || 0;
        await this.session.attempt('Settings saved.', async () => {
            await this.session.client.saveConfig({ RecPath: path('RecPath'), CapPath: path('CapPath'), DownPath: path('DownPath'), RecordType });
            // An empty folder comes back as its default.
            this.show(await this.session.client.readConfig());
        });
    }

    private folderRow({ key, name, purpose }: (typeof FOLDERS)[number]): HTMLElement {
        const input = h('input', { 'data-testid': `${purpose}-path`, spellcheck: 'false', autocomplete: 'off' });
        this.inputs.set(key, input);
        const pick = h('button', { type: 'button', class: 'pick', 'data-testid': `${purpose}-pick`, 'aria-label': `Choose the folder for ${name.toLowerCase()}` }, 'Choose…');
        pick.addEventListener('click', () => void this.pick(purpose, input));
        return h('div', { class: 'field' }, h('label', {}, h('span', {}, name), input), pick);
    }

    /** The dialog is a window of its own; the page goes on meanwhile. */
    private async pick(purpose: FolderPurpose, input: HTMLInputElement): Promise<void> {
        await this.session.attempt('', async () => {
            const path = await this.session.client.pickFolder(purpose);
            if (path === null) this.session.tell('info', 'No folder was chosen.');
            else input.value = path;
        });
    }
}

function versionText(version: VersionData | null): string {
    if (!version) return '';
    if (version.bNew) return `Version ${version.newVersion}${version.newDate && ` of ${version.newDate}`} is available.`;
    return version.newVersion === '' ? 'The server has told no version.' : 'There is no newer version.';
}
