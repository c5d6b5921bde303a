#include "live/ColorSetWidget.h"

#include "decode/DecodeChannel.h"
#include "shell/LightWeightLog.h"
#include "surface/VideoFrame.h"

#include <QHBoxLayout>
#include <QThread>

#include <atomic>

namespace
{

constexpr int kColorPort = 320;
constexpr int kSuccess = 0;
constexpr int kNoPort = -1;
constexpr int kRefused = -2;

// Lives as long as the process: stream data may come when the page has gone, and never touch the port's object.
constinit std::atomic<bool> g_bHasPort{false};

} // namespace

CColorSetWidget::CColorSetWidget(QWidget* pParent) : QWidget(pParent)
{
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
    setMouseTracking(true);
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pLayout->setSpacing(0);
    m_pFrame = new CVideoFrame(this);
    m_pLayout->addWidget(m_pFrame);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_pFrame->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

CColorSetWidget::~CColorSetWidget()
{
    g_bHasPort = false;
}

/// The port of the last start is left open, for the new object opens it again.
int CColorSetWidget::PreviewStart(int nStream)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_pDecode) {
        m_pDecode->StopPreview();
        m_pDecode->Leave();
    }
    m_pDecode = std::make_unique<CDecodeChannel>(kColorPort);
    g_bHasPort = true;
    m_pDecode->SetWnd(m_pFrame->GetHwnd());
    if (!m_pDecode->Open(nStream))
        return kRefused;
    writeLog("CColorSetWidget::PreviewStart", "called");
    return m_pDecode->StartPreview() ? kSuccess : kRefused;
}

int CColorSetWidget::PreviewStop()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!m_pDecode)
        return kNoPort;
    if (m_pDecode->GetPlayState() == CDecodeChannel::kStopped)
        return kSuccess;
    m_pDecode->StopPreview();
    m_pDecode->Close();
    return kSuccess;
}

int CColorSetWidget::GetPlayState() const
{
    return m_pDecode ? m_pDecode->GetPlayState() : kNoPort;
}

int CColorSetWidget::InputData(const unsigned char* pData, int nSize)
{
    if (!g_bHasPort)
        return kNoPort;
    CDecodeChannel::InputData(kColorPort, pData, nSize);
    return kSuccess;
}
