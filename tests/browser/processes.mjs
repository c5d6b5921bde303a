// Child processes that tell when they are ready, and are gone when the stage is.
import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';

const running = new Set();

/** Starts a program. Its error output is kept for the case that it fails; `lines` are those of its standard output. */
export function start(command, args, { env = {}, quiet = true } = {}) {
    const child = spawn(command, args, { env: { ...process.env, ...env }, stdio: ['pipe', 'pipe', 'pipe'] });
    const tail = [];
    const keep = (text) => {
        tail.push(text);
        if (tail.length > 200) tail.shift();
        if (!quiet) process.stderr.write(text);
    };
    child.stderr.setEncoding('utf8').on('data', keep);
    const waiting = [];
    const lines = [];
    createInterface({ input: child.stdout }).on('line', (line) => {
        const next = waiting.shift();
        if (next) next.resolve(line);
        else lines.push(line);
        if (lines.length > 1000) lines.shift();
    });
    const ended = new Promise((resolve) => {
        child.on('error', (error) => keep(String(error)));
        child.on('close', (code, signal) => {
            running.delete(handle);
            for (const w of waiting.splice(0)) w.reject(new Error(`${command} ended (${signal ?? code}): ${tail.join('').slice(-2000)}`));
            resolve({ code, signal });
        });
    });
    const handle = {
        child,
        ended,
        /** The next line of standard output, within `ms`. */
        line(ms = 60000) {
            if (lines.length) return Promise.resolve(lines.shift());
            return new Promise((resolve, reject) => {
                const timer = setTimeout(() => reject(new Error(`${command} said nothing for ${ms} ms: ${tail.join('').slice(-2000)}`)), ms);
                waiting.push({
                    resolve: (line) => (clearTimeout(timer), resolve(line)),
                    reject: (error) => (clearTimeout(timer), reject(error)),
                });
            });
        },
        /** Asks it to end, and makes it end after five seconds. */
        async stop() {
            if (!running.has(handle)) return;
            child.kill('SIGTERM');
            const timer = setTimeout(() => child.kill('SIGKILL'), 5000);
            await ended;
            clearTimeout(timer);
        },
        output: () => tail.join(''),
    };
    running.add(handle);
    return handle;
}

export async function stopAll() {
    await Promise.all([...running].map((handle) => handle.stop()));
}

/** Asks `f` until it gives something true; that is returned. Waits for a fact, at most `ms`. */
export async function until(f, what, ms = 30000) {
    const end = Date.now() + ms;
    for (;;) {
        const value = await f();
        if (value) return value;
        if (Date.now() > end) throw new Error(`not within ${ms} ms: ${what}`);
        await new Promise((resolve) => setTimeout(resolve, 25));
    }
}
