// What a conversation file expects of one value: JSON with placeholders where a value cannot be known beforehand.
//
//   <any> <int> <text>   any value, any whole number, any text
//   <name>               binds the value on first use; later uses must be the same value, other names another one
//   "...<any>..."        inside a text: any characters; <int> digits, <hex> hexadecimal digits, <time> 20250131_235959
//   ... in an object     further keys may follow
#pragma once

#include <QHash>
#include <QJsonValue>
#include <QString>
#include <QStringList>

/// Names bound so far, and those that are known from the start (app, session, pid, ...).
class Bindings
{
public:
    void set(const QString& name, const QJsonValue& value) { m_values[name] = value; }
    bool has(const QString& name) const { return m_values.contains(name); }
    QJsonValue value(const QString& name) const { return m_values.value(name); }
    /// The name another value is already bound to under the same prefix ("cell"), or empty.
    QString nameOf(const QJsonValue& value, const QString& exceptName) const;
    /// Replaces every known <name> and <c*N> (N times the character c) in plain text.
    QString filled(const QString& text) const;

private:
    QHash<QString, QJsonValue> m_values;
};

/// Parses one JSON value with placeholders. Throws Failure.
QJsonValue parsePattern(const QString& text, const Bindings& bindings);
/// Cuts a line into words: JSON values, placeholders and bare words, separated by blanks.
QStringList splitWords(const QString& line);
/// Empty when the value fits; otherwise what does not. Binds names.
QString mismatch(const QJsonValue& pattern, const QJsonValue& actual, Bindings& bindings);
/// The same for plain text.
bool textFits(const QString& pattern, const QString& actual);
/// One line of compact JSON.
QString compact(const QJsonValue& value);
