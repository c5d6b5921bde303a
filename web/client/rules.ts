/**
 * The analysis rule that is drawn over the live picture of channel 0. Reached as `client.rules`. It is not sent to the
 * device. One rule at a time, kept over stops and starts until the logout.
 */
import type { CommandSender } from './commandSender.ts';
import { MainType, RuleSub } from './wire.ts';
import type { Reply } from './wire.ts';

/** Units of a square of `VIRTUAL_SIDE` laid over the picture. */
export interface RulePoint {
    x: number;
    y: number;
}

/**
 * The side that the arrow points to: `forward` is to the right of who walks from the first point to the second, `backward`
 * to the left. On the first edge of a region that is upright it is the other way round.
 */
export type RuleArrow = 'forward' | 'backward' | 'both' | 'none';

export type Rule =
    | { kind: 'line'; from: RulePoint; to: RulePoint; arrow: RuleArrow }
    /** Up to `RULE_CORNERS` corners; the arrow stands on the first edge. */
    | { kind: 'region'; corners: readonly RulePoint[]; arrow: RuleArrow };

export const RULE_CORNERS = 8;

const ARROWS: Record<RuleArrow, number> = { backward: 0, forward: 1, both: 2, none: 3 };
const NOWHERE: RulePoint = { x: 0, y: 0 };

/** The reply has no code: whether anything is drawn is told nowhere. */
export interface RuleReply extends Reply {
    WndNum: number;
    Chn: number;
}

export class RuleCommands {
    private readonly sender: CommandSender;

    constructor(sender: CommandSender) {
        this.sender = sender;
    }

    /** Draws the rule from now on, in place of the one before. */
    draw(rule: Rule): Promise<RuleReply> {
        return this.send(rule, true);
    }

    /** Takes the rule off the picture. */
    clear(): Promise<RuleReply> {
        return this.send({ kind: 'line', from: NOWHERE, to: NOWHERE, arrow: 'none' }, false);
    }

    private send(rule: Rule, show: boolean): Promise<RuleReply> {
        return this.sender.request<RuleReply>({
            MainType: MainType.Rule, SubType: RuleSub.Draw, Channel: 0,
            RuleType: rule.kind === 'line' ? 0 : 1,
            ShowRule: show ? 1 : 0,
            AlarmDirectLine: ARROWS[rule.arrow],
            AlarmDirectRegion: ARROWS[rule.arrow],
            RuleLine: lineKeys(rule),
            ...cornerKeys(rule),
        });
    }
}

function lineKeys(rule: Rule): object {
    const { from, to } = rule.kind === 'line' ? rule : { from: NOWHERE, to: NOWHERE };
    return { StartX: Math.round(from.x), StartY: Math.round(from.y), StopX: Math.round(to.x), StopY: Math.round(to.y) };
}

/** Eight are read in any case; those that are missing are 0, 0. */
function cornerKeys(rule: Rule): { ptsNum: number; RuleRegion: object[] } {
    const corners = rule.kind === 'region' ? rule.corners.slice(0, RULE_CORNERS) : [];
    return { ptsNum: corners.length, RuleRegion: corners.map(({ x, y }) => ({ X: Math.round(x), Y: Math.round(y) })) };
}
