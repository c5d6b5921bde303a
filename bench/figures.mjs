// Medians and the like, the lines of goals, the table and the file.
import { mkdirSync, writeFileSync } from 'node:fs';
import { dirname } from 'node:path';

export function quantile(values, q) {
    if (!values.length) return NaN;
    const sorted = [...values].sort((a, b) => a - b);
    const at = (sorted.length - 1) * q;
    const low = Math.floor(at);
    return sorted[low] + (sorted[Math.ceil(at)] - sorted[low]) * (at - low);
}

export const median = (values) => quantile(values, 0.5);

/** Change per unit of x of the straight line through the points [x, y]. */
export function slope(points) {
    const mean = (f) => points.reduce((sum, p) => sum + f(p), 0) / points.length;
    const [mx, my] = [mean((p) => p[0]), mean((p) => p[1])];
    const spread = mean((p) => (p[0] - mx) ** 2);
    return spread > 0 ? mean((p) => (p[0] - mx) * (p[1] - my)) / spread : 0;
}

export const fixed = (value, digits = 2) => (Number.isFinite(value) ? value.toFixed(digits) : '-');

/** Rows of texts under a heading, in columns. */
export function table(heading, rows) {
    const all = [heading, ...rows].map((row) => row.map(String));
    const widths = heading.map((_, i) => Math.max(...all.map((row) => row[i].length)));
    const line = (row) => row.map((text, i) => (i ? text.padStart(widths[i]) : text.padEnd(widths[i]))).join('  ');
    return [line(all[0]), widths.map((w) => '-'.repeat(w)).join('  '), ...all.slice(1).map(line)].join('\n');
}

/** All that was measured: items with their figures, and goals with their verdicts. */
export class Results {
    constructor(context) {
        this.context = context;
        this.items = {};
        this.goals = [];
    }

    add(item, figures) {
        this.items[item] = figures;
    }

    /** A goal `value <= limit` (or >=, with atLeast); what is no number is not met. */
    goal(item, what, value, limit, { unit = '', atLeast = false, note = '' } = {}) {
        const met = Number.isFinite(value) && (atLeast ? value >= limit : value <= limit);
        this.goals.push({ item, what, value: Number.isFinite(value) ? value : null, limit, atLeast, unit, met, note });
        const verdict = met ? 'met    ' : 'NOT met';
        console.log(`${verdict}  ${item}: ${what} ${fixed(value)}${unit} (goal ${atLeast ? '>=' : '<='} ${limit}${unit})${note ? `; ${note}` : ''}`);
    }

    save(path) {
        mkdirSync(dirname(path), { recursive: true });
        writeFileSync(path, JSON.stringify({ ...this.context, goals: this.goals, items: this.items }, null, 1) + '\n');
    }
}
