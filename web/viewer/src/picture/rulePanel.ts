/** Draws an analysis rule over the live picture of channel 1: the user clicks its points onto a field of the same form. */
import { RULE_CORNERS, VIRTUAL_SIDE, type Rule, type RuleArrow, type RulePoint } from '../../../client/index.ts';
import { h, setPressed, setText } from '../dom.ts';
import type { Session } from '../session.ts';
import { group, segment } from '../toolbar.ts';

const ARROWS: readonly { arrow: RuleArrow; label: string; title: string }[] = [
    { arrow: 'forward', label: '→', title: 'Alarm to one side' },
    { arrow: 'backward', label: '←', title: 'Alarm to the other side' },
    { arrow: 'both', label: '↔', title: 'Alarm to both sides' },
    { arrow: 'none', label: '–', title: 'No arrow' },
];
const KINDS: readonly { kind: Rule['kind']; label: string; title: string }[] = [
    { kind: 'line', label: 'Line', title: 'A line from one point to another' },
    { kind: 'region', label: 'Region', title: `A region of three to ${RULE_CORNERS} corners` },
];

export class RulePanel {
    readonly element: HTMLElement;
    private readonly session: Session;
    private readonly field = svg('svg', { viewBox: `0 0 ${VIRTUAL_SIDE} ${VIRTUAL_SIDE}`, preserveAspectRatio: 'none', class: 'rule-field', 'data-testid': 'rule-field', role: 'img', 'aria-label': 'Points of the rule' });
    private readonly shape = svg('polyline', { fill: 'none', 'vector-effect': 'non-scaling-stroke' });
    private readonly dots = svg('g', {});
    private readonly kinds = KINDS.map(({ kind, label, title }) => segment(label, `rule-${kind}`, title));
    private readonly arrows = ARROWS.map(({ arrow, label, title }) => segment(label, `rule-arrow-${arrow}`, title));
    private readonly undo = h('button', { type: 'button', 'data-testid': 'rule-undo' }, 'Undo');
    private readonly clear = h('button', { type: 'button', 'data-testid': 'rule-clear' }, 'Clear');
    private readonly words = h('p', { class: 'hint', role: 'status', 'data-testid': 'rule-text' });
    private kind: Rule['kind'] = 'line';
    private arrow: RuleArrow = 'forward';
    private points: RulePoint[] = [];
    /** What the process was told last waits for its answer; what came since goes out after it. */
    private busy = false;
    private stale = false;

    constructor(session: Session) {
        this.session = session;
        this.field.append(this.shape, this.dots);
        this.element = h('section', { class: 'panel', 'aria-label': 'Rule' }, h('h2', {}, 'Rule over channel 1'),
            group('Kind', this.kinds), this.field, group('Arrow', this.arrows), h('div', { class: 'pair' }, this.undo, this.clear), this.words);
        this.field.addEventListener('click', (event) => this.onClick(event));
        KINDS.forEach(({ kind }, index) => this.kinds[index]?.addEventListener('click', () => this.setKind(kind)));
        ARROWS.forEach(({ arrow }, index) => this.arrows[index]?.addEventListener('click', () => (this.arrow = arrow, this.changed())));
        this.undo.addEventListener('click', () => (this.points.pop(), this.changed()));
        this.clear.addEventListener('click', () => (this.points = [], this.changed()));
    }

    /** The process forgot it with the session. */
    forget(): void {
        this.points = [];
    }

    /** The session came back, perhaps with another process, which knows no rule. */
    restore(): void {
        if (this.rule()) this.changed();
    }

    render(): void {
        const live = this.session.phase === 'live';
        KINDS.forEach(({ kind }, index) => this.kinds[index] && setPressed(this.kinds[index], this.kind === kind));
        ARROWS.forEach(({ arrow }, index) => this.arrows[index] && setPressed(this.arrows[index], this.arrow === arrow));
        for (const button of [...this.kinds, ...this.arrows]) button.disabled = !live;
        this.undo.disabled = this.clear.disabled = !live || this.points.length === 0;
        const closed = this.kind === 'region' && this.points.length > 2 ? this.points.slice(0, 1) : [];
        this.shape.setAttribute('points', [...this.points, ...closed].map(({ x, y }) => `${x},${y}`).join(' '));
        this.dots.replaceChildren(...this.points.map(({ x, y }) => svg('ellipse', { cx: x, cy: y, rx: 130, ry: (130 * 16) / 9 })));
        setText(this.words, this.text());
    }

    /** The whole of what is drawn, or null while there are too few points. */
    rule(): Rule | null {
        const [from, to] = this.points;
        if (this.kind === 'line') return from && to ? { kind: 'line', from, to, arrow: this.arrow } : null;
        return this.points.length > 2 ? { kind: 'region', corners: this.points, arrow: this.arrow } : null;
    }

    private text(): string {
        if (this.rule()) return this.session.model.channels[0]?.playing ? 'Shown over channel 1.' : 'Shown when channel 1 plays.';
        return this.kind === 'line' ? 'Click two points.' : `Click three to ${RULE_CORNERS} corners.`;
    }

    private onClick(event: MouseEvent): void {
        if (this.session.phase !== 'live') return;
        const { left, top, width, height } = this.field.getBoundingClientRect();
        if (width === 0 || height === 0) return;
        const most = this.kind === 'line' ? 2 : RULE_CORNERS;
        if (this.points.length === most) this.points = [];
        this.points.push({ x: unit((event.clientX - left) / width), y: unit((event.clientY - top) / height) });
        this.changed();
    }

    private setKind(kind: Rule['kind']): void {
        if (kind === this.kind) return;
        this.kind = kind;
        this.points = [];
        this.changed();
    }

    private changed(): void {
        this.session.changed();
        this.stale = true;
        if (!this.busy) void this.send();
    }

    private async send(): Promise<void> {
        const { rules } = this.session.client;
        this.busy = true;
        await this.session.attempt('', async () => {
            while (this.stale) {
                this.stale = false;
                const rule = this.rule();
                await (rule ? rules.draw(rule) : rules.clear());
            }
        });
        this.busy = false;
    }
}

function unit(part: number): number {
    return Math.round(Math.min(Math.max(part, 0), 1) * VIRTUAL_SIDE);
}

function svg<K extends keyof SVGElementTagNameMap>(tag: K, attributes: Record<string, string | number>): SVGElementTagNameMap[K] {
    const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, String(value));
    return element;
}
