import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { expect, it } from 'vitest';

/** Text that can be read: contrast as WCAG 2 reckons it, from the style sheets. */
const FOLDER = fileURLToPath(new URL('../styles', import.meta.url));
const sheets = readdirSync(FOLDER).filter((name) => name.endsWith('.css')).map((name) => readFileSync(join(FOLDER, name), 'utf8')).join('\n');

/** The value of a property in the rule of exactly this selector. */
function declared(selector: string, property: string): string {
    const rules = sheets.replace(/\/\*[^]*?\*\//g, '').matchAll(/([^{}]+)\{([^{}]*)\}/g);
    for (const [, selectors = '', body = ''] of rules) {
        if (!selectors.split(',').some((each) => each.trim() === selector)) continue;
        const found = body.split(';').map((line) => line.split(':').map((part) => part.trim())).find(([name]) => name === property);
        if (found?.[1]) return found[1];
    }
    throw new Error(`no ${property} of ${selector}`);
}

function colour(value: string): number[] {
    const name = /^var\((--[\w-]+)\)$/.exec(value)?.[1];
    if (name) return colour(declared(':root', name));
    const digits = /^#(?:([\da-f])([\da-f])([\da-f])|([\da-f]{2})([\da-f]{2})([\da-f]{2}))$/i.exec(value)?.slice(1).filter(Boolean);
    if (!digits) throw new Error(`no colour: ${value}`);
    return digits.map((digit) => parseInt(digit.padStart(2, digit), 16) / 255);
}

function luminance(value: string): number {
    const [r = 0, g = 0, b = 0] = colour(value).map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

function contrast(text: string, ground: string): number {
    const [dark = 0, light = 0] = [luminance(text), luminance(ground)].sort((a, b) => a - b);
    return (light + 0.05) / (dark + 0.05);
}

it('is reckoned as the standard says', () => {
    expect(contrast('#000', '#ffffff')).toBeCloseTo(21, 5);
    expect(contrast('#777777', '#fff')).toBeCloseTo(4.48, 2);
});

it.each([
    ['a placeholder', declared('input::placeholder', 'color'), declared('select', 'background')],
    ['the words where the video appears', declared('.video', 'color'), declared('.video', 'background')],
    ...['--ground', '--surface', '--raised'].flatMap((ground) => ['--text', '--dim', '--faint'].map((text): [string, string, string] => [`${text} on ${ground}`, `var(${text})`, `var(${ground})`])),
    ['the note of the current channel', declared(".channel[aria-current='true'] .note", 'color'), declared(".channel[aria-current='true']", 'background')],
])('%s can be read', (_, text, ground) => expect(contrast(text, ground)).toBeGreaterThanOrEqual(4.5));
