// Finding the render window: the walk over a browser's windows.
#include "null/NullBrowser.h"

using namespace platform;

namespace
{
constexpr char kTag[] = "PlayWidget::ErgodicAllChild";
constexpr WindowHandle kTop = 10, kFirst = 11, kFirstChild = 12, kSecond = 13, kSecondChild = 14, kOther = 20;

class PlayWidgetWalk : public NullBrowserTest
{
protected:
    PlayWidgetWalk()
    {
        // Children are added from the bottom to the top.
        add(kOther, 0, "Other", kChromeClass);
        add(kTop, 0, "Top", "Frame");
        add(kSecond, kTop, "Second", "Pane");
        add(kSecondChild, kSecond, "Page", "xx" + QByteArray(kChromeClass) + "yy");
        add(kFirst, kTop, "First", "Bar");
        add(kFirstChild, kFirst, "Button", "Button");
    }

    static void add(WindowHandle hWnd, WindowHandle hParent, const char* szTitle, const QByteArray& className)
    {
        null::SWindow window;
        window.hParent = hParent;
        window.strTitle = szTitle;
        window.className = className;
        null::add(hWnd, window);
    }

    WindowHandle walk(WindowHandle hWnd, int nBrowseType) { return surface().ErgodicAllChild(hWnd, nBrowseType, 0); }
};
} // namespace

TEST_F(PlayWidgetWalk, GoesDepthFirstAndFindsAClassThatContainsTheName)
{
    EXPECT_EQ(walk(kTop, 2), kSecondChild);
    EXPECT_EQ(log.of(kTag), QStringList({"class name:Frame,class handle:10 wndName:Top BrowseType:2",
                                         "-class name:Bar,class handle:11 wndName:First BrowseType:2",
                                         "--class name:Button,class handle:12 wndName:Button BrowseType:2",
                                         "-class name:Pane,class handle:13 wndName:Second BrowseType:2",
                                         "--class name:xxChrome_RenderWidgetHostHWNDyy,class handle:14 wndName:Page "
                                         "BrowseType:2"}));
}

TEST_F(PlayWidgetWalk, NeverLooksAtSiblingsOfTheWindowItStartsOn)
{
    null::remove(kSecondChild);
    ASSERT_EQ(nextSiblingOf(kTop), kOther);
    EXPECT_EQ(walk(kTop, 2), 0u);
    for (const QString& line : log.of(kTag))
        EXPECT_FALSE(line.contains("Other")) << line.toStdString();
}

TEST_F(PlayWidgetWalk, TheStartItselfMayBeTheRenderWindow)
{
    EXPECT_EQ(walk(kOther, 9), kOther);
    EXPECT_EQ(log.of(kTag).size(), 1);
}

TEST_F(PlayWidgetWalk, EachKindOfBrowserHasItsClass)
{
    for (const int nType : {2, 6, 9})
        EXPECT_EQ(walk(kTop, nType), kSecondChild) << nType;
    EXPECT_EQ(walk(kTop, 0), 0u);
    null::window(kFirstChild).className = "Internet Explorer_Server";
    EXPECT_EQ(walk(kTop, 0), kFirstChild);
}

TEST_F(PlayWidgetWalk, OtherKindsFindNothing)
{
    for (const int nType : {-1, 1, 3, 4, 5, 7, 8, 10})
        EXPECT_EQ(walk(kTop, nType), 0u) << nType;
}

TEST_F(PlayWidgetWalk, ClassAndTitleAreCutToTheirBuffers)
{
    null::window(kOther).className = QByteArray(200, 'c');
    null::window(kOther).strTitle = QString(200, 't');
    EXPECT_EQ(walk(kOther, 2), 0u);
    EXPECT_EQ(log.of(kTag), QStringList(QString("class name:%1,class handle:20 wndName:%2 BrowseType:2")
                                            .arg(QString(127, 'c'), QString(127, 't'))));
}

TEST_F(PlayWidgetWalk, AWindowThatHasGoneFindsNothing)
{
    EXPECT_EQ(walk(99, 2), 0u);
}
