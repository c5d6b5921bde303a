// A PulseAudio server of the test's own: one sink without hardware is what the program hears, for its monitor is the
// microphone, another is where it is heard.
import { readFileSync, rmSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { mkdtempSync } from 'node:fs';
import { tmpdir } from 'node:os';

import { start, until } from './processes.mjs';

const RATE = 48000; // of both sinks, one channel of 16 bits

export class SoundServer {
    static async open() {
        const server = new SoundServer();
        server.dir = mkdtempSync(join(tmpdir(), 'lumo-sound-'));
        const socket = join(server.dir, 'native');
        // Of this run alone: neither the user's own server nor its settings are touched.
        server.own = { HOME: server.dir, XDG_RUNTIME_DIR: server.dir, PULSE_RUNTIME_PATH: server.dir, PULSE_COOKIE: join(server.dir, 'cookie') };
        const sink = (name) => `module-null-sink sink_name=${name} rate=${RATE} channels=1 format=s16le`;
        const modules = [
            `module-native-protocol-unix socket=${socket} auth-anonymous=1`, sink('mouth'), sink('ear'),
            // Browsers do not count a sink's monitor as a microphone.
            'module-remap-source source_name=microphone master=mouth.monitor'];
        server.daemon = start('pulseaudio', ['-n', '--daemonize=no', '--exit-idle-time=-1', '--use-pid-file=no', '--disable-shm=yes', ...modules.flatMap((module) => ['--load', module])], { env: server.own });
        server.client = { PULSE_SERVER: `unix:${socket}`, PULSE_COOKIE: server.own.PULSE_COOKIE };
        await until(() => server.run('pactl', ['info']), 'the sound server answers');
        return server;
    }

    /** For the programs that are to hear and be heard. */
    get env() {
        return { ...this.client, PULSE_SOURCE: 'mouth.monitor', PULSE_SINK: 'ear', SDL_AUDIODRIVER: 'pulseaudio' };
    }

    async run(command, args) {
        const { code } = await start(command, args, { env: this.client }).ended;
        return code === 0;
    }

    /** Says a tone into the microphone; gives what stops it. */
    say(hz, seconds) {
        const samples = new Int16Array(RATE * seconds).map((_, i) => 12000 * Math.sin((2 * Math.PI * hz * i) / RATE));
        const file = join(this.dir, `tone-${hz}.raw`);
        writeFileSync(file, samples);
        return start('paplay', ['--raw', `--rate=${RATE}`, '--channels=1', '--format=s16le', '--device=mouth', '--latency-msec=60', file], { env: this.client });
    }

    /** Listens where the program is heard; `stop` ends it and gives the samples. */
    listen() {
        const file = join(this.dir, `heard-${Date.now()}.raw`);
        const recording = start('parec', ['--raw', `--rate=${RATE}`, '--channels=1', '--format=s16le', '--device=ear.monitor', '--latency-msec=20', file], { env: this.client });
        return {
            samples: () => samplesOf(file),
            stop: async () => {
                await recording.stop();
                return samplesOf(file);
            },
        };
    }

    async close() {
        await this.daemon?.stop();
        rmSync(this.dir, { recursive: true, force: true, maxRetries: 5 });
    }
}

function samplesOf(file) {
    try {
        const bytes = readFileSync(file);
        return { rate: RATE, values: new Int16Array(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + (bytes.length & ~1))) };
    } catch {
        return { rate: RATE, values: new Int16Array(0) };
    }
}

/** G.711 A-law (ITU-T G.711) at 8000 Hz. */
export function aLawSamples(bytes) {
    const values = Int16Array.from(bytes, (byte) => {
        const code = byte ^ 0x55;
        const segment = (code >> 4) & 7;
        const place = (code & 15) << 4;
        const magnitude = segment === 0 ? place + 8 : (place + 0x108) << (segment - 1);
        return code & 0x80 ? magnitude : -magnitude;
    });
    return { rate: 8000, values };
}

const LOUD = 1500;

/** From the first to the last sample that is loud. */
export function spoken({ rate, values }) {
    const first = values.findIndex((value) => Math.abs(value) > LOUD);
    const last = values.findLastIndex((value) => Math.abs(value) > LOUD);
    return { rate, values: first < 0 ? values.subarray(0, 0) : values.subarray(first, last + 1) };
}

export function part({ rate, values }, from, to) {
    return { rate, values: values.subarray(Math.round(from * rate), Math.round(to * rate)) };
}

export const seconds = ({ rate, values }) => values.length / rate;

/** The longest stretch without a loud sample, in ms. */
export function longestGap({ rate, values }) {
    let longest = 0;
    let last = 0;
    values.forEach((value, i) => {
        if (Math.abs(value) <= LOUD && i + 1 < values.length) return;
        longest = Math.max(longest, i - last);
        last = i;
    });
    return (longest * 1000) / rate;
}

/** The pitch of a tone, from its rising crossings of zero. */
export function pitch({ rate, values }) {
    const rising = [];
    for (let i = 1; i < values.length; ++i)
        if (values[i - 1] < 0 && values[i] >= 0) rising.push(i - 1 + values[i - 1] / (values[i - 1] - values[i]));
    if (rising.length < 2) return 0;
    // A gap does not change the pitch of what lies on both sides of it: the middle period is taken.
    const periods = rising.slice(1).map((at, i) => at - rising[i]).sort((a, b) => a - b);
    const middle = periods.slice(Math.floor(periods.length / 4), Math.ceil((periods.length * 3) / 4));
    return rate / (middle.reduce((sum, period) => sum + period, 0) / middle.length);
}
