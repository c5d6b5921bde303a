// The demonstration judges by itself: it must see what is there, and must not see what is not.
import assert from 'node:assert/strict';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { execFileSync, spawn } from 'node:child_process';
import { test } from 'node:test';

import { programs, root } from './stage.mjs';

function demo(...args) {
    return new Promise((resolve) => {
        const child = spawn(process.execPath, [join(root, 'tests/browser/demo.mjs'), '--headless', '--bin', programs, ...args]);
        let text = '';
        for (const stream of [child.stdout, child.stderr]) stream.setEncoding('utf8').on('data', (part) => (text += part));
        child.on('close', (code) => resolve({ code, text }));
    });
}

test('it sees four live channels, says so and saves a picture of the screen', { timeout: 180000 }, async () => {
    const dir = mkdtempSync(join(tmpdir(), 'lumo-demo-'));
    try {
        const shot = join(dir, 'shot.png');
        const { code, text } = await demo('--shot', shot);
        assert.equal(code, 0, text);
        for (let i = 1; i <= 4; ++i) assert.match(text, new RegExp(`cell ${i}: channel ${i}, frame \\d+, [\\d.]+ pictures a second$`, 'm'));
        assert.equal(readFileSync(shot).toString('latin1', 1, 4), 'PNG');
    } finally {
        rmSync(dir, { recursive: true, force: true });
    }
});

test('it fails when one of the channels stands still', { timeout: 180000 }, async () => {
    const { code, text } = await demo('--fault', '{"channel":2,"freeze":true}');
    assert.notEqual(code, 0, text);
    assert.match(text, /cell 3: .*WRONG/);
    for (const good of [1, 2, 4]) assert.doesNotMatch(text, new RegExp(`cell ${good}: .*WRONG`));
});

test('it shows a given video file', { timeout: 180000 }, async () => {
    const dir = mkdtempSync(join(tmpdir(), 'lumo-demo-'));
    try {
        const file = join(dir, 'clip.mp4');
        execFileSync('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'testsrc2=size=640x360:rate=25', '-t', '5', '-pix_fmt', 'yuv420p', file]);
        const { code, text } = await demo('--video', file);
        assert.equal(code, 0, text);
        assert.match(text, /cell 1: a moving picture/);
    } finally {
        rmSync(dir, { recursive: true, force: true });
    }
});
