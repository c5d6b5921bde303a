/**
 * Keeps the video surface over an element of the page. Follows scroll, resize, zoom, the tab's visibility, and the
 * element's coming and going; sends at most one message per animation frame, and none while nothing changes.
 *
 * The surface lies above everything that the page draws. While the page shows something over the element, set
 * `covered`.
 */
import { ContentOffset, type Point } from './ContentOffset.ts';
import type { Pos } from './requests.ts';
import { clipsOf, isRendered, samePos, toPhysical, visiblePart } from './surfaceGeometry.ts';

/** What `SurfaceRect` drives; `LumoClient` is one. */
export interface SurfaceTarget {
    readonly isOpen: boolean;
    readonly backlogBytes: number;
    showSurface(pos: Pos): Promise<unknown>;
    hideSurface(): Promise<unknown>;
    moveSurface(pos: Pos): void;
}

export interface SurfaceRectOptions {
    /** False when the process counts from the page's own render window; see `needsContentOffset`. */
    contentOffset: boolean;
    /** Safety check for what raises no event. */
    checkEveryMs?: number;
}

/** With this much unsent the process is behind: only the newest rectangle is worth sending, later. */
const BACKLOG_LIMIT_BYTES = 16384;
/** Pointer events right after entering full screen still come from before. */
const FULL_SCREEN_SETTLE_MS = 1000;

export class SurfaceRect {
    private readonly element: HTMLElement;
    private readonly target: SurfaceTarget;
    private readonly view: Window;
    private readonly offset: ContentOffset;
    private readonly checkEveryMs: number;
    private useOffset: boolean;
    private stopList: (() => void)[] = [];
    private running = false;
    private frame = 0;
    private sent: Pos | null = null;
    private isCovered = false;
    private fullScreenSince: number | null = null;

    constructor(element: HTMLElement, target: SurfaceTarget, options: SurfaceRectOptions) {
        const view = element.ownerDocument.defaultView;
        if (!view) throw new Error('The element belongs to no window.');
        this.element = element;
        this.target = target;
        this.view = view;
        this.offset = new ContentOffset(view);
        this.useOffset = options.contentOffset;
        this.checkEveryMs = options.checkEveryMs ?? 500;
        // Learning starts at once, so that the offset is known by the time of the first show.
        for (const type of ['pointermove', 'pointerdown', 'pointerover'] as const)
            view.addEventListener(type, this.onPointer, { capture: true, passive: true });
    }

    /** The rectangle that the process has, null while the surface is hidden. */
    get current(): Pos | null {
        return this.sent;
    }

    get isRunning(): boolean {
        return this.running;
    }

    /** After a log in: the surface is hidden then and must be shown anew. */
    start(contentOffset = this.useOffset): void {
        this.useOffset = contentOffset;
        this.sent = null;
        this.fullScreenSince = null;
        if (!this.running) {
            this.running = true;
            this.listen();
        }
        this.check();
    }

    /** Hides the surface (unless it is gone anyway) and stops following. */
    stop(hide = true): void {
        if (!this.running) return;
        this.running = false;
        for (const stop of this.stopList.splice(0)) stop();
        this.view.cancelAnimationFrame(this.frame);
        this.frame = 0;
        if (hide) this.apply(null);
        this.sent = null;
    }

    /** Stops for good. */
    dispose(): void {
        this.stop();
        for (const type of ['pointermove', 'pointerdown', 'pointerover'] as const)
            this.view.removeEventListener(type, this.onPointer, { capture: true });
    }

    /** True hides the surface, for instance while a menu is open over it. */
    get covered(): boolean {
        return this.isCovered;
    }

    set covered(value: boolean) {
        if (this.isCovered === value) return;
        this.isCovered = value;
        this.check();
    }

    /** Call after the surface was sent into full screen: until the user is back in the page, nothing moves or hides it. */
    enteredFullScreen(): void {
        this.fullScreenSince = this.view.performance.now();
    }

    /** Looks again at the next animation frame. Call after a change of layout that raises no event. */
    refresh = (): void => {
        if (!this.running || this.frame !== 0) return;
        this.frame = this.view.requestAnimationFrame(() => {
            this.frame = 0;
            this.check();
        });
    };

    /** The rectangle as it ought to be, null for hidden. */
    measure(): Pos | null {
        if (this.isCovered || this.view.document.visibilityState === 'hidden' || !isRendered(this.element)) return null;
        const part = visiblePart(this.element.getBoundingClientRect(), clipsOf(this.element));
        if (!part) return null;
        const origin: Point = this.useOffset ? this.offset.get() : { x: 0, y: 0 };
        return toPhysical(part, this.view.devicePixelRatio, origin, this.view.visualViewport);
    }

    private check(): void {
        if (this.running && this.fullScreenSince === null) this.apply(this.measure());
    }

    private apply(pos: Pos | null): void {
        if (!this.target.isOpen) return;
        const before = this.sent;
        if (pos === null) {
            if (before === null) return;
            this.sent = null;
            // A hide that fails has no surface to hide.
            this.target.hideSurface().catch(() => undefined);
            return;
        }
        if (before !== null && samePos(before, pos)) return;
        if (this.target.backlogBytes > BACKLOG_LIMIT_BYTES) {
            this.refresh();
            return;
        }
        this.sent = pos;
        if (before !== null) this.target.moveSurface(pos);
        else this.target.showSurface(pos).catch(() => this.forget(pos));
    }

    /** A show that failed is tried again by the next check. */
    private forget(pos: Pos): void {
        if (this.sent && samePos(this.sent, pos)) this.sent = null;
    }

    private listen(): void {
        const { view, element } = this;
        const doc = view.document;
        this.on(doc, 'scroll', this.refresh, { capture: true, passive: true });
        this.on(view, 'resize', this.refresh);
        this.on(view, 'pageshow', this.refresh);
        this.on(view, 'pagehide', () => this.apply(null));
        // At once: a hidden page gets no animation frames.
        this.on(doc, 'visibilitychange', () => this.check());
        this.on(doc, 'fullscreenchange', this.refresh);
        this.on(doc, 'transitionend', this.refresh, { capture: true });
        this.on(doc, 'animationend', this.refresh, { capture: true });
        this.on(view, 'focus', () => this.leaveFullScreen(true));
        this.on(view, 'keydown', () => this.leaveFullScreen(false), { capture: true });
        if (view.visualViewport) {
            this.on(view.visualViewport, 'resize', this.refresh);
            this.on(view.visualViewport, 'scroll', this.refresh);
        }
        this.observe(element);
        const timer = view.setInterval(() => this.check(), this.checkEveryMs);
        this.stopList.push(() => view.clearInterval(timer));
    }

    private observe(element: HTMLElement): void {
        if (typeof ResizeObserver !== 'undefined') {
            const sizes = new ResizeObserver(this.refresh);
            // Ancestors too: what grows beside the element moves it without changing its size.
            for (let node: Element | null = element; node; node = node.parentElement) sizes.observe(node);
            this.stopList.push(() => sizes.disconnect());
        }
        if (typeof IntersectionObserver !== 'undefined') {
            const sight = new IntersectionObserver(this.refresh, { threshold: [0, 0.25, 0.5, 0.75, 1] });
            sight.observe(element);
            this.stopList.push(() => sight.disconnect());
        }
    }

    private on(to: EventTarget, type: string, listener: () => void, options?: AddEventListenerOptions): void {
        to.addEventListener(type, listener, options);
        this.stopList.push(() => to.removeEventListener(type, listener, options));
    }

    private readonly onPointer = (event: PointerEvent): void => {
        this.leaveFullScreen(false);
        if ((this.view.visualViewport?.scale ?? 1) !== 1) return;
        if (this.offset.learn(event) && this.useOffset) this.refresh();
    };

    private leaveFullScreen(atOnce: boolean): void {
        if (this.fullScreenSince === null) return;
        if (!atOnce && this.view.performance.now() - this.fullScreenSince < FULL_SCREEN_SETTLE_MS) return;
        this.fullScreenSince = null;
        this.refresh();
    }
}
