/** A typed event emitter. A listener that throws does not keep the others from hearing the event. */
export type Unsubscribe = () => void;

export class Emitter<Events extends object> {
    private readonly listeners = new Map<keyof Events, Set<(data: never) => void>>();

    on<K extends keyof Events>(name: K, listener: (data: Events[K]) => void): Unsubscribe {
        let set = this.listeners.get(name);
        if (!set) this.listeners.set(name, (set = new Set()));
        set.add(listener as (data: never) => void);
        return () => void set.delete(listener as (data: never) => void);
    }

    /** Resolves with the next event of this name. */
    once<K extends keyof Events>(name: K): Promise<Events[K]> {
        return new Promise((resolve) => {
            const off = this.on(name, (data) => {
                off();
                resolve(data);
            });
        });
    }

    protected emit<K extends keyof Events>(name: K, data: Events[K]): void {
        for (const listener of [...(this.listeners.get(name) ?? [])]) {
            try {
                (listener as (data: Events[K]) => void)(data);
            } catch (error) {
                console.error(`listener of "${String(name)}" failed`, error);
            }
        }
    }
}
