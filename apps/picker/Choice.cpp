#include "Choice.h"

#include "hub/PickerMode.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTextCodec>
#include <algorithm>

namespace lumo::picker
{
namespace
{

const char* const kAnyFile = "All files (*)";

struct Mode {
    EPickerMode mode;
    bool folder;
    const char* title;
    const char* filter;                          // of files; null: any file
    std::initializer_list<const char*> settings; // keys of the folders to begin in, the best one first
};

const Mode kModes[] = {
    {kPickRecordFolder, true, "Folder for recordings", nullptr, {"Path/RecPath"}},
    {kPickCaptureFolder, true, "Folder for snapshots", nullptr, {"Path/CapPath"}},
    {kPickDownloadFolder, true, "Folder for downloads", nullptr, {"Path/DownPath"}},
    {kPickRecording,
     false,
     "Open a recording",
     "Recordings (*.h265x *.avi *.mp4 *.mkv *.mov *.mpg *.mpeg *.ps *.ts *.264 *.265)",
     {"Path/DownPath", "Path/RecPath"}},
    {kPickFirmware, false, "Choose a firmware file", "Firmware (*.bin *.img *.pak *.zip)", {}},
    {kPickAnyFile, false, "Choose a file", nullptr, {}},
};

/// The folder itself or the nearest one above it that exists; empty when there is none.
QString existing(const QString& folder)
{
    for (QString path = QDir::cleanPath(folder); !folder.isEmpty();) {
        const QFileInfo info(path);
        if (info.isDir()) {
            return info.isRoot() ? QString() : info.absoluteFilePath();
        }
        if (info.isRoot() || info.path() == path || info.isRelative()) {
            break;
        }
        path = info.path();
    }
    return {};
}

QString startFolder(const Mode& mode, const QString& settingsFile)
{
    QSettings settings(settingsFile, QSettings::IniFormat);
    QTextCodec* codec = QTextCodec::codecForName("System");
    settings.setIniCodec(codec ? codec : QTextCodec::codecForLocale());
    for (const char* key : mode.settings) {
        const QString wanted = settings.value(key).toString();
        // A folder that exists is better than the parent of one that does not.
        if (QFileInfo(wanted).isDir()) {
            return wanted;
        }
    }
    for (const char* key : mode.settings) {
        const QString near = existing(settings.value(key).toString());
        if (!near.isEmpty()) {
            return near;
        }
    }
    return QDir::homePath();
}

} // namespace

std::optional<Choice> choiceOf(const QString& mode, const QString& settingsFile)
{
    bool isNumber = false;
    const unsigned number = mode.toUInt(&isNumber);
    const auto* const wanted =
        std::find_if(std::begin(kModes), std::end(kModes), [&](const Mode& m) { return unsigned(m.mode) == number; });
    if (!isNumber || wanted == std::end(kModes)) {
        return std::nullopt;
    }
    Choice choice{wanted->folder, wanted->title, {}, startFolder(*wanted, settingsFile)};
    if (!wanted->folder) {
        if (wanted->filter) {
            choice.filters << wanted->filter;
        }
        choice.filters << kAnyFile;
    }
    return choice;
}

} // namespace lumo::picker
