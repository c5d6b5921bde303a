const FIGHT_WINDOW_MS = 1000;
const FIGHT_LIMIT = 10;

/**
 * Keeps the page's title. The process finds the browser's window by it and hides the surface when the title goes, so
 * it must be ASCII, unlike that of any other page, and stay as it is while the session lasts.
 */
export class SessionTitle {
    readonly text: string;
    private readonly doc: Document;
    private observer: MutationObserver | null = null;
    private restored: number[] = [];
    private timer: ReturnType<typeof setTimeout> | null = null;

    constructor(name = 'Web Viewer', doc: Document = document, id: string = randomId()) {
        this.doc = doc;
        this.text = `${toAscii(name)} - ${id}`;
    }

    /** Sets the title and sets it back whenever something changes it. */
    keep(): this {
        this.restore();
        this.observer ??= new MutationObserver(() => this.restore());
        // The whole head: a title element may also be taken out and put in anew.
        this.observer.observe(this.doc.head, { childList: true, subtree: true, characterData: true });
        return this;
    }

    release(): void {
        this.observer?.disconnect();
        this.observer = null;
        if (this.timer !== null) clearTimeout(this.timer);
        this.timer = null;
    }

    /** At once, unless somebody else insists on another title: two that restore at once would stop the page for good. */
    private restore(): void {
        if (this.doc.title === this.text || this.timer !== null) return;
        const now = Date.now();
        this.restored = this.restored.filter((time) => now - time < FIGHT_WINDOW_MS);
        if (this.restored.length >= FIGHT_LIMIT) {
            this.timer = setTimeout(() => {
                this.timer = null;
                this.restore();
            }, FIGHT_WINDOW_MS);
            return;
        }
        this.restored.push(now);
        this.doc.title = this.text;
    }
}

/** Printable ASCII with single spaces: browsers fold runs of spaces in a title. */
function toAscii(name: string): string {
    const plain = name.normalize('NFKD').replace(/[^\x20-\x7e]/g, '');
    return plain.replace(/\s+/g, ' ').trim() || 'Web Viewer';
}

/** Six hexadecimal digits. */
function randomId(): string {
    const bytes = crypto.getRandomValues(new Uint8Array(3));
    return Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
}
