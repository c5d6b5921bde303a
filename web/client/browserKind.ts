/** What the process needs to know of the browser and of the platform. */

/** Values of `Browse`: which class the browser's render window has. */
export const Browse = {
    /** No render window: the surface follows the top-level window alone. */
    None: 1,
    /** Chromium and everything built on it. */
    Chromium: 2,
} as const;

/** The wire knows two values more of the same meaning as 2 (6 and 9), and 0 for a browser that is no more. */
export function browserKind(userAgent: string = navigator.userAgent): number {
    return /\b(?:Chrome|Chromium|CriOS|HeadlessChrome)\//.test(userAgent) ? Browse.Chromium : Browse.None;
}

export type Platform = 'x11' | 'windows';

/** Everything that is not Windows has the process on X11. */
export function detectPlatform(userAgent: string = navigator.userAgent): Platform {
    return /\bWindows\b/.test(userAgent) ? 'windows' : 'x11';
}

/**
 * What the process measures the surface's rectangle from. On Windows that is the render window when the log in found
 * one (`adjustBytool`), and then the page's own coordinates fit; else, and on X11 always, it is the top-level window.
 */
export function needsContentOffset(platform: Platform, adjustBytool: boolean | number): boolean {
    return platform === 'x11' || !adjustBytool;
}
