import { defineConfig } from 'vitest/config';

export default defineConfig({
    root: 'viewer',
    // The page is served from the host, from the recorder, or from any folder: no absolute paths.
    base: './',
    build: {
        outDir: '../dist',
        emptyOutDir: true,
        target: 'es2022',
    },
    test: {
        root: '.',
        environment: 'node',
        setupFiles: ['tests/webCrypto.mjs'],
        include: ['client/tests/**/*.test.ts', 'viewer/tests/**/*.test.ts'],
    },
});
