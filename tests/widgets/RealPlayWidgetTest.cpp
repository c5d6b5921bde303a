#include "RealPlayPage.h"
#include "surface/ScaleSlider.h"

#include <QSignalSpy>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class RealPlayWidgetTest : public CRealPlayPage
{
};

} // namespace

TEST_F(RealPlayWidgetTest, StartsWithNineEmptyCells)
{
    EXPECT_EQ(m_page->windowFlags(), Qt::WindowFlags(0x2000800) | Qt::Window); // this one has no parent
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(cell(i).isVisible(), i < 9);
        EXPECT_EQ(m_page->GetWndChannel(i), -1);
        EXPECT_EQ(m_page->IsOriginal(i), -1);
        EXPECT_EQ(m_page->GetStreamType(i), 0);
    }
    EXPECT_EQ(m_page->GetCurChannel(), -1);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(RealPlayWidgetTest, ItsParentWatchesItsEvents)
{
    CUserEventWatch parent;
    m_page.reset();
    auto* pPage = new CRealPlayWidget(&parent);
    QEvent event(QEvent::User);
    QApplication::sendEvent(pPage, &event);
    EXPECT_EQ(parent.pSeen, pPage);
}

TEST_F(RealPlayWidgetTest, StartOpensThePortOnTheCellsWindow)
{
    EXPECT_EQ(m_page->StartPreview(1, 3, 2), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 3 2048000", "SetPreviewOption 3 8", "Play 3 " + handle(2)));
    EXPECT_EQ(m_page->GetWndChannel(2), 3);
    EXPECT_EQ(m_page->FindWndByChannel(3), 2);
    EXPECT_EQ(m_page->IsOriginal(3), 0);
    EXPECT_EQ(m_page->GetStreamType(3), 1);
    EXPECT_EQ(m_page->GetPlayState(3), 0);
}

TEST_F(RealPlayWidgetTest, StartWithoutACellTakesTheSelectedOne)
{
    click(frame(4), {10, 10});
    EXPECT_EQ(m_page->StartPreview(0, 7, -1), 0);
    EXPECT_EQ(m_page->GetWndChannel(4), 7);
    EXPECT_EQ(m_page->GetCurChannel(), 7);
    EXPECT_EQ(m_page->GetCurWnd(), 4);
}

TEST_F(RealPlayWidgetTest, StartOnANegativeCellIsRefused)
{
    EXPECT_EQ(m_page->StartPreview(0, 7, -2), -2);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    m_grid->onCurWndIndexChange(-1);
    EXPECT_EQ(m_page->StartPreview(0, 7, -1), -2);
}

TEST_F(RealPlayWidgetTest, StartLetsTheCellDrawARegion)
{
    show(3, 2);
    m_grid->onCurWndIndexChange(2);
    drag(frame(2), {10, 10}, {100, 100});
    EXPECT_TRUE(m_page->IsDigitalZoom(3));
}

TEST_F(RealPlayWidgetTest, StartOfChannel64IsRefusedButHasForgottenAllElectronicPTZ)
{
    for (PtzElectState& state : m_page->m_ptzElect)
        state = {1, {1, 2, 3, 4}, {{5, {1, 2, 3, 4}}}};
    EXPECT_EQ(m_page->StartPreview(0, 64, 0), -1);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    for (const PtzElectState& state : m_page->m_ptzElect) {
        EXPECT_EQ(state.nOpen, 0);
        EXPECT_EQ(state.rcRegion.left, 0);
        EXPECT_EQ(state.rcRegion.top, 0);
        EXPECT_EQ(state.rcRegion.right, 8192);
        EXPECT_EQ(state.rcRegion.bottom, 8192);
        EXPECT_TRUE(state.presets.empty());
    }
}

TEST_F(RealPlayWidgetTest, NegativeChannelIsNone)
{
    EXPECT_EQ(m_page->StartPreview(0, -1, 0), -1);
    EXPECT_EQ(m_page->GetDecodeChannel(-1), nullptr);
    EXPECT_EQ(m_page->GetDecodeChannel(64), nullptr);
    EXPECT_NE(m_page->GetDecodeChannel(63), nullptr);
}

TEST_F(RealPlayWidgetTest, FailedOpenLeavesTheCellButKeepsTheStreamType)
{
    stubdecode::answer("OpenStream", 0);
    EXPECT_EQ(m_page->StartPreview(1, 3, 2), -2);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 3 2048000"));
    EXPECT_EQ(m_page->GetWndChannel(2), -1);
    EXPECT_EQ(m_page->IsOriginal(3), -1);
    EXPECT_EQ(m_page->GetStreamType(3), 1);
}

TEST_F(RealPlayWidgetTest, FailedStartLeavesThePortOpenAndTheCellEmpty)
{
    stubdecode::answer("Play", 0);
    EXPECT_EQ(m_page->StartPreview(0, 3, 2), -2);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 3 4096000", "SetPreviewOption 3 8", "Play 3 " + handle(2)));
    EXPECT_EQ(m_page->GetWndChannel(2), -1);
    EXPECT_EQ(m_page->GetPlayState(3), 1);
    m_page->PreviewStop(3);
    EXPECT_THAT(stubdecode::take(), ElementsAre("CloseStream 3"));
}

TEST_F(RealPlayWidgetTest, StartOnTheSelectedCellAsksForItsTwoLensesAlsoAfterAFailure)
{
    const CLogLines log;
    const QString strTag = "CRealPlayWidget::slot_GetScaleTwoLensAbility";
    m_page->StartPreview(0, 3, 2);
    EXPECT_EQ(log.of(strTag), QStringList());
    m_page->StartPreview(0, 4, 0);
    EXPECT_EQ(log.of(strTag),
              (QStringList{"slot_GetScaleTwoLensAbility----------->devType:0", "GetScaleTwoLens------>Channel:4"}));
    stubdecode::answer("OpenStream", 0);
    m_page->StartPreview(0, 5, 0);
    EXPECT_EQ(log.of(strTag).size(), 4);
}

TEST_F(RealPlayWidgetTest, StartOverAnotherChannelsCellTakesTheCell)
{
    show(3, 2);
    show(5, 2);
    EXPECT_EQ(m_page->GetWndChannel(2), 5);
    EXPECT_EQ(m_page->FindWndByChannel(3), -1);
}

TEST_F(RealPlayWidgetTest, FailedStartOverAnotherChannelsCellLeavesTheCellToThatChannel)
{
    show(3, 2);
    for (const char* szCall : {"OpenStream", "Play"}) {
        stubdecode::answer(szCall, 0);
        EXPECT_EQ(m_page->StartPreview(0, 5, 2), -2) << szCall;
        EXPECT_EQ(m_page->GetWndChannel(2), 3) << szCall;
        stubdecode::answer(szCall, 1);
    }
}

TEST_F(RealPlayWidgetTest, ChannelOnTwoCellsIsFoundInTheLowest)
{
    show(3, 7);
    show(3, 2);
    EXPECT_EQ(m_page->FindWndByChannel(3), 2);
}

TEST_F(RealPlayWidgetTest, IndicesOutsideTheGridAreEmpty)
{
    EXPECT_EQ(m_page->GetWndChannel(-1), -1);
    EXPECT_EQ(m_page->GetWndChannel(64), -1);
    EXPECT_EQ(m_page->FindWndByChannel(-1), -1); // not the first empty cell
    EXPECT_EQ(m_page->GetPlayState(64), -1);
    EXPECT_EQ(m_page->GetStreamType(64), 0);
    EXPECT_EQ(m_page->IsOriginal(64), -1);
    EXPECT_FALSE(m_page->IsDigitalZoom(64));
    EXPECT_FALSE(m_page->IsRecording(-1));
    EXPECT_FALSE(m_page->IsSoundOn(-1));
}

TEST_F(RealPlayWidgetTest, StopClosesThePortAndEmptiesTheCell)
{
    show(3, 2);
    m_grid->SetDigitalZoomStatus(2, true);
    EXPECT_EQ(m_page->PreviewStop(3), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 3 null 0", "Stop 3", "CloseStream 3"));
    EXPECT_EQ(m_page->GetWndChannel(2), -1);
    EXPECT_EQ(m_page->IsOriginal(3), -1);
    EXPECT_EQ(m_page->GetPlayState(3), 1);
    EXPECT_FALSE(cell(2).GetDigitalZoomStatus());
    drag(frame(2), {10, 10}, {100, 100});
    EXPECT_FALSE(cell(2).GetDigitalZoomStatus()) << "the cell no longer previews";
}

TEST_F(RealPlayWidgetTest, StopKeepsTheStreamType)
{
    m_page->StartPreview(1, 3, 2);
    m_page->PreviewStop(3);
    EXPECT_EQ(m_page->GetStreamType(3), 1);
}

TEST_F(RealPlayWidgetTest, StopOfABadChannelIsRefused)
{
    EXPECT_EQ(m_page->PreviewStop(64), -1);
    EXPECT_EQ(m_page->PreviewStop(-1), -1);
}

TEST_F(RealPlayWidgetTest, StopOfAChannelOnNoCellClearsZoomAndPreviewOfAllCells)
{
    show(3, 2);
    m_grid->SetDigitalZoomStatus(2, true);
    m_grid->SetDigitalZoomStatus(40, true);
    const CLogLines log;
    EXPECT_EQ(m_page->PreviewStop(9), 0);
    for (int i = 0; i < 64; ++i)
        EXPECT_FALSE(cell(i).GetDigitalZoomStatus());
    drag(frame(2), {10, 10}, {100, 100});
    EXPECT_FALSE(cell(2).GetDigitalZoomStatus()) << "the other cell's preview status went too";
    EXPECT_EQ(log.of("CPlayWindowManage::setPreviewStatus"), QStringList{"wnd:4294967295 preview:0"});
    EXPECT_EQ(m_page->GetWndChannel(2), 3);
}

TEST_F(RealPlayWidgetTest, StopOfAChannelOnNoCellRepaintsAllCells)
{
    QApplication::processEvents();
    CPaintWatch first(&frame(0));
    CPaintWatch last(&frame(8));
    m_page->PreviewStop(9);
    EXPECT_TRUE(QTest::qWaitFor([&] { return first.nPaints > 0 && last.nPaints > 0; }, 10000));
}

TEST_F(RealPlayWidgetTest, StopOfTheSelectedSingleCellHidesTheSlider)
{
    m_page->ChangeSplit(0);
    show(3, 0);
    m_grid->ShowScaleSlider(0, true, 8.0F);
    m_page->PreviewStop(3);
    EXPECT_FALSE(cell(0).findChild<CScaleSlider*>()->isVisible());
}

TEST_F(RealPlayWidgetTest, StopOfAChannelOnNoCellLeavesTheSliderOfTheSelectedOne)
{
    m_page->ChangeSplit(0);
    show(3, 0);
    m_grid->ShowScaleSlider(0, true, 8.0F);
    m_page->PreviewStop(9);
    EXPECT_TRUE(cell(0).findChild<CScaleSlider*>()->isVisible());
}

TEST_F(RealPlayWidgetTest, SplitModesAreNumbersNotCounts)
{
    const int counts[] = {1, 4, 9, 16, 25, 36, 64};
    for (int nMode = 0; nMode <= 6; ++nMode) {
        EXPECT_EQ(m_page->ChangeSplit(nMode), 0);
        EXPECT_TRUE(cell(counts[nMode] - 1).isVisible());
        EXPECT_TRUE(counts[nMode] == 64 || !cell(counts[nMode]).isVisible());
    }
    for (const int nMode : {7, -1, 100}) {
        m_page->ChangeSplit(nMode);
        EXPECT_TRUE(cell(0).isVisible());
        EXPECT_FALSE(cell(1).isVisible());
    }
}

TEST_F(RealPlayWidgetTest, SelectionOfACellIsPassedOn)
{
    QSignalSpy selected(m_page.get(), &CRealPlayWidget::curWndIndexSig);
    click(frame(4), {10, 10});
    ASSERT_EQ(selected.count(), 1);
    EXPECT_EQ(selected.first().at(0).toInt(), 4);
}

TEST_F(RealPlayWidgetTest, StreamDataGoToTheLibraryAndMakeThePortIfMissing)
{
    const unsigned char data[] = {1, 2, 3};
    const CLogLines log;
    EXPECT_EQ(CRealPlayWidget::InputRealData(9, data, 3), 0);
    EXPECT_EQ(CRealPlayWidget::InputRealData(9, data, 3), 0);
    EXPECT_EQ(stubdecode::inputCalls(), 2);
    EXPECT_EQ(log.of("CDecodeChannel::CDecodeChannel"), QStringList{"port 9"});
    EXPECT_EQ(CRealPlayWidget::InputRealData(64, data, 3), -1);
    EXPECT_EQ(CRealPlayWidget::InputRealData(-1, data, 3), -1);
    EXPECT_EQ(stubdecode::inputCalls(), 2);
}

TEST_F(RealPlayWidgetTest, EndOfThePageStopsAndClosesItsPorts)
{
    show(3, 2);
    m_page->GetDecodeChannel(4);
    m_page.reset();
    const std::vector<std::string> calls = stubdecode::take();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 2], "Stop 3");
    EXPECT_EQ(calls.back(), "CloseStream 3");
}

TEST_F(RealPlayWidgetTest, StreamDataAfterTheEndOfThePageAreDropped)
{
    m_page.reset();
    const unsigned char data[] = {1};
    EXPECT_EQ(CRealPlayWidget::InputRealData(3, data, 1), -1);
    EXPECT_EQ(stubdecode::inputCalls(), 0);
}

TEST_F(RealPlayWidgetTest, StreamDataMayComeWhilePagesAreMadeAndDestroyed)
{
    std::atomic<bool> bStop{false};
    std::atomic<int> nTaken{0};
    std::thread stream([&] {
        const unsigned char data[] = {1};
        while (!bStop)
            for (int nChannel = 0; nChannel < 64; ++nChannel)
                nTaken += CRealPlayWidget::InputRealData(nChannel, data, 1) == 0;
    });
    const auto waitForData = [&] {
        const int nBefore = nTaken;
        return QTest::qWaitFor([&] { return nTaken > nBefore; }, 10000);
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(waitForData());
        m_page.reset();
        m_page = std::make_unique<SOpenPage>(nullptr);
        m_page->StartPreview(0, i, 0);
    }
    EXPECT_TRUE(waitForData());
    bStop = true;
    stream.join();
}
