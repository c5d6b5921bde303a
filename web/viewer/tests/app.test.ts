// @vitest-environment jsdom
import { beforeEach, describe, expect, it, vi } from 'vitest';
import type { FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AUTO, app, click, commands, eachOnItsOwn, host, id, open, pressed, process, state, told } from './page.ts';

/** The whole page against the stand-in host, driven by its test ids as a person would. */

async function enter(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await open(AUTO, settings);
    await told('Logged in');
}

eachOnItsOwn();

describe('logging in', () => {
    it('goes by the form, and tells the process the page title', async () => {
        await open();
        await told('Ready to log in.');
        id<HTMLInputElement>('login-address').value = '10.0.0.9';
        id<HTMLInputElement>('login-port').value = '81';
        id<HTMLInputElement>('login-password').value = 'secret';
        id<HTMLFormElement>('login-form').requestSubmit();
        await told('Logged in. 16 channels.');
        expect(commands(8)[0]).toMatchObject({ Device: { LoginType: 0, IP: '10.0.0.9', Port: 81, User: 'admin', Password: 'secret' }, Title: document.title, WebType: 'Black' });
        expect(document.title).toMatch(/^[\x20-\x7e]+$/);
        expect(document.querySelectorAll('.channels li').length).toBe(16);
        expect(pressed('split-3')).toBe(true);
        expect(localStorage.getItem('lumo-viewer')).toContain('10.0.0.9');
        expect(localStorage.getItem('lumo-viewer')).not.toContain('secret');
    });

    it('goes by serial number', async () => {
        await open();
        await told('Ready');
        id<HTMLInputElement>('login-kind-serial').click();
        id<HTMLInputElement>('login-serial').value = 'LUMO00000001';
        id<HTMLFormElement>('login-form').requestSubmit();
        await told('Logged in');
        expect(commands(8)[0]?.Device).toMatchObject({ LoginType: 1, SN: 'LUMO00000001' });
    });

    it('says in words why it failed, and can be tried again', async () => {
        await open('?auto=1&password=wrong');
        await told('The user name or the password is wrong');
        expect(id('login-error').textContent).toContain('password is wrong');
        expect(id('login-submit').disabled).toBe(false);
        id<HTMLInputElement>('login-password').value = 'right';
        id<HTMLFormElement>('login-form').requestSubmit();
        await told('Logged in');
    });

    it('refuses an empty address without asking the process', async () => {
        await open();
        await told('Ready');
        id<HTMLInputElement>('login-address').value = ' ';
        id<HTMLFormElement>('login-form').requestSubmit();
        await told('Type the address');
        expect(host.requests).toEqual([]);
    });

    it('by address line starts the channels that it names', async () => {
        await open('?auto=1&password=p&split=1&channels=4&stream=1');
        await told('4 channels started.');
        expect(commands(4, 0)).toMatchObject([{ Channel: 100, Stream: 1 }]);
        expect(process().cells.slice(0, 5)).toEqual([0, 1, 2, 3, -1]);
        expect(pressed('split-1') && pressed('stream-1')).toBe(true);
    });

    it('ends with a log out', async () => {
        await enter();
        click('logout');
        await told('Logged out.');
        await vi.waitFor(() => expect(commands(9).length).toBe(1));
        expect(id('login-form').closest('main')?.hidden).toBe(false);
    });
});

describe('streams', () => {
    it('start in the selected cell by a click on the channel', async () => {
        await enter();
        process().select(2);
        await vi.waitFor(() => expect(id('selected').textContent).toBe('Cell 3: empty'));
        click('channel-5');
        await told('Channel 6 started.');
        expect(process().cells[2]).toBe(5);
        expect(state(5)).toBe('playing');
        expect(id('selected').textContent).toBe('Cell 3: channel 6');
    });

    it('tell why one could not start', async () => {
        await enter({ refuse: [1] });
        click('channel-1');
        await told('The device refused the stream');
        expect(state(1)).toBe('failed');
        expect(id('channel-1').title).toContain('refused the stream');
    });

    it('stop one by one and all at once', async () => {
        await enter();
        click('start-all');
        await told('16 channels started.');
        click('channel-3-stop');
        await told('Channel 4 stopped.');
        expect([state(3), state(4)]).toEqual(['idle', 'playing']);
        click('stop-all');
        await told('All channels stopped.');
        expect(process().cells.every((channel) => channel === -1)).toBe(true);
        expect(document.querySelectorAll('[data-state="playing"]').length).toBe(0);
    });

    it.each([[0, 1], [1, 4], [2, 9], [3, 16], [4, 16]])('start all in split mode %i shows %i channels in their cells', async (mode, count) => {
        await enter();
        click(`split-${mode}`);
        await vi.waitFor(() => expect(pressed(`split-${mode}`)).toBe(true));
        click('start-all');
        await told(`${count} channels started.`);
        expect(process().cells.slice(0, 17)).toEqual(Array.from({ length: 17 }, (_, cell) => (cell < count ? cell : -1)));
        expect(commands(3).at(-1)?.SubType).toBe(mode);
        expect(pressed(`split-${mode}`)).toBe(true);
    });

    it('that would stay behind a new channel are stopped before all start', async () => {
        await enter();
        process().select(1);
        await vi.waitFor(() => expect(id('selected').textContent).toContain('Cell 2'));
        click('channel-9');
        await told('Channel 10 started.');
        click('split-1');
        await vi.waitFor(() => expect(pressed('split-1')).toBe(true));
        click('start-all');
        await told('4 channels started.');
        expect(commands(4, 1).some((request) => request.Channel === 9)).toBe(true);
        expect(state(9)).toBe('idle');
    });

    it('change between main and sub in place', async () => {
        await enter();
        click('channel-0');
        await told('Channel 1 started.');
        click('stream-1');
        await vi.waitFor(() => expect(commands(4, 0).at(-1)).toMatchObject({ Channel: 0, Stream: 1 }));
        await vi.waitFor(() => expect(id('channel-0').textContent).toContain('sub'));
    });
});

describe('the selected channel', () => {
    beforeEach(async () => {
        await enter();
        click('channel-0');
        await told('Channel 1 started.');
    });

    it('gets sound and loses it', async () => {
        click('sound');
        await told('Sound of channel 1 on.');
        expect(pressed('sound')).toBe(true);
        click('sound');
        await told('Sound off.');
        expect(pressed('sound')).toBe(false);
    });

    it('keeps its sound when another channel stops', async () => {
        process().select(1);
        await vi.waitFor(() => expect(id('selected').textContent).toContain('Cell 2'));
        click('channel-4');
        await told('Channel 5 started.');
        click('sound');
        await told('Sound of channel 5 on.');
        click('channel-0-stop');
        await told('Channel 1 stopped.');
        expect(process().sound).toBe(4);
        expect(pressed('sound')).toBe(true);
    });

    it('silences channel 0 before another one sounds', async () => {
        click('sound');
        await told('Sound of channel 1 on.');
        process().select(1);
        await vi.waitFor(() => expect(id('selected').textContent).toContain('Cell 2'));
        click('channel-4');
        await told('Channel 5 started.');
        const before = commands(4, 8).length;
        click('sound');
        await told('Sound of channel 5 on.');
        expect(commands(4, 8).slice(before).map((request) => request.Channel)).toEqual([0, 4]);
    });

    it('that sends no sound is told so', async () => {
        host.settings.intercept = (request, send) => {
            if (request.MainType !== 4 || request.SubType !== 8) return false;
            send({ Msg: 4, SubMsg: 8, MsgID: request.MsgID, Ret: 1016, Audio: false, Chn: 0 });
            return true;
        };
        click('sound');
        await told('Channel 1 sends no sound');
        expect(pressed('sound')).toBe(false);
    });

    it('is saved as a picture, and the folder is told', async () => {
        click('snapshot');
        await told('saved in /home/you/Pictures/Capture');
    });

    it('is recorded until told otherwise', async () => {
        click('record');
        await told('Recording channel 1');
        expect([state(0), pressed('record')]).toEqual(['recording', true]);
        click('record');
        await told('Recording of channel 1 saved');
        expect([state(0), pressed('record')]).toEqual(['playing', false]);
    });

    it('is shown at its own aspect', async () => {
        click('aspect');
        await told('Original aspect.');
        expect(pressed('aspect')).toBe(true);
        click('aspect');
        await told('Stretched');
        expect(commands(4, 13).length).toBe(1);
    });

    it('fills the screen', async () => {
        click('full-screen');
        await told('Full screen. Escape leaves it.');
        expect(commands(4, 5).length).toBe(1);
    });

    it('answers the keys of the toolbar, but not while someone types', async () => {
        document.body.dispatchEvent(new KeyboardEvent('keydown', { key: 's', bubbles: true }));
        await told('Snapshot of channel 1');
        id('login-user').dispatchEvent(new KeyboardEvent('keydown', { key: 'r', bubbles: true }));
        document.body.dispatchEvent(new KeyboardEvent('keydown', { key: 'r', bubbles: true, ctrlKey: true }));
        click('aspect');
        await told('Original aspect.');
        expect(commands(4, 10)).toEqual([]);
    });

    it('takes colours; of a fast slider only the newest value goes out', async () => {
        click('picture-panel');
        await vi.waitFor(() => expect(id<HTMLInputElement>('color-hue').disabled).toBe(false));
        const slider = id<HTMLInputElement>('color-hue');
        for (let value = 65; value <= 100; value++) {
            slider.value = String(value);
            slider.dispatchEvent(new Event('input'));
        }
        await vi.waitFor(() => expect(commands(4, 3).at(-1)).toMatchObject({ Type: 3, Value: 100 }));
        expect(commands(4, 3).length).toBeLessThan(5);
        click('color-reset');
        await vi.waitFor(() => expect(commands(4, 3).at(-1)).toMatchObject({ Type: 4, Value: 64 }));
        expect(slider.value).toBe('64');
    });

    it('is refused with a word when the cell is empty', async () => {
        process().select(5);
        await vi.waitFor(() => expect(id('snapshot').disabled).toBe(true));
        await app.actions.snapshot();
        await told('The selected cell is empty');
    });
});

describe('settings', () => {
    it('are read, changed by hand and by the picker, and saved', async () => {
        await enter({ picked: '/mnt/big' });
        click('settings-panel');
        await vi.waitFor(() => expect(id<HTMLInputElement>('record-path').value).toBe('/home/you/Videos/Record'));
        click('capture-pick');
        await vi.waitFor(() => expect(id<HTMLInputElement>('capture-path').value).toBe('/mnt/big'));
        id<HTMLInputElement>('download-path').value = '/tmp/down';
        id<HTMLSelectElement>('record-type').value = '2';
        click('settings-save');
        await told('Settings saved.');
        expect(commands(18, 50)[0]).toMatchObject({ RecPath: '/home/you/Videos/Record', CapPath: '/mnt/big', DownPath: '/tmp/down', RecordType: 2 });
        expect(commands(18, 49).length).toBe(1);
    });

    it('stay as they are when no folder is chosen', async () => {
        await enter();
        click('settings-panel');
        await vi.waitFor(() => expect(id<HTMLInputElement>('record-path').value).not.toBe(''));
        click('record-pick');
        await told('No folder was chosen.');
        expect(id<HTMLInputElement>('record-path').value).toBe('/home/you/Videos/Record');
    });
});

describe('coming back', () => {
    it('logs in again in place when the device was lost, and starts what played', async () => {
        await open('?auto=1&password=p&channels=4');
        await told('4 channels started.');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await vi.waitFor(() => expect(commands(28).length).toBe(1));
        await vi.waitFor(() => expect(process().cells.slice(0, 5)).toEqual([0, 1, 2, 3, -1]));
        await told('The connection is back, with 4 channels.');
        expect(pressed('split-1')).toBe(true);
    });

    it('tries again while the device does not answer', async () => {
        await open('?auto=1&password=p&channels=4', { reloginRet: 1006 });
        await told('4 channels started.');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await told('Next attempt in 1 s.');
        host.settings.reloginRet = 100;
        await told('The connection is back, with 4 channels.');
        expect(commands(28).length).toBe(2);
    });

    it('never tries again after a refused password', async () => {
        await open('?auto=1&password=p&channels=4', { reloginRet: 106 });
        await told('4 channels started.');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await told('The user name or the password is wrong');
        expect(id('login-form').closest('main')?.hidden).toBe(false);
        await vi.waitFor(() => expect(commands(9).length).toBe(1));
        expect(commands(28).length).toBe(1);
    });

    it('logs in to a new process when the old one ended', async () => {
        await open('?auto=1&password=p&channels=4&stream=1');
        await told('4 channels started.');
        host.drop(4001, 'exit code 139');
        await told('The viewer program ended (exit code 139).');
        await told('The connection is back, with 4 channels.');
        expect(host.processes.length).toBe(2);
        expect(commands(8).length).toBe(2);
        expect(process().cells.slice(0, 5)).toEqual([0, 1, 2, 3, -1]);
        expect(commands(4, 0).at(-1)).toMatchObject({ Stream: 1 });
    });

    it('brings back the chosen channels and no other', async () => {
        await enter();
        click('start-all');
        await told('16 channels started.');
        for (const channel of [0, 2]) {
            click(`channel-${channel}-stop`);
            await told(`Channel ${channel + 1} stopped.`);
        }
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await vi.waitFor(() => expect(commands(28).length).toBe(1));
        await vi.waitFor(() => expect(process().cells.slice(0, 5)).toEqual([-1, 1, -1, 3, 4]));
    });
});
