// What outlives the playing of a port: how it shows, who draws on it, and what it tells about itself.
// Thread: any.
#pragma once

#include "View.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace lumo
{

struct DrawHook {
    LumoDrawCallback call = nullptr;
    int32_t user = 0;
};

struct FileEndHook {
    LumoFileEndCallback call = nullptr;
    intptr_t user = 0;
};

class PortSettings
{
public:
    View view() const
    {
        std::lock_guard guard(m_lock);
        return m_view;
    }
    /// change(View&) under the lock; the version goes up.
    template <typename Change> void changeView(Change change)
    {
        std::lock_guard guard(m_lock);
        change(m_view);
        ++m_view.version;
    }

    /// Returns when a call of the last hook is not running, unless it is made from within one.
    void setDrawHook(DrawHook hook)
    {
        std::lock_guard guard(m_drawLock);
        m_draw = hook;
        m_hasDraw = hook.call != nullptr;
    }
    bool hasDrawHook() const { return m_hasDraw; }
    void draw(int port, void* context)
    {
        std::lock_guard guard(m_drawLock);
        if (m_draw.call)
            m_draw.call(port, context, m_draw.user);
    }

    /// As with the draw hook.
    void setFileEndHook(FileEndHook hook)
    {
        std::lock_guard guard(m_endLock);
        m_fileEnd = hook;
    }
    void fileEnded(int port)
    {
        std::lock_guard guard(m_endLock);
        const FileEndHook hook = m_fileEnd;
        if (hook.call)
            hook.call(port, hook.user);
    }

private:
    mutable std::mutex m_lock;
    View m_view;
    std::recursive_mutex m_drawLock; // held while the hook runs; the hook may change it
    DrawHook m_draw;
    std::atomic<bool> m_hasDraw{false};
    std::recursive_mutex m_endLock; // held while the hook runs; the hook may change it
    FileEndHook m_fileEnd;
};

} // namespace lumo
