// @vitest-environment jsdom
import { afterEach, describe, expect, it, vi } from 'vitest';
import type { AnyRequest, FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AUTO, app, click, commands, eachOnItsOwn, host, id, open, process, state, status, told } from './page.ts';

/** How the live pictures come back after a loss: the whole page against the stand-in host. */
const cells = (count = 5) => process().cells.slice(0, count);
const loseDevice = () => host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
const losses: [string, () => void][] = [['the device', loseDevice], ['the process', () => host.drop(4001, 'exit code 139')]];

async function enter(query: string, settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await open(AUTO + query, settings);
    await told(query.includes('channels=') ? 'started.' : 'Logged in');
}

/** Cells 0, 2 and 9: channel 6 sub, channel 4 main with sound, channel 1 sub. Cell 9 is selected. */
async function arrange(): Promise<void> {
    await enter('');
    for (const [cell, channel, stream] of [[0, 5, 1], [2, 3, 0], [9, 0, 1]] as const) {
        process().select(cell);
        await vi.waitFor(() => expect(id('selected').textContent).toBe(`Cell ${cell + 1}: empty`));
        click(`stream-${stream}`);
        click(`channel-${channel}`);
        await told(`Channel ${channel + 1} started.`);
        if (channel !== 3) continue;
        click('sound');
        await told('Sound of channel 4 on.');
    }
}

const arranged = [5, -1, 3, -1, -1, -1, -1, -1, -1, 0];

/** The first request of this kind from now on is dealt with here; true: it was answered. */
function once(mainType: number, subType: number, act: (request: AnyRequest, send: (message: unknown) => void) => boolean): void {
    let done = false;
    host.settings.intercept = (request, send) => {
        if (done || request.MainType !== mainType || request.SubType !== subType) return false;
        done = true;
        return act(request, send);
    };
}

// A loss is followed by attempts that are a second or more apart.
vi.setConfig({ testTimeout: 30000 });

eachOnItsOwn();
afterEach(() => void vi.restoreAllMocks());

describe.each(losses)('after the loss of %s', (name, lose) => {
    it('cells, streams and sound are as before', async () => {
        await arrange();
        lose();
        await told('The connection is back, with 3 channels.');
        expect(cells(10)).toEqual(arranged);
        const { streams, sound } = process();
        expect([streams[5], streams[3], streams[0], sound]).toEqual([1, 0, 1, 3]);
        expect(app.session.model.cells.slice(0, 10)).toEqual(arranged);
        expect(app.session.model).toMatchObject({ soundChannel: 3, playing: [0, 3, 5], split: 3 });
        // The cell that the page takes for the selected one is the process's.
        expect(app.session.model.selected).toBe(process().selected);
        expect(process().page).toBe(0);
        // Nothing but what was there was ever started.
        if (name === 'the process') expect(commands(4, 0).slice(3).map(({ Channel, Stream }) => [Channel, Stream])).toEqual([[0, 1], [3, 0], [5, 1]]);
    });

    it('a second loss before all is back loses nothing', async () => {
        await enter('&channels=4&stream=1');
        once(4, 4, () => (lose(), false));
        lose();
        await told('The connection is back, with 4 channels.');
        await vi.waitFor(() => expect(commands(28).length + commands(8).length).toBe(3));
        await told('The connection is back, with 4 channels.');
        await vi.waitFor(() => expect(cells()).toEqual([0, 1, 2, 3, -1]));
        expect(state(2)).toBe('playing');
    });

    it('a second loss as soon as the first log in is done loses nothing', async () => {
        await enter('&channels=4&stream=1');
        once(2, 0, () => (lose(), false));
        lose();
        await vi.waitFor(() => expect(commands(28).length + commands(8).length).toBe(3), { timeout: 10000 });
        await told('The connection is back, with 4 channels.');
        expect(cells()).toEqual([0, 1, 2, 3, -1]);
    });

    it('a channel that fails at first comes into its cell later', async () => {
        await enter('&channels=4&stream=1');
        host.settings.refuse = [1];
        lose();
        await told('Next attempt in 1 s.');
        expect(status()).toMatch(/^Channel 2: The device refused the stream/);
        expect([cells(), state(1), state(2)]).toEqual([[0, -1, 2, 3, -1], 'failed', 'playing']);
        await told('Next attempt in 2 s.');
        expect(cells()).toEqual([0, -1, 2, 3, -1]);
        host.settings.refuse = [];
        await told('The connection is back, with 4 channels.');
        expect([cells(), state(1), app.session.model.cells.slice(0, 5)]).toEqual([[0, 1, 2, 3, -1], 'playing', [0, 1, 2, 3, -1]]);
        expect(process().streams.slice(0, 4)).toEqual([1, 1, 1, 1]);
    });

    it('a device that gives no stream yet is asked again until it does', async () => {
        await arrange();
        host.settings.refuse = [0, 3, 5];
        lose();
        await told('Next attempt in 1 s.');
        expect(cells(10)).toEqual(new Array(10).fill(-1));
        host.settings.refuse = [];
        await told('The connection is back, with 3 channels.');
        expect(cells(10)).toEqual(arranged);
        expect(process().sound).toBe(3);
    });

    it('the recordings that it ended are named', async () => {
        await enter('&channels=4');
        click('record');
        await told('Recording channel 1');
        lose();
        await told('The connection is back, with 4 channels. The recording of channel 1 ended.');
        expect(state(0)).toBe('playing');
    });
});

it('what the user changes meanwhile is not changed back', async () => {
    const clear = vi.spyOn(globalThis, 'clearTimeout');
    const set = vi.spyOn(globalThis, 'setTimeout');
    await enter('&channels=4');
    host.settings.refuse = [1];
    loseDevice();
    await told('Next attempt in 1 s.');
    const timer = set.mock.results[set.mock.calls.map(([, ms]) => ms).lastIndexOf(1000)]?.value as unknown;
    click('channel-2-stop');
    await told('Channel 3 stopped.');
    expect(clear).toHaveBeenCalledWith(timer);
});

it('does not cut a recording for another attempt', async () => {
    await enter('&channels=4');
    host.settings.refuse = [1];
    loseDevice();
    await told('Next attempt in 1 s.');
    click('record');
    await told('Recording channel 1');
    host.settings.refuse = [];
    const asked = commands(4, 0).length;
    const set = vi.spyOn(globalThis, 'setTimeout');
    await vi.waitFor(() => expect(set.mock.calls.some(([, ms]) => ms === 2000)).toBe(true), { timeout: 10000 });
    expect([commands(4, 0).length, state(0)]).toEqual([asked, 'recording']);
});

it('comes back from playback with all that had been live, although the process is another', async () => {
    await arrange();
    click('view-playback');
    await vi.waitFor(() => expect(document.getElementById('app')?.dataset.view).toBe('playback'));
    host.drop(4001, 'exit code 139');
    await told('The connection is back.');
    click('view-live');
    await told('The connection is back, with 3 channels.');
    expect(cells(10)).toEqual(arranged);
});

describe('logging in again', () => {
    it('goes on when the split is refused at first', async () => {
        await enter('&channels=4');
        once(3, 1, (request, send) => (send({ Msg: 3, SubMsg: 1, MsgID: request.MsgID, Ret: 1016, Chn: -1 }), true));
        host.drop(4001, 'exit code 139');
        await told('Next attempt in 1 s.');
        await told('The connection is back, with 4 channels.');
        expect([commands(8).length, commands(28).length, cells()]).toEqual([2, 1, [0, 1, 2, 3, -1]]);
        expect(id('split-1').getAttribute('aria-pressed')).toBe('true');
    });

    it('starts anew when the device goes again before the channels are known', async () => {
        await enter('&channels=4');
        // Stopping all names the channels.
        once(4, 1, () => (loseDevice(), false));
        loseDevice();
        await told('The connection is back, with 4 channels.');
        expect([commands(28).length, cells()]).toEqual([2, [0, 1, 2, 3, -1]]);
    });

    it('brings nothing back to a user who logged out meanwhile', async () => {
        await enter('&channels=4');
        let answer = (): void => undefined;
        once(28, 0, (request, send) => ((answer = () => send({ Msg: 28, SubMsg: 0, MsgID: request.MsgID, Ret: 100, Id: 7, SerialNo: '' })), true));
        loseDevice();
        await vi.waitFor(() => expect(commands(28).length).toBe(1));
        const stops = commands(4, 1).length;
        app.session.logout();
        answer();
        // What the page hears after it comes after it.
        process().select(6);
        await vi.waitFor(() => expect(app.session.model.selected).toBe(6));
        expect([commands(4, 1).length, app.session.model.channels, app.session.phase]).toEqual([stops, [], 'login']);
    });

    it('goes on while the device still holds the session that was lost', async () => {
        await enter('&channels=4', { reloginRet: 207 });
        loseDevice();
        await told('The user is logged in already and may not be twice. Next attempt in 1 s.');
        host.settings.reloginRet = 100;
        await told('The connection is back, with 4 channels.');
    });

    it.each([106, 206])('ends with the code %i', async (Ret) => {
        await enter('&channels=4', { reloginRet: Ret });
        loseDevice();
        await vi.waitFor(() => expect(commands(9).length).toBe(1));
        expect([commands(28).length, id('login-form').closest('main')?.hidden]).toEqual([1, false]);
    });
});
