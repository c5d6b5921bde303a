/** The alarms of the device as they come, and which of them sound. */
import { ALARM_CHOICES, type AlarmChoice, type AlarmChoiceKey, type AlarmData } from '../../../client/index.ts';
import { h, setAttribute, setText } from '../dom.ts';
import type { Session } from '../session.ts';
import { AlarmModel, alarmPlace, alarmWords, isHeard, isLasting, type Alarm } from './alarmModel.ts';
import { Chime } from './chime.ts';
import { Pace } from './pace.ts';

/** A flood of alarms is drawn no faster than anyone can look. */
const REDRAW_MS = 250;

const LABELS: Record<AlarmChoiceKey, string> = {
    Prompt: 'Sound', all: 'For every alarm', Motion: 'Motion', Blind: 'Camera covered', Loss: 'No video', IO: 'Digital input',
    Analyze: 'Rule crossed', Human: 'Person', FaceDetect: 'Face', DiskError: 'Disk failure', DiskFull: 'Disk full', Carshape: 'Number plate',
};

export class AlarmPanel {
    readonly element: HTMLElement;
    /** For the status line: alarms would sound, but the browser does not let them. */
    readonly silence = h('span', { class: 'silence', role: 'status', 'data-testid': 'alarms-silent' });
    readonly model = new AlarmModel();
    private readonly session: Session;
    private readonly chime: Chime;
    private readonly redraw: Pace;
    private readonly list = h('ol', { class: 'alarms', 'data-testid': 'alarms', 'aria-label': 'Alarms' });
    /** Read aloud in place of the list, of which every change would be. */
    private readonly newest = h('p', { class: 'read-aloud', 'data-testid': 'alarm-newest', 'aria-live': 'polite' });
    private readonly rows = new Map<number, Row>();
    private readonly empty = h('p', { class: 'hint', 'data-testid': 'alarms-empty' });
    private readonly clear = h('button', { type: 'button', 'data-testid': 'alarms-clear' }, 'Clear the list');
    private readonly boxes = new Map<AlarmChoiceKey, HTMLInputElement>();
    private choice: AlarmChoice | null = null;
    private shown: readonly Alarm[] | null = null;
    private stale = false;
    private news = '';

    constructor(session: Session, chime = new Chime()) {
        this.session = session;
        this.chime = chime;
        this.redraw = new Pace(() => session.changed(), REDRAW_MS);
        const choices = ALARM_CHOICES.map((key) => this.choiceRow(key));
        this.element = h('section', { class: 'panel', 'aria-label': 'Alarms' },
            h('h2', {}, 'Alarms'), this.empty, this.newest, this.list, this.clear,
            h('h2', {}, 'Sound'), h('div', { class: 'choices' }, ...choices));
        this.clear.addEventListener('click', () => {
            this.forget();
            this.session.changed();
        });
        this.chime.onChange = () => this.session.changed();
        this.session.client.on('alarm', (data) => this.onAlarm(data));
        this.session.on('interrupted', () => {
            if (!this.model.cut()) return;
            this.stale = true;
            this.redraw.ask();
        });
        this.session.on('ended', () => this.forget());
    }

    dispose(): void {
        this.redraw.cancel();
        this.chime.dispose();
    }

    /** Reads the choice that this computer keeps. Call after a log in. */
    async load(): Promise<void> {
        await this.session.attempt('', async () => {
            const choice = (this.choice = await this.session.client.alarms.readChoice());
            if (choice.Prompt) this.chime.prepare();
            for (const [key, box] of this.boxes) box.checked = choice[key];
        });
    }

    /** Always, the panel being open or not. `inside`: somebody is logged in. */
    renderSilence(inside: boolean): void {
        setText(this.silence, inside && this.choice?.Prompt && this.chime.isKept ? 'Click into the page to hear alarms.' : '');
    }

    render(): void {
        setText(this.empty, this.session.hearsAlarms ? 'None since the log in.' : 'A device tells its alarms after a log in by serial number only.');
        this.empty.hidden = this.model.list.length > 0;
        this.clear.hidden = this.model.list.length === 0;
        for (const [key, box] of this.boxes) box.disabled = this.choice === null || (key !== 'Prompt' && !this.choice.Prompt);
        setText(this.newest, this.news);
        if (this.shown === this.model.list && !this.stale) return;
        this.shown = this.model.list;
        this.stale = false;
        this.renderList(this.model.list);
    }

    /** No row ever changes its place: new ones come on top. */
    private renderList(alarms: readonly Alarm[]): void {
        const gone = new Set(this.rows.keys());
        for (const alarm of [...alarms].reverse()) {
            let row = this.rows.get(alarm.id);
            if (!row) {
                row = newRow(alarm);
                this.rows.set(alarm.id, row);
                this.list.prepend(row.element);
            }
            setText(row.end, endOf(alarm));
            setAttribute(row.element, 'data-state', isLasting(alarm) ? 'lasting' : 'over');
            gone.delete(alarm.id);
        }
        for (const id of gone) {
            this.rows.get(id)?.element.remove();
            this.rows.delete(id);
        }
    }

    private forget(): void {
        this.model.clear();
        this.news = '';
    }

    private onAlarm(data: AlarmData): void {
        const isNew = this.model.add(data, Date.now());
        this.stale = true;
        if (isNew) this.news = `${alarmWords(data.Event)}, ${alarmPlace(data.Channel, data.Event)}, ${new Date().toLocaleTimeString()}`;
        if (isNew && this.choice && isHeard(this.choice, data.Event)) this.chime.sound();
        this.redraw.ask();
    }

    private choiceRow(key: AlarmChoiceKey): HTMLElement {
        const box = h('input', { type: 'checkbox', 'data-testid': `alarm-choice-${key}` });
        this.boxes.set(key, box);
        box.addEventListener('change', () => void this.store(key, box.checked));
        return h('label', { class: 'check' }, box, h('span', {}, LABELS[key]));
    }

    private async store(key: AlarmChoiceKey, wanted: boolean): Promise<void> {
        if (!this.choice) return;
        const choice = (this.choice = { ...this.choice, [key]: wanted });
        if (choice.Prompt) this.chime.prepare();
        this.session.changed();
        await this.session.attempt('', () => this.session.client.alarms.saveChoice(choice));
    }
}

interface Row {
    element: HTMLElement;
    end: HTMLElement;
}

function newRow(alarm: Alarm): Row {
    const end = h('span', { class: 'hint' });
    const at = new Date(alarm.at);
    const element = h('li', { class: 'alarm', 'data-testid': 'alarm', 'data-event': alarm.event },
        h('time', { title: at.toLocaleString() }, at.toLocaleTimeString()),
        h('strong', {}, alarmWords(alarm.event)),
        h('span', {}, alarmPlace(alarm.channel, alarm.event)),
        end);
    return { element, end };
}

function endOf(alarm: Alarm): string {
    if (isLasting(alarm)) return 'goes on';
    if (alarm.cut) return 'end unknown: the connection was lost';
    if (alarm.until !== null) return `${Math.max(1, Math.round((alarm.until - alarm.at) / 1000))} s`;
    return alarm.count > 1 ? `${alarm.count} times` : '';
}
