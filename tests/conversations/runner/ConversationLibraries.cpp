// The verbs about the two libraries: net, dec, net!, dec!, returned, allow, forbid.
#include "Conversation.h"

#include "Failure.h"

#include <QSize>

namespace
{

/// LOGIN CHANNEL EVENT STATUS, then what is not as usual.
QJsonObject alarmFields(const QStringList& words)
{
    QJsonObject fields{{"login", words.value(0)},
                       {"channel", words.value(1)},
                       {"event", words.value(2)},
                       {"status", words.value(3)},
                       {"size", "172"},
                       {"kind", "1"},
                       {"times", "1"}};
    for (const QString& word : words.mid(4)) {
        fields[word.section('=', 0, 0)] = word.section('=', 1);
    }
    return fields;
}

} // namespace

/// NAME ARG... [-> VALUE [{FIELDS}]]; without an arrow the result is 1.
Conversation::Scripted Conversation::scripted(const QString& rest, const QString& prefix) const
{
    QStringList words = splitWords(rest);
    Scripted result;
    result.name = words.takeFirst();
    if (!result.name.startsWith(prefix)) {
        throw Failure{result.name + " is no call of this library"};
    }
    const int arrow = words.indexOf("->");
    result.args = words.mid(0, arrow);
    result.value = arrow < 0 ? 1 : words.value(arrow + 1).toDouble();
    if (arrow >= 0 && words.size() > arrow + 2) {
        result.fields = parsePattern(words[arrow + 2], m_bindings).toObject();
    }
    return result;
}

void Conversation::doNet(const QString& rest)
{
    expectCall(rest, "LUMONET_");
}

void Conversation::doDec(const QString& rest)
{
    expectCall(rest, "LUMODEC_");
}

void Conversation::expectCall(const QString& rest, const QString& prefix)
{
    const Scripted expected = scripted(rest, prefix);
    const auto next = [&] {
        return std::find_if(m_pending.begin(), m_pending.end(),
                            [&](const Item& i) { return !i.held || i.call.name == expected.name; });
    };
    waitFor("the call", [&] { return next() != m_pending.end(); });
    const auto it = next();
    const Item item = *it;
    if (!item.isCall) {
        throw Failure{"a message came before the call: " + item.text()};
    }
    QString why;
    if (item.call.name != expected.name || !argsFit(expected.args, item.call, why)) {
        throw Failure{"another call came: " + item.text() + (why.isEmpty() ? QString() : " (" + why + ")")};
    }
    m_pending.erase(it);
    m_toldMs = m_clock.elapsed();
    m_fakes.answer(item.call, expected.value, expected.fields);
}

/// waits NAME: the call has come, and its caller is kept waiting until a later line answers it.
void Conversation::doWaits(const QString& rest)
{
    const auto next = [&] {
        return std::find_if(m_pending.begin(), m_pending.end(), [](const Item& i) { return !i.held; });
    };
    waitFor("the call", [&] { return next() != m_pending.end(); });
    if (!next()->isCall || next()->call.name != rest) {
        throw Failure{"another thing came: " + next()->text()};
    }
    next()->held = true;
}

void Conversation::raise(const QString& library, const QString& kind, const QJsonObject& fields,
                         const QString& expected)
{
    const quint64 id = m_nextRaise++;
    m_raises[id] = expected;
    m_toldMs = m_clock.elapsed();
    m_fakes.raise(library, id, kind, fields);
}

/// frame HANDLE TYPE WxH "data" [-> RESULT]   TYPE: I, P, audio, other or a number; the data go in as they are;
///                                            "hex 00ff" in place of "data" for bytes
/// disconnect LOGIN "address" PORT            RESULT "none": nobody is registered
/// position HANDLE TOTAL CURRENT              of a playback or download
/// sendfile HANDLE STATUS ERROR [EXTRA]       the end of a sent file
/// upgrade HANDLE TOTAL SENT                  progress of an upgrade
/// voice HANDLE TYPE "data"                   what the device says in a talk
/// alarm LOGIN CHANNEL EVENT STATUS [size=BYTES] [kind=KIND] [times=COUNT]
void Conversation::doNetRaise(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const int arrow = words.indexOf("->");
    const QString result = arrow < 0 ? QString() : words.value(arrow + 1);
    const auto text = [&](int i) { return parsePattern(words.value(i), m_bindings).toString(); };
    if (words[0] == "disconnect") {
        const QJsonObject fields{{"login", words.value(1)}, {"ip", text(2)}, {"port", words.value(3)}};
        return raise("LumoNet", "disconnect", fields, result.isEmpty() ? "0" : result);
    }
    if (words[0] == "position") {
        const QJsonObject fields{{"handle", words.value(1)}, {"total", words.value(2)}, {"current", words.value(3)}};
        return raise("LumoNet", "position", fields, result.isEmpty() ? "1" : result);
    }
    if (words[0] == "sendfile") {
        const QJsonObject fields{{"handle", words.value(1)},
                                 {"status", words.value(2)},
                                 {"code", words.value(3)},
                                 {"extra", words.value(4, "0")}};
        return raise("LumoNet", "sendfile", fields, result.isEmpty() ? "0" : result);
    }
    if (words[0] == "upgrade") {
        const QJsonObject fields{{"handle", words.value(1)}, {"total", words.value(2)}, {"sent", words.value(3)}};
        return raise("LumoNet", "upgrade", fields, result.isEmpty() ? "0" : result);
    }
    if (words[0] == "voice") {
        const QJsonObject fields{{"handle", words.value(1)}, {"type", words.value(2)}, {"data", text(3)}};
        return raise("LumoNet", "voice", fields, result.isEmpty() ? "0" : result);
    }
    if (words[0] == "alarm") {
        return raise("LumoNet", "alarm", alarmFields(words.mid(1, arrow < 0 ? -1 : arrow - 1)),
                     result.isEmpty() ? "1" : result);
    }
    if (words[0] != "frame") {
        throw Failure{"unknown callback " + words[0]};
    }
    static const QHash<QString, QString> types{{"I", "1"}, {"P", "2"}, {"audio", "3"}, {"other", "0"}};
    const QStringList size = words.value(3).split('x');
    QJsonObject fields{{"handle", words.value(1)},
                       {"type", types.value(words.value(2), words.value(2))},
                       {"width", size.value(0)},
                       {"height", size.value(1)}};
    if (words.value(4) == "hex") {
        fields["hex"] = words.value(5);
    } else {
        fields["data"] = text(4);
    }
    raise("LumoNet", "frame", fields, result.isEmpty() ? "1" : result);
}

/// draw PORT [WxH] | fileend PORT | convert CURRENT TOTAL | capture SIZE SAMPLE
void Conversation::doDecRaise(const QString& rest)
{
    const QStringList words = splitWords(rest);
    const int arrow = words.indexOf("->");
    const QString result = arrow < 0 ? QString("0") : words.value(arrow + 1);
    if (words[0] == "convert") {
        raise("LumoDecode", words[0], {{"current", words.value(1)}, {"total", words.value(2)}}, result);
    } else if (words[0] == "capture") {
        raise("LumoDecode", words[0], {{"size", words.value(1)}, {"sample", words.value(2)}}, result);
    } else if (words[0] == "draw") {
        const QStringList size = (arrow == 2 || words.size() < 3 ? QString("64x48") : words[2]).split('x');
        raise("LumoDecode", words[0], {{"port", words.value(1)}, {"width", size.value(0)}, {"height", size.value(1)}},
              result);
    } else {
        raise("LumoDecode", words[0], {{"port", words.value(1)}}, result);
    }
}

/// All callbacks raised so far have returned.
void Conversation::doReturned(const QString&)
{
    waitFor("the return of a callback", [this] { return m_raises.isEmpty(); });
}

/// allow NAME ARG... -> VALUE {FIELDS}: may come at any time; "*" stands for all arguments.
void Conversation::doAllow(const QString& rest)
{
    const Scripted s = scripted(rest, "LUMO");
    m_allowed.prepend({s.name, s.args, s.value, s.fields});
}

/// ignore JSON: such messages may come at any time.
void Conversation::doIgnore(const QString& rest)
{
    m_ignored.append(parsePattern(rest, m_bindings));
}

/// heed: nothing is ignored any more.
void Conversation::doHeed(const QString&)
{
    m_ignored.clear();
}

void Conversation::doForbid(const QString& rest)
{
    for (int i = m_allowed.size() - 1; i >= 0; --i) {
        if (m_allowed[i].name == rest) {
            m_allowed.removeAt(i);
        }
    }
}
