// @vitest-environment jsdom
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';
import { Session } from '../src/session.ts';
import { SettingsPanel } from '../src/settingsPanel.ts';

/** The panel alone: a session without a connection, and events as its client would tell them. */
let session: Session;
let panel: SettingsPanel;

const text = () => panel.element.querySelector('[data-testid="version-text"]')?.textContent;
const button = () => panel.element.querySelector('[data-testid="version-check"]') as HTMLButtonElement;
const emit = (source: object, name: string, data?: unknown) => (source as { emit(name: string, data: unknown): void }).emit(name, data);

beforeEach(() => {
    vi.useFakeTimers();
    session = new Session('ws://127.0.0.1:1/', 'Test', document.createElement('div'), {});
    session.phase = 'live';
    panel = new SettingsPanel(session, false, () => undefined);
    session.on('changed', () => panel.render());
    panel.render();
    vi.spyOn(session.client.maintenance, 'checkVersion').mockResolvedValue({ Msg: 22, SubMsg: 1, MsgID: 1, Ret: 100 });
});

afterEach(() => {
    panel.dispose();
    session.dispose();
    vi.useRealTimers();
});

describe('looking for a newer version', () => {
    beforeEach(async () => {
        button().click();
        await vi.advanceTimersByTimeAsync(0);
    });

    it('says so, and that the server did not answer when the time for it is over', async () => {
        expect(text()).toBe('Asking the server…');
        await vi.advanceTimersByTimeAsync(64000);
        expect(text()).toBe('Asking the server…');
        await vi.advanceTimersByTimeAsync(1000);
        expect(text()).toBe('The server did not answer.');
    });

    it('says what the server answered, for good', async () => {
        emit(session.client, 'version', { curVersion: '1', curDate: '', newVersion: '2', newDate: '2026-12-01', bNew: true, asked: true });
        expect(text()).toBe('Version 2 of 2026-12-01 is available.');
        await vi.advanceTimersByTimeAsync(70000);
        expect(text()).toBe('Version 2 of 2026-12-01 is available.');
    });

    it('can be asked for again', async () => {
        await vi.advanceTimersByTimeAsync(40000);
        button().click();
        await vi.advanceTimersByTimeAsync(64000);
        expect(text()).toBe('Asking the server…');
        await vi.advanceTimersByTimeAsync(1000);
        expect(text()).toBe('The server did not answer.');
    });

    it.each(['interrupted', 'ended'])('is over when the session is %s', async (event) => {
        emit(session, event);
        emit(session, 'changed');
        expect(text()).toBe('');
        await vi.advanceTimersByTimeAsync(70000);
        expect(text()).toBe('');
    });
});

it('a command that fails says why and asks for nothing more', async () => {
    vi.mocked(session.client.maintenance.checkVersion).mockRejectedValue(new Error('No.'));
    button().click();
    await vi.advanceTimersByTimeAsync(70000);
    expect([text(), session.status.text]).toEqual(['', 'No.']);
});
