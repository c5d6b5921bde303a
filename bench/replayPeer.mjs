// A bare RTSP client of one recorded channel (RFC 7826, ONVIF replay): how long the recorder itself takes for a seek.
import { createHash } from 'node:crypto';
import { connect } from 'node:net';

const md5 = (text) => createHash('md5').update(text).digest('hex');
const field = (text, name) => new RegExp(`${name}="([^"]*)"`).exec(text)?.[1] ?? '';

export class ReplayPeer {
    constructor(port, channel, [user, password]) {
        this.url = `rtsp://127.0.0.1:${port}/replay/${channel}`;
        Object.assign(this, { port, user, password, sequence: 0, buffer: Buffer.alloc(0), headers: {} });
    }

    async open() {
        this.socket = connect(this.port, '127.0.0.1');
        this.socket.on('data', (bytes) => this.take(bytes));
        await new Promise((resolve, reject) => this.socket.once('connect', resolve).once('error', reject));
        const refused = await this.ask('DESCRIBE', this.url, { Accept: 'application/sdp', Require: 'onvif-replay' });
        this.realm = field(refused.head, 'realm');
        this.nonce = field(refused.head, 'nonce');
        const { body } = await this.must('DESCRIBE', this.url, { Accept: 'application/sdp', Require: 'onvif-replay' });
        const control = /m=video[\s\S]*?a=control:(\S+)/.exec(body)[1];
        const track = control.startsWith('rtsp:') ? control : `${this.url}/${control}`;
        const setup = await this.must('SETUP', track, { Transport: 'RTP/AVP/TCP;unicast;interleaved=0-1', Require: 'onvif-replay' });
        this.headers = { Session: /^Session: *([^;\r]+)/im.exec(setup.head)[1], Require: 'onvif-replay' };
        return this;
    }

    /** Milliseconds from the request to the first packet of the video behind its answer. */
    async seek(clock) {
        const begun = performance.now();
        const first = new Promise((resolve) => (this.onAnswered = () => (this.onPacket = resolve)));
        await this.must('PLAY', this.url, { Range: `clock=${clock}-`, 'Rate-Control': 'yes' });
        await first;
        return performance.now() - begun;
    }

    async must(method, url, headers) {
        const answer = await this.ask(method, url, headers);
        if (!answer.head.startsWith('RTSP/1.0 200')) throw new Error(`${method}: ${answer.head.split('\r\n')[0]}`);
        return answer;
    }

    ask(method, url, headers) {
        const all = { CSeq: ++this.sequence, ...this.headers, ...headers };
        if (this.nonce) {
            const response = md5(`${md5(`${this.user}:${this.realm}:${this.password}`)}:${this.nonce}:${md5(`${method}:${url}`)}`);
            all.Authorization = `Digest username="${this.user}", realm="${this.realm}", nonce="${this.nonce}", uri="${url}", response="${response}"`;
        }
        const lines = Object.entries(all).map(([name, value]) => `${name}: ${value}\r\n`);
        this.socket.write(`${method} ${url} RTSP/1.0\r\n${lines.join('')}\r\n`);
        return new Promise((resolve, reject) => {
            const timer = setTimeout(() => reject(new Error(`no answer to ${method}`)), 10000);
            this.answered = (answer) => (clearTimeout(timer), resolve(answer));
        });
    }

    take(bytes) {
        this.buffer = Buffer.concat([this.buffer, bytes]);
        while (this.buffer.length >= 4) {
            const packet = this.buffer[0] === 0x24;
            const end = packet ? 4 + this.buffer.readUInt16BE(2) : this.endOfAnswer();
            if (end < 0 || this.buffer.length < end) return;
            const one = this.buffer.subarray(0, end);
            this.buffer = this.buffer.subarray(end);
            if (!packet) this.onText(one.toString('latin1'));
            else if (one[1] === 0) this.onPacket?.();
        }
    }

    endOfAnswer() {
        const end = this.buffer.indexOf('\r\n\r\n');
        if (end < 0) return -1;
        const length = /^Content-Length: *(\d+)/im.exec(this.buffer.toString('latin1', 0, end));
        return end + 4 + Number(length?.[1] ?? 0);
    }

    onText(text) {
        const [head, body] = [text.slice(0, text.indexOf('\r\n\r\n')), text.slice(text.indexOf('\r\n\r\n') + 4)];
        this.onPacket = undefined;
        this.onAnswered?.();
        this.answered?.({ head, body });
    }

    close() {
        this.socket.destroy();
    }
}
