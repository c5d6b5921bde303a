#include "surface/ScaleSlider.h"

#include "shell/LightWeightLog.h"
#include "surface/ScaleArithmetic.h"

#include <QDebug>
#include <QLabel>
#include <QPainter>

CScaleSlider::CScaleSlider(QWidget* pParent, int nWndNo, float fMaxTimes)
    : QSlider(pParent), m_nWndNo(nWndNo), m_fMaxTimes(fMaxTimes), m_iMaxTimes(scaleSteps(fMaxTimes))
{
    setWindowFlags(Qt::SubWindow | Qt::FramelessWindowHint);
    setOrientation(Qt::Horizontal);
    setRange(0, m_iMaxTimes);
    setObjectName("ScaleSlider");
    setSingleStep(1);
    setPageStep(1);
    m_pLabel = new QLabel(this);
    m_pLabel->setObjectName("ScaleLabel");
    m_pLabel->setAttribute(Qt::WA_TransparentForMouseEvents);
    connect(this, &QSlider::valueChanged, this, &CScaleSlider::onValueChanged);
    m_pLabel->resize(25, 20);
    onValueChanged(0);
    m_pLabel->show();
    writeLog("CScaleSlider::CScaleSlider",
             QString("CScaleSlider m_fMaxTimes=%1 m_iMaxTimes=%2").arg(m_fMaxTimes).arg(m_iMaxTimes));
}

void CScaleSlider::onValueChanged(int nValue)
{
    const QString strText = scaleLabelText(nValue);
    qDebug() << "onValueChanged:strText==" << strText;
    m_pLabel->setText(strText);
    m_pLabel->move(scaleLabelX(width(), nValue, m_iMaxTimes), 0);
}

void CScaleSlider::drawMiddleLine(QPainter& painter)
{
    painter.setPen(QPen(Qt::gray, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawLine(0, height() / 2, width(), height() / 2);
}

void CScaleSlider::drawTicks(QPainter& painter)
{
    painter.setPen(QPen(Qt::white, 1, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const int nStep = scaleTickDistance(width(), m_iMaxTimes);
    const int nHeight = height();
    for (int i = 0; i <= m_iMaxTimes; ++i) {
        const int nLength = i % 10 == 0 ? 9 : 5;
        const int nX = i * nStep;
        painter.drawLine(nX, 0, nX, nLength);
        painter.drawLine(nX, nHeight, nX, nHeight - nLength);
    }
}

/// Here as well as on a change of value, since a resize moves the label too.
void CScaleSlider::placeLabel()
{
    const int nValue = value();
    m_pLabel->setText(QString("%1.%2").arg(nValue / 10 + 1).arg(nValue % 10));
    m_pLabel->move(scaleLabelX(width(), nValue, m_iMaxTimes), 0);
}

void CScaleSlider::paintEvent(QPaintEvent* pEvent)
{
    QPainter painter(this);
    drawMiddleLine(painter);
    drawTicks(painter);
    placeLabel();
    painter.end();               // a widget takes one painter at a time, and the base class opens its own
    QSlider::paintEvent(pEvent); // last, so that the handle stands on top of the ticks
}
