// The window around the picture, where only an X server has the case: windows known before they are made, input shapes,
// no shared memory.
#include "TestConnection_x11.h"
#include "WindowFixture.h"

#include <xcb/shape.h>

using namespace clip;

namespace
{

using XWindowTest = WindowFixture;

TEST_F(XWindowTest, WindowThatIsMadeLaterIsFound)
{
    // The owner's request that makes the window may reach the server after our first look.
    TestWindow holder(10, 10, 0, false);
    const auto id = xcb_generate_id(testConnection());
    Player player(id);
    player.feed(picture(kRed, 1000));
    ASSERT_TRUE(reached(player, 1000));
    const uint32_t yes = 1;
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(testConnection())).data->root;
    xcb_create_window(testConnection(), XCB_COPY_FROM_PARENT, id, root, 0, 0, 100, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &yes);
    xcb_map_window(testConnection(), id);
    xcb_flush(testConnection());
    EXPECT_TRUE(eventually([&] {
        player.feed(picture(kRed, 1001));
        free(xcb_get_input_focus_reply(testConnection(), xcb_get_input_focus(testConnection()), nullptr));
        auto* reply = xcb_get_image_reply(
            testConnection(), xcb_get_image(testConnection(), XCB_IMAGE_FORMAT_Z_PIXMAP, id, 50, 50, 1, 1, 0xFFFFFFFF),
            nullptr);
        const bool red = reply && xcb_get_image_data(reply)[2] > 240 && xcb_get_image_data(reply)[0] < 10;
        free(reply);
        return red;
    }));
    xcb_destroy_window(testConnection(), id);
    xcb_flush(testConnection());
}

TEST_F(XWindowTest, InputPassesThroughToTheOwner)
{
    TestWindow window(160, 120);
    Player player(window.id());
    player.feed(picture(kRed));
    ASSERT_TRUE(shows(window, 80, 60, kRedRgb));
    const auto children = window.children();
    ASSERT_EQ(children.size(), 1u);
    auto* c = testConnection();
    auto* shape = xcb_shape_get_rectangles_reply(
        c, xcb_shape_get_rectangles(c, xcb_window_t(children[0]), XCB_SHAPE_SK_INPUT), nullptr);
    ASSERT_TRUE(shape);
    EXPECT_EQ(xcb_shape_get_rectangles_rectangles_length(shape), 0);
    free(shape);
    xcb_warp_pointer(c, XCB_NONE, window.id(), 0, 0, 0, 0, 33, 44);
    auto* pointer = xcb_query_pointer_reply(c, xcb_query_pointer(c, window.id()), nullptr);
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer->win_x, 33);
    EXPECT_EQ(pointer->win_y, 44);
    EXPECT_EQ(pointer->child, XCB_NONE) << "the pointer is over the owner's window, not over ours";
    free(pointer);
}

TEST_F(XWindowTest, ServerWithoutSharedMemoryIsServed)
{
    // The display is opened with the first window and closed behind the last, so the switch takes hold here.
    setenv("LUMODEC_NO_SHM", "1", 1);
    {
        TestWindow window(640, 480);
        Player player(window.id());
        player.feed(picture(kRed));
        EXPECT_TRUE(shows(window, 638, 478, kRedRgb));
        window.resize(100, 100);
        EXPECT_TRUE(shows(window, 98, 98, kRedRgb));
    }
    unsetenv("LUMODEC_NO_SHM");
}

} // namespace
