#include "Pattern.h"

#include "Failure.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace
{

const QChar kMark(1); // stands in front of a placeholder's name in parsed JSON
const QString kMore = QStringLiteral("...");

QString plainNumber(const QJsonValue& value)
{
    return value.isDouble() ? QString::number(static_cast<qint64>(value.toDouble())) : value.toString();
}

QString escaped(const QString& text)
{
    const QString quoted = compact(text);
    return quoted.mid(1, quoted.size() - 2);
}

/// Turns <name> and ... outside of texts into texts that JSON can hold.
QString withMarks(const QString& text)
{
    QString out;
    bool inText = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (inText) {
            out += c;
            if (c == '\\' && i + 1 < text.size()) {
                out += text[++i];
            } else if (c == '"') {
                inText = false;
            }
        } else if (c == '"') {
            inText = true;
            out += c;
        } else if (c == '<') {
            const int end = text.indexOf('>', i);
            out += "\"\\u0001" + text.mid(i + 1, end - i - 1) + '"';
            i = end < 0 ? text.size() : end;
        } else if (text.midRef(i, 3) == kMore) {
            out += "\"...\":true";
            i += 2;
        } else {
            out += c;
        }
    }
    return out;
}

QString mismatchObject(const QJsonObject& pattern, const QJsonObject& actual, Bindings& bindings)
{
    for (auto it = pattern.begin(); it != pattern.end(); ++it) {
        if (it.key() == kMore) {
            continue;
        }
        if (!actual.contains(it.key())) {
            return "key " + it.key() + " is missing";
        }
        const QString why = mismatch(it.value(), actual.value(it.key()), bindings);
        if (!why.isEmpty()) {
            return it.key() + ": " + why;
        }
    }
    if (!pattern.contains(kMore)) {
        for (auto it = actual.begin(); it != actual.end(); ++it) {
            if (!pattern.contains(it.key())) {
                return "unexpected key " + it.key();
            }
        }
    }
    return QString();
}

QString mismatchArray(const QJsonArray& pattern, const QJsonArray& actual, Bindings& bindings)
{
    if (pattern.size() != actual.size()) {
        return QString("%1 elements instead of %2").arg(actual.size()).arg(pattern.size());
    }
    for (int i = 0; i < pattern.size(); ++i) {
        const QString why = mismatch(pattern[i], actual[i], bindings);
        if (!why.isEmpty()) {
            return QString("[%1]: %2").arg(i).arg(why);
        }
    }
    return QString();
}

QString mismatchPlaceholder(const QString& name, const QJsonValue& actual, Bindings& bindings)
{
    const bool isInt = actual.isDouble() && actual.toDouble() == static_cast<qint64>(actual.toDouble());
    if (name == "any" || (name == "int" && isInt) || (name == "text" && actual.isString())) {
        return QString();
    }
    if (name == "int" || name == "text") {
        return compact(actual) + " is no " + name;
    }
    if (bindings.has(name)) {
        return bindings.value(name) == actual
                   ? QString()
                   : compact(actual) + " is not <" + name + ">, which is " + compact(bindings.value(name));
    }
    const QString other = bindings.nameOf(actual, name);
    if (!other.isEmpty()) {
        return compact(actual) + " is <" + other + ">, not <" + name + ">";
    }
    bindings.set(name, actual);
    return QString();
}

} // namespace

QString Bindings::nameOf(const QJsonValue& value, const QString& exceptName) const
{
    static const QRegularExpression digits("\\d+$");
    const QString prefix = QString(exceptName).remove(digits);
    for (auto it = m_values.begin(); it != m_values.end(); ++it) {
        if (it.key() != exceptName && QString(it.key()).remove(digits) == prefix && it.value() == value) {
            return it.key();
        }
    }
    return QString();
}

QString Bindings::filled(const QString& text) const
{
    static const QRegularExpression place("<(?:([A-Za-z][A-Za-z0-9]*)(:hex|:json)?|(.)\\*(\\d+))>");
    QString out;
    int from = 0;
    for (auto it = place.globalMatch(text); it.hasNext();) {
        const auto m = it.next();
        out += text.mid(from, m.capturedStart() - from);
        from = m.capturedEnd();
        if (!m.captured(4).isEmpty()) {
            out += QString(m.captured(4).toInt(), m.captured(3)[0]);
        } else if (has(m.captured(1))) {
            const QJsonValue v = value(m.captured(1));
            out += m.captured(2).isEmpty()   ? plainNumber(v)
                   : m.captured(2) == ":hex" ? QString::number(static_cast<qint64>(v.toDouble()), 16)
                                             : escaped(escaped(v.toString())); // a text of JSON within a text
        } else {
            out += m.captured(0);
        }
    }
    return out + text.mid(from);
}

QJsonValue parsePattern(const QString& text, const Bindings& bindings)
{
    QJsonParseError error;
    const QByteArray json = "[" + withMarks(bindings.filled(text)).toUtf8() + "]";
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || document.array().size() != 1) {
        throw Failure{"the file holds no JSON value here: " + text + " (" + error.errorString() + ")"};
    }
    return document.array().at(0);
}

QStringList splitWords(const QString& line)
{
    QStringList words;
    QString word;
    int depth = 0;
    bool inText = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (inText) {
            word += c;
            if (c == '\\' && i + 1 < line.size()) {
                word += line[++i];
            } else if (c == '"') {
                inText = false;
            }
            continue;
        }
        if (c.isSpace() && depth == 0) {
            if (!word.isEmpty()) {
                words << word;
            }
            word.clear();
            continue;
        }
        inText = c == '"';
        depth += (c == '{' || c == '[') - (c == '}' || c == ']');
        word += c;
    }
    if (!word.isEmpty()) {
        words << word;
    }
    return words;
}

bool textFits(const QString& pattern, const QString& actual)
{
    static const QRegularExpression place("<(any|int|hex|time)>");
    QString expression;
    int from = 0;
    for (auto it = place.globalMatch(pattern); it.hasNext();) {
        const auto m = it.next();
        expression += QRegularExpression::escape(pattern.mid(from, m.capturedStart() - from));
        from = m.capturedEnd();
        const QString kind = m.captured(1);
        expression += kind == "int"    ? "-?\\d+"
                      : kind == "hex"  ? "[0-9a-fA-F]+"
                      : kind == "time" ? "\\d{8}_\\d{6}"
                                       : ".*";
    }
    if (from == 0) {
        return pattern == actual;
    }
    expression += QRegularExpression::escape(pattern.mid(from));
    const QRegularExpression whole(QRegularExpression::anchoredPattern(expression),
                                   QRegularExpression::DotMatchesEverythingOption);
    return whole.match(actual).hasMatch();
}

QString mismatch(const QJsonValue& pattern, const QJsonValue& actual, Bindings& bindings)
{
    if (pattern.isString() && pattern.toString().startsWith(kMark)) {
        return mismatchPlaceholder(pattern.toString().mid(1), actual, bindings);
    }
    if (pattern.type() != actual.type()) {
        return compact(actual) + " instead of " + compact(pattern);
    }
    if (pattern.isObject()) {
        return mismatchObject(pattern.toObject(), actual.toObject(), bindings);
    }
    if (pattern.isArray()) {
        return mismatchArray(pattern.toArray(), actual.toArray(), bindings);
    }
    const bool same = pattern.isString() ? textFits(pattern.toString(), actual.toString()) : pattern == actual;
    return same ? QString() : compact(actual) + " instead of " + compact(pattern);
}

QString compact(const QJsonValue& value)
{
    const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(json.mid(1, json.size() - 2));
}
