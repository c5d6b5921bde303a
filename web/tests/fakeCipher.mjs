/** The process's end of enciphered messages, with node's own cipher. */
import { createCipheriv, createDecipheriv } from 'node:crypto';

const IV = Buffer.alloc(16);

export class FakeCipher {
    constructor() {
        this.key = null;
        this.plainReplies = false;
    }

    /** The page's key is not answered; one made here is told in the clear. */
    exchange(request, reply) {
        const text = request.Potocol === undefined || request.Potocol === null ? '0123456789abcdeF' : request.key;
        this.key = Buffer.alloc(16);
        Buffer.from(text).copy(this.key);
        if (request.Potocol) this.plainReplies = true;
        else reply({ Msg: 32, SubMsg: request.SubType, MsgID: request.MsgID, key: { key: text, iv: '' }, Ret: 100 });
    }

    opened(text) {
        if (!this.key || text.startsWith('{')) return text;
        const cipher = createDecipheriv('aes-128-cbc', this.key, IV).setAutoPadding(false);
        const plain = Buffer.concat([cipher.update(Buffer.from(text, 'base64')), cipher.final()]);
        const end = plain.indexOf(0);
        return plain.subarray(0, end < 0 ? plain.length : end).toString();
    }

    sealed(text) {
        if (!this.key || this.plainReplies) return text;
        const plain = Buffer.from(text);
        const padded = Buffer.concat([plain, Buffer.alloc((16 - (plain.length % 16)) % 16)]);
        const cipher = createCipheriv('aes-128-cbc', this.key, IV).setAutoPadding(false);
        return Buffer.concat([cipher.update(padded), cipher.final()]).toString('base64');
    }
}
