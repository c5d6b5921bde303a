// What scripts/bench runs: speed and memory of this program against its peers, on the machine it runs on.
import { mkdtempSync, rmSync } from 'node:fs';
import { cpus, tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';

import { stopAll } from '../tests/browser/processes.mjs';
import { CONTENDERS } from './contenders.mjs';
import { Results } from './figures.mjs';
import { load } from './procfs.mjs';
import { age, cells64, firstpixel, memory, roundtrip } from './program-items.mjs';
import { convert, download, fast16, play4, seekdevice, seekfile } from './recorded-items.mjs';
import { Theatre } from './theatre.mjs';
import { wall } from './walls.mjs';

const root = resolve(dirname(fileURLToPath(import.meta.url)), '..');

// The sub streams are not looked at; small ones are made quickly.
const SUB = ['--sub', '160x90'];
const WALLS = {
    'live-720p': { recorder: ['--codec', 'h264', '--main', '1280x720', ...SUB], codec: 'H264', size: [480, 270], counts: [1, 4, 9, 16], peers: { decode: 1.05, mpv: 0.75 } },
    'live-1080p': { recorder: ['--codec', 'h265', '--main', '1920x1080', ...SUB], codec: 'H265', size: [480, 270], counts: [1, 4, 9], peers: { decode: 1.05, mpv: 0.75 } },
    full: { recorder: ['--codec', 'h264', '--main', '1920x1080', ...SUB], codec: 'H264', size: [1920, 1080], counts: [1], peers: { decode: 1.2 } },
};
const ITEMS = {
    ...Object.fromEntries(Object.entries(WALLS).map(([name, spec]) => [name, (stage) => wall({ ...spec, name, counts: stage.options.counts ?? spec.counts }, stage)])),
    cells64, memory, roundtrip, firstpixel, age, play4, fast16, seekfile, seekdevice, convert, download,
};

function refuse(text) {
    console.error(`bench: ${text}`);
    process.exit(2);
}

function options() {
    const { values, positionals } = parseArgs({
        allowPositionals: true,
        options: {
            runs: { type: 'string', default: '5' },
            seconds: { type: 'string', default: '10' },
            minutes: { type: 'string', default: '1' },
            counts: { type: 'string' },
            contenders: { type: 'string', default: Object.keys(CONTENDERS).join(',') },
            bin: { type: 'string', default: join(root, 'build/dev/bin') },
            out: { type: 'string' },
            strict: { type: 'boolean', default: false },
        },
    });
    const number = (name) => (Number(values[name]) > 0 ? Number(values[name]) : refuse(`--${name} wants a number above 0`));
    const unknown = positionals.find((name) => !ITEMS[name]);
    if (unknown) refuse(`no item ${unknown}; there are ${Object.keys(ITEMS).join(', ')}`);
    const contenders = values.contenders.split(',');
    const stranger = contenders.find((name) => !CONTENDERS[name]);
    if (stranger) refuse(`no contender ${stranger}; there are ${Object.keys(CONTENDERS).join(', ')}`);
    const counts = values.counts?.split(',').map(Number);
    if (counts?.some((n) => ![1, 4, 9, 16, 25, 36, 64].includes(n))) refuse('--counts wants numbers of cells: 1, 4, 9, 16');
    return {
        names: positionals.length ? positionals : Object.keys(ITEMS), contenders, counts, bin: resolve(values.bin), strict: values.strict,
        runs: Math.ceil(number('runs')), seconds: number('seconds'), minutes: number('minutes'),
        out: values.out ?? join(root, 'build/bench', `${new Date().toISOString().replace(/[:.]/g, '-')}.json`),
    };
}

const given = options();
const dir = mkdtempSync(join(tmpdir(), 'lumo-bench-'));
const results = new Results({
    time: new Date().toISOString(), machine: { processors: cpus().length, model: cpus()[0]?.model, loadAtStart: load() },
    runs: given.runs, seconds: given.seconds, minutes: given.minutes,
});
let failed = 0;
for (const signal of ['SIGINT', 'SIGTERM'])
    process.once(signal, () => stopAll().finally(() => process.exit(130)));
if (load() > 0.5 * cpus().length) console.log(`the machine is busy (load ${load()}): take the figures as noise`);
try {
    for (const name of given.names) {
        // An X server for each item: what one item leaves in it is not the next one's.
        let theatre;
        try {
            theatre = await Theatre.open({ bin: given.bin, dir });
            const contenders = Object.fromEntries(given.contenders.map((c) => [c, CONTENDERS[c]]));
            await ITEMS[name]({ theatre, contenders, options: given, results });
        } catch (error) {
            failed += 1;
            console.error(`${name}: not measured: ${error.message ?? error}`);
            results.add(name, { failed: String(error.message ?? error) });
        } finally {
            await theatre?.close();
        }
        results.save(given.out);
    }
} finally {
    await stopAll();
    rmSync(dir, { recursive: true, force: true });
}
const missed = results.goals.filter((g) => !g.met).length;
console.log(`\n${results.goals.length - missed} of ${results.goals.length} goals met${failed ? `, ${failed} item${failed > 1 ? 's' : ''} not measured` : ''}; ${given.out}`);
process.exit(failed || (given.strict && missed) ? 1 : 0);
