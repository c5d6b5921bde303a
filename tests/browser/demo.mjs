// What scripts/demo runs: live video inside a web page, shown to a person or judged from the screen.
import { parseArgs } from 'node:util';

import { cellsOf } from './screen.mjs';
import { Stage } from './stage.mjs';
import { until } from './processes.mjs';

const { values: options } = parseArgs({
    options: {
        headless: { type: 'boolean', default: false },
        seconds: { type: 'string' },
        shot: { type: 'string' },
        channels: { type: 'string', default: '4' },
        video: { type: 'string' },
        fault: { type: 'string' },
        bin: { type: 'string' },
    },
});
const channels = Number(options.channels);
const shown = Math.min(channels, 4);

/** Pictures a second below which a channel does not count as moving; a crowded machine shows more. */
const LEAST_RATE = 2;

/** Own picture and own movement: the channel's number stands in its cell, and its frame number goes on. */
async function judgeCoded(stage, cells) {
    const first = await until(async () => {
        const all = await Promise.all(cells.map((cell) => stage.screen.read(cell)));
        return all.every((r) => r.ok) && all;
    }, 'a readable picture in each cell', 60000);
    let good = true;
    await stage.screen.watch(1, cells); // what is still under way to a channel that stands still arrives meanwhile
    const seen = await stage.screen.watch(2, cells);
    cells.forEach((cell, i) => {
        const { channel, frame } = first[i];
        const rate = seen.cells[i].perSecond;
        const ok = channel === i && rate >= LEAST_RATE;
        good &&= ok;
        console.log(`cell ${i + 1}: channel ${channel + 1}, frame ${frame}, ${rate.toFixed(1)} pictures a second${ok ? '' : '  <- WRONG'}`);
    });
    return good;
}

/** A given file carries no numbers: each cell must show a picture, and change. */
async function judgeFile(stage, cells) {
    let good = true;
    for (const [i, cell] of cells.entries()) {
        const before = await until(async () => {
            const r = await stage.screen.read(cell);
            return r.var > 20 && r;
        }, `a picture in cell ${i + 1}`, 60000);
        const moved = await until(async () => {
            const r = await stage.screen.read(cell);
            return JSON.stringify([r.mean, r.var]) !== JSON.stringify([before.mean, before.var]);
        }, `movement in cell ${i + 1}`, 10000).catch(() => false);
        good &&= moved;
        console.log(`cell ${i + 1}: ${moved ? 'a moving picture' : 'a still picture  <- WRONG'}`);
    }
    return good;
}

/** Looks at the cells on the screen, says what it saw and keeps a picture of it where one is wanted. */
async function look(stage) {
    await stage.byId('video').waitFor({ state: 'visible', timeout: 60000 });
    const rect = await stage.videoRect();
    const cells = cellsOf(rect, shown > 1 ? 2 : 1).slice(0, shown);
    if (options.fault) await stage.recorderCall('/api/fault', JSON.parse(options.fault));
    const good = options.video ? await judgeFile(stage, cells) : await judgeCoded(stage, cells);
    if (options.shot) {
        stage.screen.shot(options.shot);
        console.log(`screenshot: ${options.shot}`);
    }
    console.log(`page's rectangle on the screen: ${rect.w}x${rect.h} at ${rect.x},${rect.y}`);
    console.log(good ? 'seen: each cell shows its own moving picture inside the page' : 'NOT seen');
    return good;
}

/** Until the browser is closed, Ctrl-C is pressed or the time is over. */
async function stay(stage) {
    console.log(`live video in the browser; the page is ${stage.pageUrl()}`);
    console.log('user admin, password lumo. Close the browser, or press Ctrl-C, to end.');
    const closed = new Promise((resolve) => stage.context.on('close', resolve));
    const asked = new Promise((resolve) => process.once('SIGINT', resolve));
    await Promise.race([closed, asked, options.seconds ? seconds() : new Promise(() => {})]);
}

const seconds = () => new Promise((resolve) => setTimeout(resolve, Number(options.seconds) * 1000));

const stage = await Stage.open({
    channels,
    // A few minutes of recordings are made in seconds; the whole hour would have to be waited for at the first look.
    recorder: [...(options.video ? ['--video', options.video] : []), '--recorded', '240'],
    ...(options.bin ? { bin: options.bin } : {}),
});
let good = true;
try {
    await stage.openBrowser(stage.pageUrl({ auto: 1, user: 'admin', password: 'lumo', split: shown > 1 ? 1 : 0, channels: shown }));
    if (options.headless || options.shot) good = await look(stage);
    if (!options.headless) await stay(stage);
    else if (options.seconds) await seconds();
} catch (error) {
    good = false;
    console.error(String(error?.message ?? error));
    if (options.shot && options.headless) stage.screen.shot(options.shot);
    if (process.env.LUMO_VERBOSE) console.error(stage.host.output(), stage.recorder.output());
} finally {
    await stage.close();
}
process.exit(good ? 0 : 1);
