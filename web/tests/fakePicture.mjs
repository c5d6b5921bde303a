/** Electronic PTZ, the colour page's stream and the drawn rule of the stand-in process, by the same rules. */
const SIDE = 8192;
const WHOLE = [0, 0, SIDE, SIDE];

export class FakePicture {
    /** @param {() => number} current the channel in the selected cell */
    constructor(options, send, current) {
        this.options = options;
        this.send = send;
        this.current = current;
        this.forget();
        /** What the colour page shows. */
        this.colour = null;
        this.rule = null;
    }

    /** A start of any channel. */
    forget() {
        this.regions = new Map();
        this.opened = new Set();
        this.presets = new Map();
    }

    steer({ SubType: sub, Channel: channel, Step: step, Preset: preset }, reply) {
        if (sub < 0 || sub > 10) return reply({ Ret: 100 });
        const ok = channel >= 0 && channel === this.current() && this.steered(sub, channel, step, preset);
        reply({ Ret: ok ? 100 : 1016 });
    }

    steered(sub, channel, step, preset) {
        const [left, top, right, bottom] = this.regions.get(channel) ?? WHOLE;
        const presets = this.presets.get(channel) ?? new Map();
        this.presets.set(channel, presets);
        const show = (region, allowed) => (allowed ? this.regions.set(channel, region) : null) !== null;
        switch (sub) {
            case 0: return show([left, top - step, right, bottom - step], top >= step);
            case 1: return show([left, top + step, right, bottom + step], bottom + step <= SIDE);
            case 2: return show([left - step, top, right - step, bottom], left >= step);
            case 3: return show([left + step, top, right + step, bottom], right + step <= SIDE);
            case 4: return show([left - step, top - step, right + step, bottom + step], left >= step && top >= step && right + step <= SIDE && bottom + step <= SIDE);
            case 5: return show([left + step, top + step, right - step, bottom - step], left + step < right - step && top + step < bottom - step);
            case 6: return presets.size > 0 && (presets.delete(preset), true);
            case 7: return presets.set(preset, [left, top, right, bottom]) !== null;
            case 8: return show(presets.get(preset), presets.has(preset));
            case 9: return show(WHOLE, left !== 0 || top !== 0 || right !== SIDE || bottom !== SIDE);
            default: this.opened.add(channel); return true;
        }
    }

    /** A right click of the user into the selected cell. */
    quit() {
        this.opened.delete(this.current());
        this.regions.delete(this.current());
        this.send({ MainEvent: 0, SubEvent: 6, nShowElect: 2 });
    }

    offer(nShowElect) {
        this.send({ MainEvent: 0, SubEvent: 6, nShowElect });
    }

    colourPage({ SubType: sub, Channel, Stream }, reply) {
        if (sub !== 0 && sub !== 1) return;
        this.colour = null;
        const Ret = sub === 1 ? 100 : (this.options.colourRet ?? 100);
        if (sub === 0 && Ret === 100) this.colour = { Channel, Stream };
        reply({ Ret });
    }

    setRule(request, reply) {
        this.rule = request;
        reply({ WndNum: 0, Chn: 0 });
    }
}
