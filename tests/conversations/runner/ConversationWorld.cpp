// The verbs about what else can be seen: log, nolog, debug, ini, file, window, surface, place, mouse, key, later,
// after.
#include "Conversation.h"

#include "Failure.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

namespace
{

QPoint pointOf(const QString& text)
{
    return QPoint(text.section(',', 0, 0).toInt(), text.section(',', 1, 1).toInt());
}

QSize sizeOf(const QString& text)
{
    return QSize(text.section('x', 0, 0).toInt(), text.section('x', 1, 1).toInt());
}

/// The file itself; where its name has a "*", the first file like it that is not empty.
QString resolved(const QString& path)
{
    const QFileInfo info(path);
    if (!info.fileName().contains('*')) {
        return path;
    }
    for (const QFileInfo& file : info.dir().entryInfoList({info.fileName()}, QDir::Files)) {
        if (file.size() > 0) {
            return file.filePath();
        }
    }
    return path;
}

QString placeText(const QRect& r)
{
    return r.isEmpty() ? QString("hidden")
                       : QString("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

struct LogPattern {
    QString level, tag, text;
};

/// LEVEL TAG "text"
LogPattern logPattern(const QString& rest, const Bindings& bindings)
{
    const QStringList words = splitWords(rest);
    if (words.size() != 3) {
        throw Failure{"a log line is told by level, tag and \"text\""};
    }
    return {words[0], words[1], parsePattern(words[2], bindings).toString()};
}

bool fits(const LogPattern& pattern, const LogLine& line)
{
    return line.level == pattern.level && textFits(pattern.tag, line.tag) && textFits(pattern.text, line.text);
}

} // namespace

/// The line must come, after those that earlier "log" lines found.
void Conversation::doLog(const QString& rest)
{
    if (rest == "loses") {
        m_logLoses = true;
        return;
    }
    const LogPattern pattern = logPattern(rest, m_bindings);
    int next = m_logRead;
    waitFor("the log line", [&] {
        const auto& log = m_program.log();
        for (; next < log.size(); ++next) {
            if (fits(pattern, log[next])) {
                m_logRead = ++next;
                return true;
            }
        }
        return false;
    });
}

/// No such line since the last request; levels do not matter: nolog TAG "text".
void Conversation::doNoLog(const QString& rest)
{
    const LogPattern pattern = logPattern("any " + rest, m_bindings);
    const int from = m_logRequest;
    doSilence(QString());
    const auto& log = m_program.log();
    for (int i = from; i < log.size(); ++i) {
        if (textFits(pattern.tag, log[i].tag) && textFits(pattern.text, log[i].text)) {
            throw Failure{"it was logged: " + log[i].tag + " " + log[i].text};
        }
    }
}

/// A line of the debug stream.
void Conversation::doDebug(const QString& rest)
{
    const QString pattern = parsePattern(rest, m_bindings).toString();
    waitFor("the line", [&] {
        const QStringList& lines = m_program.lines();
        return std::any_of(lines.begin(), lines.end(), [&](const QString& line) { return textFits(pattern, line); });
    });
}

/// No such line in all the debug stream so far; told after "exit" or "silence".
void Conversation::doNoDebug(const QString& rest)
{
    const QString pattern = parsePattern(rest, m_bindings).toString();
    for (const QString& line : m_program.lines()) {
        if (textFits(pattern, line)) {
            throw Failure{"it was written: " + line};
        }
    }
}

/// ini KEY = "value" prepares ClientCfg.ini, ini KEY is "value" checks it; ini VERSIONFILE KEY = "value" another file.
void Conversation::doIni(const QString& rest)
{
    QStringList words = splitWords(rest);
    const QString name = words.size() == 4 ? words.takeFirst() : QString("ClientCfg.ini");
    if (words.size() != 3) {
        throw Failure{"ini [FILE] KEY = \"value\", or is instead of ="};
    }
    QSettings settings(m_program.folder() + "/" + name, QSettings::IniFormat);
#ifdef Q_OS_WIN
    settings.setIniCodec("System"); // the code page
#else
    settings.setIniCodec("UTF-8");
#endif
    const QJsonValue value = parsePattern(words[2], m_bindings);
    if (words[1] == "=") {
        settings.setValue(words[0], value.toVariant());
        return;
    }
    const QString found = settings.contains(words[0]) ? settings.value(words[0]).toString() : QString("(no such key)");
    if (!textFits(value.toVariant().toString(), found)) {
        throw Failure{"there stands " + found};
    }
}

/// file PATH = "content" | file PATH = hex 00ff | file PATH links "/other" | file PATH is "content" | file PATH exists
/// | file PATH absent; relative to the program.
void Conversation::doFile(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const QString path = QDir(m_program.folder()).filePath(m_bindings.filled(words.value(0)));
    QFile file(resolved(path));
    if (words.value(1) == "=") {
        QDir().mkpath(QFileInfo(path).path());
        if (!file.open(QIODevice::WriteOnly)) {
            throw Failure{"cannot write " + path};
        }
        const bool hex = words.value(2) == "hex";
        file.write(hex ? QByteArray::fromHex(words.value(3).toLatin1())
                       : parsePattern(words.value(2), m_bindings).toString().toUtf8());
    } else if (words.value(1) == "links") {
        if (!QFile::link(parsePattern(words.value(2), m_bindings).toString(), path)) {
            throw Failure{"cannot make the link " + path};
        }
    } else if (words.value(1) == "is") {
        const bool open = file.open(QIODevice::ReadOnly);
        const QString content = localText(file.readAll());
        if (!open || !textFits(parsePattern(words.value(2), m_bindings).toString(), content)) {
            throw Failure{open ? "it holds: " + content : "there is no such file"};
        }
    } else {
        waitFor(file.exists() ? "it to go" : "it to come",
                [&] { return QFileInfo::exists(resolved(path)) == (words.value(1) == "exists"); });
    }
}

WindowId Conversation::windowOf(const QString& word) const
{
    const QString name = QString(word).remove('<').remove('>');
    if (!m_bindings.has(name)) {
        throw Failure{"there is no window " + name + " yet"};
    }
    return static_cast<WindowId>(m_bindings.value(name).toDouble());
}

/// window open [NAME] "title" WxH+X+Y [class=CLASS] | title [NAME] "title" | move [NAME] X,Y | focus [NAME] | close
/// [NAME] NAME is "browser" unless told.
void Conversation::doWindow(const QString& rest)
{
    QStringList words = splitWords(rest);
    const QString action = words.takeFirst();
    const bool named = !words.isEmpty() && words[0].contains(QRegularExpression("^[a-z]"));
    const QString name = named ? words.takeFirst() : QString("browser");
    if (action == "open") {
        const QStringList parts = words.value(1).split('+');
        const QRect place(QPoint(parts.value(1).toInt(), parts.value(2).toInt()), sizeOf(parts.value(0)));
        const QString title = parsePattern(words.value(0), m_bindings).toString();
        const QString kind = words.value(2).startsWith("class=") ? words[2].mid(6) : QString("chromium");
        const WindowId id = m_desktop.openWindow(title, place, kind);
        m_bindings.set(name, static_cast<double>(id));
    } else if (action == "title") {
        m_desktop.setTitle(windowOf(name), parsePattern(words.value(0), m_bindings).toString());
    } else if (action == "move") {
        m_desktop.moveWindow(windowOf(name), pointOf(words.value(0)));
    } else if (action == "focus") {
        m_desktop.focus(windowOf(name));
    } else if (action == "close") {
        m_desktop.closeWindow(windowOf(name));
    } else {
        throw Failure{"unknown window action " + action};
    }
}

/// surface X,Y WxH [in NAME]: shown there, relative to the browser's window | surface hidden [in NAME] |
/// surface fullscreen | surface child
void Conversation::doSurface(const QString& rest)
{
    QStringList words = splitWords(rest);
    WindowId browser = 0;
    const int in = words.indexOf("in");
    if (in >= 0) {
        browser = windowOf(words.value(in + 1));
        words = words.mid(0, in);
    } else {
        browser = windowOf("browser");
    }
    if (words.value(0) == "fullscreen") {
        return waitFor("the full screen", [&] { return m_desktop.fullScreenWindow(m_program.pid()) != 0; });
    }
    const QString expected = words.join(' ');
    QString seen;
    try {
        waitFor("the surface", [&] {
            seen = placeText(m_desktop.surface(browser));
            return seen == expected && m_desktop.visibleTopLevels(m_program.pid()) == 0;
        });
    } catch (const Failure& failure) {
        throw Failure{failure.text + "; it is " + seen};
    }
}

/// place <cell0> X,Y WxH: where a cell's window lies relative to the browser's window.
void Conversation::doPlace(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const QString expected = words.mid(1).join(' ');
    QString seen;
    try {
        waitFor("the place", [&] {
            seen = placeText(m_desktop.placeIn(windowOf(words[0]), windowOf("browser")));
            return seen == expected;
        });
    } catch (const Failure& failure) {
        throw Failure{failure.text + "; it is " + seen};
    }
}

/// cell N at X,Y [WxH]: names the innermost window at that point of the browser's window <cellN>, once it has that
/// size.
void Conversation::doCell(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const QString name = "cell" + words.value(0);
    const QString size = words.value(3);
    WindowId found = 0;
    waitFor("a window there", [&] {
        found = m_desktop.windowAt(windowOf("browser"), pointOf(words.value(2)));
        return found != 0 &&
               (size.isEmpty() || placeText(m_desktop.placeIn(found, windowOf("browser"))).endsWith(' ' + size));
    });
    if (m_bindings.has(name) && windowOf(name) != found) {
        throw Failure{QString("window %1 is there, not <%2>").arg(found).arg(name)};
    }
    m_bindings.set(name, static_cast<double>(found));
}

/// mouse press|release|move|click|doubleclick left|right <cell0> X,Y
void Conversation::doMouse(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const int button = words.value(1) == "right" ? 3 : 1;
    const WindowId window = windowOf(words.value(2));
    const QPoint at = pointOf(words.value(3));
    const auto send = [&](Desktop::Mouse what) { m_desktop.mouse(window, what, button, at, m_inputTime += 10); };
    m_inputTime += 2000; // later than any double-click interval
    if (words[0] == "move") {
        return send(Desktop::Mouse::Move);
    }
    const int clicks = words[0] == "doubleclick" ? 2 : 1;
    for (int i = 0; i < clicks; ++i) {
        if (words[0] != "release") {
            send(Desktop::Mouse::Press);
        }
        if (words[0] != "press") {
            send(Desktop::Mouse::Release);
        }
    }
}

/// key Escape: released on the full screen if there is one, else on the named window.
void Conversation::doKey(const QString& rest)
{
    const QStringList words = splitWords(rest);
    if (words.value(0) != "Escape") {
        throw Failure{"the only key is Escape"};
    }
    const WindowId full = m_desktop.fullScreenWindow(m_program.pid());
    m_desktop.keyRelease(full ? full : windowOf(words.value(1)), 0xff1b, m_inputTime += 2000);
}

/// later MS: so much time has passed since the last step, for what the program does by the clock and nobody can see.
void Conversation::doLater(const QString& rest)
{
    QElapsedTimer timer;
    timer.start();
    waitFor("the time to pass", [&] { return timer.elapsed() >= rest.toInt(); });
}

/// after MS: what comes next does so no sooner than MS after the last request, answer or callback. A slow machine only
/// makes it later.
void Conversation::doAfter(const QString& rest)
{
    const auto next = [&] {
        return std::find_if(m_pending.begin(), m_pending.end(), [](const Item& i) { return !i.held; });
    };
    waitFor("what comes after the pause", [&] { return next() != m_pending.end(); });
    const qint64 pauseMs = next()->cameMs - m_toldMs;
    if (pauseMs < rest.toInt()) {
        throw Failure{QString("it came after %1 ms: ").arg(pauseMs) + next()->text()};
    }
}
