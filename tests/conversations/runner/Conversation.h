// One conversation: plays the host and the browser, scripts the two libraries, and compares what the program does
// with what the file says, in order. Thread: the runner's one thread.
#pragma once

#include "BrowserWindow.h"
#include "FakeServer.h"
#include "Host.h"
#include "Pattern.h"
#include "Program.h"
#include "Script.h"
#include "WebPeer.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QStringList>

#include <deque>
#include <memory>

struct Options {
    QString program;
    QString fakes;
    QString decode; // folder of another decode library than the recording one; none when empty
    QString folder; // name of the program's own folder; any when empty
    bool verbose = false;
    int waitMs = 20000; // bound of every wait for a fact
};

class Conversation
{
public:
    Conversation(const Script& script, const Options& options);
    /// Throws Failure.
    void run();
    /// The merged trace so far, and where the conversation stood.
    QStringList trace() const { return m_trace; }
    QString where() const { return m_where; }
    QString programOutput() const { return m_program.standardError(); }

private:
    /// What came from the program and waits to be expected: a call (unanswered) or a message.
    struct Item {
        bool isCall = false;
        bool held = false; // "waits" has seen it: others may be expected before it is answered
        Call call;
        QJsonValue message;
        qint64 cameMs = 0;
        QString text() const { return isCall ? call.text() : compact(message); }
    };
    /// A call that may come at any time.
    struct Allowed {
        QString name;
        QStringList args; // "*" alone: any
        double value = 1;
        QJsonObject fields;
    };
    struct Scripted {
        QString name;
        QStringList args;
        double value = 0;
        QJsonObject fields;
    };
    using Verb = void (Conversation::*)(const QString&);
    static const QHash<QString, Verb>& verbs();

    // Facts
    void waitFor(const QString& what, const std::function<bool()>& fact, int boundMs = 0);
    void checkHealth();
    void onCall(const Call& call);
    void onMessage(const QByteArray& body);
    QByteArray inTheClear(const QByteArray& body);
    void heedKey(const QJsonObject& message, bool wasPlain);
    bool isUnheardLoad(const QJsonObject& message) const;
    void onDone(quint64 id, const QString& result);
    void checkThread(const Call& call);
    bool answeredByRule(const Call& call);
    bool isIgnored(const QJsonValue& message) const;
    bool argsFit(const QStringList& patterns, const Call& call, QString& why);
    void checkWindowArgument(const QString& pattern, const QJsonValue& value);
    Scripted scripted(const QString& rest, const QString& prefix) const;
    WindowId windowOf(const QString& word) const;
    void note(const QString& line);

    // Verbs: before the start
    void doArgs(const QString& rest);
    void doEnv(const QString& rest);
    void doProgram(const QString& rest);
    void doStart(const QString& rest);
    void doConnected(const QString& rest);
    // Verbs: socket
    void doRequest(const QString& rest);
    void doMessage(const QString& rest);
    void doSend(const QString& rest);
    void sendAndDrain(const QByteArray& body);
    void doClose(const QString& rest);
    void doExit(const QString& rest);
    void doStays(const QString& rest);
    void doSilence(const QString& rest);
    void doMessages(const QString& rest);
    void doHear(const QString& rest);
    void doEncipher(const QString& rest);
    void doReplies(const QString& rest);
    // Verbs: what else the program meets, and takes
    void doWeb(const QString& rest);
    void doMemory(const QString& rest);
    // Verbs: libraries
    void doNet(const QString& rest);
    void doDec(const QString& rest);
    void expectCall(const QString& rest, const QString& prefix);
    void doWaits(const QString& rest);
    void doNetRaise(const QString& rest);
    void doDecRaise(const QString& rest);
    void raise(const QString& library, const QString& kind, const QJsonObject& fields, const QString& expected);
    void doReturned(const QString& rest);
    void doAllow(const QString& rest);
    void doForbid(const QString& rest);
    void doIgnore(const QString& rest);
    void doHeed(const QString& rest);
    // Verbs: log, files, screen
    void doLog(const QString& rest);
    void doNoLog(const QString& rest);
    void doDebug(const QString& rest);
    void doNoDebug(const QString& rest);
    void doIni(const QString& rest);
    void doFile(const QString& rest);
    void doWindow(const QString& rest);
    void doSurface(const QString& rest);
    void doPlace(const QString& rest);
    void doCell(const QString& rest);
    void doMouse(const QString& rest);
    void doKey(const QString& rest);
    void doLater(const QString& rest);
    void doAfter(const QString& rest);

    void finish();
    void checkEnd();

    Script m_script;
    Options m_options;
    Bindings m_bindings;
    Desktop m_desktop;
    FakeServer m_fakes;
    Host m_host;
    Program m_program;
    QStringList m_arguments;
    std::deque<Item> m_pending;
    QVector<Allowed> m_allowed;
    QVector<QJsonValue> m_ignored;    // messages that may come at any time
    QHash<quint64, QString> m_raises; // id, expected result
    quint64 m_nextRaise = 1;
    quint64 m_mainThread = 0, m_hubThread = 0;
    QString m_problem;                   // found while events were handled
    QByteArray m_requestKey, m_replyKey; // empty: in the clear
    bool m_loadHeard = false;
    std::unique_ptr<WebPeer> m_web;
    int m_webRead = 0, m_webLeft = 0; // requests matched, ended connections matched
    qint64 m_memoryMark = 0;          // bytes
    bool m_answerAll = false;
    bool m_ended = false;
    int m_logRead = 0;       // log lines matched or passed by "log"
    bool m_logLoses = false; // a flood may outrun it
    int m_logRequest = 0;    // log lines before the last request
    int m_barriers = 0;
    qint64 m_toldMs = 0;         // when the program was last sent a request, an answer or a callback
    quint32 m_inputTime = 10000; // ms, of the events sent to windows
    QString m_where;
    QStringList m_trace;
    QElapsedTimer m_clock;
};
