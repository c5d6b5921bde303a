// Numbers of the two-lens scale. A factor runs from 1.0; the slider counts its steps from 0 in tenths, and the device
// counts from 0.0. Pure values.
#pragma once

#include <QRect>
#include <QString>

/// Steps of a slider for factors up to fMaxTimes; 0 when there is nothing to slide (or no sensible number).
int scaleSteps(float fMaxTimes);

/// The slider value of a device scale, truncated.
int sliderValueOfScale(float fTimes);

/// Left edge of the value label: right of the handle in the lower half, left of it in the upper half.
int scaleLabelX(int nSliderWidth, int nValue, int nSteps);

/// The factor at a slider value, with one decimal.
QString scaleLabelText(int nValue);

/// Distance between two ticks in pixels; 0 on a slider with fewer pixels than steps.
int scaleTickDistance(int nSliderWidth, int nSteps);

/// Where the slider stands for a cell at ptCell: two thirds of the cell's width, rounded up to whole steps.
QRect scaleSliderPlace(QPoint ptCell, QSize szCell, int nSteps);

/// The device scale after one command of the page: direction 0 in, 1 out, each by nStep tenths and held within
/// 0.0 to 7.0; any other direction 0.0.
float nextTwoLensScale(int nDirection, int nStep, float fLast);
