// The picker in a folder of its own, with settings and a home of its own, and the keys that a user presses in it.
// Thread: the test's. Needs an X server and xdotool; with no window manager it gives the dialog the focus itself.
#pragma once

#include <QProcess>
#include <QTemporaryDir>

namespace lumo::test
{

class PickerRunner
{
public:
    PickerRunner();
    ~PickerRunner();

    /// The folder that all of it lies in.
    QString folder() const { return m_dir.path(); }
    /// Makes a folder below it, with its parents; gives its path.
    QString makeFolder(const QString& name);
    /// Makes a file below it; gives its path.
    QString makeFile(const QString& name);
    /// Writes a folder into the settings that lie beside the picker.
    void setFolder(const QString& key, const QString& folder);

    /// The user's home, where the dialog opens when no setting says otherwise.
    void setHome(const QString& folder) { m_home = folder; }

    void start(const QStringList& arguments);
    /// The title of the dialog, once it stands and has the focus.
    QString title();
    /// Waits until a message stands over the dialog, and gives it the focus.
    void awaitMessage();
    /// "Escape", "Return", "ctrl+a" ...
    void key(const QString& name);
    void type(const QString& text);

    struct Result {
        int exitCode;
        QByteArray output;
        QByteArray errors;
    };
    /// Waits until the picker has ended.
    Result result();
    /// What happens when the program that asked ends.
    void askerGoes() { m_process.closeWriteChannel(); }

private:
    QString focusNewest(int count);
    QString settingsFile() const { return folder() + "/bin/ClientCfg.ini"; }

    QTemporaryDir m_dir;
    QString m_home = m_dir.path() + "/home";
    QProcess m_process;
};

} // namespace lumo::test
