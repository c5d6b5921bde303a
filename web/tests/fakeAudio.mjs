/** Talk and alarm voice of the stand-in process, by the same rules. Blocks of sound come when a test says so. */
const LIMIT = 40960;
const BLOCK = 160;

export class FakeAudio {
    constructor(options, send) {
        this.options = options;
        this.send = send;
        this.talking = null;
        this.recording = false;
        this.playing = false;
        this.size = 0;
    }

    get captured() {
        return this.options.noMicrophone || this.recording || this.talking !== null;
    }

    talk({ SubType, Channel }, reply) {
        if (SubType === 3) return reply(this.ability());
        this.talking = null; // a new start replaces the old talk even if it then fails
        if (SubType === 2) return reply({ Ret: 100 });
        const target = SubType === 1 ? 'device' : SubType === 0 ? (Channel === 255 ? -1 : Channel) : null;
        const able = target === 'device' || (target !== null && this.canTalk(target));
        if (able && !this.captured && !this.playing) this.talking = target;
        reply({ Ret: this.talking === null ? 1016 : 100 });
    }

    get talkers() {
        const { talkers, channels } = this.options;
        return talkers === undefined ? new Array(channels).fill(1) : talkers;
    }

    canTalk(channel) {
        return channel === -1 ? (this.talkers ?? []).some(Boolean) : Boolean(this.talkers?.[channel]);
    }

    ability() {
        return this.talkers === null ? { Ret: 1013 } : { Ret: 100, Data: { Name: 'ChannelSystemFunction', ChannelSystemFunction: this.talkers } };
    }

    voice({ SubType }, reply) {
        const idle = !this.recording && !this.playing;
        const answer = (good) => reply({ Ret: good ? 100 : 1016 });
        switch (SubType) {
            case 0:
                if (!idle || this.captured) return answer(false);
                this.size = 0;
                this.recording = true;
                return answer(true);
            case 1:
                if (this.recording) this.recordingEnds({});
                return answer(true);
            case 2:
                this.playing = idle && this.size > 0 && this.talking === null;
                return answer(this.playing);
            case 3:
                return answer(this.size > 0);
            case 4:
                answer(true);
                if (this.playing) this.playEnds();
                return;
            default:
                return answer(false);
        }
    }

    hear(blocks) {
        for (let i = 0; i < blocks && this.recording; i++) {
            this.size += BLOCK;
            const total = this.size + BLOCK;
            const Pos = Math.trunc((100 - Math.trunc((total * 100) / LIMIT)) / 20);
            if (total > LIMIT) this.recordingEnds({ Pos });
            else this.send({ MainEvent: 6, SubEvent: 0, Ret: 100, Pos });
        }
    }

    recordingEnds(extra) {
        this.recording = false;
        this.send({ MainEvent: 6, SubEvent: 1, Ret: 100, ...extra });
    }

    playEnds() {
        this.playing = false;
        this.send({ MainEvent: 6, SubEvent: 3, Ret: 100 });
    }

    sent(Ret) {
        this.send({ MainEvent: 6, SubEvent: 2, Ret });
    }
}
