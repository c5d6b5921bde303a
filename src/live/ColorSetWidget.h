// The image colour page: one plain view without grid, cells or selection, which shows a single stream on a decoder port
// of its own. It has no colour values: commands about colour go to the live page.
//
// Thread:    GUI thread, except InputData.
// Ownership: owns its port, which is made anew for every start.
// Results:   0 success, -1 no port, -2 the decoder refused.
#pragma once

#include <QWidget>

#include <memory>

class CDecodeChannel;
class CVideoFrame;
class QHBoxLayout;

class CColorSetWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CColorSetWidget(QWidget* pParent);
    /// Stops and closes the port.
    ~CColorSetWidget() override;

    int PreviewStart(int nStream);
    int PreviewStop();
    /// A state of CDecodeChannel, or -1.
    int GetPlayState() const;

    /// Any thread. Dropped, with -1, when there is no port.
    static int InputData(const unsigned char* pData, int nSize);

private:
    std::unique_ptr<CDecodeChannel> m_pDecode; // null before the first start
    CVideoFrame* m_pFrame = nullptr;
    QHBoxLayout* m_pLayout = nullptr;
};
