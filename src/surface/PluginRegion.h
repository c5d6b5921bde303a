// The rectangle that the page reserves for the video, as its commands carry it.
#pragma once

#include <QMetaType>

/// Physical pixels, relative to the browser's client window.
struct PluginRegion {
    qint32 left = 0;
    qint32 top = 0;
    qint32 width = 0;
    qint32 height = 0;

    bool operator==(const PluginRegion&) const = default;
    /// Whether a surface can stand there: some area, no negative corner.
    bool isUsable() const { return width > 0 && height > 0 && left >= 0 && top >= 0; }
};

Q_DECLARE_METATYPE(PluginRegion)
