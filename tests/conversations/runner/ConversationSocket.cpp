// The verbs about the program's start, its socket and its end: args, env, program, start, connected, >, <, send,
// close, exit, stays, silence.
#include "Conversation.h"

#include "Failure.h"
#include "PageCipher.h"

#include <QJsonDocument>

/// Words as they go onto the command line, without the program's own name; "" is an empty one.
void Conversation::doArgs(const QString& rest)
{
    m_arguments.clear();
    for (const QString& word : splitWords(rest)) {
        m_arguments << (word.startsWith('"') ? parsePattern(word, m_bindings).toString() : word);
    }
    bool ok = false;
    const int session = m_arguments.value(0).toInt(&ok);
    if (ok) {
        m_bindings.set("session", session);
    }
}

void Conversation::doEnv(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const QString value = words.value(1);
    if (value == "absent") {
        m_program.environment.remove(words[0]);
    } else {
        m_program.environment.insert(words[0], m_bindings.filled(value));
    }
}

/// program NAME STEP...: what a stand-in beside the program does at its start; the next line of that name is for its
/// next.
void Conversation::doProgram(const QString& rest)
{
    QStringList steps = splitWords(rest);
    const QString name = steps.takeFirst();
    for (QString& step : steps) {
        step = step.startsWith('"') ? parsePattern(step, m_bindings).toString() : step;
    }
    m_program.addStandIn(name, steps);
}

void Conversation::doStart(const QString&)
{
    QStringList arguments;
    for (const QString& argument : qAsConst(m_arguments)) {
        arguments << m_bindings.filled(argument);
    }
    m_program.start(arguments, m_fakes.port());
    m_bindings.set("pid", m_program.pid());
}

void Conversation::doConnected(const QString&)
{
    waitFor("the program's connection", [this] { return m_host.connected(); });
}

void Conversation::doRequest(const QString& rest)
{
    m_logRequest = m_program.log().size();
    const QByteArray text = m_bindings.filled(rest).toUtf8();
    sendAndDrain(m_requestKey.isEmpty() ? text : cipher::seal(text, m_requestKey));
}

/// One frame, and the program has read it.
void Conversation::sendAndDrain(const QByteArray& body)
{
    const int before = m_program.framesRead();
    m_toldMs = m_clock.elapsed();
    m_host.sendFrame(body);
    waitFor("the program to read the frame", [this] { return m_host.drained(); });
#ifdef Q_OS_WIN
    // The system hands a frame over before the socket thread looks at it, and a frame that comes until then joins it.
    // The thread logs what it has read; it logs nothing of a frame that it takes for a part of another.
    constexpr int kUnreadMs = 500;
    QElapsedTimer timer;
    timer.start();
    waitFor("the frame's log line",
            [&] { return m_program.framesRead() > before || timer.elapsed() > kUnreadMs || !m_program.running(); });
#endif
}

/// "text" (as in JSON) or hex digits.
void Conversation::doSend(const QString& rest)
{
    m_logRequest = m_program.log().size();
    const bool hex = rest.startsWith("hex ");
    m_host.sendRaw(hex ? QByteArray::fromHex(rest.mid(4).toLatin1())
                       : parsePattern(rest, m_bindings).toString().toUtf8());
    waitFor("the program to read the bytes", [this] { return m_host.drained(); });
}

void Conversation::doMessage(const QString& rest)
{
    const QJsonValue pattern = parsePattern(rest, m_bindings);
    const auto firstMessage = [this] {
        return std::find_if(m_pending.begin(), m_pending.end(), [](const Item& i) { return !i.isCall; });
    };
    // A call that waits for its answer may have come after the message was sent and before it arrived.
    waitFor("the message", [&] { return firstMessage() != m_pending.end(); });
    const auto it = firstMessage();
    const Bindings before = m_bindings;
    const QString why = mismatch(pattern, it->message, m_bindings);
    if (!why.isEmpty()) {
        m_bindings = before;
        throw Failure{"another message came: " + it->text() + "\n    (" + why + ")"};
    }
    m_pending.erase(it);
}

void Conversation::doClose(const QString&)
{
    m_ended = true; // the program may go at any time from here
    m_host.close();
}

/// exit CODE | exit crash
void Conversation::doExit(const QString& rest)
{
    m_ended = true;
    waitFor("the program's end", [this] { return !m_program.running() || !m_pending.empty(); });
    if (!m_pending.empty()) {
        throw Failure{"before the end came: " + m_pending.front().text()};
    }
    if (rest == "crash" ? !m_program.crashed() : m_program.crashed() || m_program.exitCode() != rest.toInt()) {
        throw Failure{QString("the program ended with %1 %2")
                          .arg(m_program.crashed() ? "signal" : "exit code")
                          .arg(m_program.exitCode())};
    }
    checkEnd();
}

/// What would end the program had a second for it.
void Conversation::doStays(const QString&)
{
    constexpr int kSecondMs = 1000;
    QElapsedTimer timer;
    timer.start();
    waitFor("the second to pass", [&] { return timer.elapsed() >= kSecondMs || !m_program.running(); });
    if (!m_program.running()) {
        throw Failure{"the program has ended"};
    }
}

/// Nothing else came: a command that the hub answers at once must be answered next. With "gui" the command passes
/// through the GUI thread as well.
void Conversation::doSilence(const QString& rest)
{
    const int number = ++m_barriers;
    const bool gui = rest == "gui"; // asks for the current channel, which changes nothing on any page
    const QJsonObject request{
        {"MainType", gui ? 4 : 99}, {"SubType", gui ? 7 : 0}, {"MsgID", QString("silence %1").arg(number)}};
    const QByteArray text = QJsonDocument(request).toJson(QJsonDocument::Compact);
    const auto logged = static_cast<std::ptrdiff_t>(m_program.log().size());
    sendAndDrain(text);
    waitFor("the answer that proves silence", [this] { return !m_pending.empty(); });
    const Item item = m_pending.front();
    if (item.isCall || item.message.toObject()["MsgID"] != request["MsgID"] || m_pending.size() != 1) {
        throw Failure{"nobody expected: " + item.text()};
    }
    m_pending.pop_front();
    // Its log line is written after those of all that went before on the hub's thread. Where the log may lose lines, it
    // is enough that some were told to be missing since.
    const QString mark = QString("silence %1\"").arg(number);
    waitFor("the log line of that answer", [&] {
        const auto& log = m_program.log();
        return std::any_of(log.begin() + logged, log.end(), [&](const LogLine& line) {
            return (line.tag == "CPluginManage::sendWebSocketMsg" && line.text.contains(mark)) ||
                   (m_logLoses && line.tag == "LightWeightLog::write" && line.text.contains("lines lost"));
        });
    });
}
