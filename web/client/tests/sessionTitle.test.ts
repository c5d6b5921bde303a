// @vitest-environment jsdom
import { afterEach, describe, expect, it, vi } from 'vitest';
import { SessionTitle } from '../SessionTitle.ts';

let title: SessionTitle | null = null;
afterEach(() => title?.release());

describe('SessionTitle', () => {
    it('is ASCII, whatever the name', () => {
        expect(new SessionTitle('Überwachung – Büro', document, 'a1b2c3').text).toBe('Uberwachung Buro - a1b2c3');
        expect(new SessionTitle('监控', document, 'a1b2c3').text).toBe('Web Viewer - a1b2c3');
    });

    it('differs from session to session', () => {
        const texts = new Set(Array.from({ length: 50 }, () => new SessionTitle().text));
        expect(texts.size).toBe(50);
        for (const text of texts) expect(text).toMatch(/^Web Viewer - [0-9a-f]{6}$/);
    });

    it('comes back when the page changes its title', async () => {
        title = new SessionTitle().keep();
        expect(document.title).toBe(title.text);
        document.title = 'something else';
        await vi.waitFor(() => expect(document.title).toBe(title?.text));
    });

    it('comes back when the title element is taken out', async () => {
        title = new SessionTitle().keep();
        document.querySelector('title')?.remove();
        await vi.waitFor(() => expect(document.title).toBe(title?.text));
    });

    it('leaves the page alive when another keeps a title too', async () => {
        title = new SessionTitle('One').keep();
        const other = new SessionTitle('Two').keep();
        // Would never come back if both restored without end.
        await new Promise<void>((resolve) => void setTimeout(resolve, 0));
        expect([title.text, other.text]).toContain(document.title);
        other.release();
        await vi.waitFor(() => expect(document.title).toBe(title?.text), { timeout: 5000 });
    });

    it('lets go', async () => {
        title = new SessionTitle().keep();
        title.release();
        document.title = 'free';
        const other = new SessionTitle('Other').keep();
        expect(document.title).toBe(other.text);
        other.release();
        await Promise.resolve();
        expect(document.title).toBe(other.text);
    });
});
