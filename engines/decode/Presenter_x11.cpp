// Presenter for X11: a child window, two images in memory shared with the server, one shown while the other is painted.
#include "Presenter.h"

#include "Clock.h"
#include "Display_x11.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>
#include <condition_variable>

namespace lumo
{
namespace
{

constexpr int64_t kRetryMs = 100;    // between two looks for a window that is not there yet
constexpr int64_t kPatienceMs = 200; // for the server to take a picture; then this one is not shown
constexpr uint32_t kWatchMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;

/// Pixels the server reads: shared memory, or ours when it cannot share.
class Image
{
public:
    Image(Display& display, int width, int height) : m_display(display), m_width(width), m_height(height)
    {
        if (!display.hasShm() || !share())
            m_own.resize(size());
    }
    ~Image()
    {
        if (!m_shared)
            return;
        // The server keeps its own hold until it has done what was asked before.
        xcb_shm_detach(m_display.connection(), m_segment);
        shmdt(m_shared);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    uint8_t* bits() { return m_shared ? m_shared : m_own.data(); }
    int width() const { return m_width; }
    int height() const { return m_height; }
    bool shared() const { return m_shared != nullptr; }
    xcb_shm_seg_t segment() const { return m_segment; }

private:
    size_t size() const { return size_t(m_width) * size_t(m_height) * 4; }

    bool share()
    {
        const int id = shmget(IPC_PRIVATE, size(), IPC_CREAT | 0600);
        if (id < 0)
            return false;
        void* memory = shmat(id, nullptr, 0);
        bool attached = false;
        if (memory != reinterpret_cast<void*>(-1)) {
            m_segment = xcb_generate_id(m_display.connection());
            const auto cookie = xcb_shm_attach_checked(m_display.connection(), m_segment, uint32_t(id), 1);
            XcbPtr<xcb_generic_error_t> error(xcb_request_check(m_display.connection(), cookie));
            attached = !error;
            if (attached)
                m_shared = static_cast<uint8_t*>(memory);
            else
                shmdt(memory);
        }
        shmctl(id, IPC_RMID, nullptr); // goes when the last of both lets go, also after a crash
        return attached;
    }

    Display& m_display;
    const int m_width, m_height;
    xcb_shm_seg_t m_segment = 0;
    uint8_t* m_shared = nullptr;
    std::vector<uint8_t> m_own;
};

class PresenterX11 final : public Presenter, private DisplayListener
{
public:
    PresenterX11(std::shared_ptr<Display> display, xcb_window_t parent, std::function<void()> wake)
        : m_display(std::move(display)), m_connection(m_display->connection()), m_parent(parent),
          m_wake(std::move(wake))
    {
    }
    ~PresenterX11() override;

    State poll() override;
    Surface begin() override;
    void show() override;
    void showAgain() override;

private:
    // Port thread.
    bool attach();
    bool createChild(const xcb_get_window_attributes_reply_t& attributes, const xcb_get_geometry_reply_t& geometry);
    void watchAncestors();
    void lookAgain();
    bool waitFor(size_t image);
    void put(size_t image);
    void mapChild();

    // Event thread.
    void onEvent(const xcb_generic_event_t& event) override;
    void onShmDone(xcb_shm_seg_t segment) override;
    void onWindowLost(xcb_window_t window) override;
    void onDisplayLost() override;

    const std::shared_ptr<Display> m_display;
    xcb_connection_t* const m_connection;
    const xcb_window_t m_parent;
    const std::function<void()> m_wake;

    // Port thread only.
    std::array<std::unique_ptr<Image>, 2> m_images;
    size_t m_painting = 0, m_shown = 0;
    bool m_hasShown = false, m_mapped = false, m_tried = false;
    int64_t m_triedMs = 0;
    xcb_gcontext_t m_gc = 0;
    uint8_t m_depth = 24;
    int m_childWidth = 0, m_childHeight = 0;

    std::mutex m_lock; // guards what follows, shared with the event thread
    std::condition_variable m_changed;
    xcb_window_t m_child = 0;
    std::array<xcb_shm_seg_t, 2> m_busy{}; // segment the server still reads, by image; 0 none
    bool m_dead = false;                   // the window is gone for good
    bool m_lookAgain = false;              // a window was mapped or moved to another parent
    unsigned m_changes = 0;                // of size or visibility, as the event thread heard of them
    bool m_viewable = false;
    bool m_exposed = false;
    int m_width = 0, m_height = 0;
};

PresenterX11::~PresenterX11()
{
    m_display->unwatch(this);
    for (auto& image : m_images)
        image.reset();
    if (m_gc)
        xcb_free_gc(m_connection, m_gc);
    if (m_child)
        xcb_destroy_window(m_connection, m_child);
    xcb_flush(m_connection);
}

Presenter::State PresenterX11::poll()
{
    if (!m_child && !m_tried) {
        // The owner's request that makes the window may still be on its way; it is looked for again now and then.
        if (nowMs() - m_triedMs < kRetryMs && m_triedMs)
            return {};
        m_triedMs = nowMs();
        attach();
    }
    bool again = false;
    {
        std::lock_guard guard(m_lock);
        if (m_dead || !m_child)
            return {};
        std::swap(again, m_lookAgain);
    }
    if (again)
        lookAgain();
    std::lock_guard guard(m_lock);
    if (m_dead || !m_viewable)
        return {};
    State state{m_width, m_height, m_exposed};
    m_exposed = false;
    return state;
}

bool PresenterX11::attach()
{
    // Watch first and look then, so that no change falls in between.
    m_display->watch(m_parent, this);
    XcbPtr<xcb_generic_error_t> missing(xcb_request_check(
        m_connection, xcb_change_window_attributes_checked(m_connection, m_parent, XCB_CW_EVENT_MASK, &kWatchMask)));
    const auto attributesCookie = xcb_get_window_attributes(m_connection, m_parent);
    const auto geometryCookie = xcb_get_geometry(m_connection, m_parent);
    XcbPtr<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(m_connection, attributesCookie, nullptr));
    XcbPtr<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(m_connection, geometryCookie, nullptr));
    if (missing || !attributes || !geometry) {
        m_display->unwatch(this);
        return false; // not there yet
    }
    m_tried = true;
    if (!m_display->isBgrx(attributes->visual, geometry->depth))
        return false;
    {
        std::lock_guard guard(m_lock);
        m_width = geometry->width;
        m_height = geometry->height;
        m_lookAgain = true;
    }
    return createChild(*attributes, *geometry);
}

bool PresenterX11::createChild(const xcb_get_window_attributes_reply_t& attributes,
                               const xcb_get_geometry_reply_t& geometry)
{
    const xcb_window_t child = xcb_generate_id(m_connection);
    m_depth = geometry.depth;
    m_childWidth = geometry.width;
    m_childHeight = geometry.height;
    // No background: the server never paints it. Contents stay where they are when the size changes.
    const uint32_t values[] = {XCB_BACK_PIXMAP_NONE, XCB_GRAVITY_NORTH_WEST, XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, child, m_parent, 0, 0, uint16_t(m_childWidth),
                      uint16_t(m_childHeight), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, attributes.visual,
                      XCB_CW_BACK_PIXMAP | XCB_CW_BIT_GRAVITY | XCB_CW_EVENT_MASK, values);
    // Below the owner's own children, and with an empty input region: clicks and motion go to the owner.
    const uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(m_connection, child, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    if (m_display->hasShape())
        xcb_shape_rectangles(m_connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, child, 0,
                             0, 0, nullptr);
    const uint32_t noExposures = 0;
    m_gc = xcb_generate_id(m_connection);
    xcb_create_gc(m_connection, m_gc, child, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    m_display->watch(child, this);
    std::lock_guard guard(m_lock);
    m_child = child;
    return true;
}

/// A window is only seen when all around it are mapped, and the server tells nobody inside when one of them is not.
void PresenterX11::watchAncestors()
{
    xcb_window_t window = m_parent;
    for (int depth = 0; depth < 64; ++depth) {
        XcbPtr<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        if (!tree || tree->parent == 0 || tree->parent == tree->root)
            return;
        window = tree->parent;
        m_display->watch(window, this);
        xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &kWatchMask);
    }
}

void PresenterX11::lookAgain()
{
    unsigned changes = 0;
    {
        std::lock_guard guard(m_lock);
        changes = m_changes;
    }
    m_display->unwatch(this);
    m_display->watch(m_parent, this);
    m_display->watch(m_child, this);
    watchAncestors();
    XcbPtr<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(m_connection, xcb_get_window_attributes(m_connection, m_parent), nullptr));
    XcbPtr<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, m_parent), nullptr));
    std::lock_guard guard(m_lock);
    if (!attributes || !geometry) {
        m_dead = true;
        return;
    }
    // The event thread may have heard of something newer than the answers; those would undo it.
    m_lookAgain = m_lookAgain || m_changes != changes;
    m_width = geometry->width;
    m_height = geometry->height;
    m_viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

Surface PresenterX11::begin()
{
    int width = 0, height = 0;
    size_t pick = 0;
    {
        std::lock_guard guard(m_lock);
        if (m_dead || !m_viewable || m_width < 1 || m_height < 1)
            return {};
        width = m_width;
        height = m_height;
        // The first image whenever it is free: it is in the processor's cache, and the second stays untouched memory.
        pick = m_busy[0] ? 1 : 0;
    }
    if (!waitFor(pick))
        return {};
    auto& image = m_images[pick];
    if (!image || image->width() != width || image->height() != height) {
        if (m_hasShown && m_shown == pick)
            m_hasShown = false;
        image.reset();
        image = std::make_unique<Image>(*m_display, width, height);
    }
    m_painting = pick;
    return {image->bits(), width, height, width * 4};
}

bool PresenterX11::waitFor(size_t image)
{
    std::unique_lock guard(m_lock);
    m_changed.wait_for(guard, std::chrono::milliseconds(kPatienceMs), [&] { return m_dead || !m_busy[image]; });
    return !m_dead && !m_busy[image];
}

void PresenterX11::show()
{
    m_shown = m_painting;
    m_hasShown = true;
    put(m_shown);
}

void PresenterX11::showAgain()
{
    if (m_hasShown && waitFor(m_shown))
        put(m_shown);
}

void PresenterX11::put(size_t index)
{
    Image& image = *m_images[index];
    if (m_childWidth != image.width() || m_childHeight != image.height()) {
        m_childWidth = image.width();
        m_childHeight = image.height();
        const uint32_t size[] = {uint32_t(m_childWidth), uint32_t(m_childHeight)};
        xcb_configure_window(m_connection, m_child, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    }
    mapChild();
    const auto width = uint16_t(image.width()), height = uint16_t(image.height());
    if (image.shared()) {
        {
            std::lock_guard guard(m_lock);
            m_busy[index] = image.segment();
        }
        xcb_shm_put_image(m_connection, m_child, m_gc, width, height, 0, 0, width, height, 0, 0, m_depth,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, 1, image.segment(), 0);
    } else {
        // In strips, for a request has a largest length.
        const size_t row = size_t(width) * 4;
        const size_t room = size_t(xcb_get_maximum_request_length(m_connection)) * 4 - 64;
        const int rows = std::max(1, int(std::min(room / row, size_t(height))));
        for (int y = 0; y < height; y += rows) {
            const int count = std::min(rows, height - y);
            xcb_put_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_child, m_gc, width, uint16_t(count), 0, int16_t(y),
                          0, m_depth, uint32_t(row * size_t(count)), image.bits() + row * size_t(y));
        }
    }
    xcb_flush(m_connection);
}

/// Mapped with the first picture, so that no garbage is ever seen.
void PresenterX11::mapChild()
{
    if (m_mapped)
        return;
    xcb_map_window(m_connection, m_child);
    m_mapped = true;
}

void PresenterX11::onEvent(const xcb_generic_event_t& event)
{
    {
        std::lock_guard guard(m_lock);
        switch (event.response_type & 0x7F) {
        case XCB_EXPOSE: {
            const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(event);
            if (expose.count != 0)
                return;
            m_exposed = true;
            break;
        }
        case XCB_CONFIGURE_NOTIFY: {
            const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            if (configure.window != m_parent)
                return;
            ++m_changes;
            if (configure.width == m_width && configure.height == m_height)
                return;
            m_width = configure.width;
            m_height = configure.height;
            break;
        }
        case XCB_UNMAP_NOTIFY:
            m_viewable = false;
            ++m_changes;
            break;
        case XCB_MAP_NOTIFY:
        case XCB_REPARENT_NOTIFY:
            m_lookAgain = true;
            break;
        case XCB_DESTROY_NOTIFY: {
            const auto& destroy = reinterpret_cast<const xcb_destroy_notify_event_t&>(event);
            if (destroy.window != m_parent && destroy.window != m_child)
                return;
            m_dead = true;
            m_changed.notify_all();
            break;
        }
        default:
            return;
        }
    }
    m_wake();
}

void PresenterX11::onShmDone(xcb_shm_seg_t segment)
{
    std::lock_guard guard(m_lock);
    for (auto& busy : m_busy)
        if (busy == segment)
            busy = 0;
    m_changed.notify_all();
}

void PresenterX11::onWindowLost(xcb_window_t window)
{
    std::lock_guard guard(m_lock);
    if (window != m_parent && window != m_child)
        return;
    m_dead = true;
    m_changed.notify_all();
}

void PresenterX11::onDisplayLost()
{
    std::lock_guard guard(m_lock);
    m_dead = true;
    m_changed.notify_all();
}

} // namespace

std::unique_ptr<Presenter> createPresenter(LumoWindow window, std::function<void()> wake)
{
    if (window == 0 || window > UINT32_MAX)
        return nullptr;
    auto display = Display::shared();
    if (!display)
        return nullptr;
    return std::make_unique<PresenterX11>(std::move(display), xcb_window_t(window), std::move(wake));
}

} // namespace lumo
