// Live walls: the same channels by each contender in turn, the CPU time of each while all pictures are on the screen.
import { fixed, median, table } from './figures.mjs';

const MIN_RATE = 24.5; // pictures a second of every channel, or the run does not count
const SETTLE_MS = 1500;

async function run(open, stage, seconds) {
    const wall = await open(stage);
    try {
        await wall.ready();
        // Starts cost more than running: buffers fill, and players catch up with the stream.
        await new Promise((resolve) => setTimeout(resolve, SETTLE_MS));
        const { result: rates, ...shares } = await stage.theatre.measure(wall.pids, stage.recorder, () => wall.watch(seconds));
        const slowest = Math.min(...rates);
        return { ...shares, slowest, counts: slowest >= MIN_RATE };
    } finally {
        await wall.close();
    }
}

/** Runs all contenders `runs` times, one after the other in each round, so that a slow minute hits all of them. */
async function interleaved(contenders, stage, { runs, seconds }) {
    const all = Object.fromEntries(Object.keys(contenders).map((name) => [name, []]));
    for (let round = 0; round < runs; ++round)
        for (const [name, open] of Object.entries(contenders)) {
            try {
                all[name].push(await run(open, stage, seconds));
            } catch (error) {
                all[name].push({ failed: String(error.message ?? error), counts: false });
            }
            const r = all[name].at(-1);
            process.stderr.write(`  ${stage.channels} x ${name}: ${r.failed ?? `${fixed(100 * r.cpu, 1)} % of a core, ${fixed(r.slowest, 1)}/s, others ${fixed(100 * r.others, 0)} %`}\n`);
        }
    return all;
}

/** The median of the runs that count; of those that do not, when there are no others. */
function summary(runs) {
    const good = runs.filter((r) => r.counts);
    const used = good.length ? good : runs.filter((r) => !r.failed);
    const of = (key) => median(used.map((r) => r[key]));
    return { cpu: of('cpu'), xserver: of('xserver'), recorder: of('recorder'), others: of('others'), slowest: of('slowest'), counted: good.length, runs };
}

function printWall(name, channels, all) {
    const base = all.decode?.cpu;
    const rows = Object.entries(all).map(([who, s]) => [
        who, fixed(100 * s.cpu, 1), base ? fixed(s.cpu / base) : '-', fixed(100 * s.xserver, 1), fixed(100 * s.recorder, 1), fixed(100 * s.others, 1),
        fixed(s.slowest, 1), `${s.counted}/${s.runs.length}`,
    ]);
    console.log(`\n${name}, ${channels} channel${channels > 1 ? 's' : ''} (CPU in % of one core)`);
    console.log(table(['contender', 'cpu', 'x decode', 'X server', 'recorder', 'others', 'slowest/s', 'counted'], rows));
}

function judge(results, item, all, peers) {
    const { lumo } = all;
    if (!lumo) return;
    for (const [peer, limit] of Object.entries(peers)) {
        if (!all[peer]) continue;
        // A peer that falls behind shows less for its CPU; measured against it we look worse than we are, never better.
        const note = [lumo.counted ? '' : `no run showed ${MIN_RATE} pictures a second on every channel`, all[peer].counted ? '' : `${peer} fell behind`].filter(Boolean).join(', ');
        results.goal(item, `CPU against ${peer}`, lumo.counted ? lumo.cpu / all[peer].cpu : NaN, limit, { note });
    }
}

/** One kind of wall, for several numbers of channels. `peers`: largest ratio of CPU to each of these contenders. */
export async function wall({ name, recorder: args, codec, size, counts, peers }, { theatre, contenders, options, results }) {
    const figures = {};
    for (const channels of counts) {
        const recorder = await theatre.recorder([...args, '--channels', String(channels)]);
        try {
            const runs = await interleaved(contenders, { theatre, recorder, channels, size, codec }, options);
            const all = Object.fromEntries(Object.entries(runs).map(([who, r]) => [who, summary(r)]));
            figures[channels] = all;
            printWall(name, channels, all);
            judge(results, `${name} x${channels}`, all, peers);
        } finally {
            await recorder.stop();
        }
    }
    results.add(name, figures);
}
