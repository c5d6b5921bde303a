// The ruler over the lower part of a single or maximised cell, for a camera with two lenses: a tick for each tenth,
// and a label with the factor that rides along with the handle. The cell filters its events and tells the outside
// when a gesture ended.
//
// Thread: GUI thread. Units: the value counts tenths from 0; the label shows the factor from 1.0.
#pragma once

#include <QSlider>

class QLabel;
class QPainter;

class CScaleSlider : public QSlider
{
    Q_OBJECT
public:
    /// scaleSteps(fMaxTimes) must be above 0.
    CScaleSlider(QWidget* pParent, int nWndNo, float fMaxTimes);

    void SetPressed(bool bPressed) { m_bPressed = bPressed; }
    /// Asked by tests alone; QSlider has its own mark for what it paints.
    bool IsPressed() const { return m_bPressed; }

signals:
    /// Never raised here: the cell raises its own signal of this name when a gesture ends.
    void sig_SetScaleTwoLensTimes(float fTimes, int nWndNo);

public slots:
    void onValueChanged(int nValue);

protected:
    void paintEvent(QPaintEvent* pEvent) override;

private:
    void drawMiddleLine(QPainter& painter);
    void drawTicks(QPainter& painter);
    void placeLabel();

    QLabel* m_pLabel = nullptr;
    bool m_bPressed = false;
    int m_nWndNo;
    float m_fMaxTimes;
    int m_iMaxTimes;
};
