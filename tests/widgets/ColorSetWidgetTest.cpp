// The image colour page: its one port, from the first start to the end of the page.
#include "live/ColorSetWidget.h"
#include "StubLumoDecode.h"
#include "WidgetTest.h"
#include "decode/DecodeChannel.h"
#include "surface/VideoFrame.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned char kBlock[] = {1, 2, 3};

class ColorSetWidgetTest : public testing::Test
{
protected:
    ColorSetWidgetTest()
    {
        stubdecode::reset();
        m_page = std::make_unique<CColorSetWidget>(nullptr);
    }

    std::string play() const { return "Play 320 " + std::to_string(m_page->findChild<CVideoFrame*>()->GetHwnd()); }

    std::unique_ptr<CColorSetWidget> m_page;
};

} // namespace

TEST_F(ColorSetWidgetTest, BeforeTheFirstStartThereIsNoPort)
{
    EXPECT_EQ(m_page->PreviewStop(), -1);
    EXPECT_EQ(m_page->GetPlayState(), -1);
    EXPECT_EQ(CColorSetWidget::InputData(kBlock, sizeof kBlock), -1);
    EXPECT_EQ(stubdecode::inputCalls(), 0) << "the data are dropped";
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(ColorSetWidgetTest, HasNoFrameAndFollowsTheMouse)
{
    EXPECT_EQ(m_page->windowFlags(), Qt::WindowFlags(0x2000800) | Qt::Window); // this one has no parent
    EXPECT_TRUE(m_page->hasMouseTracking());
}

TEST_F(ColorSetWidgetTest, StartPlaysPort320InTheView)
{
    const CLogLines log;
    EXPECT_EQ(m_page->PreviewStart(1), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 320 2048000", "SetPreviewOption 320 8", play()));
    EXPECT_EQ(m_page->GetPlayState(), CDecodeChannel::kNormal);
    EXPECT_EQ(log.of("CColorSetWidget::PreviewStart"), QStringList{"called"});
    EXPECT_EQ(CColorSetWidget::InputData(kBlock, sizeof kBlock), 0);
    EXPECT_EQ(stubdecode::inputPort(), 320);
}

TEST_F(ColorSetWidgetTest, SecondStartStopsThePortAndOpensItAgainWithoutAClose)
{
    m_page->PreviewStart(0);
    stubdecode::take();
    EXPECT_EQ(m_page->PreviewStart(0), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 320 null 0", "Stop 320", "OpenStream 320 4096000",
                                                "SetPreviewOption 320 8", play()));
}

TEST_F(ColorSetWidgetTest, StartThatTheDecoderRefusesKeepsThePort)
{
    stubdecode::answer("OpenStream", 0);
    const CLogLines log;
    EXPECT_EQ(m_page->PreviewStart(0), -2);
    EXPECT_EQ(log.of("CColorSetWidget::PreviewStart"), QStringList());
    EXPECT_EQ(m_page->GetPlayState(), CDecodeChannel::kStopped);
    EXPECT_EQ(CColorSetWidget::InputData(kBlock, sizeof kBlock), 0);
    stubdecode::answer("OpenStream", 1);
    stubdecode::answer("Play", 0);
    EXPECT_EQ(m_page->PreviewStart(0), -2);
    stubdecode::take();
    EXPECT_EQ(m_page->PreviewStop(), 0) << "a stopped port has nothing to stop";
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(ColorSetWidgetTest, StopStopsAndClosesOnce)
{
    m_page->PreviewStart(0);
    stubdecode::take();
    EXPECT_EQ(m_page->PreviewStop(), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 320 null 0", "Stop 320", "CloseStream 320"));
    EXPECT_EQ(m_page->PreviewStop(), 0);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    EXPECT_EQ(m_page->GetPlayState(), CDecodeChannel::kStopped);
}

TEST_F(ColorSetWidgetTest, EndOfThePageStopsThePortAndDropsLaterData)
{
    m_page->PreviewStart(0);
    stubdecode::take();
    m_page.reset();
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 320 null 0", "Stop 320", "CloseStream 320"));
    EXPECT_EQ(CColorSetWidget::InputData(kBlock, sizeof kBlock), -1);
}

TEST_F(ColorSetWidgetTest, ViewFillsThePage)
{
    m_page->resize(400, 300);
    m_page->show();
    QCoreApplication::processEvents();
    EXPECT_EQ(m_page->findChild<CVideoFrame*>()->geometry(), QRect(0, 0, 400, 300));
}
