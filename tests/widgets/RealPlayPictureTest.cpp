#include "RealPlayPage.h"
#include "surface/ScaleSlider.h"

#include <QSignalSpy>

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

class RealPlayPictureTest : public CRealPlayPage
{
};

} // namespace

TEST_F(RealPlayPictureTest, ColourIsReadAndARefusalIsTold)
{
    stubdecode::setColor(10, 20, 30, 40);
    int b = 0, c = 0, s = 0, h = 0;
    EXPECT_EQ(m_page->GetColor(3, b, c, s, h), 0);
    EXPECT_THAT((Calls{std::to_string(b), std::to_string(c), std::to_string(s), std::to_string(h)}),
                ElementsAre("10", "20", "30", "40"));
    stubdecode::answer("GetColor", 0);
    EXPECT_EQ(m_page->GetColor(3, b, c, s, h), -2);
    EXPECT_EQ(m_page->GetColor(64, b, c, s, h), -1);
}

TEST_F(RealPlayPictureTest, ColourIsSetOnTheChannelOfTheSelectedCell)
{
    EXPECT_EQ(m_page->SetColor(0, 70), -1) << "the cell is empty";
    show(3, 0);
    EXPECT_EQ(m_page->SetColor(0, 70), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetColor 3 70 64 64 64"));
    stubdecode::answer("SetColor", 0);
    EXPECT_EQ(m_page->SetColor(0, 70), -2);
    m_grid->onCurWndIndexChange(64);
    EXPECT_EQ(m_page->SetColor(0, 70), -1) << "the selection is no cell";
}

TEST_F(RealPlayPictureTest, SoundOfOneChannelEndsThatOfAnother)
{
    EXPECT_EQ(m_page->SetSound(3, true), 0);
    EXPECT_TRUE(m_page->IsSoundOn(3));
    EXPECT_EQ(m_page->SetSound(5, true), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 3", "StopSound 3", "PlaySound 5"));
    EXPECT_FALSE(m_page->IsSoundOn(3));
    EXPECT_TRUE(m_page->IsSoundOn(5));
}

TEST_F(RealPlayPictureTest, SoundOfChannelZeroGoesOnBesideAnothers)
{
    m_page->SetSound(0, true);
    m_page->SetSound(5, true);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 0", "PlaySound 5"));
    EXPECT_TRUE(m_page->IsSoundOn(5));
}

TEST_F(RealPlayPictureTest, SoundThatDoesNotStopKeepsNoOtherFromStarting)
{
    m_page->SetSound(3, true);
    stubdecode::answer("StopSound", 0);
    EXPECT_EQ(m_page->SetSound(5, true), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 3", "StopSound 3", "PlaySound 5"));
    EXPECT_TRUE(m_page->IsSoundOn(5));
}

TEST_F(RealPlayPictureTest, SoundOnOfABadChannelLeavesTheOneThatIsOn)
{
    m_page->SetSound(3, true);
    stubdecode::take();
    EXPECT_EQ(m_page->SetSound(64, true), -1);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    EXPECT_TRUE(m_page->IsSoundOn(3));
}

TEST_F(RealPlayPictureTest, SoundThatIsOnAlreadyStartsAnew)
{
    m_page->SetSound(3, true);
    EXPECT_EQ(m_page->SetSound(3, true), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 3", "StopSound 3", "PlaySound 3"));
    EXPECT_TRUE(m_page->IsSoundOn(3));
}

TEST_F(RealPlayPictureTest, RefusedSoundLeavesNone)
{
    m_page->SetSound(3, true);
    stubdecode::answer("PlaySound", 0);
    EXPECT_EQ(m_page->SetSound(5, true), -2);
    EXPECT_FALSE(m_page->IsSoundOn(3));
    EXPECT_FALSE(m_page->IsSoundOn(5));
}

TEST_F(RealPlayPictureTest, StopOfOneChannelForgetsTheSoundOfAnotherAndTheNextOpenStartsItAgain)
{
    show(3, 2);
    m_page->SetSound(5, true);
    m_page->PreviewStop(3);
    EXPECT_FALSE(m_page->IsSoundOn(5));
    stubdecode::take();
    m_page->SetSound(5, true);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 5"));
}

TEST_F(RealPlayPictureTest, OriginalAspectEndsTheZoomAndTheRubberBand)
{
    show(3, 2);
    m_page->OnDigitalZoom({1, 2}, {3, 4}, 2);
    stubdecode::take();
    const CLogLines log;
    EXPECT_EQ(m_page->PlayOriginal(3), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetOriginalMode 3 1", "SetDisplayRegion 3 null 0"));
    EXPECT_EQ(m_page->IsOriginal(3), 1);
    EXPECT_FALSE(m_page->IsDigitalZoom(3));
    press(frame(2), {10, 10});
    EXPECT_FALSE(cell(2).GetDigitalZoomStatus());
    EXPECT_EQ(log.of("CRealPlayWidget::PlayOriginal"), QStringList{"CDecodeChannel::PlayOriginal --->nChannel 3"});
}

TEST_F(RealPlayPictureTest, NormalAspectBringsTheRubberBandBackWithoutALogLine)
{
    show(3, 2);
    m_page->PlayOriginal(3);
    stubdecode::take();
    const CLogLines log;
    EXPECT_EQ(m_page->PlayNormal(3), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetOriginalMode 3 0"));
    EXPECT_EQ(m_page->IsOriginal(3), 0);
    press(frame(2), {10, 10});
    EXPECT_TRUE(cell(2).GetDigitalZoomStatus());
    EXPECT_EQ(log.of("CRealPlayWidget::PlayNormal"), QStringList());
}

TEST_F(RealPlayPictureTest, RefusedAspectChangesNothing)
{
    show(3, 2);
    stubdecode::answer("SetOriginalMode", 0);
    EXPECT_EQ(m_page->PlayOriginal(3), -2);
    EXPECT_EQ(m_page->IsOriginal(3), 0);
    EXPECT_EQ(m_page->PlayNormal(3), -2);
    EXPECT_EQ(m_page->PlayOriginal(-1), -1);
    EXPECT_EQ(m_page->PlayNormal(64), -1);
}

TEST_F(RealPlayPictureTest, AspectOfAChannelOnNoCellIsRemembered)
{
    EXPECT_EQ(m_page->PlayOriginal(9), 0);
    EXPECT_EQ(m_page->IsOriginal(9), 1);
}

TEST_F(RealPlayPictureTest, DragOnAStreamingCellZoomsItsChannel)
{
    m_page->ChangeSplit(1);
    show(3, 2);
    QApplication::processEvents();
    ASSERT_EQ(frame(2).size(), QSize(400, 400));
    const CLogLines log;
    drag(frame(2), {100, 100}, {300, 200});
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 3 2048,2048,6144,4096 1"));
    EXPECT_TRUE(m_page->IsDigitalZoom(3));
    EXPECT_EQ(log.of("CRealPlayWidget::OnDigitalZoom"), QStringList{"OnDigitalZoom:nWndIndex[2]"});
    click(frame(2), {10, 10}, Qt::RightButton);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 3 null 0"));
    EXPECT_FALSE(m_page->IsDigitalZoom(3));
    EXPECT_EQ(log.of("CRealPlayWidget::OnQuitDigitalZoom"), QStringList{"OnQuitDigitalZoom index :2"});
}

TEST_F(RealPlayPictureTest, ZoomCountsAsOnAlsoWhenTheDecoderRefused)
{
    show(3, 2);
    stubdecode::answer("SetDisplayRegion", 0);
    m_page->OnDigitalZoom({1, 2}, {3, 4}, 2);
    EXPECT_TRUE(m_page->IsDigitalZoom(3));
    m_page->OnQuitDigitalZoom(2);
    EXPECT_FALSE(m_page->IsDigitalZoom(3));
}

TEST_F(RealPlayPictureTest, ZoomOfAnEmptyCellOrNoCellIsIgnored)
{
    m_page->OnDigitalZoom({1, 2}, {3, 4}, 5);
    m_page->OnDigitalZoom({1, 2}, {3, 4}, 64);
    m_page->OnQuitDigitalZoom(5);
    m_page->OnQuitDigitalZoom(-1);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(RealPlayPictureTest, RightClickDuringElectronicPTZQuitsItAndTellsThePage)
{
    show(3, 2);
    m_page->m_ptzElect[3] = {1, {1, 2, 3, 4}, {{5, {1, 2, 3, 4}}}};
    m_grid->setPreviewStatus(2, false);
    m_grid->setPTZElectStatus(2, true);
    QSignalSpy changed(m_page.get(), &CRealPlayWidget::changePTZELectPage);
    const CLogLines log;
    click(frame(2), {10, 10}, Qt::RightButton);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 3 null 0"));
    EXPECT_EQ(m_page->m_ptzElect[3].nOpen, 0);
    EXPECT_EQ(m_page->m_ptzElect[3].rcRegion.right, 8192);
    EXPECT_EQ(m_page->m_ptzElect[3].presets.size(), 1u);
    EXPECT_EQ(log.of("CRealPlayWidget::OnQuitPTZElect"), QStringList{"OnQuitPTZElect"});
    press(frame(2), {10, 10});
    EXPECT_TRUE(cell(2).GetDigitalZoomStatus()) << "the cell previews again";
}

TEST_F(RealPlayPictureTest, QuitOfElectronicPTZInCellMinusOneIsThatOfTheSelectedCell)
{
    show(3, 2);
    click(frame(2), {10, 10});
    m_page->m_ptzElect[3] = {1, {1, 2, 3, 4}, {}};
    QSignalSpy changed(m_page.get(), &CRealPlayWidget::changePTZELectPage);
    m_page->OnQuitPTZElect(-1);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 3 null 0"));
    EXPECT_EQ(m_page->m_ptzElect[3].nOpen, 0);
}

TEST_F(RealPlayPictureTest, QuitOfElectronicPTZThatIsNotOpenDoesNothing)
{
    show(3, 2);
    QSignalSpy changed(m_page.get(), &CRealPlayWidget::changePTZELectPage);
    m_page->OnQuitPTZElect(2);
    m_page->OnQuitPTZElect(5);
    m_page->OnQuitPTZElect(64);
    EXPECT_EQ(changed.count(), 0);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(RealPlayPictureTest, FullScreenTakesTheBordersOffAndTheEndBringsThemBack)
{
    m_page->SetTheme("White");
    const QColor border(18, 144, 255);
    EXPECT_EQ(imageOf(cell(0)).pixelColor(0, 0), border);
    m_page->EnterFullScreen();
    EXPECT_NE(imageOf(cell(0)).pixelColor(0, 0), border);
    m_page->ExitFullScreen();
    EXPECT_EQ(imageOf(cell(0)).pixelColor(0, 0), border);
}

TEST_F(RealPlayPictureTest, EndOfFullScreenShowsNoSliderForAChannelWithoutTwoLenses)
{
    m_page->ChangeSplit(0);
    show(3, 0);
    m_page->EnterFullScreen();
    m_page->ExitFullScreen();
    EXPECT_EQ(cell(0).findChild<CScaleSlider*>(), nullptr);
    m_grid->onCurWndIndexChange(64);
    m_page->ExitFullScreen(); // the selection is no cell
}

TEST_F(RealPlayPictureTest, ScaleStepLogsAndGoesOnToTheSelectedCellsChannel)
{
    const CLogLines log;
    m_page->ScaleSwitch(0, 5);
    EXPECT_EQ(log.of("CRealPlayWidget::slot_SetScaleTwoLensTimes"), QStringList()) << "the cell is empty";
    show(3, 0);
    m_page->ScaleSwitch(0, 5);
    m_page->ScaleSwitch(0, 100);
    m_page->ScaleSwitch(2, 5);
    EXPECT_EQ(log.of("CRealPlayWidget::ScaleSwitch"),
              (QStringList{"click to scale", "click to scale", "click to scale", "click to scale"}));
    EXPECT_EQ(log.of("CRealPlayWidget::slot_SetScaleTwoLensTimes"),
              (QStringList{"fLastTimes=0------fTimes=0.5------Channel=3------Stream=0",
                           "fLastTimes=0.5------fTimes=7------Channel=3------Stream=0",
                           "fLastTimes=7------fTimes=0------Channel=3------Stream=0"}));
}

TEST_F(RealPlayPictureTest, SoundOffOfAnotherChannelKeepsTheRecord)
{
    m_page->SetSound(3, true);
    EXPECT_EQ(m_page->SetSound(5, false), 0);
    EXPECT_TRUE(m_page->IsSoundOn(3));
    stubdecode::answer("StopSound", 0);
    EXPECT_EQ(m_page->SetSound(3, false), -2);
    EXPECT_TRUE(m_page->IsSoundOn(3));
    stubdecode::answer("StopSound", 1);
    EXPECT_EQ(m_page->SetSound(3, false), 0);
    EXPECT_FALSE(m_page->IsSoundOn(3));
    EXPECT_EQ(m_page->SetSound(64, true), -1);
}
