// The showing end of a port: keeps the current picture, paints it into the window as the port's settings say, and hands
// it to the draw hook first. The port's thread shows; snapshots and questions may come from any thread.
#pragma once

#include "PortSettings.h"
#include "Presenter.h"
#include "VideoDecoder.h"

#include <atomic>
#include <mutex>
#include <string>

namespace lumo
{

class Screen
{
public:
    Screen(int port, PortSettings& settings, LumoWindow window, std::function<void()> wake);

    // Port thread.
    /// From here on this is the current picture. Not painted, it comes on the window with the next update().
    void show(Picture&& picture, bool paintNow = true);
    /// Looks what changed around the picture (window, settings, exposure) and puts it right.
    void update();

    // Any thread.
    /// Writes the current picture as BMP; false when there is none.
    bool catchPicture(const std::string& path);
    /// Calendar seconds of the current picture; 0 if none.
    int frameTime() const { return m_frameTime; }

private:
    void paint(const Presenter::State& state);

    const int m_port;
    PortSettings& m_settings;
    Painter m_painter;                      // port thread only
    std::unique_ptr<Presenter> m_presenter; // port thread only; null without a window
    int m_paintedWidth = 0, m_paintedHeight = 0;
    unsigned m_paintedVersion = 0;

    std::mutex m_pictureLock; // written by the port thread
    FramePtr m_picture;
    std::atomic<int> m_frameTime{0};
};

} // namespace lumo
