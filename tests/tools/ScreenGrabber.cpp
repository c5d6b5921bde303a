#include "ScreenGrabber.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>

ScreenGrabber::~ScreenGrabber()
{
    if (m_memory) {
        shmdt(m_memory);
    }
    if (m_connection) {
        xcb_disconnect(m_connection);
    }
}

bool ScreenGrabber::open()
{
    int number = 0;
    m_connection = xcb_connect(nullptr, &number);
    if (xcb_connection_has_error(m_connection)) {
        return false;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (; number > 0 && screens.rem > 1; --number) {
        xcb_screen_next(&screens);
    }
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(m_connection, &xcb_shm_id);
    if (screens.data->root_depth < 24 || !shm || !shm->present) {
        return false;
    }
    m_root = screens.data->root;
    m_width = screens.data->width_in_pixels;
    m_height = screens.data->height_in_pixels;
    m_size = static_cast<size_t>(m_width) * m_height * 4;
    const int id = shmget(IPC_PRIVATE, m_size, IPC_CREAT | 0600);
    void* memory = id < 0 ? reinterpret_cast<void*>(-1) : shmat(id, nullptr, 0);
    bool attached = false;
    if (memory != reinterpret_cast<void*>(-1)) {
        m_memory = static_cast<uint8_t*>(memory);
        m_segment = xcb_generate_id(m_connection);
        xcb_generic_error_t* error = xcb_request_check(
            m_connection, xcb_shm_attach_checked(m_connection, m_segment, static_cast<uint32_t>(id), 0));
        attached = !error;
        std::free(error);
    }
    if (id >= 0) {
        shmctl(id, IPC_RMID, nullptr); // goes when the last one lets go
    }
    return attached;
}

std::vector<const uint8_t*> ScreenGrabber::grab(const std::vector<ScreenRect>& rects)
{
    std::vector<xcb_shm_get_image_cookie_t> cookies;
    std::vector<const uint8_t*> pixels(rects.size(), nullptr);
    size_t offset = 0;
    for (size_t i = 0; i < rects.size(); ++i) {
        const ScreenRect& r = rects[i];
        const size_t bytes = static_cast<size_t>(r.width) * r.height * 4;
        if (offset + bytes > m_size) {
            break;
        }
        cookies.push_back(xcb_shm_get_image(m_connection, m_root, static_cast<int16_t>(r.x), static_cast<int16_t>(r.y),
                                            static_cast<uint16_t>(r.width), static_cast<uint16_t>(r.height), ~0u,
                                            XCB_IMAGE_FORMAT_Z_PIXMAP, m_segment, static_cast<uint32_t>(offset)));
        pixels[i] = m_memory + offset;
        offset += bytes;
    }
    for (size_t i = 0; i < cookies.size(); ++i) {
        xcb_generic_error_t* error = nullptr;
        xcb_shm_get_image_reply_t* reply = xcb_shm_get_image_reply(m_connection, cookies[i], &error);
        if (!reply) {
            pixels[i] = nullptr;
        }
        std::free(reply);
        std::free(error);
    }
    return pixels;
}
