// Tests that share a stage: one stage a file, one fact a test, a picture of the screen for each that fails.
import { mkdirSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { root, Stage } from './stage.mjs';

const SHOTS = join(root, 'build/results/browser');

/**
 * Opens a stage for the tests of a file. `fact(name, body)` is one test; `body` gets the stage. `page` gives the address
 * that the browser starts with.
 */
export function scene(options, page) {
    let stage;
    before(async () => {
        stage = await Stage.open(options);
        await stage.openBrowser(page(stage));
    });
    after(() => stage?.close());
    return function fact(name, body) {
        test(name, { timeout: 180000 }, async (t) => {
            try {
                await body(stage, stage.view, t);
            } catch (error) {
                keepEvidence(stage, name, error);
                throw error;
            }
        });
    };
}

function keepEvidence(stage, name, error) {
    try {
        mkdirSync(SHOTS, { recursive: true });
        const path = join(SHOTS, `${name.replace(/[^A-Za-z0-9]+/g, '-').slice(0, 80)}.png`);
        stage.screen.shot(path);
        error.message += `\nscreen: ${path}`;
    } catch {
        // The failure itself is what counts.
    }
}
