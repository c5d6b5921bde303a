/** What the page keeps between visits. Never a password. */

export interface Remembered {
    kind: 'address' | 'serial';
    address: string;
    port: number;
    serialNumber: string;
    user: string;
    stream: number;
    fill: boolean;
}

const KEY = 'lumo-viewer';

export function recall(storage: Storage = localStorage): Partial<Remembered> {
    try {
        const value: unknown = JSON.parse(storage.getItem(KEY) ?? '{}');
        return typeof value === 'object' && value !== null ? (value as Partial<Remembered>) : {};
    } catch {
        return {};
    }
}

/** A browser that forbids storage forgets; nothing else depends on it. */
export function remember(values: Partial<Remembered>, storage: Storage = localStorage): void {
    try {
        storage.setItem(KEY, JSON.stringify({ ...recall(storage), ...values }));
    } catch {
        return;
    }
}
