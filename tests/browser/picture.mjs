// Pictures as plain pixels: from the screen, from snapshots, out of recordings. Reads the recorder's code in them.
export class Picture {
    /** `rgb`: three bytes a pixel, top row first. */
    constructor(width, height, rgb) {
        Object.assign(this, { width, height, rgb });
    }

    /** The first picture in a binary PPM file. */
    static fromPpm(file) {
        const head = /^P6\s(\d+)\s(\d+)\s255\s/.exec(file.toString('latin1', 0, 64));
        if (!head) throw new Error('not a PPM picture');
        const [width, height] = [Number(head[1]), Number(head[2])];
        return new Picture(width, height, file.subarray(head[0].length, head[0].length + width * height * 3));
    }

    /** An uncompressed BMP file of 24 or 32 bits a pixel. */
    static fromBmp(file) {
        const [start, width, signedHeight, bits, compression] = [file.readUInt32LE(10), file.readInt32LE(18), file.readInt32LE(22), file.readUInt16LE(28), file.readUInt32LE(30)];
        if (file.toString('latin1', 0, 2) !== 'BM' || compression !== 0 || (bits !== 24 && bits !== 32)) throw new Error('not a plain BMP picture');
        const height = Math.abs(signedHeight);
        const stride = Math.ceil((width * bits) / 32) * 4;
        if (file.length < start + stride * height) throw new Error('the BMP file is cut short');
        const rgb = Buffer.alloc(width * height * 3);
        for (let y = 0; y < height; ++y) {
            const row = start + (signedHeight > 0 ? height - 1 - y : y) * stride;
            for (let x = 0; x < width; ++x) {
                const from = row + (x * bits) / 8;
                const to = (y * width + x) * 3;
                [rgb[to], rgb[to + 1], rgb[to + 2]] = [file[from + 2], file[from + 1], file[from]];
            }
        }
        return new Picture(width, height, rgb);
    }

    at(x, y) {
        const i = (y * this.width + x) * 3;
        return [this.rgb[i], this.rgb[i + 1], this.rgb[i + 2]];
    }

    get whole() {
        return { x: 0, y: 0, w: this.width, h: this.height };
    }

    /** Mean brightness of a part, 0 to 255. */
    brightness({ x, y, w, h }) {
        let sum = 0;
        for (let row = y; row < y + h; ++row)
            for (let i = (row * this.width + x) * 3, end = i + w * 3; i < end; i += 3) sum += 77 * this.rgb[i] + 150 * this.rgb[i + 1] + 29 * this.rgb[i + 2];
        return sum / (256 * w * h);
    }

    /** The brightest single value in a part: 0 is black throughout. */
    brightest({ x, y, w, h }) {
        let most = 0;
        for (let row = y; row < y + h; ++row)
            for (let i = (row * this.width + x) * 3, end = i + w * 3; i < end; ++i) most = Math.max(most, this.rgb[i]);
        return most;
    }

    /** The bytes of a part. */
    part({ x, y, w, h }) {
        const rows = [];
        for (let row = y; row < y + h; ++row) rows.push(this.rgb.subarray((row * this.width + x) * 3, (row * this.width + x + w) * 3));
        return Buffer.concat(rows);
    }

    /** How many pixels differ from `other` inside and outside of a rectangle, and one of those outside. */
    differences(other, rect) {
        const counts = { inside: 0, outside: 0, example: null };
        for (let y = 0; y < this.height; ++y)
            for (let x = 0; x < this.width; ++x) {
                const i = (y * this.width + x) * 3;
                if (this.rgb[i] === other.rgb[i] && this.rgb[i + 1] === other.rgb[i + 1] && this.rgb[i + 2] === other.rgb[i + 2]) continue;
                const within = x >= rect.x && x < rect.x + rect.w && y >= rect.y && y < rect.y + rect.h;
                if (within) ++counts.inside;
                else if (++counts.outside === 1) counts.example = { x, y };
            }
        return counts;
    }

    /** Channel and frame number of the recorder's code in a part, or null. */
    code({ x, y, w, h } = this.whole) {
        const bit = (row, column) => {
            const patch = { x: Math.round(x + ((column + 0.5) * w) / 16) - 2, y: Math.round(y + h * (0.85 + 0.1 * row)) - 2, w: 4, h: 4 };
            return this.brightness(patch) >= 128 ? 1 : 0;
        };
        let value = 0;
        for (let i = 0; i < 32; ++i) value = value * 2 + bit(i >> 4, i & 15);
        if (Math.floor(value / 2 ** 30) !== 2) return null;
        const bytes = [24, 16, 8].map((shift) => Math.floor(value / 2 ** shift) & 255);
        if (crc8(bytes) !== (value & 255)) return null;
        return { channel: bytes[0] & 63, frame: bytes[1] * 256 + bytes[2] };
    }

    /** When a recorded picture in a part was taken, as "2025-03-29 10:00:00.04" of the device's own clock, or null. */
    time({ x, y, w, h } = this.whole) {
        const bits = [];
        for (let row = 0; row < 3; ++row)
            for (let column = 0; column < 16; ++column) {
                const patch = { x: Math.round(x + ((column + 0.5) * w) / 16) - 2, y: Math.round(y + h * (0.6 + 0.06 * (row + 0.5))) - 2, w: 4, h: 4 };
                bits.push(this.brightness(patch) >= 128 ? 1 : 0);
            }
        const value = BigInt(`0b${bits.join('')}`);
        if (value >> 46n !== 1n) return null;
        const bytes = [40n, 32n, 24n, 16n, 8n].map((shift) => Number((value >> shift) & 255n));
        if (crc8(bytes) !== Number(value & 255n)) return null;
        const hundredths = Number((value >> 8n) & ((1n << 38n) - 1n));
        return new Date(Date.UTC(2000, 0, 1) + hundredths * 10).toISOString().slice(0, 22).replace('T', ' ');
    }
}

function crc8(bytes) {
    let crc = 0;
    for (const byte of bytes) {
        crc ^= byte;
        for (let i = 0; i < 8; ++i) crc = crc & 0x80 ? ((crc << 1) ^ 7) & 255 : (crc << 1) & 255;
    }
    return crc;
}
