/**
 * Enciphered messages: AES-128 in CBC mode from an IV of zeros, zero padding, Base64 around it. Web Crypto is no help
 * here: a page served over plain http has none, and it knows no zero padding.
 */
import { cbc } from '@noble/ciphers/aes';

const BLOCK = 16; // bytes
const IV = new Uint8Array(BLOCK);

const encoder = new TextEncoder();
const decoder = new TextDecoder();

/** The first 16 bytes of a key text, filled up with zeros. */
export function keyOf(text: string): Uint8Array {
    const key = new Uint8Array(BLOCK);
    key.set(encoder.encode(text).subarray(0, BLOCK));
    return key;
}

/** A key text of the page's own: 16 printable characters. */
export function randomKeyText(): string {
    const bytes = crypto.getRandomValues(new Uint8Array(BLOCK));
    return String.fromCharCode(...bytes.map((byte) => 33 + (byte % 94)));
}

export function encipher(text: string, key: Uint8Array): string {
    const bytes = encoder.encode(text);
    const padded = new Uint8Array(Math.ceil(bytes.length / BLOCK) * BLOCK);
    padded.set(bytes);
    return toBase64(cbc(key, IV, { disablePadding: true }).encrypt(padded));
}

/** Null when it is no Base64 of whole blocks. */
export function decipher(text: string, key: Uint8Array): string | null {
    const bytes = fromBase64(text);
    if (!bytes || bytes.length === 0 || bytes.length % BLOCK !== 0) return null;
    const plain = cbc(key, IV, { disablePadding: true }).decrypt(bytes);
    const end = plain.indexOf(0);
    return decoder.decode(end < 0 ? plain : plain.subarray(0, end));
}

function toBase64(bytes: Uint8Array): string {
    const CHUNK = 8192; // as many arguments as any browser takes
    let binary = '';
    for (let i = 0; i < bytes.length; i += CHUNK) binary += String.fromCharCode(...bytes.subarray(i, i + CHUNK));
    return btoa(binary);
}

function fromBase64(text: string): Uint8Array | null {
    try {
        return Uint8Array.from(atob(text), (char) => char.charCodeAt(0));
    } catch {
        return null;
    }
}
