/** Talk with the device by pressing a button, and its alarm voice. */
import { h, setAttribute, setPressed, setText } from '../dom.ts';
import type { Session } from '../session.ts';
import { LevelMeter, type Listen } from './levelMeter.ts';
import { Talk, type Target } from './talk.ts';
import { Voice } from './voice.ts';

const LIMIT_S = 5;

export class TalkPanel {
    readonly element: HTMLElement;
    readonly talk: Talk;
    readonly voice: Voice;
    private readonly session: Session;
    private readonly target = h('select', { 'data-testid': 'talk-target' });
    private readonly hold = button('talk-hold', 'Hold to talk', 'primary hold');
    private readonly keep = h('input', { type: 'checkbox', 'data-testid': 'talk-keep' });
    private readonly meter: LevelMeter;
    private readonly deaf = h('p', { class: 'hint' }, 'The browser does not show the level here. The talk works all the same.');
    private readonly record = button('voice-record', 'Record');
    private readonly play = button('voice-play', 'Play');
    private readonly countdown = h('progress', { max: LIMIT_S, value: 0, 'aria-label': 'Seconds recorded' });
    private readonly left = h('output', { 'data-testid': 'voice-countdown' });
    private readonly receiver = h('select', { 'data-testid': 'voice-channel' });
    private readonly purpose = h('input', { type: 'number', min: 0, max: 99, value: 0, 'data-testid': 'voice-purpose' });
    private readonly send = button('voice-send', 'Send to the device', 'primary');
    private listed = '';

    constructor(session: Session, listen?: Listen) {
        this.session = session;
        this.talk = new Talk(session);
        this.voice = new Voice(session);
        this.meter = new LevelMeter(() => session.changed(), listen);
        this.element = h('section', { class: 'panel', 'aria-label': 'Talk' },
            h('h2', {}, 'Talk'),
            field('Whom', this.target), this.hold, this.meter.element, this.deaf,
            h('label', { class: 'check' }, this.keep, h('span', {}, 'Keep talking until pressed again')),
            h('h2', {}, 'Alarm voice'),
            h('p', { class: 'hint' }, `What the device says at an alarm, about ${LIMIT_S} seconds.`),
            h('div', { class: 'pair' }, this.record, this.play),
            h('div', { class: 'countdown' }, this.countdown, this.left),
            field('Channel', this.receiver), field('Purpose (0: alarm)', this.purpose), this.send);
        this.wire();
    }

    /** Call when the panel opens. */
    load(): Promise<void> {
        return this.talk.load();
    }

    /** `open` false ends the talk: nobody is to be overheard by a panel that is not seen. */
    render(open: boolean): void {
        if (!open && this.talk.state !== 'idle' && this.talk.state !== 'stopping') this.talk.release();
        this.renderTargets();
        this.renderTalk();
        this.renderVoice();
        this.meter.active = open && (this.talk.state === 'talking' || this.talk.state === 'starting' || this.voice.state === 'recording');
    }

    private renderTalk(): void {
        const { state } = this.talk;
        const words = { idle: 'Hold to talk', starting: 'Calling…', talking: 'Talking', stopping: 'Ending…' };
        setText(this.hold, state === 'idle' && this.keep.checked ? 'Press to talk' : words[state]);
        setPressed(this.hold, state === 'talking' || state === 'starting');
        setAttribute(this.hold, 'data-state', state);
        this.hold.disabled = this.session.phase !== 'live';
        this.deaf.hidden = !this.meter.deaf;
    }

    private renderVoice(): void {
        const { state, sending, secondsLeft } = this.voice;
        const live = this.session.phase === 'live';
        setText(this.record, state === 'recording' ? 'Stop' : 'Record');
        setPressed(this.record, state === 'recording');
        setText(this.play, state === 'playing' ? 'Stop' : 'Play');
        setPressed(this.play, state === 'playing');
        this.record.disabled = !live || state === 'playing';
        this.play.disabled = !live || state === 'recording';
        this.send.disabled = !live || sending || state === 'recording';
        setText(this.left, secondsLeft === null ? '' : `${secondsLeft} s left`);
        this.countdown.value = secondsLeft === null ? 0 : LIMIT_S - secondsLeft;
    }

    /** Only when something changed: a list that is open would close. */
    private renderTargets(): void {
        const { channels } = this.session.model;
        const able = channels.map((_, channel) => this.talk.canTalk(channel));
        const list = able.map(Number).join('');
        if (list === this.listed) return;
        this.listed = list;
        const [target, receiver] = [this.target.value, this.receiver.value];
        const options = () => channels.map((_, channel) => h('option', { value: channel }, `Channel ${channel + 1}`));
        const talkers = options();
        talkers.forEach((option, channel) => (option.disabled = !able[channel]));
        this.target.replaceChildren(h('option', { value: 'device' }, 'Device'), h('option', { value: 'all' }, 'All channels'), ...talkers);
        this.receiver.replaceChildren(h('option', { value: '' }, 'All channels'), ...options());
        keepChoice(this.target, target, 'device');
        keepChoice(this.receiver, receiver, '');
    }

    private get chosen(): Target {
        const { value } = this.target;
        return value === 'device' || value === 'all' ? value : Number(value);
    }

    private wire(): void {
        const press = () => this.talk.press(this.chosen);
        const letGo = () => {
            if (!this.keep.checked) this.talk.release();
        };
        const toggle = () => (this.talk.state === 'talking' || this.talk.state === 'starting' ? this.talk.release() : press());
        const down = () => (this.keep.checked ? toggle() : press());
        this.hold.addEventListener('pointerdown', (event) => {
            if (event.button === 0 && !this.hold.disabled) down();
        });
        for (const name of ['pointerup', 'pointercancel', 'pointerleave', 'blur']) this.hold.addEventListener(name, letGo);
        this.hold.addEventListener('keydown', (event) => {
            if (!isPressKey(event) || event.repeat) return;
            event.preventDefault();
            down();
        });
        this.hold.addEventListener('keyup', (event) => {
            if (isPressKey(event)) letGo();
        });
        this.keep.addEventListener('change', () => {
            letGo();
            this.session.changed();
        });
        this.target.addEventListener('change', () => {
            if (this.talk.state === 'talking') press();
        });
        this.record.addEventListener('click', () => void this.voice.toggleRecording());
        this.play.addEventListener('click', () => void this.voice.togglePlay());
        this.send.addEventListener('click', () => {
            const { value } = this.receiver;
            void this.voice.send(value === '' ? undefined : Number(value), Number(this.purpose.value) || 0);
        });
    }
}

function isPressKey(event: KeyboardEvent): boolean {
    return event.key === ' ' || event.key === 'Enter';
}

function keepChoice(select: HTMLSelectElement, value: string, fallback: string): void {
    const option = [...select.options].find((candidate) => candidate.value === value && !candidate.disabled);
    select.value = option ? value : fallback;
}

function button(testId: string, label: string, kind = ''): HTMLButtonElement {
    return h('button', { type: 'button', 'data-testid': testId, ...(kind ? { class: kind } : {}) }, label);
}

function field(name: string, control: HTMLElement): HTMLElement {
    return h('label', { class: 'field' }, h('span', {}, name), control);
}
