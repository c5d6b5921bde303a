// What concerns this program alone: many cells, memory and threads, replies, the first picture, the age of pictures.
import { fixed, median, quantile, slope } from './figures.mjs';
import { Program } from './process.mjs';
import { residentMb, threadNames, threadsOf } from './procfs.mjs';
import { until } from '../tests/browser/processes.mjs';

const CELL = [480, 270];
const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

/** Runs `work` on a program that is logged in to a recorder of its own. */
async function withProgram(theatre, recorderArgs, work) {
    const recorder = await theatre.recorder(recorderArgs);
    let program;
    try {
        program = await Program.open(theatre);
        await program.login(recorder);
        return await work(program, recorder);
    } finally {
        await program?.close();
        await recorder.stop();
    }
}

const H264 = ['--codec', 'h264', '--main', '1280x720', '--sub', '160x90'];
const MANY = ['--codec', 'h264', '--main', '640x360', '--sub', '640x360', '--channels', '64']; // one clip for both

export async function cells64({ theatre, options, results }) {
    await withProgram(theatre, MANY, async (program, recorder) => {
        const cells = await program.showGrid(64, [240, 135]);
        const begun = performance.now();
        await program.startAll(1);
        await theatre.untilShown(cells);
        const allShown = (performance.now() - begun) / 1000;
        await pause(2000);
        const seconds = Math.max(10, options.seconds);
        const { result, ...shares } = await theatre.measure([program.pid], recorder, () => theatre.watch(seconds, cells));
        const rates = result.cells.map((c) => c.perSecond);
        const figures = { slowest: Math.min(...rates), median: median(rates), residentMb: residentMb(program.pid), threads: threadsOf(program.pid), xserverMb: residentMb(theatre.server.child.pid), recorderMb: residentMb(recorder.pid), allShown, ...shares };
        results.add('cells64', figures);
        console.log(`\ncells64: ${fixed(figures.slowest, 1)} to ${fixed(Math.max(...rates), 1)} pictures a second, ${fixed(100 * shares.cpu, 0)} % of a core (X server ${fixed(100 * shares.xserver, 0)}, recorder ${fixed(100 * shares.recorder, 0)}, watching ${fixed(100 * shares.reader, 0)}, others ${fixed(100 * shares.others, 0)}), all shown after ${fixed(allShown, 1)} s`);
        results.goal('cells64', 'slowest cell', figures.slowest, 24, { unit: '/s', atLeast: true });
        results.goal('cells64', 'resident', figures.residentMb, 300, { unit: ' MB' });
    });
}

/** Its own start for each number of channels, so that nothing an earlier wall left behind counts. */
async function footprint(theatre, channels) {
    return withProgram(theatre, [...H264, '--channels', String(Math.max(1, channels))], async (program) => {
        const cells = await program.showGrid(16, CELL);
        if (channels > 0) {
            await program.startAll();
            await theatre.untilShown(cells.slice(0, channels));
        }
        await pause(4000); // every buffer has been filled by then: key frames come once a second
        return { channels, residentMb: residentMb(program.pid), threads: threadsOf(program.pid), names: threadNames(program.pid).sort() };
    });
}

export async function memory({ theatre, results }) {
    const steps = [];
    for (const channels of [0, 1, 4, 9, 16]) steps.push(await footprint(theatre, channels));
    const [none, one, , , all] = steps;
    const perChannel = (all.residentMb - none.residentMb) / all.channels;
    const threads = (all.threads - one.threads) / (all.channels - one.channels);
    results.add('memory', { steps, perChannel, threads });
    console.log(`\nmemory: ${steps.map((s) => `${s.channels} channels ${fixed(s.residentMb, 1)} MB, ${s.threads} threads`).join('; ')}`);
    results.goal('memory', 'resident per 720p channel (16 against none)', perChannel, 12, { unit: ' MB' });
    results.goal('memory', 'threads per channel', threads, 1);
}

export async function roundtrip({ theatre, results }) {
    await withProgram(theatre, [...H264, '--channels', '1'], async (program) => {
        await program.showGrid(1, CELL);
        const times = [];
        for (let i = 0; i < 1000; ++i) {
            const begun = performance.now();
            await program.must({ MainType: 12, SubType: 4, Pos: program.place });
            times.push(performance.now() - begun);
        }
        const figures = { median: median(times), p95: quantile(times, 0.95), worst: Math.max(...times) };
        results.add('roundtrip', figures);
        console.log(`\nroundtrip: median ${fixed(figures.median, 3)} ms, 95 % within ${fixed(figures.p95, 3)}, worst ${fixed(figures.worst)}`);
        results.goal('roundtrip', 'median of a move command', figures.median, 1, { unit: ' ms' });
    });
}

/** The key frame that opened the stream, and when it left: each second begins with one. */
async function keyFrameBefore(recorder, channel, frame) {
    const key = frame - (frame % 25);
    return { key, leftUs: await recorder.leftUs(channel, 0, key) };
}

async function firstPixelOnce(theatre, program, recorder, cell) {
    await program.startChannel(0);
    const repliedUs = (performance.timeOrigin + performance.now()) * 1000;
    const seen = await until(async () => {
        for (let i = 0; i < 200; ++i) {
            const look = await theatre.read(cell);
            if (look.ok) return look;
        }
        return null;
    }, 'a first picture', 20000);
    const { leftUs } = await keyFrameBefore(recorder, 0, seen.frame);
    await program.stopChannel(0);
    await until(async () => !(await theatre.read(cell)).ok, 'an empty cell');
    return { fromReply: (seen.us - repliedUs) / 1000, fromKey: (seen.us - leftUs) / 1000, ms: (seen.us - Math.max(repliedUs, leftUs)) / 1000, frame: seen.frame };
}

export async function firstpixel({ theatre, results }) {
    await withProgram(theatre, [...H264, '--channels', '1'], async (program, recorder) => {
        const [cell] = await program.showGrid(1, CELL);
        const starts = [];
        for (let i = 0; i < 20; ++i) starts.push(await firstPixelOnce(theatre, program, recorder, cell));
        const times = starts.map((s) => s.ms);
        results.add('firstpixel', { median: median(times), worst: Math.max(...times), starts });
        console.log(`\nfirstpixel: median ${fixed(median(times), 1)} ms, worst of ${times.length} ${fixed(Math.max(...times), 1)} ms after reply and key frame; after the reply alone ${fixed(median(starts.map((s) => s.fromReply)), 1)} ms`);
        results.goal('firstpixel', 'worst from reply and key frame to first pixel', Math.max(...times), 150, { unit: ' ms' });
    });
}

/** Ages in milliseconds of all pictures seen in a stretch shorter than the loop: [seconds since start, age]. */
async function agesOf(theatre, recorder, cells, seconds, beganUs) {
    const { cells: watched } = await theatre.watch(seconds, cells, 'ages');
    const ages = [];
    for (const { channel, seen } of watched)
        // The first one may have stood there before the look began.
        for (const [frame, us] of seen.slice(1)) {
            const leftUs = await recorder.leftUs(channel, 0, frame);
            ages.push([(us - beganUs) / 1e6, (us - leftUs) / 1000]);
        }
    return ages;
}

async function readingCost(theatre, cell) {
    const times = [];
    for (let i = 0; i < 200; ++i) {
        const begun = performance.now();
        await theatre.read(cell);
        times.push(performance.now() - begun);
    }
    return median(times);
}

export async function age({ theatre, options, results }) {
    await withProgram(theatre, [...H264, '--channels', '4'], async (program, recorder) => {
        const cells = await program.showGrid(4, CELL);
        await program.startAll();
        await theatre.untilShown(cells);
        await pause(2000);
        const reading = await readingCost(theatre, cells[0]);
        const began = Date.now();
        const ages = [];
        while (Date.now() - began < options.minutes * 60000) ages.push(...(await agesOf(theatre, recorder, cells, 2.5, began * 1000)));
        const values = ages.map(([, ms]) => ms);
        const tenth = Math.ceil(ages.length / 10);
        const growth = median(values.slice(-tenth)) - median(values.slice(0, tenth));
        const figures = { pictures: values.length, reading, median: median(values), p95: quantile(values, 0.95), p99: quantile(values, 0.99), worst: Math.max(...values), growth, slopeMsPerMinute: slope(ages) * 60, minutes: options.minutes };
        results.add('age', figures);
        console.log(`\nage: ${values.length} pictures of 4 channels in ${options.minutes} min: median ${fixed(figures.median, 1)} ms, 95 % within ${fixed(figures.p95, 1)}, 99 % within ${fixed(figures.p99, 1)}, worst ${fixed(figures.worst, 1)}; one look at the screen ${fixed(reading, 2)} ms`);
        results.goal('age', 'reading the screen', reading, 5, { unit: ' ms' });
        results.goal('age', '99 % of pictures within', figures.p99, 60, { unit: ' ms' });
        results.goal('age', 'growth from the first tenth to the last', growth, 5, { unit: ' ms' });
    });
}
