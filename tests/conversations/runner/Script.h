// A conversation file as a list of steps. "include NAME key=value ..." puts the lines of common/NAME.inc in its place,
// with ${key} replaced; "default key=value" in such a file gives what the caller may leave out.
#pragma once

#include <QHash>
#include <QString>
#include <QVector>

struct Step {
    QString where; // file:line, with the including line in front
    QString verb;
    QString rest; // all after the verb
};

struct Script {
    QString path;
    QString title; // the first comment
    QString unfit; // why it cannot hold on this system; empty when it can
    QVector<Step> steps;
};

/// Throws Failure.
Script loadScript(const QString& path);
