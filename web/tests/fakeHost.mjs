/**
 * A stand-in for the host and the process behind it: answers commands by the same rules, paints nothing.
 * For the client's tests and for looking at the page without a device.
 */
import { createReadStream, existsSync, statSync } from 'node:fs';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';
import { WebSocketServer } from 'ws';
import { FakeAudio } from './fakeAudio.mjs';
import { FakeCipher } from './fakeCipher.mjs';
import { FakeMaintenance } from './fakeMaintenance.mjs';
import { FakePicture } from './fakePicture.mjs';
import { FakePlayback } from './fakePlayback.mjs';

const MIME = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.svg': 'image/svg+xml' };
const NO_REPLY = new Set([6, 11]);

/** One process: its state lives as long as its connection. */
class FakeProcess {
    constructor(options, send) {
        this.options = options;
        this.send = send;
        this.loggedIn = false;
        this.selected = 0;
        this.cells = new Array(64).fill(-1);
        this.streams = new Array(64).fill(0);
        this.recording = new Array(64).fill(false);
        this.colors = Array.from({ length: 64 }, () => [64, 64, 64, 64]);
        this.aspect = new Array(64).fill(-1);
        this.sound = -1;
        this.config = {
            ToolVersion: '1.0.0', ToolDate: '2026-11-21', CapFileType: 0, RecordFileType: 0,
            RecPath: '/home/you/Videos/Record', CapPath: '/home/you/Pictures/Capture', DownPath: '/home/you/Downloads',
        };
        this.alarmChoice = {};
        this.page = 0;
        /** Cell and stream by channel, for the next time that the live page is shown; `left` when it was left with them. */
        this.kept = new Map();
        this.left = false;
        this.playback = new FakePlayback(options, this.config, send);
        this.audio = new FakeAudio(options, send);
        this.maintenance = new FakeMaintenance(options, send);
        this.picture = new FakePicture(options, send, () => this.cells[this.selected]);
    }

    handle(request) {
        const base = { Msg: request.MainType, SubMsg: request.SubType, MsgID: request.MsgID ?? null };
        const reply = (extra) => this.send({ ...base, ...extra });
        switch (request.MainType) {
            case 0: return;
            case 2: return this.showPage(request.SubType, reply);
            case 3: return this.split(reply);
            case 5: return this.playback.handle(request, reply);
            case 4: return this.preview(request, reply);
            case 6: return this.picture.colourPage(request, reply);
            case 8: return this.login(request, reply);
            case 9: this.loggedIn = false; this.cells.fill(-1); return;
            case 11: if (this.page === 1) this.playback.select(request.SubType); return reply({ Ret: 100 });
            case 29: return reply({ Ret: 100 });
            case 12: return request.Potocol === undefined || request.Potocol === null ? reply({ Ret: 100 }) : undefined;
            case 14: this.alarmChoice = request.alarmtype; return reply({ SubMsg: 0, Ret: 100 });
            case 15: return reply({ SubMsg: 0, Ret: 100, alarmtype: this.alarmChoice });
            case 22: return this.checkVersion(request, reply);
            case 16: return this.audio.talk(request, reply);
            case 18: return this.clientConfig(request, reply);
            case 19: return this.send({ Msg: 19, Channel: request.SubType, MsgID: request.MsgID, Ret: this.cells.includes(request.SubType) ? 100 : 1016 });
            case 20: return this.audio.voice(request, reply);
            case 21: return this.maintenance.online(request, reply);
            case 24: return this.picture.steer(request, reply);
            case 25: return this.maintenance.local(request, reply);
            case 28: return this.relogin(reply);
            case 30: return this.maintenance.importFile(request);
            case 34: return this.picture.setRule(request, reply);
            default: return reply({ Ret: 1019 });
        }
    }

    login(request, reply) {
        const common = { Id: 7, adjustBytool: true, DPIRadio: 100 };
        if (request.Device.Password === 'wrong') return reply({ ...common, Ret: 106, ErrorCode: -11302 });
        this.loggedIn = true;
        this.selected = 0;
        reply({ ...common, Ret: 100 });
    }

    relogin(reply) {
        this.playback.leave();
        this.audio.talking = null;
        this.stopShown();
        reply({ Ret: this.options.reloginRet ?? 100, Id: 7, SerialNo: 'LUMO00000001' });
    }

    /** Live streams stop when their page is left for playback, and stand in their cells again when it comes back. */
    showPage(page, reply) {
        if (page !== 1) this.playback.leave();
        if (page !== 2) this.picture.colour = null;
        if (page === 1) this.left = this.stopShown() || this.left;
        if (page === 0) this.bringBack();
        this.page = page;
        reply({ Ret: 100 });
    }

    /** Keeps what is shown. True if anything was. */
    stopShown() {
        const shown = this.cells.flatMap((channel, wnd) => (channel < 0 ? [] : [{ channel, wnd }]));
        for (const { channel, wnd } of shown) {
            this.kept.set(channel, { wnd, stream: this.streams[channel] });
            this.remove(channel);
        }
        return shown.length > 0;
    }

    bringBack() {
        const ChnStatus = Array.from({ length: this.options.channels }, (_, Chn) => {
            const was = this.cells.includes(Chn) ? undefined : this.kept.get(Chn);
            if (was && !this.options.refuse?.includes(Chn)) this.put(Chn, was.wnd, was.stream);
            const Ret = this.cells.includes(Chn) ? 100 : was ? 122 : 1016;
            return { Ret, Chn, Stream: was?.stream ?? 0, Record: false };
        });
        this.kept.clear();
        if (this.left) this.send({ MainEvent: 0, SubEvent: 3, ChnStatus });
        this.left = false;
    }

    split(reply) {
        this.selected = 0;
        reply({ Ret: 100, Chn: this.cells[0] });
    }

    preview(request, reply) {
        const { SubType: sub, Channel: channel } = request;
        if (sub > 13 || NO_REPLY.has(sub)) return;
        const current = this.cells[this.selected];
        switch (sub) {
            case 0: return channel === -1 || channel > 99 ? this.startMany(request, reply) : this.startOne(request, reply);
            case 1: return this.stop(channel, current, reply);
            case 2: return reply({ Ret: 1016, ...this.colorKeys(channel) });
            case 3: return this.setColor(request, current, reply);
            case 4: return reply({ Ret: 100, Status: this.cells.includes(channel) ? 2 : 0 });
            case 5: return reply({ Ret: 100, Chn: -1 });
            case 7: return reply({ Ret: 100, Chn: current });
            case 8: this.sound = this.sound === channel ? -1 : channel; return reply({ Ret: 100, Audio: this.sound === channel, Chn: channel });
            case 9: return this.cells.includes(channel) ? reply({ Ret: 100, Chn: channel, CapPath: this.config.CapPath }) : reply({ Ret: 1016, Chn: channel });
            case 10: return this.record(request, reply);
            default: if (current >= 0) this.aspect[current] = sub === 12 ? 1 : 0; return reply({ Ret: current >= 0 ? 100 : 1016 });
        }
    }

    /** In the selected window of the page that is shown, but always onto a live cell. */
    startOne({ Channel, Stream }, reply) {
        this.picture.forget();
        this.remove(Channel);
        const wnd = this.page === 1 ? this.playback.selected : this.selected;
        const oldChn = this.cells[wnd];
        if (oldChn >= 0) this.remove(oldChn);
        if (this.options.refuse?.includes(Channel)) return reply({ Chn: Channel, oldChn, Stream, Ret: 122, Error: -10005 });
        this.put(Channel, wnd, Stream);
        this.sendChannel(Channel, this.cells[this.selected]);
        reply({ Chn: Channel, oldChn, Stream, Ret: 100 });
    }

    startMany({ Channel, Stream }, reply) {
        this.picture.forget();
        const count = Channel === -1 ? this.options.channels : Math.trunc(Channel / 100) * 4;
        if (Channel !== -1) this.selected = 0;
        const ChnStatus = [];
        for (let i = 0; i < count; i++) {
            this.remove(i);
            const bad = i >= this.options.channels || this.options.refuse?.includes(i);
            if (!bad) this.put(i, i, Stream);
            ChnStatus.push({ Ret: bad ? 122 : 100, Chn: i, Stream, Record: false, ...(bad ? { Error: -10005 } : {}) });
        }
        this.sendChannel(this.cells[this.selected], this.cells[this.selected]);
        this.send({ MainEvent: 0, SubEvent: 6, nShowElect: 0 });
        this.send({ MainEvent: 0, SubEvent: 3, ChnStatus: count > 0 ? ChnStatus : null });
        reply({ Chn: 0, oldChn: 0, Stream: 0, Ret: ChnStatus.at(-1)?.Ret ?? 1016 });
    }

    stop(channel, current, reply) {
        if (channel >= 0 && channel < 64) {
            this.remove(channel);
            this.send({ MainEvent: 0, SubEvent: 6, nShowElect: 0 });
            this.sendChannel(channel, current);
            return reply({ Chn: channel, Ret: 100 });
        }
        const ChnStatus = [];
        for (let i = 0; i < this.options.channels; i++) {
            this.remove(i);
            ChnStatus.push({ Ret: 100, Chn: i, Stream: 9, Record: false });
        }
        this.sendChannel(-1, -1);
        this.send({ MainEvent: 0, SubEvent: 3, Ret: 1016, ChnStatus });
        reply({ Chn: channel, Ret: 100 });
    }

    setColor({ Type, Value }, current, reply) {
        if (current < 0) return reply({ Ret: 1016, Chn: -1 });
        if (Type === 4) this.colors[current].fill(Value);
        else if (Type < 4) this.colors[current][Type] = Value;
        reply({ Ret: 100, Chn: -1 });
    }

    record({ Channel, Record }, reply) {
        if (Channel === -1) {
            const ChnStatus = [];
            for (let i = 0; i < this.options.channels; i++) {
                this.recording[i] = Record !== 0 && this.cells.includes(i);
                ChnStatus.push({ Ret: this.cells.includes(i) ? 100 : 1016, Chn: i, Record: this.recording[i] });
            }
            this.send({ MainEvent: 0, SubEvent: 3, ChnStatus });
            return reply({ Record: 0, Chn: -1 });
        }
        this.recording[Channel] = Record !== 0 && this.cells.includes(Channel);
        const Ret = this.cells.includes(Channel) ? 100 : 1016;
        reply({ Ret, RecPath: this.config.RecPath, Chn: Channel, Record: this.recording[Channel] });
    }

    /** A server without a version file answers empty, one that hangs never. */
    checkVersion({ SubType }, reply) {
        reply({ Ret: 100 });
        const { newVersion } = this.options;
        if (newVersion === undefined) return;
        const kind = SubType === 1 ? { MainEvent: 4, SubEvent: 54 } : { MainEvent: 0, SubEvent: 4 };
        this.send({ ...kind, curVersion: '1.0.0.0', curDate: '2026-11-21', newVersion, newDate: '2026-12-01', bNew: newVersion > '1.0.0.0' });
    }

    clientConfig(request, reply) {
        if (request.SubType === 51) return reply({ ...this.config, Ret: 100 });
        if (request.SubType === 50) {
            const { RecPath, CapPath, DownPath, RecordType } = request;
            Object.assign(this.config, { RecPath, CapPath, DownPath, RecordFileType: RecordType });
            return reply({ Ret: 100 });
        }
        if ([48, 49, 53].includes(request.SubType)) return reply(this.options.picked === undefined ? { nRet: 1016 } : { nRet: 100, Path: this.options.picked });
    }

    /** A click into a cell of the surface. */
    select(wnd) {
        this.selected = wnd;
        const Channel = this.cells[wnd];
        this.send({ MainEvent: 0, SubEvent: 0, Data: { Channel, Wnd: wnd, ...this.statusKeys(Channel) } });
        this.send({ MainEvent: 0, SubEvent: 6, nShowElect: 0 });
    }

    put(channel, wnd, stream) {
        this.cells[wnd] = channel;
        this.streams[channel] = stream;
        this.aspect[channel] = 0;
    }

    remove(channel) {
        const wnd = this.cells.indexOf(channel);
        if (wnd >= 0) this.cells[wnd] = -1;
        this.recording[channel] = false;
        this.aspect[channel] = -1;
        if (wnd >= 0) this.sound = -1;
    }

    sendChannel(Chn, CurChannel) {
        if (this.page !== 0) return;
        this.send({ MainEvent: 0, SubEvent: 2, Data: { Chn, CurChannel, ...this.statusKeys(Chn) } });
    }

    statusKeys(channel) {
        if (channel < 0) return { PlayStatus: -1, Audio: 0, DigitalZoom: false, RageState: -1, nBrightness: 0, nContrast: 0, nSaturation: 0, nHue: 0 };
        return {
            PlayStatus: this.cells.includes(channel) ? 2 : 0, Audio: this.sound === channel ? 1 : 0, DigitalZoom: false,
            RageState: this.aspect[channel], ...this.colorKeys(channel),
        };
    }

    colorKeys(channel) {
        const [nBrightness, nContrast, nSaturation, nHue] = this.colors[channel] ?? [0, 0, 0, 0];
        return { nBrightness, nContrast, nSaturation, nHue };
    }
}

/**
 * @param {{channels?: number, refuse?: number[], picked?: string, page?: string, reloginRet?: number,
 *          newVersion?: string, noCipher?: boolean, colourRet?: number, talkers?: number[] | null, noMicrophone?: boolean,
 *          firmware?: string | null, upgradeRet?: number, importRet?: number, pickerFails?: boolean, refusePlayback?: number[], refuseDownload?: boolean, brokenFile?: boolean, recordings?: any,
 *          intercept?: (request: any, send: (message: unknown) => void) => boolean}} options
 *   `intercept` sees every request first; true means that it was dealt with. `recordings` is the device's list, by date and
 *   channel: { '2026-11-20': { 0: { files, pictures } } }; without it the device has none.
 */
export async function startFakeHost(options = {}) {
    const settings = { channels: 16, ...options };
    const server = createServer((request, response) => serve(settings, request, response));
    const sockets = new WebSocketServer({ server });
    const host = { port: 0, url: '', requests: [], frames: [], urls: [], sockets: new Set(), processes: [], settings, close: null, drop: null, push: null };
    sockets.on('connection', (socket, request) => {
        host.urls.push(request.url ?? '');
        host.sockets.add(socket);
        const cipher = new FakeCipher();
        const send = (message) => socket.send(cipher.sealed(JSON.stringify(message)));
        const process = new FakeProcess(settings, send);
        host.processes.push(process);
        socket.on('close', () => host.sockets.delete(socket));
        socket.on('message', (data) => {
            host.frames.push(data.toString());
            const message = JSON.parse(cipher.opened(data.toString()));
            host.requests.push(message);
            if (message.MainType === 32 && !settings.noCipher) cipher.exchange(message, (reply) => socket.send(JSON.stringify(reply)));
            else if (!settings.intercept?.(message, send)) process.handle(message);
        });
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    host.port = server.address().port;
    host.url = `ws://127.0.0.1:${host.port}/`;
    host.push = (message) => host.sockets.forEach((socket) => socket.send(typeof message === 'string' ? message : JSON.stringify(message)));
    host.drop = (code, reason) => host.sockets.forEach((socket) => (code === undefined ? socket.terminate() : socket.close(code, reason)));
    host.close = () => {
        host.sockets.forEach((socket) => socket.terminate());
        // Idle connections of a browser or of fetch would keep an older node waiting.
        return new Promise((resolve) => sockets.close(() => (server.close(resolve), server.closeAllConnections())));
    };
    return host;
}

function serve({ page, recordings }, request, response) {
    const { pathname: path, searchParams: query } = new URL(request.url ?? '/', 'http://host');
    if (recordings && path.startsWith('/api/recordings')) return serveRecordings(recordings, path, query, response);
    if (path === '/api/host') return void response.setHeader('Content-Type', 'application/json').end('{"name":"fake"}');
    const file = page && join(page, normalize(path === '/' ? '/index.html' : path));
    if (!file || !existsSync(file) || !statSync(file).isFile()) return void response.writeHead(404).end();
    response.setHeader('Content-Type', MIME[extname(file)] ?? 'application/octet-stream');
    createReadStream(file).pipe(response);
}

function serveRecordings(recordings, path, query, response) {
    const channel = Number(query.get('channel'));
    const date = query.get('date');
    const days = Object.keys(recordings).filter((day) => recordings[day][channel]);
    const answer = path.endsWith('/days') ? { days } : { channel, date, files: [], pictures: [], ...recordings[date]?.[channel] };
    response.setHeader('Content-Type', 'application/json').setHeader('Access-Control-Allow-Origin', '*').end(JSON.stringify(answer));
}
