// What stands on the screen: the reader program's answers, cells of a grid, whole pictures.
import { execFileSync } from 'node:child_process';
import { readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { Picture } from './picture.mjs';
import { start } from './processes.mjs';

let shots = 0;

export class Screen {
    constructor(bin) {
        this.reader = start(join(bin, 'lumo-screenread'), []);
        this.last = Promise.resolve();
    }

    /** One question after the other: answers come in the order of the lines. */
    ask(line, ms = 30000) {
        const answer = this.last.then(async () => {
            this.reader.child.stdin.write(line + '\n');
            return JSON.parse(await this.reader.line(ms));
        });
        this.last = answer.catch(() => undefined);
        return answer;
    }

    /** Channel and frame number in the rectangle; `ok` is false when it shows no such picture. */
    read({ x, y, w, h }) {
        return this.ask(`read ${x} ${y} ${w} ${h}`);
    }

    /**
     * Samples all cells for `seconds`: pictures a second, first and last frame of each. `loop`: frames until the numbers
     * begin anew; `ages`: also each number with the time of its appearance.
     */
    watch(seconds, cells, { loop = 125, ages = false } = {}) {
        return this.ask([`watch ${seconds} ${cells.length} ${loop}${ages ? ' ages' : ''}`, ...cells.map((c) => `${c.x} ${c.y} ${c.w} ${c.h}`)].join('\n'), (seconds + 30) * 1000);
    }

    /** The whole screen, pixel by pixel. */
    async picture() {
        const path = join(tmpdir(), `lumo-screen-${process.pid}-${++shots}.ppm`);
        try {
            const answer = await this.ask(`shot ${path}`);
            if (!answer.ok) throw new Error(answer.error);
            return Picture.fromPpm(readFileSync(path));
        } finally {
            rmSync(path, { force: true });
        }
    }

    /** The whole screen as a PNG file. */
    shot(path) {
        execFileSync('import', ['-window', 'root', path]);
    }

    stop() {
        return this.reader.stop();
    }
}

/** The cells of an n by n grid as the surface lays them out in `rect`: one pixel of border around each picture. */
export function cellsOf(rect, n) {
    const edge = (from, size, i) => from + Math.floor((size * i) / n);
    const cells = [];
    for (let row = 0; row < n; ++row)
        for (let column = 0; column < n; ++column) {
            const x = edge(rect.x, rect.w, column);
            const y = edge(rect.y, rect.h, row);
            cells.push({ x: x + 1, y: y + 1, w: edge(rect.x, rect.w, column + 1) - x - 2, h: edge(rect.y, rect.h, row + 1) - y - 2 });
        }
    return cells;
}
