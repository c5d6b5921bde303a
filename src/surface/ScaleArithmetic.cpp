#include "surface/ScaleArithmetic.h"

#include <algorithm>

namespace
{

constexpr float kMaxTwoLensScale = 7.0F;
constexpr int kMaxSliderValue = 1000000; // the device names the maximum: a conversion of any float must be defined

/// Cut towards zero; 0 for what is no number.
int truncated(double fValue)
{
    if (!(fValue > -kMaxSliderValue))
        return fValue < 0 ? -kMaxSliderValue : 0;
    return static_cast<int>(std::min<double>(fValue, kMaxSliderValue));
}

} // namespace

int scaleSteps(float fMaxTimes)
{
    return std::max(0, truncated((fMaxTimes - 1.0) * 10.0));
}

int sliderValueOfScale(float fTimes)
{
    return truncated(fTimes * 10.0);
}

int scaleLabelX(int nSliderWidth, int nValue, int nSteps)
{
    if (nSteps <= 0)
        return 0;
    const int nHandleX = static_cast<int>(static_cast<qint64>(nSliderWidth) * nValue / nSteps);
    return nValue < nSteps / 2 ? nHandleX + 5 : nHandleX - 35;
}

QString scaleLabelText(int nValue)
{
    return QString::number(static_cast<float>((nValue + 10) / 10.0), 'f', 1);
}

int scaleTickDistance(int nSliderWidth, int nSteps)
{
    return nSteps > 0 ? nSliderWidth / nSteps : 0;
}

QRect scaleSliderPlace(QPoint ptCell, QSize szCell, int nSteps)
{
    if (nSteps <= 0)
        return {};
    int nLength = static_cast<int>(szCell.width() * 0.6666666666666666);
    if (nLength % nSteps > 0)
        nLength += nSteps - nLength % nSteps;
    // The cell's own position is added although the slider is its child: it is only shown at the grid's origin.
    return {(szCell.width() - nLength) / 2 + ptCell.x(), szCell.height() - 1 - nSteps + ptCell.y() - 9, nLength,
            nSteps / 2};
}

float nextTwoLensScale(int nDirection, int nStep, float fLast)
{
    if (nDirection != 0 && nDirection != 1)
        return 0.0F;
    const double fChange = nStep * 0.1;
    const auto fNext = static_cast<float>(nDirection == 0 ? fLast + fChange : fLast - fChange);
    return std::clamp(fNext, 0.0F, kMaxTwoLensScale);
}
