// What the kernel tells about processes: CPU time and memory of a process and all below it. Times in seconds, sizes in MB.
import { readdirSync, readFileSync } from 'node:fs';
import { execFileSync } from 'node:child_process';

const TICKS = Number(execFileSync('getconf', ['CLK_TCK']));

/** Nothing when the process or thread is gone by now. */
function content(path) {
    try {
        return readFileSync(path, 'latin1');
    } catch {
        return null;
    }
}

/** Fields of /proc/PID/stat after the name, which stands in parentheses and may hold anything. */
function statOf(pid) {
    const text = content(`/proc/${pid}/stat`);
    return text && text.slice(text.lastIndexOf(')') + 2).split(' ');
}

/** The process and all its descendants. */
export function treeOf(root) {
    const parents = new Map();
    for (const name of readdirSync('/proc')) {
        if (!/^\d+$/.test(name)) continue;
        const stat = statOf(name);
        if (stat) parents.set(Number(name), Number(stat[1]));
    }
    const tree = [root];
    for (let i = 0; i < tree.length; ++i)
        for (const [pid, parent] of parents) if (parent === tree[i]) tree.push(pid);
    return tree;
}

/**
 * CPU time of the trees of all `roots` up to now. `ticks`: user and system time, children that were waited for
 * included, in steps of a clock tick. `fine`: the scheduler's own sum over the threads alive, in nanoseconds.
 */
export function cpuOf(roots) {
    const sum = { ticks: 0, fine: 0, processes: 0 };
    for (const pid of roots.flatMap(treeOf)) {
        const stat = statOf(pid);
        if (!stat) continue;
        sum.processes += 1;
        for (const field of [11, 12, 13, 14]) sum.ticks += Number(stat[field]) / TICKS;
        try {
            for (const thread of readdirSync(`/proc/${pid}/task`)) {
                const text = content(`/proc/${pid}/task/${thread}/schedstat`);
                if (text) sum.fine += Number(text.split(' ')[0]) / 1e9;
            }
        } catch {
            // it ended between the two looks
        }
    }
    return sum;
}

/** Seconds of CPU between two readings: the fine sum, unless threads or processes ended in between and took theirs along. */
export function cpuBetween(before, after) {
    const ticks = after.ticks - before.ticks;
    const fine = after.fine - before.fine;
    const resolution = (2 * Math.max(1, after.processes)) / TICKS;
    return Math.abs(fine - ticks) <= resolution + 0.01 * ticks ? fine : ticks;
}

function status(pid, key) {
    const match = new RegExp(`^${key}:\\s+(\\d+)`, 'm').exec(content(`/proc/${pid}/status`) ?? '');
    if (!match) throw new Error(`process ${pid} is gone`);
    return Number(match[1]);
}

export const residentMb = (pid) => status(pid, 'VmRSS') / 1024;
export const threadsOf = (pid) => status(pid, 'Threads');
export const threadNames = (pid) => readdirSync(`/proc/${pid}/task`).map((t) => content(`/proc/${pid}/task/${t}/comm`)?.trim());

/** Seconds of CPU that the whole machine has spent on anything. */
export function machineBusy() {
    const words = content('/proc/stat').split('\n')[0].trim().split(/\s+/).slice(1).map(Number);
    const [user, nice, system, , , irq, softirq] = words;
    return (user + nice + system + irq + softirq) / TICKS;
}

export const load = () => Number(content('/proc/loadavg').split(' ')[0]);
