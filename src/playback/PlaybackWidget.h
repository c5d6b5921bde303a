// The page of recorded video: a grid of four windows at most and which device channel stands in each.
//
// Thread: GUI thread. Windows: 0 to 3; any other index has no channel, no zoom and no sound.
#pragma once

#include <QWidget>
#include <array>

class CPlayWindowManage;
class QHBoxLayout;

class CPlaybackWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CPlaybackWidget(QWidget* pParent);

    int GetWndChannel(int nWnd) const;
    int GetCurChannel() const;
    int GetCurWnd() const;
    /// The first window that shows it, else -1.
    int FindWndByChannel(int nChannel) const;
    bool IsZoom(int nWnd) const;
    bool IsSound(int nWnd) const;
    /// Mode 1 is four windows, every other mode one. Always 0.
    int ChangeSplit(int nMode);
    void SelectWnd(int nWnd);
    void SetTheme(const QString& strTheme);

signals:
    void curWndIndexSig(int nIndex);

private:
    static constexpr int kWindows = 4;

    CPlayWindowManage* m_pPlayWindowManage = nullptr;
    QHBoxLayout* m_pLayout = nullptr;
    std::array<int, kWindows> m_nChannel;
    std::array<bool, kWindows> m_bZoom{};
    int m_nSoundWnd = -1;
    int m_nSplitMode = 0;
};
