// @vitest-environment jsdom
import { beforeEach, expect, it, vi } from 'vitest';
import { AUTO, eachOnItsOwn, host, id, open, told } from './page.ts';

/** A page that logs in by itself before its device is ready. */
let answer: { Ret: number } | null;

const logins = () => host.requests.filter(({ MainType }) => MainType === 8);

vi.setConfig({ testTimeout: 30000 });

beforeEach(() => (answer = null));
eachOnItsOwn();

async function enter(query = `${AUTO}&channels=4`): Promise<void> {
    await open(query, {
        channels: 4,
        intercept: (request, send) => {
            if (request.MainType !== 8 || !answer) return false;
            send({ Msg: 8, SubMsg: 0, MsgID: request.MsgID, Id: 7, adjustBytool: true, DPIRadio: 100, ...answer });
            return true;
        },
    });
}

it.each([[207], [218], [1003], [1006], [1012]])('tries again after the code %i, and goes on as if it had been the first time', async (Ret) => {
    answer = { Ret };
    await enter();
    await told('Next attempt in 1 s.');
    expect(id('login-form').closest('main')?.hidden).toBe(false);
    answer = null;
    await told('4 channels started.');
    expect(logins().length).toBe(2);
});

it('waits longer each time', async () => {
    answer = { Ret: 1006 };
    await enter();
    for (const seconds of [1, 2, 4]) await told(`Next attempt in ${seconds} s.`);
    expect(logins().length).toBe(3);
});

it.each([106, 107, 206, 1017])('does not try again after the code %i', async (Ret) => {
    const set = vi.spyOn(globalThis, 'setTimeout');
    answer = { Ret };
    await enter();
    await vi.waitFor(() => expect(id('status').dataset.kind).toBe('error'));
    expect(id('status').textContent).not.toContain('Next attempt');
    expect(set.mock.calls.filter(([, ms]) => ms === 1000)).toEqual([]);
    expect(logins().length).toBe(1);
});

it('tries again when the program ended during the log in', async () => {
    answer = { Ret: 1006 };
    await enter();
    await told('Next attempt in 1 s.');
    answer = null;
    host.drop(4001, 'exit code 1');
    await told('4 channels started.');
    expect([logins().length, host.processes.length]).toEqual([2, 2]);
});

it('leaves it to the user who logs in by hand meanwhile', async () => {
    answer = { Ret: 1006 };
    await enter();
    await told('Next attempt in 1 s.');
    const clear = vi.spyOn(globalThis, 'clearTimeout');
    answer = { Ret: 106 };
    id<HTMLFormElement>('login-form').requestSubmit();
    await told('The user name or the password is wrong');
    expect(clear).toHaveBeenCalled();
    expect(logins().length).toBe(2);
});

it('a log in that the page can make nothing of is ended, for another would leave it standing', async () => {
    await enter('');
    await told('Ready to log in.');
    host.settings.intercept = ({ MainType, SubType, MsgID }, send) => {
        if (MainType !== 4 || SubType !== 1) return false;
        send({ Msg: 4, SubMsg: 1, MsgID, Ret: 1016, Chn: -1 });
        return true;
    };
    id<HTMLFormElement>('login-form').requestSubmit();
    await told('The command failed.');
    await vi.waitFor(() => expect(host.requests.map(({ MainType }) => MainType).filter((type) => type === 8 || type === 9)).toEqual([8, 9]));
});

it('a log in by hand is tried once', async () => {
    await enter('');
    await told('Ready to log in.');
    answer = { Ret: 1006 };
    id<HTMLFormElement>('login-form').requestSubmit();
    await told('cannot be reached');
    expect(id('status').textContent).not.toContain('Next attempt');
});
