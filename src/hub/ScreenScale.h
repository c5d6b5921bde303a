// The scale of the screen as the page is told it. Pure values.
#pragma once

/// In percent, rounded down: 96 dots per inch are 100. 1 when the screen does not tell, which is a nDpi of 0.
inline int dpiRatio(int nDpi)
{
    return nDpi > 0 ? nDpi * 100 / 96 : 1;
}
