/** Files into the device: its configuration, or any file that it knows what to do with. Words; holds no element. */
import { messageOf } from '../../../client/index.ts';
import type { Session } from '../session.ts';

export class FileImport {
    /** What to read below the buttons. */
    text = '';
    /** From the dialog to the device's answer. */
    isRunning = false;
    private readonly session: Session;
    /** Only the last one is answered: a dialog that failed says nothing, and the user opens another. */
    private latest = 0;

    constructor(session: Session) {
        this.session = session;
        session.on('interrupted', () => this.forget());
        session.on('ended', () => this.forget());
    }

    config(): Promise<void> {
        return this.run(() => this.session.client.maintenance.importConfig(), 'The device has the configuration, and works by it from now on.');
    }

    /** `channel` undefined: all. */
    file(channel: number | undefined): Promise<void> {
        return this.run(() => this.session.client.maintenance.importFile(channel), 'The device has the file.');
    }

    private async run(send: () => Promise<boolean>, done: string): Promise<void> {
        const mine = ++this.latest;
        this.isRunning = true;
        this.say('busy', 'Choose the file in the dialog. It is sent at once.');
        try {
            const sent = await send();
            if (mine === this.latest) this.end('info', sent ? done : 'No file was chosen.');
        } catch (error) {
            if (mine === this.latest) this.end('error', messageOf(error));
        }
    }

    private end(kind: 'info' | 'error', text: string): void {
        this.isRunning = false;
        this.say(kind, text);
    }

    private forget(): void {
        this.latest++;
        this.isRunning = false;
        this.text = '';
    }

    private say(kind: 'info' | 'busy' | 'error', text: string): void {
        this.text = text;
        this.session.tell(kind, text);
    }
}
