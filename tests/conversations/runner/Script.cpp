#include "Script.h"

#include "Failure.h"
#include "Pattern.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QOperatingSystemVersion>
#include <QRegularExpression>

namespace
{

using Parameters = QHash<QString, QString>;

/// The folder "common" beside the file or above it.
QString includePath(const QString& name, const QString& from)
{
    QDir dir = QFileInfo(from).absoluteDir();
    do {
        const QString path = dir.filePath("common/" + name + ".inc");
        if (QFileInfo::exists(path)) {
            return path;
        }
    } while (dir.cdUp());
    throw Failure{"no common/" + name + ".inc beside or above " + from};
}

Parameters parametersOf(const QStringList& words, const QString& where)
{
    Parameters parameters;
    for (const QString& word : words) {
        const int equals = word.indexOf('=');
        if (equals < 1) {
            throw Failure{where + ": " + word + " is not key=value"};
        }
        parameters[word.left(equals)] = word.mid(equals + 1);
    }
    return parameters;
}

QString replaced(QString line, const Parameters& parameters, const QString& where)
{
    static const QRegularExpression name("\\$\\{(\\w+)\\}");
    for (auto m = name.match(line); m.hasMatch(); m = name.match(line)) {
        if (!parameters.contains(m.captured(1))) {
            throw Failure{where + ": ${" + m.captured(1) + "} has no value"};
        }
        line.replace(m.capturedStart(), m.capturedLength(), parameters[m.captured(1)]);
    }
    return line;
}

/// "each i=0..3 LINE" stands for LINE four times, with ${i} replaced.
QStringList repeated(const QString& line)
{
    static const QRegularExpression form("^each\\s+(\\w+)=(-?\\d+)\\.\\.(-?\\d+)\\s+(.*)$");
    const auto m = form.match(line);
    if (!m.hasMatch()) {
        return {line};
    }
    QStringList lines;
    for (int i = m.captured(2).toInt(); i <= m.captured(3).toInt(); ++i) {
        lines << QString(m.captured(4)).replace("${" + m.captured(1) + "}", QString::number(i));
    }
    return lines;
}

/// windows10 is Windows 10 or later.
bool isThis(const QString& system)
{
#ifdef Q_OS_WIN
    return system == "windows" || QOperatingSystemVersion::current() >= QOperatingSystemVersion::Windows10;
#else
    return false;
#endif
}

void load(const QString& path, Parameters parameters, const QString& calledFrom, Script& script);

void addLine(const QString& text, const QString& path, Parameters& parameters, const QString& where, Script& script)
{
    const int blank = text.indexOf(QRegularExpression("\\s"));
    const QString verb = blank < 0 ? text : text.left(blank);
    const QString rest = blank < 0 ? QString() : text.mid(blank).trimmed();
    if (verb == "include") {
        QStringList words = splitWords(rest);
        const QString name = words.takeFirst();
        load(includePath(name, path), parametersOf(words, where), where + " > ", script);
    } else if (verb == "default") {
        const Parameters defaults = parametersOf(splitWords(rest), where);
        for (auto it = defaults.begin(); it != defaults.end(); ++it) {
            if (!parameters.contains(it.key())) {
                parameters[it.key()] = it.value();
            }
        }
    } else if (verb == "unless") {
        const QString system = rest.section(' ', 0, 0);
        if ((system != "windows" && system != "windows10") || rest == system) {
            throw Failure{where + ": unless windows|windows10 REASON"};
        }
        if (isThis(system)) {
            script.unfit = rest.section(' ', 1).trimmed();
        }
    } else {
        script.steps.append({where, verb, rest});
    }
}

void load(const QString& path, Parameters parameters, const QString& calledFrom, Script& script)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw Failure{"cannot read " + path};
    }
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n');
    for (int n = 0; n < lines.size(); ++n) {
        const QString where = calledFrom + QFileInfo(path).fileName() + ":" + QString::number(n + 1);
        const QString line = lines[n].trimmed();
        if (line.startsWith('#') && script.title.isEmpty()) {
            script.title = line.mid(1).trimmed();
        }
        if (line.isEmpty() || line.startsWith('#')) {
            continue;
        }
        for (const QString& each : repeated(line)) {
            addLine(replaced(each, parameters, where), path, parameters, where, script);
        }
    }
}

} // namespace

Script loadScript(const QString& path)
{
    Script script;
    script.path = path;
    load(path, {}, QString(), script);
    return script;
}
