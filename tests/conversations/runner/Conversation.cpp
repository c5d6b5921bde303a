#include "Conversation.h"

#include "Failure.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

namespace
{

/// The set-up, and what the live page asks of a device's two lenses.
const QStringList kMainThreadCalls{"LUMONET_Init",       "LUMONET_InitAppInfo",        "LUMONET_GetSystemAbility_Json",
                                   "LUMONET_HasAbility", "LUMONET_CmdWithResult_Json", "LUMONET_CmdWithOutput_Json"};

/// Speech is the hub's: its port and its capture are not the GUI thread's, but for the stop of a capture by itself.
bool isSpeech(const Call& call)
{
    constexpr int kTalkPort = 499;
    static const QStringList kCapture{"LUMODEC_StartAudioCapture", "LUMODEC_StopAudioCapture", "LUMODEC_GetLastError"};
    return kCapture.contains(call.name) ||
           (call.library == "LumoDecode" && !call.args.isEmpty() && call.args[0].toInt() == kTalkPort);
}

/// What stops speech by itself runs on another thread than the hub's.
bool isSpeechEnd(const Call& call)
{
    static const QStringList kEnds{"LUMODEC_StopAudioCapture", "LUMODEC_StopSound", "LUMODEC_Stop",
                                   "LUMODEC_CloseStream"};
    return isSpeech(call) && kEnds.contains(call.name);
}

constexpr int kMessageLimit = 65536; // bytes, where the program cuts what it sends
constexpr int kNotedBytes = 4096;    // of a message in the trace

QString serverName()
{
    return QString("lumo-conversation-%1").arg(QCoreApplication::applicationPid());
}

} // namespace

Conversation::Conversation(const Script& script, const Options& options)
    : m_script(script), m_options(options), m_host(serverName()),
      m_program(options.program, options.fakes, options.decode, options.folder)
{
    m_clock.start();
    m_arguments = QStringList{"7", "<server>", "<app>", "<browser:hex>"};
    m_bindings.set("app", m_program.folder());
    m_bindings.set("server", m_host.serverName());
    m_bindings.set("session", 7);
    const auto quoted = [](QString path) { return path.replace("\\", "\\\\"); };
    m_bindings.set("home", quoted(QDir::toNativeSeparators(m_program.folder())));
    m_bindings.set("sep", quoted(QDir::separator()));
#ifdef Q_OS_WIN
    m_bindings.set("exe", ".exe");
#else
    m_bindings.set("exe", "");
#endif
    m_bindings.set("newline", "\n");
    m_bindings.set("return", "\r");
    m_fakes.onCall = [this](const Call& call) { onCall(call); };
    m_fakes.onDone = [this](quint64 id, const QString& result) { onDone(id, result); };
    m_fakes.onFault = [this](const QString& text) { m_problem = "the program broke the contract: " + text; };
    m_host.onMessage = [this](const QByteArray& body) { onMessage(body); };
    m_host.onBadFrame = [this](const QString& why) { m_problem = why; };
}

const QHash<QString, Conversation::Verb>& Conversation::verbs()
{
    static const QHash<QString, Verb> table{
        {"args", &Conversation::doArgs},
        {"env", &Conversation::doEnv},
        {"program", &Conversation::doProgram},
        {"start", &Conversation::doStart},
        {"connected", &Conversation::doConnected},
        {">", &Conversation::doRequest},
        {"<", &Conversation::doMessage},
        {"send", &Conversation::doSend},
        {"close", &Conversation::doClose},
        {"exit", &Conversation::doExit},
        {"stays", &Conversation::doStays},
        {"silence", &Conversation::doSilence},
        {"net", &Conversation::doNet},
        {"dec", &Conversation::doDec},
        {"net!", &Conversation::doNetRaise},
        {"dec!", &Conversation::doDecRaise},
        {"returned", &Conversation::doReturned},
        {"allow", &Conversation::doAllow},
        {"forbid", &Conversation::doForbid},
        {"ignore", &Conversation::doIgnore},
        {"heed", &Conversation::doHeed},
        {"log", &Conversation::doLog},
        {"nolog", &Conversation::doNoLog},
        {"debug", &Conversation::doDebug},
        {"ini", &Conversation::doIni},
        {"file", &Conversation::doFile},
        {"window", &Conversation::doWindow},
        {"surface", &Conversation::doSurface},
        {"place", &Conversation::doPlace},
        {"mouse", &Conversation::doMouse},
        {"key", &Conversation::doKey},
        {"cell", &Conversation::doCell},
        {"nodebug", &Conversation::doNoDebug},
        {"later", &Conversation::doLater},
        {"after", &Conversation::doAfter},
        {"waits", &Conversation::doWaits},
        {"messages", &Conversation::doMessages},
        {"hear", &Conversation::doHear},
        {"encipher", &Conversation::doEncipher},
        {"replies", &Conversation::doReplies},
        {"web", &Conversation::doWeb},
        {"memory", &Conversation::doMemory},
    };
    return table;
}

void Conversation::run()
{
    for (const Step& step : qAsConst(m_script.steps)) {
        m_where = step.where + "   " + step.verb + " " + step.rest;
        note("  | " + step.verb + " " + step.rest);
        const Verb verb = verbs().value(step.verb);
        if (!verb) {
            throw Failure{"unknown verb " + step.verb};
        }
        (this->*verb)(step.rest);
    }
    m_where = "the end of the file";
    finish();
}

void Conversation::note(const QString& line)
{
    m_trace << QString("%1 ms %2").arg(m_clock.elapsed(), 6).arg(line);
    if (m_options.verbose) {
        QTextStream(stdout) << m_trace.last() << Qt::endl;
    }
}

void Conversation::checkHealth()
{
    if (!m_problem.isEmpty()) {
        throw Failure{m_problem};
    }
    if (m_program.started() && !m_program.running() && !m_ended) {
        throw Failure{"the program has ended, " + (m_program.crashed()
                                                       ? QString("by a crash")
                                                       : QString("exit code %1").arg(m_program.exitCode()))};
    }
    if (!m_program.badLogLine().isEmpty()) {
        throw Failure{"a log line is not formed as it must be: " + m_program.badLogLine()};
    }
}

void Conversation::waitFor(const QString& what, const std::function<bool()>& fact, int boundMs)
{
    QElapsedTimer timer;
    timer.start();
    QTimer wake; // facts on the screen raise no event here
    wake.start(5);
    for (;;) {
        if (m_problem.isEmpty() && fact()) {
            return;
        }
        checkHealth();
        if (timer.elapsed() > (boundMs ? boundMs : m_options.waitMs)) {
            QString waiting;
            for (const Item& item : m_pending) {
                waiting += "\n    not yet expected: " + item.text();
            }
            throw Failure{"waited in vain for " + what + waiting};
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

void Conversation::onCall(const Call& call)
{
    note("call " + call.text());
    checkThread(call);
    if (answeredByRule(call)) {
        return;
    }
    Item item;
    item.isCall = true;
    item.call = call;
    item.cameMs = m_clock.elapsed();
    m_pending.push_back(item);
}

/// Decoder calls belong to the GUI thread, device calls and speech to the hub's one thread, data to the libraries'
/// threads.
void Conversation::checkThread(const Call& call)
{
    if (call.name == "LUMONET_Init") {
        m_mainThread = call.thread;
    }
    const bool onMain = call.thread == m_mainThread;
    static const QStringList kDataCalls{"LUMODEC_InputData", "LUMONET_VoiceComSendData", "LUMONET_CloseSendFile"};
    if (kDataCalls.contains(call.name)) {
        if (onMain || call.thread == m_hubThread) {
            m_problem = call.name + " does not come on the data callback's thread";
        }
    } else if (isSpeechEnd(call)) {
        if (onMain && call.name != "LUMODEC_StopAudioCapture") {
            m_problem = call.name + " comes on the GUI thread";
        }
    } else if (!isSpeech(call) && (call.library == "LumoDecode" || kMainThreadCalls.contains(call.name))) {
        if (!onMain) {
            m_problem = call.name + " does not come on the GUI thread";
        }
    } else {
        m_hubThread = m_hubThread ? m_hubThread : call.thread;
        if (onMain || call.thread != m_hubThread) {
            m_problem = call.name + " does not come on the hub's thread";
        }
    }
}

bool Conversation::answeredByRule(const Call& call)
{
    for (const Allowed& rule : qAsConst(m_allowed)) {
        QString why;
        if (rule.name == call.name && (rule.args == QStringList{"*"} || argsFit(rule.args, call, why))) {
            m_fakes.answer(call, rule.value, rule.fields);
            return true;
        }
    }
    if (m_answerAll) {
        m_fakes.answer(call, 1, {});
    }
    return m_answerAll;
}

bool Conversation::argsFit(const QStringList& patterns, const Call& call, QString& why)
{
    if (patterns.size() != call.args.size()) {
        why = QString("%1 arguments instead of %2").arg(call.args.size()).arg(patterns.size());
        return false;
    }
    for (int i = 0; i < patterns.size(); ++i) {
        const bool wasBound = m_bindings.has(QString(patterns[i]).remove('<').remove('>'));
        why = mismatch(parsePattern(patterns[i], m_bindings), call.args[i], m_bindings);
        if (!why.isEmpty()) {
            why = QString("argument %1: ").arg(i + 1) + why;
            return false;
        }
        if (!wasBound) {
            checkWindowArgument(patterns[i], call.args[i]);
        }
    }
    return true;
}

/// A name that begins with "cell" stands for a window inside the surface: it must exist and lie there.
void Conversation::checkWindowArgument(const QString& pattern, const QJsonValue& value)
{
    if (!pattern.startsWith("<cell")) {
        return;
    }
    const auto window = static_cast<WindowId>(value.toDouble());
    if (!m_desktop.exists(window)) {
        throw Failure{pattern + " is no window"};
    }
}

void Conversation::onMessage(const QByteArray& sealed)
{
    QByteArray body;
    try {
        body = inTheClear(sealed);
    } catch (const Failure& failure) {
        m_problem = failure.text;
        return;
    }
    note("<    " + QString::fromUtf8(body.left(kNotedBytes)).trimmed());
    if (body.size() == kMessageLimit) { // cut there, so no JSON any more: told as the text that it is
        Item item;
        item.message = QString::fromUtf8(body);
        m_pending.push_back(item);
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        m_problem = "the message is no JSON object: " + QString::fromUtf8(body.left(400));
        return;
    }
    const bool ascii = std::all_of(body.begin(), body.end(), [](char c) { return static_cast<uchar>(c) < 0x80; });
    if (!ascii || !body.endsWith('\n') || body.count('\n') != 1) {
        m_problem =
            "the message is not one line of ASCII ending with a line feed: " + QString::fromUtf8(body.left(400));
        return;
    }
    Item item;
    item.message = document.object();
    item.cameMs = m_clock.elapsed();
    heedKey(document.object(), body == sealed);
    if (!isIgnored(item.message) && !isUnheardLoad(document.object())) {
        m_pending.push_back(item);
    }
}

bool Conversation::isIgnored(const QJsonValue& message) const
{
    return std::any_of(m_ignored.begin(), m_ignored.end(), [&](const QJsonValue& pattern) {
        Bindings scratch = m_bindings;
        return mismatch(pattern, message, scratch).isEmpty();
    });
}

void Conversation::onDone(quint64 id, const QString& result)
{
    note("callback returned " + result);
    const QString expected = m_raises.take(id);
    if (expected != result && expected != "*") {
        m_problem = "the callback returned " + result + " instead of " + expected;
    }
}

void Conversation::finish()
{
    if (m_ended) {
        return;
    }
    if (!m_program.started()) {
        throw Failure{"the file never starts the program"};
    }
    if (!m_host.connected()) {
        m_ended = true;
        m_program.kill();
        return checkEnd();
    }
    doSilence(QString());
    doReturned(QString());
    m_answerAll = true;
    m_ended = true;
    m_host.close();
    waitFor("the program's end", [this] { return !m_program.running(); });
    if (m_program.crashed() || m_program.exitCode() != 0) {
        throw Failure{QString("the program ends with %1 %2")
                          .arg(m_program.crashed() ? "signal" : "exit code")
                          .arg(m_program.exitCode())};
    }
    checkEnd();
}

/// What must never stand in the program's output, however it ended.
void Conversation::checkEnd()
{
    const QString output = m_program.standardError();
    for (const char* sign :
         {"AddressSanitizer", "ThreadSanitizer", "LeakSanitizer", "runtime error:", "recording library", "ASSERT"}) {
        if (output.contains(sign)) {
            throw Failure{QString("the program's output holds \"%1\"").arg(sign)};
        }
    }
    for (const Item& item : m_pending) {
        if (!m_answerAll) {
            throw Failure{"nobody expected: " + item.text()};
        }
    }
    checkHealth();
}
