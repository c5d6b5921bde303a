// One page of the viewer in one tab, and where its pictures must stand on the screen.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';

import { until } from './processes.mjs';
import { cellsOf } from './screen.mjs';

/** Clicks, keys and windows as a user's hand moves them, through the X server. */
export function xdo(...words) {
    return execFileSync('xdotool', words.map(String), { encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe'] }).trim();
}

export class View {
    constructor(stage, page) {
        this.stage = stage;
        this.page = page;
        this.screen = stage.screen;
    }

    byId(name) {
        return this.page.locator(`[data-testid="${name}"]`);
    }

    click(name) {
        return this.byId(name).click();
    }

    /** Waits until the status line says something that fits. */
    async says(pattern, ms = 60000) {
        return until(async () => {
            const text = await this.byId('status').textContent();
            return pattern.test(text) && text;
        }, `the status line says ${pattern}`, ms);
    }

    async phase(wanted, ms = 60000) {
        await until(async () => (await this.page.locator('#app').getAttribute('data-phase')) === wanted, `the page is in phase ${wanted}`, ms);
    }

    /** The X window of the browser window that this page's title stands on. */
    windowId() {
        return until(async () => {
            const title = await this.page.title();
            try {
                return xdo('search', '--onlyvisible', '--name', title).split('\n')[0];
            } catch {
                return '';
            }
        }, 'a window that bears the title of the page');
    }

    /** Where the page's content begins on the screen, told by a pointer event and not by the page's own reckoning. */
    async contentOrigin() {
        await this.page.evaluate(() => {
            globalThis.__seen = null;
            globalThis.__watch ??= (addEventListener('pointermove', (e) => { globalThis.__seen = [e.screenX, e.screenY, e.clientX, e.clientY]; }, { capture: true }), true);
        });
        // A pointer over the page but not over the video, which is another window. Sought anew: the window may be moving.
        let nudge = 0;
        const seen = await until(async () => {
            const target = await this.page.evaluate(() => ({ x: screenX + outerWidth / 2, y: screenY + outerHeight - innerHeight * devicePixelRatio + 2 }));
            xdo('mousemove', Math.round(target.x) + (nudge ^= 1), Math.round(target.y));
            return this.page.evaluate(() => globalThis.__seen);
        }, 'a pointer event on the page');
        const ratio = await this.page.evaluate(() => devicePixelRatio);
        return { x: seen[0] - seen[2] * ratio, y: seen[1] - seen[3] * ratio, ratio };
    }

    /** The page's video rectangle on the screen, in pixels. */
    async rect() {
        await this.byId('video').waitFor({ state: 'visible', timeout: 60000 });
        const { x, y, ratio } = await this.contentOrigin();
        const box = await this.byId('video').boundingBox();
        const [left, top] = [Math.round(box.x * ratio + x), Math.round(box.y * ratio + y)];
        return { x: left, y: top, w: Math.round((box.x + box.width) * ratio + x) - left, h: Math.round((box.y + box.height) * ratio + y) - top };
    }

    async cells(n) {
        return cellsOf(await this.rect(), n);
    }

    /** Waits until the first cells of an n by n grid show these channels, one after the other; -1 stands for no picture. */
    async shows(n, channels, ms = 60000) {
        let answers = [];
        const cells = await until(async () => {
            const all = await this.cells(n);
            answers = await Promise.all(channels.map((_, i) => this.screen.read(all[i])));
            return answers.every((a, i) => (a.ok ? a.channel : -1) === channels[i]) && all.slice(0, channels.length);
        }, `channels ${channels} in the first cells of a grid of ${n * n}`, ms).catch((error) => {
            throw new Error(`${error.message}; seen: ${answers.map((a) => (a.ok ? a.channel : -1))}`);
        });
        return cells;
    }

    /** Waits until each of these rectangles has shown several further pictures of its own channel. */
    async moves(cells, ms = 60000) {
        const seen = cells.map(() => new Set());
        await until(async () => {
            const answers = await Promise.all(cells.map((cell) => this.screen.read(cell)));
            answers.forEach((a, i) => a.ok && seen[i].add(a.frame));
            return seen.every((frames) => frames.size >= 5);
        }, 'five different pictures in each cell', ms);
    }

    /** Shows these channels, all of them moving. */
    async live(n, channels, ms = 60000) {
        const cells = await this.shows(n, channels, ms);
        await this.moves(cells.filter((_, i) => channels[i] >= 0), ms);
        return cells;
    }

    /** Waits until no picture stands in the rectangle. */
    async gone(rect, n, ms = 60000) {
        await until(async () => (await Promise.all(cellsOf(rect, n).map((cell) => this.screen.read(cell)))).every((a) => !a.ok), 'the pictures are gone', ms);
    }

    /** A click of the user's, in the middle of a cell. */
    clickCell(cell) {
        xdo('mousemove', Math.round(cell.x + cell.w / 2), Math.round(cell.y + cell.h / 2), 'click', 1);
    }

    /** Starts a channel in a cell of an n by n grid that shows nothing. */
    async start(n, cell, channel, stream) {
        this.clickCell((await this.cells(n))[cell]);
        await until(async () => (await this.byId('selected').textContent()) === `Cell ${cell + 1}: empty`, `cell ${cell} is selected`);
        await this.click(`stream-${stream}`);
        await this.click(`channel-${channel}`);
        await this.says(new RegExp(`^Channel ${channel + 1} started`));
    }

    doubleClickCell(cell) {
        xdo('mousemove', Math.round(cell.x + cell.w / 2), Math.round(cell.y + cell.h / 2), 'click', '--repeat', 2, '--delay', 60, 1);
    }

    /**
     * The surface covers its rectangle and not a pixel beside it: with the surface hidden, the screen differs inside only.
     * `slack`: pixels allowed at each side, for zooms at which neither the browser's numbers nor these are whole.
     */
    async staysInside(slack = 0) {
        const exact = await this.rect();
        const rect = { x: exact.x - slack, y: exact.y - slack, w: exact.w + 2 * slack, h: exact.h + 2 * slack };
        // The page's own figures change each second; nothing else of it may.
        await this.byId('load').evaluate((element) => { element.style.visibility = 'hidden'; });
        await this.page.evaluate(() => { globalThis.lumoViewer.session.surface.covered = true; });
        await until(async () => {
            // After full screen the page wants a sign of its user, and not one from right after the start of it.
            await this.contentOrigin();
            const picture = await this.screen.picture();
            return picture.brightest({ x: exact.x + 3, y: exact.y + 3, w: exact.w - 6, h: 40 }) === 0;
        }, 'the surface is hidden while the page covers it');
        const without = await this.screen.picture();
        await this.page.evaluate(() => { globalThis.lumoViewer.session.surface.covered = false; });
        const { width, height } = without;
        await until(async () => (await this.screen.picture()).differences(without, { x: 0, y: 0, w: width, h: height }).inside > (rect.w * rect.h) / 2, 'the surface is back');
        const found = (await this.screen.picture()).differences(without, rect);
        await this.byId('load').evaluate((element) => { element.style.visibility = ''; });
        assert.equal(found.outside, 0, `pixels beside the rectangle changed, one at ${JSON.stringify(found.example)}; the rectangle is ${JSON.stringify(rect)}`);
    }
}
