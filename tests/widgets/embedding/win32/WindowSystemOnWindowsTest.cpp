// What the Windows back end tells about windows of another program, and its lines on their pixels.
#include "embedding/win32/TestBrowser.h"
#include "platform/Pen.h"

#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>

#include <windows.h>

using namespace platform;

namespace
{

const QString kTitle = QString::fromUtf8("B\u00fcro - Page");
constexpr QRgb kRed = 0xffff0000, kGreen = 0xff208040;
constexpr quint32 kRedPen = 0x0000ff; // 0x00BBGGRR

class WindowSystemOnWindows : public testing::Test
{
protected:
    static bool until(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 20000); }
    /// What stands on the screen, as the window's user sees it.
    static QRgb pixelOf(WindowHandle hWnd, QPoint pt)
    {
        const QPoint at = mapPoint(hWnd, 0, pt);
        const HDC hScreen = GetDC(nullptr);
        const COLORREF color = GetPixel(hScreen, at.x(), at.y());
        ReleaseDC(nullptr, hScreen);
        return qRgb(GetRValue(color), GetGValue(color), GetBValue(color));
    }

    TestBrowser browser;
    TestBrowser::Window main = browser.openChrome("main", QRect(100, 100, 400, 300), kTitle);
};

/// A device context of memory, as a decode library hands out.
class MemoryContext
{
public:
    MemoryContext(int nWidth, int nHeight)
    {
        const HDC hScreen = GetDC(nullptr);
        m_hBitmap = CreateCompatibleBitmap(hScreen, nWidth, nHeight);
        ReleaseDC(nullptr, hScreen);
        m_hBefore = SelectObject(hDC, m_hBitmap);
    }
    ~MemoryContext()
    {
        SelectObject(hDC, m_hBefore);
        DeleteObject(m_hBitmap);
        DeleteDC(hDC);
    }
    MemoryContext(const MemoryContext&) = delete;
    MemoryContext& operator=(const MemoryContext&) = delete;

    const HDC hDC = CreateCompatibleDC(nullptr);

private:
    HBITMAP m_hBitmap = nullptr;
    HGDIOBJ m_hBefore = nullptr;
};

constexpr WindowHandle kNobody = 0x7ffffffe;

} // namespace

TEST_F(WindowSystemOnWindows, AWindowThatIsNoneAnswersLikeNo)
{
    for (const WindowHandle hWnd : {WindowHandle(0), kNobody}) {
        EXPECT_FALSE(isWindow(hWnd));
        EXPECT_FALSE(isVisible(hWnd));
        EXPECT_EQ(parentOf(hWnd), 0u);
        EXPECT_EQ(nextSiblingOf(hWnd), 0u);
        EXPECT_EQ(previousInZOrder(hWnd), 0u);
        EXPECT_TRUE(classNameOf(hWnd, 128).isEmpty());
        EXPECT_TRUE(titleBytesOf(hWnd, 128).isEmpty());
        EXPECT_TRUE(titleOf(hWnd, 128).isEmpty());
        EXPECT_FALSE(windowRect(hWnd).isValid());
        EXPECT_EQ(clientSize(hWnd), QSize(0, 0));
        EXPECT_EQ(ownerOf(hWnd), 0u);
        EXPECT_EQ(inputThreadOf(hWnd), 0u);
    }
    EXPECT_EQ(mapPoint(kNobody, 0, QPoint()), QPoint());
    EXPECT_EQ(windowContext(kNobody), 0u);
}

TEST_F(WindowSystemOnWindows, TitlesComeInTheCodePageAndAsCharactersAndAreCutToTheirBuffers)
{
    EXPECT_EQ(titleOf(main.hTop, 256), kTitle);
    EXPECT_EQ(titleBytesOf(main.hTop, 1024), kTitle.toLocal8Bit());
    EXPECT_EQ(titleOf(main.hTop, 5), kTitle.left(4));
    EXPECT_EQ(titleBytesOf(main.hTop, 5).size(), 4);
    EXPECT_EQ(classNameOf(main.hRender, 128), "Chrome_RenderWidgetHostHWND");
    EXPECT_EQ(classNameOf(main.hRender, 7), "Chrome");
}

TEST_F(WindowSystemOnWindows, PointsAreMappedToAnotherWindowOrToTheScreen)
{
    EXPECT_EQ(mapPoint(main.hRender, main.hTop, QPoint(3, 4)), QPoint(3, 84)) << "below the bar";
    const QRect rcFrame = windowRect(main.hTop);
    EXPECT_EQ(rcFrame, QRect(100, 100, 400, 300));
    EXPECT_TRUE(rcFrame.contains(mapPoint(main.hTop, 0, QPoint())));
    EXPECT_LT(clientSize(main.hTop).height(), rcFrame.height());
}

TEST_F(WindowSystemOnWindows, AWindowKnowsItsParentItsSiblingsAndItsInputThread)
{
    EXPECT_EQ(parentOf(main.hRender), main.hTop);
    EXPECT_EQ(parentOf(main.hTop), 0u);
    EXPECT_EQ(firstChildOf(main.hTop), main.hRender);
    EXPECT_EQ(previousInZOrder(nextSiblingOf(main.hRender)), main.hRender);
    EXPECT_EQ(inputThreadOf(main.hRender), inputThreadOf(main.hTop));
    EXPECT_NE(inputThreadOf(main.hTop), currentInputThread());
}

TEST_F(WindowSystemOnWindows, APenDrawsOnAWindowWithoutItsPainting)
{
    QWidget widget(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    widget.setGeometry(700, 500, 300, 200);
    widget.setStyleSheet("background-color:#208040");
    widget.show();
    const auto hOwn = static_cast<WindowHandle>(widget.winId());
    ASSERT_TRUE(until([=] { return pixelOf(hOwn, {150, 50}) == kGreen; }));
    const PenHandle hPen = createPen(3, kRedPen);
    const DrawContext hContext = windowContext(hOwn);
    ASSERT_NE(hContext, 0u);
    const PenHandle hBefore = selectPen(hContext, hPen);
    EXPECT_NE(hBefore, 0u);
    moveTo(hContext, 10, 50);
    lineTo(hContext, 190, 50);
    lineTo(hContext, 190, 150);
    EXPECT_EQ(selectPen(hContext, hBefore), hPen);
    releaseContext(hContext);
    deletePen(hPen);
    EXPECT_TRUE(until([=] { return pixelOf(hOwn, {100, 50}) == kRed && pixelOf(hOwn, {190, 100}) == kRed; }));
    EXPECT_EQ(pixelOf(hOwn, {100, 100}), kGreen);
}

TEST_F(WindowSystemOnWindows, APenDrawsAboveAChildThatCoversTheWindow)
{
    QWidget widget(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    widget.setGeometry(700, 500, 300, 200);
    widget.setStyleSheet("background-color:#208040");
    widget.show();
    const auto hOwn = static_cast<WindowHandle>(widget.winId());
    ASSERT_TRUE(GetWindowLongPtrW(reinterpret_cast<HWND>(hOwn), GWL_STYLE) & WS_CLIPCHILDREN) << "as cells are";
    ASSERT_NE(CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | SS_BLACKRECT, 0, 0, 300, 200,
                              reinterpret_cast<HWND>(hOwn), nullptr, nullptr, nullptr),
              nullptr);
    ASSERT_TRUE(until([=] { return pixelOf(hOwn, {150, 150}) != kGreen; }));
    const PenHandle hPen = createPen(3, kRedPen);
    EXPECT_TRUE(until([=] {
        const DrawContext hContext = windowContext(hOwn);
        const PenHandle hBefore = selectPen(hContext, hPen);
        moveTo(hContext, 10, 50);
        lineTo(hContext, 190, 50);
        selectPen(hContext, hBefore);
        releaseContext(hContext);
        return pixelOf(hOwn, {100, 50}) == kRed;
    }));
    EXPECT_NE(pixelOf(hOwn, {100, 100}), kRed);
    deletePen(hPen);
}

TEST_F(WindowSystemOnWindows, ACallbackDrawsOnWhatItIsGivenInTheSizeOfItsCell)
{
    const MemoryContext memory(40, 30);
    const DrawContext hContext = callbackContext(memory.hDC);
    const QSize szCell = clientSize(main.hRender);
    EXPECT_EQ(callbackSize(hContext, main.hRender), szCell);
    EXPECT_EQ(callbackSize(hContext, 0), QSize(40, 30));
    EXPECT_EQ(callbackSize(0, 0), QSize(0, 0));
    const PenHandle hPen = createPen(4, kRedPen);
    const PenHandle hBefore = selectPen(hContext, hPen);
    moveTo(hContext, 0, 15);
    lineTo(hContext, 39, 15);
    selectPen(hContext, hBefore);
    deletePen(hPen);
    releaseCallbackContext(hContext);
    EXPECT_EQ(GetPixel(memory.hDC, 20, 15), RGB(255, 0, 0)) << "the context stays the library's";
    EXPECT_NE(GetPixel(memory.hDC, 20, 5), RGB(255, 0, 0));
}

TEST_F(WindowSystemOnWindows, TheScreenTellsItsDpi)
{
    EXPECT_EQ(screenDpi(), 96);
}
