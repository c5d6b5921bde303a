/**
 * The stand-in's playback page: windows, positions and downloads by the rules of the process, with a clock that tests turn.
 */
const STATUS = { 0: 2, 1: 0, 2: 4, 48: 7, 49: 8 };
const LOCAL = 0, BY_NAME = 1, BY_TIME = 2;
const MODES = { 10: [32, 33, 34, 35], 11: [16, 17, 18, 19] };

/** Seconds of the day of "2026-11-20 10:00:00". */
function secondOf(text) {
    const [hours, minutes, seconds] = text.slice(11).split(':').map(Number);
    return hours * 3600 + minutes * 60 + seconds;
}

export class FakePlayback {
    /** `options`: those of the host. `config`: of the process. `send`: events. */
    constructor(options, config, send) {
        Object.assign(this, { options, config, send, mode: 0, selected: 0, files: [], index: 0, download: null, picture: null });
        this.windows = Array.from({ length: 4 }, () => ({ channel: -1, playing: false, state: 1, zoom: false, armed: false, record: false, begin: 0, end: 0, at: 0 }));
        this.sound = -1;
    }

    handle(request, reply) {
        switch (request.SubType) {
            case 33: return this.openLocal(reply);
            case 34: return this.start(request, reply);
            case 35: return this.stop(request.Channel, reply);
            case 36: this.mode = request.Mode; this.select(0); return reply({ Ret: 100 });
            case 39: return this.startDownload(request, reply);
            case 40: return this.control(request, reply);
            case 41: return this.onWindow(request, reply, () => ({ CapPath: this.config.CapPath }), { CapPath: this.config.CapPath });
            case 42: return this.onWindow(request, reply, (window, wnd) => { this.sound = this.sound === wnd ? -1 : wnd; return { Audio: this.sound === wnd }; }, { Audio: false });
            case 43: return this.onWindow(request, reply, () => { const w = this.windows[this.selected]; w.zoom = w.armed = !w.armed; return { Zoom: w.zoom }; });
            case 44: return this.onWindow(request, reply, (window) => { window.record = !window.record; return { Record: window.record, RecPath: this.config.RecPath }; }, { Record: false, RecPath: this.config.RecPath });
            case 45: return this.status(request, reply);
            case 46: this.download = null; return reply({ Ret: 100 });
        }
    }

    // ---- starting and stopping ----

    start({ Mode, FileInfo = [], SelectWnd, Channel }, reply) {
        this.files = [];
        if (Mode === BY_NAME) {
            this.files = FileInfo.map((file) => ({ ...file, Channel, Wnd: SelectWnd }));
            this.index = 0;
            const Ret = this.playFile(0);
            this.selectAfterStart(SelectWnd);
            return reply({ Ret });
        }
        if (Mode !== BY_TIME) return reply({ Ret: 1019 });
        if (FileInfo.length === 0) return reply({ Ret: 1016 });
        const ChnStatus = FileInfo.map((entry, Chn) => {
            this.open(entry.Wnd, entry.Channel, secondOf(entry.BeginTime), secondOf(entry.EndTime));
            if (this.options.refusePlayback?.includes(entry.Channel)) this.close(entry.Wnd);
            return { Ret: 100, Chn, Stream: 0, Wnd: entry.Wnd };
        });
        this.selectAfterStart(SelectWnd);
        reply({ Ret: 100, ChnStatus });
    }

    selectAfterStart(wnd) {
        if (wnd >= 0 && wnd <= 4) this.selected = wnd;
        this.sendWindow();
    }

    playFile(index) {
        const file = this.files[index];
        if (!file) return 1019;
        const refused = this.options.refusePlayback?.includes(file.Channel);
        if (!refused) this.open(0, file.Channel, secondOf(file.BeginTime), secondOf(file.EndTime));
        const Ret = refused ? 1016 : 100;
        this.send({ MainEvent: 1, SubEvent: 1, Ret, Data: { Chn: file.Channel, Stream: 0, PlayIndex: index, Wnd: 0 } });
        return Ret;
    }

    open(wnd, channel, begin, end) {
        Object.assign(this.windows[wnd], { channel, playing: true, state: 0, zoom: false, record: false, begin, end, at: begin });
    }

    close(wnd) {
        Object.assign(this.windows[wnd], { channel: -1, playing: false, state: 1, zoom: false, armed: false, record: false });
        if (this.sound === wnd) this.sound = -1;
    }

    openLocal(reply) {
        const { picked } = this.options;
        if (picked === undefined) return reply({ Ret: 1016 });
        if (picked === '') return reply({ Ret: 1016, Path: '' });
        if (this.options.brokenFile) return reply({ Ret: 1016, Wnd: this.selected, Path: picked });
        this.open(this.selected, this.selected, 0, 1000);
        reply({ Ret: 100, Wnd: this.selected, Path: picked });
    }

    stop(channel, reply) {
        this.picture = null;
        const wnd = channel < 0 ? -1 : this.windows.findIndex((window) => window.channel === channel);
        this.windows.forEach((_, i) => { if (channel === -1 ? i < (this.mode === BY_NAME ? 1 : 4) : i === wnd) this.close(i); });
        this.files = [];
        reply({ Chn: channel, Wnd: wnd, Ret: 100 });
    }

    /** The page is left: everything ends. */
    leave() {
        this.windows.forEach((_, i) => this.close(i));
        this.files = [];
        this.download = null;
        this.picture = null;
    }

    // ---- control ----

    control({ Channel, Cmd, Param }, reply) {
        const passes = Channel === -1 ? [0, 1, 2, 3].map((wnd) => [this.windows[wnd].channel, wnd])
            : [[Channel, this.windows.findIndex((window) => window.channel === Channel)]];
        const ChnStatus = passes.map(([channel, wnd]) => {
            const window = this.windows[wnd];
            const ok = channel >= 0 && wnd >= 0 && window.playing && this.act(window, Cmd, Param);
            const state = window?.state ?? 0;
            const Mode = state >= 16 && state < 20 ? state - 15 : state >= 32 && state < 36 ? state - 31 : undefined;
            return { Ret: ok ? 100 : 1016, Chn: channel, Wnd: wnd, Status: statusOf(state), ...(Mode ? { Mode } : {}) };
        });
        reply({ Cmd, Ret: 100, ChnStatus });
    }

    act(window, command, param) {
        if (command === 2) window.state = 2;
        else if (command === 3) window.state = 0;
        else if (command === 100) window.state = 48;
        else if (command === 101) window.state = 49;
        else if (command === 10 || command === 11) {
            const states = MODES[command];
            const next = states.indexOf(window.state) + 1;
            window.state = next === states.length ? 0 : states[next];
        } else if (command === 4) {
            const offset = Math.trunc((param / 1000) * (window.end - window.begin));
            if (this.mode !== LOCAL && offset === 0) return false;
            window.at = window.begin + offset;
        } else return false;
        return true;
    }

    onWindow({ Channel }, reply, act, failed = {}) {
        const wnd = this.windows.findIndex((window) => window.channel === Channel);
        const ok = Channel >= 0 && wnd >= 0 && this.windows[wnd].playing;
        reply({ Chn: Channel, Wnd: wnd, Ret: ok ? 100 : 1016, ...(ok ? act(this.windows[wnd], wnd) : failed) });
    }

    status({ Channel }, reply) {
        const wnd = this.windows.findIndex((window) => window.channel === Channel);
        const window = this.windows[wnd];
        reply({ Ret: 100, Data: { Chn: Channel, Wnd: wnd, Zoom: window?.zoom ?? false, Record: window?.record ?? false, Audio: wnd >= 0 && this.sound === wnd, Status: window ? statusOf(window.state) : 0 } });
    }

    // ---- what happens by itself ----

    /** A click into a window of the surface, or the command. That takes any number. */
    select(wnd) {
        this.selected = wnd;
        // A drag may begin with any press on a window that plays.
        if (this.windows[wnd]?.playing) this.windows[wnd].armed = true;
        this.sendWindow();
    }

    /** The user draws a rectangle. */
    drag(wnd) {
        this.windows[wnd].armed = false;
    }

    sendWindow() {
        const window = this.windows[this.selected] ?? { state: 1, zoom: false, record: false };
        const { state } = window;
        const Mode = state >= 16 && state < 20 ? state - 15 : state >= 32 && state < 36 ? state - 31 : -1;
        this.send({ MainEvent: 1, SubEvent: 0, Data: { Wnd: this.selected, Zoom: window.zoom, Record: window.record, Audio: this.sound === this.selected, Status: statusOf(state), Mode } });
    }

    /** The position timer fires, after `seconds` of playing. */
    tick(seconds = 1) {
        for (const window of this.windows) {
            const factor = window.state === 0 ? 1 : window.state >= 32 && window.state < 36 ? 2 ** (window.state - 31) : 0;
            if (window.playing) window.at = Math.min(window.at + seconds * factor, window.end);
        }
        if (this.mode === BY_TIME)
            this.windows.forEach((window, wnd) => this.send({ MainEvent: 1, SubEvent: 3, Data: { wnd, ...(window.channel >= 0 ? { pos: window.at } : {}) } }));
        else {
            const window = this.windows[this.selected];
            const pos = window.channel < 0 ? 0 : ((window.at - window.begin) * 1000) / Math.max(1, window.end - window.begin);
            this.send({ MainEvent: 1, SubEvent: 3, Data: { pos, wnd: this.selected } });
        }
    }

    /** The last picture of a window was shown. */
    end(wnd) {
        const Chn = this.windows[wnd].channel;
        this.close(wnd);
        this.send({ MainEvent: 1, SubEvent: 2, Data: { Chn, Wnd: wnd } });
        if (this.mode === BY_NAME && ++this.index < this.files.length) this.playFile(this.index);
    }

    // ---- download ----

    startDownload({ FileInfo = [], Event, FileType, Channel }, reply) {
        if (FileInfo.length === 0) return reply({ Ret: 1019, DownPath: '' });
        if (this.options.refuseDownload) return reply({ Ret: 1009, DownPath: this.config.DownPath });
        if (Event === 'PicturePlay') this.picture = FileInfo[0].FileName;
        else this.download = { files: FileInfo, channel: Channel, index: 0, converts: this.config.RecordFileType === 2 && FileType === 0 };
        reply({ Ret: 100, DownPath: this.config.DownPath });
    }

    /** Progress of the file under way; 1000 ends it, and the last one the list. */
    progress(pos) {
        const job = this.download;
        if (!job) return;
        this.send({ MainEvent: 1, SubEvent: 4, Data: { Pos: pos } });
        if (pos === 1000 && ++job.index === job.files.length && !job.converts) this.downloaded();
    }

    /** Another file of the list was converted. */
    converted(count) {
        const job = this.download;
        if (!job) return;
        this.send({ MainEvent: 1, SubEvent: 4, Data: { Pos: Math.trunc((count * 1000) / job.files.length) } });
        if (count === job.files.length) this.downloaded();
    }

    downloaded() {
        this.download = null;
        this.send({ MainEvent: 1, SubEvent: 5, Data: { DownPath: this.config.DownPath } });
    }
}

function statusOf(state) {
    return STATUS[state] ?? (state < 32 ? 5 : 6);
}
