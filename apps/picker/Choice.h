// What one run of the picker asks for: a folder or a file, under which title, from where on.
// Thread: main thread. Errors: nothing for a mode that does not exist.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace lumo::picker
{

struct Choice {
    bool folder = false;
    QString title;
    QStringList filters; // for files; the first one is offered
    QString startFolder; // exists
};

/// `mode` is one of EPickerMode, as a number.
/// `settingsFile` is the viewer's own: the dialog opens where it keeps such files.
std::optional<Choice> choiceOf(const QString& mode, const QString& settingsFile);

} // namespace lumo::picker
