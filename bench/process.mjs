// The program without browser and host: a local socket of our own, a plain window in the browser's place.
import { createServer } from 'node:net';
import { join } from 'node:path';
import { rmSync } from 'node:fs';

import { start } from '../tests/browser/processes.mjs';

const TITLE = 'Web Viewer - bench';
let serial = 0;

/** Split modes by the number of cells. */
const SPLITS = new Map([[1, 0], [4, 1], [9, 2], [16, 3], [25, 4], [36, 5], [64, 6]]);

export class Program {
    /** Starts window and process; resolves when the process has connected. */
    static async open({ bin, dir, env, screen }) {
        const program = new Program();
        program.window = start(join(bin, 'lumo-benchwindow'), [TITLE, '0', '0', ...screen.map(String)], { env });
        const { window } = JSON.parse(await program.window.line());
        const path = join(dir, `bench-${process.pid}-${++serial}`);
        program.server = createServer();
        const connected = new Promise((resolve) => program.server.once('connection', resolve));
        await new Promise((resolve) => program.server.listen(path, resolve));
        program.path = path;
        program.process = start(join(bin, 'LumoPlayTool'), ['1', path, bin, window], { env });
        program.socket = await Promise.race([connected, program.process.ended.then(() => Promise.reject(new Error(`LumoPlayTool ended: ${program.process.output()}`)))]);
        program.socket.on('error', () => {});
        program.socket.on('data', (bytes) => program.take(bytes));
        return program;
    }

    buffer = Buffer.alloc(0);
    waiting = new Map();
    listeners = new Set();
    nextId = 1;

    get pid() {
        return this.process.child.pid;
    }

    take(bytes) {
        this.buffer = Buffer.concat([this.buffer, bytes]);
        while (this.buffer.length >= 8) {
            const size = parseInt(this.buffer.toString('latin1', 0, 8), 16);
            if (this.buffer.length < 8 + size) return;
            const message = JSON.parse(this.buffer.toString('utf8', 8, 8 + size));
            this.buffer = this.buffer.subarray(8 + size);
            this.waiting.get(message.MsgID)?.(message);
            this.waiting.delete(message.MsgID);
            for (const hear of [...this.listeners]) hear(message);
        }
    }

    /** The reply to a command. One command at a time: the process reads what lies there as one message. */
    ask(command, ms = 60000) {
        const MsgID = this.nextId++;
        const body = Buffer.from(JSON.stringify({ ...command, MsgID }));
        return new Promise((resolve, reject) => {
            const timer = setTimeout(() => reject(new Error(`no reply to ${JSON.stringify(command)}`)), ms);
            this.waiting.set(MsgID, (message) => (clearTimeout(timer), resolve(message)));
            this.socket.write(Buffer.concat([Buffer.from(body.length.toString(16).padStart(8, '0')), body]));
        });
    }

    /** The next message that fits. */
    event(fits, ms) {
        return new Promise((resolve, reject) => {
            const end = (how, what) => (clearTimeout(timer), this.listeners.delete(hear), how(what));
            const hear = (message) => fits(message) && end(resolve, message);
            const timer = setTimeout(() => end(reject, new Error('the awaited event did not come')), ms);
            this.listeners.add(hear);
        });
    }

    async must(command) {
        const reply = await this.ask(command);
        if (reply.Ret !== 100) throw new Error(`${JSON.stringify(command)} answered ${JSON.stringify(reply)}`);
        return reply;
    }

    async login(recorder) {
        await this.must({
            MainType: 8, SubType: 0, Title: TITLE, Browse: 2,
            Device: { LoginType: 0, IP: '127.0.0.1', Port: recorder.httpPort, User: 'admin', Password: 'lumo' },
        });
    }

    /** A grid of so many cells, whose pictures have the given size: there is a border of one pixel around each. */
    async showGrid(cells, [width, height]) {
        const side = Math.sqrt(cells);
        this.place = { Left: 0, Top: 0, Width: side * (width + 2), Height: side * (height + 2) };
        await this.must({ MainType: 3, SubType: SPLITS.get(cells) });
        await this.must({ MainType: 12, SubType: 2, Pos: this.place });
        return Array.from({ length: cells }, (_, i) => ({
            x: (i % side) * (width + 2) + 1, y: Math.floor(i / side) * (height + 2) + 1, w: width, h: height,
        }));
    }

    startChannel(channel, stream = 0) {
        return this.must({ MainType: 4, SubType: 0, Channel: channel, Stream: stream });
    }

    stopChannel(channel) {
        return this.must({ MainType: 4, SubType: 1, Channel: channel });
    }

    /** Channel i on cell i, all that the device has. */
    startAll(stream = 0) {
        return this.startChannel(-1, stream);
    }

    async close() {
        this.socket?.destroy(); // the process ends with its host
        const timer = setTimeout(() => this.process.child.kill('SIGKILL'), 10000);
        await this.process?.ended;
        clearTimeout(timer);
        await this.window.stop();
        await new Promise((resolve) => this.server.close(resolve));
        rmSync(this.path, { force: true });
    }
}
