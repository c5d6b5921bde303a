// The contenders of a wall: each shows the recorder's channels in cells of one size (pure decode shows nothing) and is
// asked to use one thread for decoding a stream. A contender's `open` resolves when it runs; `pids` are the roots of
// its process trees; `watch` tells the pictures per second of each channel over a time.
import { execFileSync } from 'node:child_process';

import { start, until } from '../tests/browser/processes.mjs';
import { Program } from './process.mjs';

/** Cells of the given size, as many in a row as make the grid square, edge to edge. */
function plainCells(count, [w, h]) {
    const side = Math.ceil(Math.sqrt(count));
    return Array.from({ length: count }, (_, i) => ({ x: (i % side) * w, y: Math.floor(i / side) * h, w, h }));
}

/** What is waited for, or the failure of a program that ended meanwhile. */
function unlessEnded(handles, promise) {
    const ends = handles.map((h) => h.ended.then(({ code, signal }) => Promise.reject(new Error(`${h.child.spawnfile} ended (${signal ?? code}): ${h.output().slice(-500)}`))));
    return Promise.race([promise, ...ends]);
}

const ratesOnScreen = async (theatre, seconds, cells) => (await theatre.watch(seconds, cells)).cells.map((c) => c.perSecond);

/** One process per channel, each with a window of its own in its cell. */
function windowPerChannel(command) {
    return async ({ theatre, recorder, channels, size }) => {
        const cells = plainCells(channels, size);
        const handles = cells.map((cell, i) => {
            const [program, ...args] = command(recorder.url(i), cell);
            return start(program, args, { env: { ...theatre.env, SDL_VIDEODRIVER: 'x11', SDL_RENDER_DRIVER: 'software' } });
        });
        return {
            pids: handles.map((h) => h.child.pid),
            ready: () => unlessEnded(handles, theatre.untilShown(cells)),
            watch: (seconds) => ratesOnScreen(theatre, seconds, cells),
            close: () => Promise.all(handles.map((h) => h.stop())),
        };
    };
}

async function openProgram({ theatre, recorder, channels, size }) {
    const program = await Program.open(theatre);
    await program.login(recorder);
    const cells = await program.showGrid(channels, size);
    await program.startAll();
    return {
        pids: [program.pid],
        ready: () => unlessEnded([program.process], theatre.untilShown(cells)),
        watch: (seconds) => ratesOnScreen(theatre, seconds, cells),
        close: () => program.close(),
    };
}

/** Counts the pictures by the progress that ffmpeg tells twice a second. */
async function openDecode({ recorder, channels }) {
    const decoders = Array.from({ length: channels }, (_, i) => {
        const handle = start('ffmpeg', ['-hide_banner', '-loglevel', 'error', '-nostdin', '-nostats', '-stats_period', '0.5', '-progress', 'pipe:1',
            '-threads', '1', '-rtsp_transport', 'tcp', '-i', recorder.url(i), '-an', '-f', 'null', '-']);
        const told = [];
        handle.child.stdout.on('data', (text) => {
            const frames = [...String(text).matchAll(/^frame=\s*(\d+)/gm)].map((m) => Number(m[1]));
            if (frames.length) told.push([performance.now() / 1000, frames.at(-1)]);
        });
        return { handle, told };
    });
    return {
        pids: decoders.map((d) => d.handle.child.pid),
        ready: () => unlessEnded(decoders.map((d) => d.handle), until(() => decoders.every((d) => d.told.at(-1)?.[1] > 0), 'pictures from every ffmpeg', 60000)),
        async watch(seconds) {
            const from = performance.now() / 1000;
            await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
            return decoders.map(({ told }) => {
                const during = told.filter(([at]) => at >= from);
                const [first, last] = [during[0], during.at(-1)];
                return during.length > 1 ? (last[1] - first[1]) / (last[0] - first[0]) : 0;
            });
        },
        close: () => Promise.all(decoders.map((d) => d.handle.stop())),
    };
}

const GST_CHAIN = { H264: ['rtph264depay', 'h264parse', 'avdec_h264'], H265: ['rtph265depay', 'h265parse', 'avdec_h265'] };

/** One pipeline for all channels; its windows open in the corner and are put into place. */
async function openGst({ theatre, recorder, channels, size, codec }) {
    const cells = plainCells(channels, size);
    const [depay, parse, decoder] = GST_CHAIN[codec];
    const chains = cells.flatMap((_, i) => [
        'rtspsrc', `location=${recorder.url(i)}`, 'protocols=tcp', 'latency=200', '!', depay, '!', parse, '!', decoder, 'max-threads=1', '!',
        'queue', 'max-size-buffers=2', '!', 'videoscale', '!', `video/x-raw,width=${size[0]},height=${size[1]}`, '!', 'videoconvert', '!', 'ximagesink',
    ]);
    const handle = start('gst-launch-1.0', ['-q', ...chains], { env: theatre.env });
    const place = () => {
        let windows = [];
        try {
            windows = execFileSync('xdotool', ['search', '--onlyvisible', '--name', 'gst-launch'], { env: { ...process.env, ...theatre.env }, stdio: ['ignore', 'pipe', 'ignore'] })
                .toString().trim().split('\n');
        } catch {
            // none yet
        }
        if (windows.length !== channels) return false;
        windows.forEach((w, i) => execFileSync('xdotool', ['windowmove', w, String(cells[i].x), String(cells[i].y)], { env: { ...process.env, ...theatre.env } }));
        return true;
    };
    return {
        pids: [handle.child.pid],
        ready: async () => {
            await unlessEnded([handle], until(place, `${channels} windows of gst-launch`, 60000));
            await unlessEnded([handle], theatre.untilShown(cells));
        },
        watch: (seconds) => ratesOnScreen(theatre, seconds, cells),
        close: () => handle.stop(),
    };
}

export const CONTENDERS = {
    lumo: openProgram,
    decode: openDecode,
    mpv: windowPerChannel((url, { x, y, w, h }) => [
        'mpv', '--no-config', '--vo=x11', '--no-audio', '--no-border', `--geometry=${w}x${h}+${x}+${y}`, '--no-osc', '--no-input-default-bindings',
        '--really-quiet', '--hwdec=no', '--vd-lavc-threads=1', '--rtsp-transport=tcp', url,
    ]),
    ffplay: windowPerChannel((url, { x, y, w, h }) => [
        'ffplay', '-loglevel', 'error', '-an', '-noborder', '-left', String(x), '-top', String(y), '-x', String(w), '-y', String(h),
        '-threads', '1', '-rtsp_transport', 'tcp', '-i', url,
    ]),
    gst: openGst,
};
