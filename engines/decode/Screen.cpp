#include "Screen.h"

#include "Bmp.h"

#include <climits>

namespace lumo
{

Screen::Screen(int port, PortSettings& settings, LumoWindow window, std::function<void()> wake)
    : m_port(port), m_settings(settings), m_presenter(createPresenter(window, std::move(wake)))
{
}

void Screen::show(Picture&& picture, bool paintNow)
{
    {
        std::lock_guard guard(m_pictureLock);
        std::swap(m_picture, picture.frame);
    }
    picture.frame.reset();
    const uint64_t seconds = picture.utcMs / 1000;
    m_frameTime = seconds <= INT_MAX ? int(seconds) : 0;
    if (!paintNow)
        m_paintedWidth = 0;
    else if (m_presenter)
        paint(m_presenter->poll());
}

void Screen::update()
{
    if (!m_presenter)
        return;
    const Presenter::State state = m_presenter->poll();
    const bool changed = state.width != m_paintedWidth || state.height != m_paintedHeight ||
                         m_settings.view().version != m_paintedVersion;
    if (changed)
        paint(state);
    else if (state.exposed)
        m_presenter->showAgain();
}

void Screen::paint(const Presenter::State& state)
{
    m_paintedWidth = 0; // nothing is right on the window until something is shown
    if (!m_picture || state.width < 1 || state.height < 1)
        return;
    const Surface surface = m_presenter->begin();
    const View view = m_settings.view();
    if (!surface.bits || !m_painter.paint(*m_picture, view, surface))
        return;
    if (m_settings.hasDrawHook()) {
        LumoDrawSurface cell{surface.bits, surface.width, surface.height, surface.stride};
        void* context = m_presenter->drawContext();
        m_settings.draw(m_port, context ? context : &cell);
    }
    m_presenter->show();
    m_paintedWidth = surface.width;
    m_paintedHeight = surface.height;
    m_paintedVersion = view.version;
}

bool Screen::catchPicture(const std::string& path)
{
    FramePtr picture = newFrame();
    {
        std::lock_guard guard(m_pictureLock);
        if (!m_picture || av_frame_ref(picture.get(), m_picture.get()) < 0)
            return false;
    }
    return writeBmp(*picture, path);
}

} // namespace lumo
