// A cell of the grid: a one-pixel border that tells whether it is selected, around the CVideoFrame that the decoder
// paints. No widget can draw over the picture, so the border lies outside it. Carries the two-lens scale slider.
//
// Thread: GUI thread.
#pragma once

#include "decode/LumoDecode.h"

#include <QColor>
#include <QFrame>
#include <QPoint>
#include <QString>

class CScaleSlider;
class CVideoFrame;

class CVideoWnd : public QFrame
{
    Q_OBJECT
public:
    CVideoWnd(QWidget* pParent, int nIndex);

    /// The native handle of the inner frame; the same for the life of the cell.
    LumoWindow GetVideoHwnd() const { return m_hVideoHwnd; }
    void SetActive(bool bActive);
    /// "Black" or anything else, which is the light theme.
    void SetTheme(const QString& strTheme);
    /// The range is taken when the slider is made, and a slider without any range is not made.
    void ShowScaleSlider(bool bShow, float fMaxTimes);
    /// fTimes counts from 0.0, as the device does.
    void SetScaleValue(float fTimes);

    // To the frame.
    void setPTZElectStatus(bool bStatus);
    void SetPreviewStatus(bool bStatus);
    void SetDigitalZoomStatus(bool bStatus);
    bool GetDigitalZoomStatus() const;
    const LumoRect& GetRegion() const;
    void SetRegion(const LumoRect& rcRegion);
    void SetBackground(const QString& strFile);
    /// Repaints the border and the frame.
    void UpdateAll();

signals:
    void doubleClicked(int nWndIndex);
    void activeWnd(int nWndIndex);
    void sig_RectanglePoint(void* hWnd, QPoint start, QPoint cur);
    void sig_selectRegion(void* hWnd, QPoint start, QPoint end);
    void quitDigitalZoom(int nWndIndex);
    void quitPTZElect(int nWndIndex);
    /// The end of a gesture on the slider.
    void sig_SetScaleTwoLensTimes(float fTimes, int nWndNo);

protected:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override;
    void paintEvent(QPaintEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;

private:
    void connectFrame();
    void createScaleSlider(float fMaxTimes);
    void PlaceScaleSlider();
    void jumpToClick(const QPoint& pt);
    void finishScaleGesture();

    CVideoFrame* m_pVideoFrame = nullptr;
    LumoWindow m_hVideoHwnd = 0;
    bool m_bActive = false;
    QColor m_colorActive; // invalid until a theme is set
    CScaleSlider* m_pScaleSlider = nullptr;
    int m_nWndIndex;
    float m_fMaxTimes = 8.0F;
};
