// The client configuration: the one file beside the program that keeps folders, formats and the page's choices from
// session to session.
//
// Thread: any, one object each. Blocking: reads a small file; what was set is written when the object goes.
#pragma once

#include <QSettings>
#include <QString>

namespace platform
{
inline constexpr char kClientConfigFile[] = "/ClientCfg.ini"; // below the program's folder

/// A folder of the user's: its key, and its default below the program's folder.
struct SUserFolder {
    const char* szKey;
    const char* szDefault;
};
inline constexpr SUserFolder kCaptureFolder{"Path/CapPath", "/Device/Capture"};
inline constexpr SUserFolder kRecordFolder{"Path/RecPath", "/Device/Record"};
inline constexpr SUserFolder kDownloadFolder{"Path/DownPath", "/Device/Download"};

/// How a default is written. Both are required: the page sees which of its commands came first.
enum class ESlashes { Forward, Native };

class ClientConfig : public QSettings
{
public:
    /// Opens the file anew, its text in systemCodec().
    ClientConfig();

    /// The stored folder; an empty one is replaced by its default, in the file too.
    QString folder(const SUserFolder& folder, ESlashes slashes);
};
} // namespace platform
