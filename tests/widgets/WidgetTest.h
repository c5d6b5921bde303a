// What the widget tests share: synthetic mouse events, the log lines that appear, records of signals in order.
#pragma once

#include "shell/LightWeightLog.h"

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QObject>
#include <QPaintEvent>
#include <QRegion>
#include <QStringList>
#include <QWidget>

#include <ostream>

inline void PrintTo(const QString& strText, std::ostream* pStream)
{
    *pStream << '"' << strText.toStdString() << '"';
}

inline void PrintTo(const QStringList& lines, std::ostream* pStream)
{
    *pStream << '"' << lines.join("\", \"").toStdString() << '"';
}

inline void PrintTo(const QColor& color, std::ostream* pStream)
{
    *pStream << color.name(QColor::HexArgb).toStdString();
}

/// The lines written while it lives, each as "tag|message".
class CLogLines
{
public:
    CLogLines()
    {
        m_connection = QObject::connect(
            LightWeightLog::instance(), &LightWeightLog::writeLogSig, LightWeightLog::instance(),
            [this](const QString& strLine) { m_lines << short_(strLine); }, Qt::DirectConnection);
    }
    ~CLogLines() { QObject::disconnect(m_connection); }
    CLogLines(const CLogLines&) = delete;
    CLogLines& operator=(const CLogLines&) = delete;

    /// Lines of one tag, messages only.
    QStringList of(const QString& strTag) const
    {
        QStringList messages;
        for (const QString& strLine : m_lines)
            if (strLine.startsWith(strTag + "|"))
                messages << strLine.mid(strTag.size() + 1);
        return messages;
    }

private:
    /// "[ NORMAL] [0x..] [time] [tag] message\n"
    static QString short_(const QString& strLine)
    {
        const QString strRest = strLine.section("] [", 3).chopped(1);
        return strRest.section("] ", 0, 0).trimmed() + "|" + strRest.section("] ", 1);
    }

    QMetaObject::Connection m_connection;
    QStringList m_lines;
};

/// True if the handler left the event accepted, as it came.
inline bool sendMouse(QWidget& widget, QEvent::Type type, QPoint pt, Qt::MouseButton button)
{
    const bool bPressed = type == QEvent::MouseButtonPress || type == QEvent::MouseButtonDblClick;
    const bool bMove = type == QEvent::MouseMove;
    QMouseEvent event(type, pt, widget.mapToGlobal(pt), bMove ? Qt::NoButton : button,
                      bPressed || bMove ? Qt::MouseButtons(button) : Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
    return event.isAccepted();
}

inline void press(QWidget& widget, QPoint pt, Qt::MouseButton button = Qt::LeftButton)
{
    sendMouse(widget, QEvent::MouseButtonPress, pt, button);
}

inline void moveTo(QWidget& widget, QPoint pt)
{
    sendMouse(widget, QEvent::MouseMove, pt, Qt::LeftButton);
}

inline void release(QWidget& widget, QPoint pt, Qt::MouseButton button = Qt::LeftButton)
{
    sendMouse(widget, QEvent::MouseButtonRelease, pt, button);
}

inline void click(QWidget& widget, QPoint pt, Qt::MouseButton button = Qt::LeftButton)
{
    press(widget, pt, button);
    release(widget, pt, button);
}

inline void drag(QWidget& widget, QPoint ptFrom, QPoint ptTo)
{
    press(widget, ptFrom);
    moveTo(widget, ptTo);
    release(widget, ptTo);
}

/// As the window system sends it: press, release, double click, release.
inline void doubleClick(QWidget& widget, QPoint pt)
{
    click(widget, pt);
    sendMouse(widget, QEvent::MouseButtonDblClick, pt, Qt::LeftButton);
    release(widget, pt);
}

/// Counts the paints of one widget and joins their regions.
class CPaintWatch : public QObject
{
public:
    explicit CPaintWatch(QWidget* pWidget) { pWidget->installEventFilter(this); }
    bool eventFilter(QObject*, QEvent* pEvent) override
    {
        if (pEvent->type() == QEvent::Paint) {
            ++nPaints;
            painted += static_cast<QPaintEvent*>(pEvent)->region();
        }
        return false;
    }

    int nPaints = 0;
    QRegion painted;
};

/// Knows the object among those that it filters that a QEvent::User was sent to.
class CUserEventWatch : public QWidget
{
public:
    bool eventFilter(QObject* pWatched, QEvent* pEvent) override
    {
        if (pEvent->type() == QEvent::User)
            pSeen = pWatched;
        return false;
    }

    QObject* pSeen = nullptr;
};

/// The widget and its children as they paint themselves.
inline QImage imageOf(QWidget& widget)
{
    return widget.grab().toImage();
}

inline QString pointText(QPoint pt)
{
    return QString("%1,%2").arg(pt.x()).arg(pt.y());
}
