// @vitest-environment jsdom
import { beforeEach, describe, expect, it, vi } from 'vitest';
import { app, click, commands, eachOnItsOwn, host, id, pressed, process, told } from './page.ts';
import { DATE, RECORDINGS, enter, goTo, last, openPlayback, windows } from './playbackPage.ts';

eachOnItsOwn();

describe('the selected window', () => {
    beforeEach(async () => {
        await enter([0, 2]);
        await goTo('10:00:00');
        process().playback.select(1);
        await vi.waitFor(() => expect(id('selected').textContent).toBe('Window 2: channel 3'));
    });

    it('gives a snapshot', async () => {
        click('play-snapshot');
        await told('Snapshot of channel 3 saved in /home/you/Pictures/Capture.');
    });

    it('is cut into a clip until told otherwise', async () => {
        click('clip');
        await told('Cutting a clip of channel 3 into /home/you/Videos/Record.');
        expect(pressed('clip')).toBe(true);
        expect(id('play-channel-2').parentElement?.dataset.state).toBe('recording');
        click('clip');
        await told('The clip of channel 3 is saved in');
        expect(pressed('clip')).toBe(false);
    });

    it('has the sound, and no other', async () => {
        click('play-sound');
        await told('Sound of channel 3 on.');
        expect(pressed('play-sound')).toBe(true);
        process().playback.select(0);
        await vi.waitFor(() => expect(pressed('play-sound')).toBe(false));
        click('play-sound');
        await told('Sound of channel 1 on.');
        expect(process().playback.sound).toBe(0);
        expect(id('play-channel-2').textContent).not.toContain('sound');
    });

    it('is enlarged by a drag in the picture, whatever armed it before', async () => {
        for (let time = 0; time < 2; time++) {
            click('zoom'); // the click that selected the window armed it already
            await told('Draw a rectangle in the picture');
            expect([windows()[1]?.zoom, pressed('zoom')]).toEqual([true, true]);
            process().playback.drag(1);
            click('zoom');
            await told('The whole picture again.');
            expect([windows()[1]?.zoom, pressed('zoom')]).toEqual([false, false]);
        }
    });

    it('that plays nothing is told so', async () => {
        process().playback.select(3);
        await vi.waitFor(() => expect(id('play-snapshot').disabled).toBe(true));
        await app.playback.actions.snapshot();
        await told('The selected window plays nothing.');
    });
});

describe('files', () => {
    beforeEach(async () => {
        await enter([0, 1]);
        click('files-panel');
        await vi.waitFor(() => expect(id('files').children.length).toBe(2));
    });

    it('are played by name, one after the other', async () => {
        click('file-0');
        await told('Playing the recording of 10:00:00.');
        expect(last(5, 36)).toMatchObject({ Mode: 1 });
        expect(last(5, 34)).toMatchObject({ Mode: 1, SelectWnd: 0, Channel: 0, FileInfo: [{ FileName: 'rec0/video/0.h265x', FileLength: '0x00000E10', BeginTime: `${DATE} 10:00:00` }, { FileName: 'rec0/video/1.h265x' }] });
        process().playback.tick(900);
        await vi.waitFor(() => expect(id('position').textContent).toBe('50.0 %'));
        process().playback.end(0);
        await vi.waitFor(() => expect(id('file-1').getAttribute('aria-current')).toBe('true'));
        id<HTMLInputElement>('file-position').value = '250';
        id('file-position').dispatchEvent(new Event('input'));
        id('file-position').dispatchEvent(new Event('change'));
        await vi.waitFor(() => expect(last(5, 40)).toMatchObject({ Cmd: 4, Param: 250 }));
    });

    it('give way to the timeline again', async () => {
        click('file-0');
        await told('Playing the recording');
        await goTo('10:20:00');
        expect(last(5, 36)).toMatchObject({ Mode: 2 });
        expect(windows()[0]).toMatchObject({ channel: 0, playing: true });
    });

    it('that the device refuses are told', async () => {
        host.settings.refusePlayback = [0];
        click('file-0');
        await told('The recording could not be played: the device refused it.');
    });

    it('of pictures are shown', async () => {
        click('picture-0');
        await told('The picture of 10:05:00.');
        expect(process().playback.picture).toBe('rec0/20261120T100500Z.jpg');
        expect(last(5, 39)).toMatchObject({ Event: 'PicturePlay', FileInfo: [{ BeginTime: `${DATE} 10:05:00` }] });
        click('play-stop');
        await told('Stopped.');
        expect(process().playback.picture).toBeNull();
    });

    it('are downloaded, with a bar that tells how far', async () => {
        click('file-1-download');
        await told('The download has begun.');
        expect(last(5, 39)).toMatchObject({ Channel: 0, FileType: 0, Event: '', FileInfo: [{ FileName: 'rec0/video/1.h265x', BeginTime: `${DATE} 10:30:00`, EndTime: `${DATE} 11:00:00` }] });
        process().playback.progress(430);
        await vi.waitFor(() => expect(id<HTMLProgressElement>('download-progress' as never).value).toBeCloseTo(0.43));
        expect(id('download-text').textContent).toBe('Downloading, 43 %');
        process().playback.progress(999);
        process().playback.progress(1000);
        await told('Saved in /home/you/Downloads.');
        expect(id('download-progress').hidden).toBe(true);
    });

    it('of a range are downloaded part by part, from every channel, and converted', async () => {
        id<HTMLInputElement>('download-from').value = '10:05';
        id<HTMLInputElement>('download-to').value = '10:45';
        id('download-from').dispatchEvent(new Event('change'));
        await vi.waitFor(() => expect(id('download-start').disabled).toBe(false));
        id<HTMLSelectElement>('download-channel').value = 'all';
        id<HTMLSelectElement>('download-format').value = '2';
        click('download-start');
        await told('The download has begun.');
        expect(last(18, 50)).toMatchObject({ RecordType: 2, DownPath: '/home/you/Downloads', RecPath: '/home/you/Videos/Record' });
        expect(last(5, 39)).toMatchObject({ Channel: 0, FileInfo: [{ BeginTime: `${DATE} 10:05:00`, EndTime: `${DATE} 10:30:00`, FileLength: '0x00000BB8' }, { BeginTime: `${DATE} 10:30:00`, EndTime: `${DATE} 10:45:00` }] });
        process().playback.progress(999);
        process().playback.progress(1000);
        process().playback.progress(999);
        process().playback.progress(1000);
        await vi.waitFor(() => expect(id('download-text').textContent).toContain('Converting to AVI'));
        process().playback.converted(1);
        await vi.waitFor(() => expect(id('download-text').textContent).toBe('Converting to AVI, 50 %'));
        process().playback.converted(2);
        await vi.waitFor(() => expect(last(5, 39)).toMatchObject({ Channel: 1, FileInfo: [{ BeginTime: `${DATE} 10:05:00`, EndTime: `${DATE} 10:10:00` }, { BeginTime: `${DATE} 10:40:00`, EndTime: `${DATE} 10:45:00` }] }));
        process().playback.progress(999);
        process().playback.progress(1000);
        process().playback.progress(999);
        process().playback.progress(1000);
        process().playback.converted(1);
        process().playback.converted(2);
        await told('Saved in /home/you/Downloads.');
    });

    it('of another range are asked for by typing one time after the other', async () => {
        const type = async (from: string, to: string) => {
            for (const [name, text] of [['download-from', from], ['download-to', to]] as const) {
                id<HTMLInputElement>(name).value = text;
                id(name).dispatchEvent(new Event('change'));
                await vi.waitFor(() => expect(id<HTMLInputElement>(name).value).toBe(text));
            }
        };
        await type('10:05:00', '10:10:00');
        await vi.waitFor(() => expect(id('download-start').disabled).toBe(false));
        await type('10:20:00', '10:25:00'); // between the two the range ends before it begins
        await vi.waitFor(() => expect(id('download-start').disabled).toBe(false));
        click('download-start');
        await told('The download has begun.');
        expect(last(5, 39).FileInfo).toMatchObject([{ BeginTime: `${DATE} 10:20:00`, EndTime: `${DATE} 10:25:00` }]);
    });

    it('keep the folders that were chosen meanwhile', async () => {
        await app.session.client.saveConfig({ RecPath: '/new/r', CapPath: '/new/c', DownPath: '/new/d', RecordType: 0 });
        id<HTMLSelectElement>('download-format').value = '2';
        click('file-0-download');
        await told('The download has begun.');
        expect(last(18, 50)).toMatchObject({ RecPath: '/new/r', CapPath: '/new/c', DownPath: '/new/d', RecordType: 2 });
    });

    it('are not downloaded where none lie', async () => {
        id<HTMLInputElement>('download-from').value = '03:00';
        id<HTMLInputElement>('download-to').value = '03:10';
        id('download-from').dispatchEvent(new Event('change'));
        await vi.waitFor(() => expect(id('download-start').disabled).toBe(false));
        click('download-start');
        await told('There is nothing to download in this range.');
        expect(commands(5, 39)).toEqual([]);
    });

    it('whose download is refused say why', async () => {
        host.settings.refuseDownload = true;
        click('file-0-download');
        await told('The download could not be started');
        await vi.waitFor(() => expect(id('file-0-download').disabled).toBe(false));
    });

    it('stop coming when told so', async () => {
        click('file-0-download');
        await told('The download has begun.');
        click('download-stop');
        await told('The download was stopped.');
        await vi.waitFor(() => expect(commands(5, 46).length).toBe(1));
        expect(process().playback.download).toBeNull();
    });
});

describe('a local file', () => {
    it('is chosen in the picker and played with the same controls', async () => {
        await enter([0], { picked: '/videos/Einfahrt größer.avi' });
        click('source-local');
        await vi.waitFor(() => expect(last(5, 36)).toMatchObject({ Mode: 0 }));
        click('open-local');
        await told('Playing /videos/Einfahrt größer.avi.');
        expect(id('file-name').textContent).toBe('Einfahrt größer.avi');
        process().playback.tick(500);
        await vi.waitFor(() => expect(id('position').textContent).toBe('50.0 %'));
        click('play-snapshot');
        await told('Snapshot of the file');
        expect(last(5, 41)).toMatchObject({ Channel: 0 });
        click('step-back');
        await told('One picture back.');
        id<HTMLInputElement>('file-position').value = '750';
        id('file-position').dispatchEvent(new Event('change'));
        await vi.waitFor(() => expect(last(5, 40)).toMatchObject({ Channel: 0, Cmd: 4, Param: 750 }));
        process().playback.end(0);
        await told('The recording has ended.');
    });

    it('opens in the window that was clicked', async () => {
        await enter([0], { picked: '/videos/a.avi' });
        click('source-local');
        await vi.waitFor(() => expect(app.playback.actions.model.mode).toBe(0));
        process().playback.select(2);
        await vi.waitFor(() => expect(id('selected').textContent).toBe('Window 3: empty'));
        click('open-local');
        await told('Playing /videos/a.avi.');
        click('play-sound');
        await told('Sound of the file on.');
        expect(last(5, 42)).toMatchObject({ Channel: 2 });
    });

    it('that nobody chose changes nothing', async () => {
        await enter([0], { picked: '' });
        click('source-local');
        await vi.waitFor(() => expect(id('open-local').hidden).toBe(false));
        click('open-local');
        await told('No file was chosen.');
    });

    it('that is none is told in words', async () => {
        await enter([0], { picked: '/etc/passwd', brokenFile: true });
        click('source-local');
        await vi.waitFor(() => expect(id('open-local').hidden).toBe(false));
        click('open-local');
        await told('The file could not be played');
    });

    it('stops when the recordings of the device are shown again', async () => {
        await enter([0], { picked: '/videos/a.avi' });
        click('source-local');
        await vi.waitFor(() => expect(id('open-local').hidden).toBe(false));
        click('open-local');
        await told('Playing');
        click('source-device');
        await vi.waitFor(() => expect(last(5, 36)).toMatchObject({ Mode: 2 }));
        expect(windows().some(({ playing }) => playing)).toBe(false);
    });
});

describe('coming back', () => {
    it('plays on where it was when the device was lost', async () => {
        await enter([0, 2]);
        await goTo('10:00:00');
        process().playback.tick(100);
        await vi.waitFor(() => expect(id('position').textContent).toBe('10:01:40'));
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await told('Playing from 10:01:40 on.');
        expect(windows().slice(0, 2).map(({ begin }) => begin)).toEqual([36100, 36100]);
        expect(process().page).toBe(1);
    });

    it('finds its page again in a new process, and the live pictures after it', async () => {
        await openPlayback('&split=1&channels=4', { recordings: RECORDINGS });
        await told('4 channels started.');
        click('view-playback');
        await told('Click into');
        await goTo('10:00:00');
        host.drop(4001, 'exit code 139');
        await vi.waitFor(() => expect(host.processes.length).toBe(2), { timeout: 5000 });
        await told('Playing from 10:00:00 on.');
        expect([process().page, process().playback.mode]).toEqual([1, 2]);
        click('view-live');
        await vi.waitFor(() => expect(process().cells.slice(0, 5)).toEqual([0, 1, 2, 3, -1]), { timeout: 5000 });
    });

    it('says that the download was cut off', async () => {
        await enter();
        click('files-panel');
        await vi.waitFor(() => expect(document.querySelector('[data-testid="file-0-download"]')).not.toBeNull());
        click('file-0-download');
        await told('The download has begun.');
        host.push({ MainEvent: 5, SubEvent: 0, Ret: 100 });
        await vi.waitFor(() => expect(id('download-text').textContent).toContain('The download was cut off'));
    });

    it('begins live after a log out', async () => {
        await enter();
        click('logout');
        await told('Logged out.');
        id<HTMLInputElement>('login-password').value = 'p';
        id<HTMLFormElement>('login-form').requestSubmit();
        await vi.waitFor(() => expect(document.getElementById('app')?.dataset.phase).toBe('live'));
        await vi.waitFor(() => expect(document.getElementById('app')?.dataset.view).toBe('playback')); // as the address says
        expect(process().page).toBe(1);
    });
});
