/** A seek is told in thousandths of the span that plays, and the process cuts the result to whole seconds. Pure. */

/** The thousandths that lead to exactly `offset` seconds of a span; null when none do, or the offset is its beginning. */
export function thousandthsFor(offset: number, span: number): number | null {
    if (!Number.isInteger(offset) || offset <= 0 || offset > span || span <= 0) return null;
    const near = Math.floor((offset * 1000) / span);
    // The second after the first that should do: the division by 1000 may have come out a hair too small.
    for (const candidate of [near, near + 1, near + 2])
        if (Math.trunc((candidate / 1000) * span) === offset) return candidate;
    return null;
}
