/** Line icons on a 20 by 20 field. */
const PATHS = {
    play: '<path d="M6 4.5v11l9-5.5z" fill="currentColor"/>',
    pause: '<path d="M6.5 4.5h2.6v11H6.5zm4.4 0h2.6v11h-2.6z" fill="currentColor" stroke="none"/>',
    stepBack: '<path d="M12.5 4.8v10.4L5.5 10z" fill="currentColor"/><path d="M15 4.8v10.4"/>',
    stepForward: '<path d="M7.5 4.8v10.4l7-5.2z" fill="currentColor"/><path d="M5 4.8v10.4"/>',
    slower: '<path d="m9.5 5-5.5 5 5.5 5zm6.5 0-5.5 5 5.5 5z"/>',
    faster: '<path d="m4 5 5.5 5L4 15zm6.5 0 5.5 5-5.5 5z"/>',
    previous: '<path d="m12 5-5 5 5 5"/>',
    next: '<path d="m8 5 5 5-5 5"/>',
    zoom: '<circle cx="9" cy="9" r="5.2"/><path d="m13 13 4 4M6.8 9h4.4M9 6.8v4.4"/>',
    download: '<path d="M10 3.5v9m-3.5-3.5 3.5 3.5 3.5-3.5M4 16.5h12"/>',
    folder: '<path d="M3 5.5h4.5l1.5 2h8v8H3z"/>',
    stop: '<rect x="5.5" y="5.5" width="9" height="9" rx="1" fill="currentColor"/>',
    sound: '<path d="M3 8v4h3l4 3V5L6 8z" fill="currentColor"/><path d="M13 7.5a3.5 3.5 0 0 1 0 5M15.2 5.2a6.6 6.6 0 0 1 0 9.6"/>',
    talk: '<rect x="7.5" y="2.5" width="5" height="9" rx="2.5"/><path d="M4.5 9.5a5.5 5.5 0 0 0 11 0M10 15v2.5"/>',
    mute: '<path d="M3 8v4h3l4 3V5L6 8z" fill="currentColor"/><path d="m13 8 4 4m0-4-4 4"/>',
    camera: '<path d="M3 7h3l1.2-2h5.6L14 7h3v8.5H3z"/><circle cx="10" cy="11" r="2.6"/>',
    record: '<circle cx="10" cy="10" r="6.2"/><circle cx="10" cy="10" r="3.2" fill="currentColor" stroke="none"/>',
    aspect: '<rect x="2.5" y="4.5" width="15" height="11" rx="1"/><path d="M6.5 4.5v11m7-11v11" stroke-dasharray="2 2"/>',
    full: '<path d="M3.5 8V3.5H8M12 3.5h4.5V8M16.5 12v4.5H12M8 16.5H3.5V12"/>',
    picture: '<path d="M4 6h7m4 0h1M4 14h1m4 0h7M4 10h9"/><circle cx="13" cy="6" r="1.7"/><circle cx="7" cy="14" r="1.7"/><circle cx="14.5" cy="10" r="1.7"/>',
    rule: '<path d="M3 16 8 5l9 3-3 8z"/><circle cx="8" cy="5" r="1.4" fill="currentColor"/><circle cx="17" cy="8" r="1.4" fill="currentColor"/>',
    alarm: '<path d="M5.5 13.5V9a4.5 4.5 0 0 1 9 0v4.5l1.5 1.5H4zM8.5 17a1.6 1.6 0 0 0 3 0"/>',
    device: '<rect x="3" y="12" width="14" height="4.5" rx="1"/><path d="M14 14.2h.01M10 2.5v6.5m-3-3 3 3 3-3"/>',
    settings: '<path d="M3.5 6.5h4l1.5 2h7.5v7h-13z"/><path d="M3.5 6.5v-2h4l1 1"/>',
    close: '<path d="m5.5 5.5 9 9m0-9-9 9"/>',
    logout: '<path d="M8 3.5H4v13h4M8.5 10h8m-3-3 3 3-3 3"/>',
} as const;

export type IconName = keyof typeof PATHS;

export function icon(name: IconName): SVGElement {
    const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    const attributes = { viewBox: '0 0 20 20', fill: 'none', stroke: 'currentColor', 'aria-hidden': 'true', class: 'icon' };
    for (const [key, value] of Object.entries(attributes)) svg.setAttribute(key, value);
    svg.innerHTML = PATHS[name];
    return svg;
}
