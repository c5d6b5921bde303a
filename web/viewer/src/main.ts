import { App } from './app.ts';
import { lookAround, readParams } from './params.ts';

declare global {
    interface Window {
        /** For tests that drive the page and for the curious: the session, the client and the model behind the page. */
        lumoViewer?: App;
    }
}

const root = document.getElementById('app');
if (root) {
    const params = readParams(location.search);
    const app = new App(root, params, await lookAround(params, location));
    window.lumoViewer = app;
    app.start();
}
