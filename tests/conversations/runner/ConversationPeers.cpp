// The verbs about what the program meets beside the host and the libraries: a web server and a page that enciphers; and
// how much memory the program takes.
#include "Conversation.h"

#include "Failure.h"
#include "PageCipher.h"

/// web listen [https]: <web> is its port | web answers STATUS "body" | web hangs | web closes | web endless: what it
/// does with the next request | web late STATUS "body": the first one that was left hanging is answered after all
/// web asked "GET /path HTTP/1.1" | web left: the program has ended a connection
void Conversation::doWeb(const QString& rest)
{
    QStringList words = splitWords(rest);
    const QString action = words.takeFirst();
    if (action == "listen") {
        m_web = std::make_unique<WebPeer>(words.value(0) == "https");
        return m_bindings.set("web", m_web->serverPort());
    }
    if (!m_web) {
        throw Failure{"there is no web server yet"};
    }
    using Deed = WebPeer::Deed;
    if (action == "answers" || action == "late") {
        const int status = words.value(0).toInt();
        const QByteArray body = parsePattern(words.value(1), m_bindings).toString().toUtf8();
        action == "late" ? m_web->answerLate(status, body) : m_web->next({Deed::Answer, status, body});
    } else if (action == "hangs") {
        m_web->next({Deed::Hang, 0, {}});
    } else if (action == "closes") {
        m_web->next({Deed::Close, 0, {}});
    } else if (action == "endless") {
        m_web->next({Deed::Endless, 0, {}});
    } else if (action == "asked") {
        const QString line = parsePattern(words.value(0), m_bindings).toString();
        waitFor("the request", [&] { return m_web->requests().size() > m_webRead; });
        if (!textFits(line, m_web->requests()[m_webRead++])) {
            throw Failure{"another request came: " + m_web->requests()[m_webRead - 1]};
        }
    } else if (action == "left") {
        waitFor("the end of a connection", [&] { return m_web->ended() > m_webLeft; });
        ++m_webLeft;
    } else {
        throw Failure{"unknown web action " + action};
    }
}

/// encipher "key" | encipher <key> | encipher off: how the frames of ">" go out from here on.
void Conversation::doEncipher(const QString& rest)
{
    if (rest == "off") {
        m_requestKey.clear();
    } else if (rest.startsWith('<')) { // as it is: a key may hold any character
        m_requestKey = m_bindings.value(rest.mid(1, rest.size() - 2)).toString().toUtf8();
    } else {
        m_requestKey = parsePattern(rest, m_bindings).toString().toUtf8();
    }
}

/// replies plain: from here on messages come in the clear again.
void Conversation::doReplies(const QString& rest)
{
    if (rest != "plain") {
        throw Failure{"replies plain"};
    }
    m_replyKey.clear();
}

/// The message in the clear. What the program enciphers is told by its own key, which it hands out in the clear: from
/// then on nothing but another key may be readable.
QByteArray Conversation::inTheClear(const QByteArray& body)
{
    if (m_replyKey.isEmpty() || body.startsWith('{')) {
        return body;
    }
    return cipher::opened(body, m_replyKey);
}

void Conversation::heedKey(const QJsonObject& message, bool wasPlain)
{
    constexpr int kKeyExchange = 32;
    if (message["Msg"] == kKeyExchange && message["key"].isObject()) {
        if (!wasPlain) {
            m_problem = "a key came enciphered: " + compact(message);
        }
        m_replyKey = message["key"].toObject()["key"].toString().toUtf8();
    } else if (wasPlain && !m_replyKey.isEmpty()) {
        m_problem = "the message is in the clear: " + compact(message);
    }
}

#ifdef __SANITIZE_THREAD__
constexpr bool kShadowed = true; // most of the program's memory is the sanitizer's record of who touched what
#else
constexpr bool kShadowed = false;
#endif

/// memory mark | memory within MIB: it takes no more than so much above the mark.
void Conversation::doMemory(const QString& rest)
{
    constexpr qint64 kMib = 1 << 20;
    const qint64 now = residentBytes(m_program.pid());
    if (now <= 0) {
        throw Failure{"the program's memory is unknown"};
    }
    if (rest == "mark") {
        m_memoryMark = now;
        return;
    }
    const qint64 grown = (now - m_memoryMark) / kMib;
    note(QString("memory grew by %1 MiB").arg(grown));
    if (!rest.startsWith("within ") || (!kShadowed && grown > rest.mid(7).toInt())) {
        throw Failure{QString("the program has grown by %1 MiB").arg(grown)};
    }
}

/// hear load: its reports of the machine's load, one a second, are messages like others; until then nobody hears them.
void Conversation::doHear(const QString& rest)
{
    if (rest != "load") {
        throw Failure{"hear load"};
    }
    m_loadHeard = true;
}

bool Conversation::isUnheardLoad(const QJsonObject& message) const
{
    constexpr int kLoad = 5;
    return !m_loadHeard && message["MainEvent"] == 0 && message["SubEvent"] == kLoad;
}

/// messages COUNT json: the next so many messages are all like this.
void Conversation::doMessages(const QString& rest)
{
    const int blank = rest.indexOf(' ');
    for (int i = rest.left(blank).toInt(); i > 0; --i) {
        doMessage(rest.mid(blank + 1));
    }
}
