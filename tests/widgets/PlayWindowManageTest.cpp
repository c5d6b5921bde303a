#include "ShownGrid.h"

#include <gmock/gmock.h>

namespace
{

class PlayWindowManageTest : public CShownGrid
{
};

} // namespace

TEST_F(PlayWindowManageTest, StartsWithoutASplit)
{
    const CPlayWindowManage grid(nullptr);
    EXPECT_EQ(grid.GetShowMode(), CPlayWindowManage::kShowNone);
    EXPECT_EQ(grid.GetCurWndIndex(), 0);
    EXPECT_EQ(grid.findChildren<CVideoWnd*>().size(), 64);
    EXPECT_NE(grid.findChild<QFrame*>("VideoFrame"), nullptr);
}

TEST_F(PlayWindowManageTest, EverySplitShowsItsCellsAndNoOther)
{
    for (const int nCount : {1, 2, 4, 5, 6, 7, 8, 9, 13, 16, 20, 25, 36, 64, 0, 4}) {
        m_grid.SetSplit(nCount);
        EXPECT_EQ(shownCells(), cellsUpTo(nCount)) << nCount;
    }
}

TEST_F(PlayWindowManageTest, CellsOfASquareShareTheGridEvenly)
{
    m_grid.SetSplit(4);
    QApplication::processEvents();
    EXPECT_EQ(cell(0).geometry(), QRect(0, 0, 402, 402));
    EXPECT_EQ(cell(3).geometry(), QRect(402, 402, 402, 402));
}

TEST_F(PlayWindowManageTest, SevenWindowsStandInRowsOfTwo)
{
    m_grid.SetSplit(7);
    QApplication::processEvents();
    EXPECT_EQ(cell(0).y(), cell(1).y());
    EXPECT_EQ(cell(2).geometry().topLeft(), QPoint(0, cell(0).height()));
    EXPECT_EQ(cell(6).x(), 0);
    EXPECT_EQ(cell(6).y(), 3 * cell(0).height());
}

TEST_F(PlayWindowManageTest, HandlesStayTheSameAcrossSplitsAndMaximising)
{
    QVector<LumoWindow> before;
    for (int i = 0; i < 64; ++i)
        before << m_grid.GetVideoHwnd(i);
    for (const int nCount : {1, 64, 5, 9})
        m_grid.SetSplit(nCount);
    m_grid.onWndDoubleClicked(5);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(m_grid.GetVideoHwnd(i), before[i]);
        EXPECT_EQ(frame(i).internalWinId(), before[i]);
    }
}

TEST_F(PlayWindowManageTest, HandlesStayTheSameWhenTheTopLevelChangesItsWindowFlags)
{
    QVector<LumoWindow> before;
    for (int i = 0; i < 64; ++i)
        before << m_grid.GetVideoHwnd(i);
    m_grid.setWindowFlags(Qt::WindowFlags(0x0204080B)); // as going full screen does
    m_grid.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_grid));
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(frame(i).internalWinId(), before[i]);
}

TEST_F(PlayWindowManageTest, HandleOfAnIndexThatIsNoCellIsZero)
{
    EXPECT_EQ(m_grid.GetVideoHwnd(64), 0u);
    EXPECT_EQ(m_grid.GetVideoHwnd(-1), 0u);
    EXPECT_EQ(m_grid.GetVideoHwnd(5), frame(5).GetHwnd());
}

TEST_F(PlayWindowManageTest, SameSplitAgainSelectsCellZeroWithoutASignal)
{
    m_grid.SetSplit(4);
    click(frame(2), {10, 10});
    m_signals.clear();
    m_grid.SetSplit(4);
    EXPECT_EQ(m_grid.GetCurWndIndex(), 0);
    EXPECT_EQ(m_signals, QStringList());
    EXPECT_EQ(borderedCells(), QVector<int>{0});
}

TEST_F(PlayWindowManageTest, SplitOfOneAsksForTheTwoLensAbilityOfCellZero)
{
    m_grid.SetSplit(1);
    EXPECT_EQ(m_signals, QStringList{"lens 0"});
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSingle);
}

TEST_F(PlayWindowManageTest, SplitOfFourAsksForNothingAndHidesTheSliderOfCellZero)
{
    m_grid.SetSplit(1);
    m_grid.ShowScaleSlider(0, true, 8.0F);
    m_signals.clear();
    m_grid.SetSplit(4);
    EXPECT_EQ(m_signals, QStringList());
    EXPECT_FALSE(isSliderShown(0));
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSeveral);
}

TEST_F(PlayWindowManageTest, SplitOfSixtyFourAsksForNothingAndLeavesTheSlider)
{
    m_grid.SetSplit(1);
    m_grid.ShowScaleSlider(0, true, 8.0F);
    m_signals.clear();
    m_grid.SetSplit(64);
    EXPECT_EQ(m_signals, QStringList());
    EXPECT_TRUE(isSliderShown(0));
}

TEST_F(PlayWindowManageTest, TwoAndSixtyThreeWindowsAreSeveral)
{
    for (const int nCount : {2, 63}) {
        m_grid.SetSplit(1);
        m_grid.SetSplit(nCount);
        EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSeveral) << nCount;
    }
}

TEST_F(PlayWindowManageTest, SplitOfSixtyFourAfterOneKeepsTheModeSoThatDoubleClickDoesNothing)
{
    m_grid.SetSplit(1);
    m_grid.SetSplit(64);
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSingle);
    doubleClick(frame(5), {10, 10});
    EXPECT_EQ(shownCells(), cellsUpTo(64));
}

TEST_F(PlayWindowManageTest, SplitOfSixtyFourAfterNineMaximises)
{
    m_grid.SetSplit(64);
    doubleClick(frame(5), {10, 10});
    EXPECT_EQ(shownCells(), QVector<int>{5});
}

TEST_F(PlayWindowManageTest, SplitOfZeroHidesAllAndKeepsTheMode)
{
    m_grid.SetSplit(0);
    EXPECT_EQ(shownCells(), QVector<int>());
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSeveral);
}

TEST_F(PlayWindowManageTest, ClickSelectsACellMovesTheBorderAndTellsTheOwner)
{
    const CLogLines log;
    click(frame(4), {10, 10});
    EXPECT_EQ(m_grid.GetCurWndIndex(), 4);
    EXPECT_EQ(m_signals, QStringList{"current 4"});
    EXPECT_EQ(borderedCells(), QVector<int>{4});
    EXPECT_EQ(log.of("CPlayWindowManage::onCurWndIndexChange"), QStringList{"onCurWndIndexChange index=4 curIndex=0"});
}

TEST_F(PlayWindowManageTest, ClickOnTheSelectedCellLogsAndTellsNobody)
{
    const CLogLines log;
    click(frame(0), {10, 10});
    EXPECT_EQ(m_signals, QStringList());
    EXPECT_EQ(log.of("CPlayWindowManage::onCurWndIndexChange"), QStringList{"onCurWndIndexChange index=0 curIndex=0"});
}

TEST_F(PlayWindowManageTest, SelectionOfAnIndexThatIsNoCellIsTakenAndHarmless)
{
    m_grid.onCurWndIndexChange(100);
    EXPECT_EQ(m_grid.GetCurWndIndex(), 100);
    EXPECT_EQ(borderedCells(), QVector<int>());
    EXPECT_FALSE(m_grid.GetDigitalZoomStatus());
    m_grid.ToggleDigitalZoomStatus();
    selectIn400(0, {0, 0}, {50, 50});
    m_grid.EnterFullScreen();
    m_grid.RestoreActive();
    m_grid.onCurWndIndexChange(-1);
    m_grid.onCurWndIndexChange(3);
    EXPECT_EQ(m_signals, (QStringList{"current 100", "current -1", "current 3"}));
}

TEST_F(PlayWindowManageTest, DoubleClickWithASplitOfOneChangesNothing)
{
    m_grid.SetSplit(1);
    m_signals.clear();
    const CLogLines log;
    doubleClick(frame(0), {10, 10});
    EXPECT_EQ(shownCells(), QVector<int>{0});
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSingle);
    EXPECT_EQ(m_signals, QStringList());
    EXPECT_EQ(log.of("CPlayWindowManage::onWndDoubleClicked"), QStringList{"onWndDoubleClicked"});
}

TEST_F(PlayWindowManageTest, DoubleClickMaximisesTheCellAndASecondOneRestoresWithItSelected)
{
    sendMouse(frame(5), QEvent::MouseButtonDblClick, {10, 10}, Qt::LeftButton);
    QApplication::processEvents();
    EXPECT_EQ(shownCells(), QVector<int>{5});
    EXPECT_EQ(cell(5).geometry(), QRect(0, 0, 804, 804));
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowMaximized);
    EXPECT_EQ(m_grid.GetCurWndIndex(), 5);
    EXPECT_EQ(m_signals, (QStringList{"current 5", "lens 5"}));

    m_signals.clear();
    sendMouse(frame(5), QEvent::MouseButtonDblClick, {10, 10}, Qt::LeftButton);
    EXPECT_EQ(shownCells(), cellsUpTo(9));
    EXPECT_EQ(m_grid.GetShowMode(), CPlayWindowManage::kShowSeveral);
    EXPECT_EQ(m_grid.GetCurWndIndex(), 5);
    EXPECT_EQ(borderedCells(), QVector<int>{5});
    EXPECT_EQ(m_signals, QStringList());
}

TEST_F(PlayWindowManageTest, MaximisingACellThatIsNotSelectedAsksForTheLensesBeforeItSelects)
{
    m_grid.onWndDoubleClicked(5);
    EXPECT_EQ(m_signals, (QStringList{"lens 5", "current 5"}));
    EXPECT_EQ(borderedCells(), QVector<int>{5});
}

TEST_F(PlayWindowManageTest, RestoreHidesTheSliderOfTheCell)
{
    m_grid.onWndDoubleClicked(5);
    m_grid.ShowScaleSlider(5, true, 8.0F);
    EXPECT_TRUE(isSliderShown(5));
    m_grid.onWndDoubleClicked(5);
    EXPECT_FALSE(isSliderShown(5));
}

TEST_F(PlayWindowManageTest, SplitWhileMaximisedMakesTheNextDoubleClickOnlyLayOutAgain)
{
    m_grid.onWndDoubleClicked(5);
    m_grid.SetSplit(4);
    m_grid.onWndDoubleClicked(2);
    EXPECT_EQ(shownCells(), cellsUpTo(4));
    EXPECT_EQ(m_grid.GetCurWndIndex(), 2);
    m_grid.onWndDoubleClicked(2);
    EXPECT_EQ(shownCells(), QVector<int>{2});
}

TEST_F(PlayWindowManageTest, DoubleClickBeforeAnySplitMaximises)
{
    CPlayWindowManage grid(nullptr);
    grid.show();
    grid.onWndDoubleClicked(3);
    EXPECT_EQ(grid.GetShowMode(), CPlayWindowManage::kShowMaximized);
    EXPECT_TRUE(grid.findChildren<CVideoWnd*>().at(3)->isVisible());
}
