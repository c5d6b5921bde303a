#include "live/ColorSetWidget.h"

#include "surface/VideoFrame.h"

#include <QHBoxLayout>

CColorSetWidget::CColorSetWidget(QWidget* pParent) : QWidget(pParent)
{
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
    setMouseTracking(true);
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pFrame = new CVideoFrame(this);
    m_pLayout->addWidget(m_pFrame);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_pFrame->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}
