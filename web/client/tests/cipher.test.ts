import { createCipheriv } from 'node:crypto';
import { describe, expect, it } from 'vitest';
import { cbc } from '@noble/ciphers/aes';
import { decipher, encipher, keyOf, randomKeyText } from '../cipher.ts';

const hex = (text: string) => Uint8Array.from(Buffer.from(text, 'hex'));
const byNode = (text: string, key: Uint8Array): string => {
    const plain = Buffer.from(text);
    const padded = Buffer.concat([plain, Buffer.alloc((16 - (plain.length % 16)) % 16)]);
    const cipher = createCipheriv('aes-128-cbc', key, Buffer.alloc(16)).setAutoPadding(false);
    return Buffer.concat([cipher.update(padded), cipher.final()]).toString('base64');
};
const sizeOf = (sealed: string) => Buffer.from(sealed, 'base64').length;

describe('the packaged cipher', () => {
    it('gives the vectors of SP 800-38A for CBC with 128 bits', () => {
        const key = hex('2b7e151628aed2a6abf7158809cf4f3c');
        const iv = hex('000102030405060708090a0b0c0d0e0f');
        const plain = hex('6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51');
        expect(cbc(key, iv, { disablePadding: true }).encrypt(plain)).toEqual(hex('7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2'));
    });

    it('gives the vector of FIPS 197, from zeros', () => {
        const key = hex('000102030405060708090a0b0c0d0e0f');
        const cipher = cbc(key, new Uint8Array(16), { disablePadding: true });
        expect(cipher.encrypt(hex('00112233445566778899aabbccddeeff'))).toEqual(hex('69c4e0d86a7b0430d8cdb78070b4c55a'));
    });
});

describe('an enciphered message', () => {
    it.each(['{}', '{"MainType":99}', 'ü – 漢字', '0123456789abcdef', 'x'.repeat(40000)])('is what another cipher makes of it, and comes back', (text) => {
        const key = keyOf('some key');
        expect(encipher(text, key)).toBe(byNode(text, key));
        expect(decipher(encipher(text, key), key)).toBe(text);
    });

    it('has no padding block when it is whole blocks', () => {
        expect(sizeOf(encipher('0123456789abcdef', keyOf('k')))).toBe(16);
        expect(sizeOf(encipher('0123456789abcdefg', keyOf('k')))).toBe(32);
        expect(sizeOf(encipher('{}', keyOf('k')))).toBe(16);
    });

    it.each(['', 'AAAA', '{"a":1}', '###', 'A'.repeat(21)])('is none: %s', (text) => expect(decipher(text, keyOf('k'))).toBeNull());

    it('is nonsense under another key', () => {
        expect(decipher(encipher('{"a":1}', keyOf('k')), keyOf('l'))).not.toBe('{"a":1}');
    });
});

describe('a key', () => {
    it('is filled up with zeros, and cut at 16 bytes', () => {
        expect(keyOf('ab')).toEqual(Uint8Array.from([97, 98, ...new Array(14).fill(0)]));
        expect(keyOf('0123456789abcdefXYZ')).toEqual(keyOf('0123456789abcdef'));
    });

    it('of our own has 16 printable characters', () => {
        for (let i = 0; i < 50; i++) expect(randomKeyText()).toMatch(/^[!-~]{16}$/);
        expect(randomKeyText()).not.toBe(randomKeyText());
    });
});
