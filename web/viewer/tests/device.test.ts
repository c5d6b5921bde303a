// @vitest-environment jsdom
import { describe, expect, it } from 'vitest';
import type { FakeHostSettings } from '../../tests/fakeHost.mjs';
import { AUTO, app, click, commands, eachOnItsOwn, host, id, open, process, says, soon, told } from './page.ts';

/** Firmware, import and two-lens zoom on the page, against the stand-in host. */
const maintenance = () => process().maintenance;

async function openWith(settings: Partial<FakeHostSettings> = {}, panel = 'device-panel'): Promise<void> {
    await open(AUTO, { channels: 4, ...settings });
    await told('Logged in');
    click(panel);
    await soon(() => expect(id(panel).getAttribute('aria-pressed')).toBe('true'));
}

eachOnItsOwn();

async function upgrading(settings: Partial<FakeHostSettings> = {}): Promise<void> {
    await openWith({ picked: '/fw/Lumo_V2.bin', ...settings });
    click('firmware-pick');
    await says('firmware-file', '/fw/Lumo_V2.bin');
    click('firmware-start');
}

describe('firmware from a file', () => {
    it('is chosen, sent and installed, with words for each step', async () => {
        await upgrading();
        await soon(() => expect(maintenance().upgrading).toBe('/fw/Lumo_V2.bin'));
        await says('firmware-text', 'Sending the firmware');
        maintenance().progress(0, 250);
        await says('firmware-text', '25 %');
        expect(id<HTMLProgressElement>('firmware-progress').value).toBe(0.25);
        maintenance().progress(2, 1000);
        await says('firmware-text', 'Leave it switched on');
        maintenance().progress(1, 1000);
        await told('The new firmware is installed.');
        expect(id('firmware-text').dataset.phase).toBe('done');
        expect(id('firmware-start').disabled).toBe(false);
    });

    it('cannot be started before a file is chosen', async () => {
        await openWith();
        expect(id('firmware-start').disabled).toBe(true);
        expect(id('firmware-file').textContent).toBe('No file chosen');
        click('firmware-pick');
        await told('No firmware file was chosen.');
        expect(id('firmware-start').disabled).toBe(true);
    });

    it('keeps everything else waiting while it runs', async () => {
        await upgrading();
        await says('firmware-text', 'Sending the firmware');
        for (const name of ['firmware-pick', 'firmware-start', 'firmware-ask', 'import-config', 'import-file']) expect(id(name).disabled).toBe(true);
    });

    it.each<[number, string]>([
        [1007, 'The device refused the upgrade.'],
        [1013, 'The device cannot do this.'],
        [1006, 'cannot be reached'],
        [1016, 'The command failed.'],
    ])('that is refused with %i says so and can be tried again', async (upgradeRet, words) => {
        await upgrading({ upgradeRet });
        await says('firmware-text', words);
        expect(id('firmware-progress').hidden).toBe(true);
        delete host.settings.upgradeRet;
        click('firmware-start');
        await says('firmware-text', 'Sending the firmware');
    });

    it('that fails on the way says that the old one stays', async () => {
        await upgrading();
        await says('firmware-text', 'Sending');
        maintenance().progress(3, 400);
        await told('It keeps the old one.');
        expect(id('firmware-start').disabled).toBe(false);
    });

    it('is told once when the device tells its end twice', async () => {
        await upgrading();
        await says('firmware-text', 'Sending');
        maintenance().progress(1, 1000);
        maintenance().progress(3, 1000);
        await told('The new firmware is installed.');
        maintenance().progress(0, 0);
        await says('firmware-text', 'Sending');
        expect(id('status').textContent).toContain('The new firmware is installed.');
    });

    it('shows no share while no size is known', async () => {
        await upgrading();
        await says('firmware-text', 'Sending');
        maintenance().progress(0, 0, 0);
        await says('firmware-text', '0 %');
        expect(id<HTMLProgressElement>('firmware-progress').value).toBe(0);
    });

    it('that loses its device says what is not known', async () => {
        await upgrading();
        await says('firmware-text', 'Sending');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await says('firmware-text', 'The connection was lost during the upgrade.');
        await told('The connection is back.');
        expect(id('firmware-start').disabled).toBe(false);
    });

    it('is forgotten with the log out', async () => {
        await upgrading();
        await says('firmware-text', 'Sending');
        click('logout');
        await told('Logged out.');
        expect(app.session.phase).toBe('login');
        click('login-submit');
        await told('Logged in');
        click('device-panel');
        await says('firmware-file', 'No file chosen');
        expect(id('firmware-text').textContent).toBe('');
    });
});

describe('firmware from the vendor', () => {
    it('is asked for, named and installed', async () => {
        await openWith({ firmware: 'V4.03.bin' });
        expect(id('firmware-online').disabled).toBe(true);
        click('firmware-ask');
        await told('The device can fetch firmware V4.03.bin.');
        expect(id('firmware-online').textContent).toBe('Install V4.03.bin');
        click('firmware-online');
        await soon(() => expect(maintenance().upgrading).toBe('V4.03.bin'));
        maintenance().progress(1, 0, 0);
        await told('The new firmware is installed.');
        expect(id('firmware-online').disabled).toBe(true);
    });

    it('that is not there leaves nothing to install', async () => {
        await openWith();
        click('firmware-ask');
        await told('The device knows of no newer firmware.');
        expect(id('firmware-online').disabled).toBe(true);
    });

    it('that the device does not tell of is said in words', async () => {
        await openWith({ firmware: null });
        click('firmware-ask');
        await told('does not tell whether there is a newer firmware');
    });
});

describe('import', () => {
    it('of a configuration', async () => {
        await openWith({ picked: '/device.cfg' });
        click('import-config');
        await says('import-text', 'The device has the configuration');
        expect(commands(30).map(({ SubType, Channel }) => [SubType, Channel])).toEqual([[0, 255]]);
        expect(id('import-progress').hidden).toBe(true);
    });

    it('of another file, for one channel, says when the device has it', async () => {
        await openWith({ picked: '/logo.bin' });
        expect(id('import-progress').hidden).toBe(true);
        id<HTMLSelectElement>('import-channel').value = '2';
        click('import-file');
        await soon(() => expect(commands(30)).toHaveLength(1));
        expect(commands(30)[0]).toMatchObject({ SubType: 1, Channel: 2 });
        expect(id('import-text').textContent).toContain('It is sent at once.');
        expect([id('import-progress').hidden, id('import-progress').hasAttribute('value')]).toEqual([false, false]);
        maintenance().imported(100);
        await says('import-text', 'The device has the file.');
        expect(id('import-progress').hidden).toBe(true);
    });

    it('without a choice', async () => {
        await openWith();
        click('import-config');
        await says('import-text', 'No file was chosen.');
        expect(id('import-progress').hidden).toBe(true);
    });

    it.each<[string, string, number, string]>([
        ['of a configuration that is too long', 'import-config', 1015, 'larger than 64 KiB'],
        ['of a configuration that is gone', 'import-config', 1019, 'cannot be read'],
        ['of a file that is empty', 'import-file', 109, 'missing or empty'],
        ['that the device refuses', 'import-config', 107, 'refused'],
        ['that breaks off', 'import-file', -10005, 'cannot be reached'],
    ])('%s says so', async (_, button, importRet, words) => {
        await openWith({ picked: '/file', importRet });
        click(button);
        await says('import-text', words);
        expect(id(button).disabled).toBe(false);
        expect(id('import-progress').hidden).toBe(true);
    });

    it('whose dialog fails is not waited for: another one is answered', async () => {
        await openWith({ picked: '/device.cfg', pickerFails: true });
        click('import-config');
        await soon(() => expect(commands(30)).toHaveLength(1));
        host.settings.pickerFails = false;
        click('import-config');
        await says('import-text', 'The device has the configuration');
        expect(id('import-progress').hidden).toBe(true);
    });

    it('that loses its device is no longer waited for', async () => {
        await openWith({ picked: '/logo.bin' });
        click('import-file');
        await soon(() => expect(commands(30)).toHaveLength(1));
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await told('The connection is back.');
        expect(id('import-text').textContent).toBe('');
        expect(id('import-progress').hidden).toBe(true);
    });
});

describe('two-lens zoom', () => {
    it('moves the camera of the selected cell in, out and back', async () => {
        await openWith({}, 'picture-panel');
        for (const name of ['lens-in', 'lens-out', 'lens-reset']) expect(id(name).disabled).toBe(true);
        click('channel-1');
        await soon(() => expect(id('lens-in').disabled).toBe(false));
        for (const [n, name] of ['lens-in', 'lens-out', 'lens-reset'].entries()) {
            click(name);
            await soon(() => expect(commands(29)).toHaveLength(n + 1));
            await soon(() => expect(id(name).disabled).toBe(false));
        }
        expect(commands(29).map(({ SubType, Speed }) => [SubType, Speed])).toEqual([[0, 5], [1, 5], [2, 5]]);
    });

    it('waits for one step before the next', async () => {
        await openWith({ intercept: (request) => request.MainType === 29 }, 'picture-panel');
        click('channel-0');
        await soon(() => expect(id('lens-in').disabled).toBe(false));
        click('lens-in');
        click('lens-in');
        await soon(() => expect(commands(29)).toHaveLength(1));
        expect(id('lens-out').disabled).toBe(true);
    });
});
