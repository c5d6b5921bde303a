/**
 * Where the page's content area begins inside the browser's top-level window, in physical pixels.
 *
 * No browser tells it outright. A pointer event does: it carries its place on the screen and in the page. Before the
 * first one, the difference of the window's outer and inner sizes is a good guess: the frame is alike on both sides,
 * and all the rest lies above. What a pointer event taught is kept as a correction of that guess, so that a change of
 * the browser's bars between two events is followed too.
 *
 * Units: Chromium gives `screenX`, `outerWidth` and the like in pixels of the screen's scale, without the page's zoom;
 * `clientX`, `innerWidth` in CSS pixels; `devicePixelRatio` is scale times zoom.
 */
export interface Point {
    x: number;
    y: number;
}

/** The part of `Window` that is read. */
export interface WindowMetrics {
    readonly screenX: number;
    readonly screenY: number;
    readonly outerWidth: number;
    readonly outerHeight: number;
    readonly innerWidth: number;
    readonly innerHeight: number;
    readonly devicePixelRatio: number;
    /** Firefox alone: the content area's place on the screen, in CSS pixels. */
    readonly mozInnerScreenX?: number;
    readonly mozInnerScreenY?: number;
}

/** The part of a pointer event that is read. */
export interface PointerPlace {
    readonly screenX: number;
    readonly screenY: number;
    readonly clientX: number;
    readonly clientY: number;
}

/** Screen scales in use. The page's zoom is whatever makes one of them fit. */
const SCALES = [1, 1.1, 1.25, 1.4, 1.5, 1.65, 1.75, 2, 2.25, 2.5, 2.75, 3, 3.5, 4];
/** How far a measured zoom may lie beside one that fits a scale. */
const ZOOM_TOLERANCE = 1.02;

/** Of a window's frame at one side, in units of the screen's scale. */
const WIDEST_FRAME = 16;

/** Samples farther apart than this tell the zoom better than the window's sizes do. */
const FAR_APART_CSS_PX = 100;

export class ContentOffset {
    private readonly metrics: WindowMetrics;
    private correction: Point = { x: 0, y: 0 };
    private learnt = false;
    /** Width of the window's frame at each side. */
    private side = 0;
    private candidate: Point | null = null;
    private firstSample: { place: PointerPlace; window: string } | null = null;
    /** The screen's scale as two pointer events told it, for one `devicePixelRatio`. */
    private measured: { scale: number; dpr: number } | null = null;

    constructor(metrics: WindowMetrics) {
        this.metrics = metrics;
    }

    /** The offset as known now. */
    get(): Point {
        const m = this.metrics;
        if (m.mozInnerScreenX !== undefined && m.mozInnerScreenY !== undefined) {
            const dpr = m.devicePixelRatio;
            return { x: (m.mozInnerScreenX - m.screenX) * dpr, y: (m.mozInnerScreenY - m.screenY) * dpr };
        }
        const { guess, full } = this.guess();
        if (full) return { x: 0, y: 0 };
        return { x: Math.max(0, guess.x + this.correction.x), y: Math.max(0, guess.y + this.correction.y) };
    }

    /** Learns from a pointer event. True when the offset changed by it. */
    learn(event: PointerPlace): boolean {
        const m = this.metrics;
        if (m.mozInnerScreenX !== undefined) return false;
        this.measureZoom(event);
        const scale = this.scale();
        const seen = {
            x: (event.screenX - m.screenX) * scale - event.clientX * m.devicePixelRatio,
            y: (event.screenY - m.screenY) * scale - event.clientY * m.devicePixelRatio,
        };
        if (seen.x < -1 || seen.y < -1 || seen.x > m.outerWidth * scale || seen.y > m.outerHeight * scale) return false;
        if (!this.isCredible(seen)) return false;
        const before = this.get();
        const { guess } = this.guess();
        // Guesses are exact in the common case; do not trade one for the rounding of an event's coordinates.
        const correction = { x: seen.x - guess.x, y: seen.y - guess.y };
        this.correction = near(correction, { x: 0, y: 0 }) ? { x: 0, y: 0 } : correction;
        this.learnt = true;
        return !near(before, this.get(), 0.25);
    }

    /** A window in motion tells a wrong place for a moment: only two events in a row that agree change what is known. */
    private isCredible(seen: Point): boolean {
        const previous = this.candidate;
        this.candidate = seen;
        return !this.learnt || (previous !== null && near(previous, seen));
    }

    /** From the window's sizes alone. `full`: the page fills its window. */
    private guess(): { guess: Point; full: boolean } {
        const m = this.metrics;
        const scale = this.scale();
        const spareX = m.outerWidth * scale - m.innerWidth * m.devicePixelRatio;
        const spareY = m.outerHeight * scale - m.innerHeight * m.devicePixelRatio;
        // No frame is that wide: something is docked beside the page, and the frame is what it was before.
        if (spareX / 2 <= WIDEST_FRAME * scale) this.side = Math.max(0, spareX / 2);
        const guess = { x: this.side, y: Math.max(0, spareY - this.side) };
        return { guess, full: Math.abs(spareX) < 2 && Math.abs(spareY) < 2 };
    }

    /** The screen's scale: physical pixels per pixel of `screenX` and `outerWidth`. */
    private scale(): number {
        const { devicePixelRatio: dpr, outerWidth, innerWidth } = this.metrics;
        if (this.measured?.dpr === dpr) return this.measured.scale;
        return closestScale(dpr, outerWidth / Math.max(1, innerWidth));
    }

    /** Two events far apart, with the window and its zoom unchanged between them, tell the zoom. */
    private measureZoom(event: PointerPlace): void {
        const m = this.metrics;
        const window = [m.devicePixelRatio, m.screenX, m.screenY, m.outerWidth, m.outerHeight, m.innerWidth, m.innerHeight].join();
        const first = this.firstSample;
        if (first?.window !== window) {
            const { screenX, screenY, clientX, clientY } = event;
            this.firstSample = { place: { screenX, screenY, clientX, clientY }, window };
            return;
        }
        const zoomX = ratio(event.screenX - first.place.screenX, event.clientX - first.place.clientX);
        const zoomY = ratio(event.screenY - first.place.screenY, event.clientY - first.place.clientY);
        const zoom = zoomX ?? zoomY;
        if (zoom === null || zoom <= 0) return;
        const dpr = m.devicePixelRatio;
        const scale = closestScale(dpr, zoom);
        // One that fits no scale comes from events on both sides of a window's move.
        if (distance(dpr / scale, zoom) <= Math.log(ZOOM_TOLERANCE)) this.measured = { scale, dpr };
    }
}

function ratio(screen: number, client: number): number | null {
    return Math.abs(client) >= FAR_APART_CSS_PX ? screen / client : null;
}

/** The scale whose zoom comes closest to `zoom`; the smaller of two. */
function closestScale(dpr: number, zoom: number): number {
    let best = SCALES[0] as number;
    for (const scale of SCALES) if (distance(dpr / scale, zoom) < distance(dpr / best, zoom)) best = scale;
    return best;
}

function distance(a: number, b: number): number {
    return Math.abs(Math.log(a / b));
}

function near(a: Point, b: Point, tolerance = 1.5): boolean {
    return Math.abs(a.x - b.x) <= tolerance && Math.abs(a.y - b.y) <= tolerance;
}
