// @vitest-environment jsdom
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { LumoError } from '../../client/index.ts';
import { Session } from '../src/session.ts';

describe('an attempt', () => {
    let session: Session;
    const refused = (ret: number) => () => Promise.reject(LumoError.fromReply(ret, { Msg: 4, SubMsg: 0, MsgID: 1 }));

    beforeEach(() => {
        session = new Session('ws://127.0.0.1:1/', 'Test', document.createElement('div'), {});
        session.phase = 'live';
        session.tell('info', 'before');
    });
    afterEach(() => session.dispose());

    it('tells that it is done', async () => {
        expect(await session.attempt('Done with it.', () => Promise.resolve())).toBe(true);
        expect(session.status).toEqual({ kind: 'info', text: 'Done with it.' });
    });

    it('with nothing to tell leaves what was told, and has the page drawn', async () => {
        const changed = vi.fn();
        session.on('changed', changed);
        expect(await session.attempt('', () => Promise.resolve())).toBe(true);
        expect([session.status.text, changed.mock.calls.length]).toEqual(['before', 1]);
    });

    it('that fails tells why', async () => {
        expect(await session.attempt('Done.', refused(122), 'Not done.')).toBe(false);
        expect(session.status).toEqual({ kind: 'error', text: 'The device refused the stream.' });
    });

    it('that fails for no known reason says what was tried', async () => {
        await session.attempt('Done.', refused(1016), 'Not done.');
        expect(session.status).toEqual({ kind: 'error', text: 'Not done.' });
    });

    it('that the loss of the connection ended does not hide that loss', async () => {
        session.phase = 'recovering';
        const changed = vi.fn();
        session.on('changed', changed);
        expect(await session.attempt('Done.', refused(1006))).toBe(false);
        expect([session.status.text, changed.mock.calls.length]).toEqual(['before', 1]);
    });
});
