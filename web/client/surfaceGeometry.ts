/** The arithmetic of the surface's rectangle: plain values in, plain values out. */
import type { Point } from './ContentOffset.ts';
import type { Pos } from './requests.ts';

/** In CSS pixels, relative to the layout viewport. */
export interface Box {
    left: number;
    top: number;
    right: number;
    bottom: number;
}

/** A strip thinner than this is not worth showing. */
const LEAST_CSS_PX = 8;

/** Rounding of layout may leave an origin this far outside. */
const SLACK_CSS_PX = 0.5;

/**
 * The part of `box` to show, or null for none. The surface scales its picture to its rectangle and a negative corner
 * hides it, so a box that is scrolled out to the left or top is not shown at all; to the right and below it is cut.
 */
export function visiblePart(box: Box, clips: readonly Box[]): Box | null {
    let right = box.right;
    let bottom = box.bottom;
    for (const clip of clips) {
        if (box.left < clip.left - SLACK_CSS_PX || box.top < clip.top - SLACK_CSS_PX) return null;
        right = Math.min(right, clip.right);
        bottom = Math.min(bottom, clip.bottom);
    }
    if (right - box.left < LEAST_CSS_PX || bottom - box.top < LEAST_CSS_PX) return null;
    return { left: box.left, top: box.top, right, bottom };
}

/** The pinch zoom of a touch screen, which lies over the layout. */
export interface Pinch {
    offsetLeft: number;
    offsetTop: number;
    scale: number;
}

/** Edges are rounded, not sizes, so that neighbours on the page stay neighbours on the screen. */
export function toPhysical(box: Box, dpr: number, offset: Point, pinch: Pinch | null = null): Pos {
    const scale = dpr * (pinch?.scale ?? 1);
    const dx = pinch?.offsetLeft ?? 0;
    const dy = pinch?.offsetTop ?? 0;
    const Left = Math.max(0, Math.round((box.left - dx) * scale + offset.x));
    const Top = Math.max(0, Math.round((box.top - dy) * scale + offset.y));
    const right = Math.round((box.right - dx) * scale + offset.x);
    const bottom = Math.round((box.bottom - dy) * scale + offset.y);
    return { Left, Top, Width: Math.max(0, right - Left), Height: Math.max(0, bottom - Top) };
}

export function samePos(a: Pos, b: Pos): boolean {
    return a.Left === b.Left && a.Top === b.Top && a.Width === b.Width && a.Height === b.Height;
}

/** The boxes that cut what is seen of `element`: the viewport, and every ancestor that scrolls or hides overflow. */
export function clipsOf(element: Element): Box[] {
    const root = element.ownerDocument.documentElement;
    const clips: Box[] = [{ left: 0, top: 0, right: root.clientWidth, bottom: root.clientHeight }];
    const view = element.ownerDocument.defaultView;
    for (let parent = element.parentElement; parent && parent !== root; parent = parent.parentElement) {
        const style = view?.getComputedStyle(parent);
        if (!style || (style.overflowX === 'visible' && style.overflowY === 'visible')) continue;
        if (parent === element.ownerDocument.body) continue; // its overflow is the viewport's
        const { left, top, right, bottom } = parent.getBoundingClientRect();
        clips.push({ left, top, right, bottom });
    }
    return clips;
}

/** False for an element that is taken out, not laid out, or invisible by style. */
export function isRendered(element: Element): boolean {
    if (!element.isConnected || element.getClientRects().length === 0) return false;
    return element.ownerDocument.defaultView?.getComputedStyle(element).visibility === 'visible';
}
