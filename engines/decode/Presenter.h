// Shows pixels in a window that belongs to somebody else.
//
// A presenter paints into a child window of its own inside the given one: it covers the whole of it, follows its size,
// lets all input pass through, and the owner's repaints never flicker over the picture. The given window may not exist
// yet, may be hidden or vanish at any time; then there is simply no place to paint.
//
// Thread: one at a time, the port's; wake comes on the presenter's own event thread, and never again once the
// presenter is destroyed. Errors: none; a window that cannot be painted on has no size.
#pragma once

#include "Painter.h"
#include "decode/LumoDecode.h"

#include <functional>
#include <memory>

namespace lumo
{

class Presenter
{
public:
    virtual ~Presenter() = default;

    struct State {
        int width = 0, height = 0; // pixels to paint; 0 while the window, or one around it, is hidden
        bool exposed = false;      // what was shown must be shown again; told once
    };
    /// What is known of the window now. wake says that it is worth asking.
    virtual State poll() = 0;

    /// A place to paint the whole window's pixels, of the size that poll() told last. Waits, not for long, until the
    /// last picture has left it. bits is null when there is none.
    virtual Surface begin() = 0;
    /// What a draw callback draws on between begin() and show(): a device context where the system has such a thing,
    /// null where the surface itself is handed out.
    virtual void* drawContext() { return nullptr; }
    /// Shows what was painted since begin().
    virtual void show() = 0;
    /// Shows the last picture again.
    virtual void showAgain() = 0;
};

/// Null when there is no display or no window.
std::unique_ptr<Presenter> createPresenter(LumoWindow window, std::function<void()> wake);

} // namespace lumo
