/** Small helpers to build elements. No text ever goes in as markup, but for the icons of this page itself. */

type Attributes = Record<string, string | number | boolean | undefined>;
type Child = Node | string | null;

export function h<K extends keyof HTMLElementTagNameMap>(tag: K, attributes: Attributes = {}, ...children: Child[]): HTMLElementTagNameMap[K] {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (value === undefined || value === false) continue;
        element.setAttribute(name, value === true ? '' : String(value));
    }
    for (const child of children) if (child !== null) element.append(child);
    return element;
}

/** Writes only what changed, so that a render without a change costs no layout. */
export function setText(element: Element, text: string): void {
    if (element.textContent !== text) element.textContent = text;
}

export function setAttribute(element: Element, name: string, value: string | null): void {
    if (value === null) element.removeAttribute(name);
    else if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

export function setPressed(element: Element, pressed: boolean): void {
    setAttribute(element, 'aria-pressed', String(pressed));
}

/** Left and right, up and down move the focus among the buttons of a group. */
export function arrowKeys(group: HTMLElement): void {
    group.addEventListener('keydown', (event) => {
        const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
        if (step === undefined || !(event.target instanceof HTMLButtonElement)) return;
        const buttons = [...group.querySelectorAll<HTMLButtonElement>('button:not(:disabled):not([tabindex="-1"])')];
        const next = buttons[buttons.indexOf(event.target) + step];
        if (!next) return;
        event.preventDefault();
        next.focus();
    });
}
