// The slider of a camera with two lenses, from the device's answers to the commands that a gesture sends.
#include "RealPlayPage.h"
#include "surface/ScaleSlider.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const char* const kAble = R"({"Name":"N","N":{"OtherFunction":{"SupportScaleTwoLens":true}}})";

class RealPlayLensTest : public CRealPlayPage
{
protected:
    RealPlayLensTest()
    {
        m_stub.outputs["GetSystemAbility_Json"] = kAble;
        m_stub.outputs["CmdWithResult_Json"] = R"({"Ret":100,"Name":"N","N":[{"Times":2.5,"MaxTimes":4}]})";
        m_page->SetLoginInfo(5, 0);
        m_page->ChangeSplit(0);
        m_stub.calls.clear();
    }

    CScaleSlider* slider(int nWnd = 0) { return cell(nWnd).findChild<CScaleSlider*>(); }
    bool isSliderShown(int nWnd = 0) { return slider(nWnd) && slider(nWnd)->isVisible(); }

    static std::string setting(const char* szFrom, const char* szTo, int nChannel = 3)
    {
        return "CmdWithOutput_Json 5 OPScaleTimesSwitch 3032 " + std::to_string(nChannel) +
               " [{\"StreamType\": 0,\"TimesOri\": " + szFrom + ",\"Times\": " + szTo + "}] 256 20000";
    }

    LibraryStub& m_stub = LibraryStub::get();
};

} // namespace

TEST_F(RealPlayLensTest, SliderStandsAtTheDevicesScaleAndReachesItsMaximum)
{
    show(3, 0);
    ASSERT_TRUE(isSliderShown());
    EXPECT_EQ(slider()->value(), 25);
    EXPECT_EQ(slider()->maximum(), 30);
}

TEST_F(RealPlayLensTest, GestureOnTheSliderIsSentFromTheLastScaleToItsOwn)
{
    show(3, 0);
    m_stub.calls.clear();
    slider()->setValue(12);
    QTest::mouseRelease(slider(), Qt::RightButton); // a press would move the handle first
    EXPECT_THAT(m_stub.calls, ElementsAre(setting("2.5", "1.2")));
    slider()->setValue(13);
    QTest::mouseRelease(slider(), Qt::RightButton);
    EXPECT_EQ(m_stub.calls.back(), setting("1.2", "1.3"));
}

TEST_F(RealPlayLensTest, SliderStaysWhereTheUserMovedItWhenTheDeviceRefuses)
{
    show(3, 0);
    m_stub.results["CmdWithOutput_Json"] = 0;
    slider()->setValue(12);
    QTest::mouseRelease(slider(), Qt::RightButton);
    EXPECT_EQ(slider()->value(), 12);
    m_stub.calls.clear();
    slider()->setValue(13);
    QTest::mouseRelease(slider(), Qt::RightButton);
    EXPECT_THAT(m_stub.calls, ElementsAre(setting("2.5", "1.3"))) << "the last scale is the last good one";
}

TEST_F(RealPlayLensTest, ScaleStepMovesTheSliderToo)
{
    show(3, 0);
    m_page->ScaleSwitch(1, 5);
    EXPECT_EQ(slider()->value(), 20);
    m_page->ScaleSwitch(2, 5);
    EXPECT_EQ(slider()->value(), 0);
}

TEST_F(RealPlayLensTest, SeveralCellsShowNoSliderAndSetItsValueNowhere)
{
    m_page->ChangeSplit(1);
    show(3, 0);
    EXPECT_FALSE(isSliderShown());
    m_page->ScaleSwitch(0, 5);
    EXPECT_EQ(m_stub.calls.back(), setting("0.0", "0.5")) << "the scale is taken over with the slider only";
}

TEST_F(RealPlayLensTest, StepAmongSeveralCellsLeavesTheValueOfASliderFromBefore)
{
    show(3, 0);
    ASSERT_TRUE(isSliderShown());
    m_page->ChangeSplit(1);
    ASSERT_NE(slider(), nullptr);
    m_page->ScaleSwitch(0, 5);
    EXPECT_EQ(m_stub.calls.back(), setting("2.5", "3.0"));
    EXPECT_EQ(slider()->value(), 25);
}

TEST_F(RealPlayLensTest, ChannelWithoutTheAbilityHidesTheSliderOfTheOneBefore)
{
    show(3, 0);
    m_stub.outputs["GetSystemAbility_Json"] = "{}";
    show(4, 0);
    EXPECT_FALSE(isSliderShown());
}

TEST_F(RealPlayLensTest, ScaleThatCannotBeReadHidesTheSlider)
{
    show(3, 0);
    m_stub.outputs["CmdWithResult_Json"] = "{";
    show(3, 0);
    EXPECT_FALSE(isSliderShown());
}

TEST_F(RealPlayLensTest, MaximumOfOneHasNoSlider)
{
    m_stub.outputs["CmdWithResult_Json"] = R"({"Ret":100,"Name":"N","N":[{"Times":0,"MaxTimes":1}]})";
    show(3, 0);
    EXPECT_EQ(slider(), nullptr);
}

TEST_F(RealPlayLensTest, FullScreenShowsNoSliderAndItsEndBringsItBack)
{
    m_page->EnterFullScreen();
    show(3, 0);
    EXPECT_FALSE(isSliderShown());
    m_page->ExitFullScreen();
    EXPECT_EQ(slider(), nullptr) << "nothing was created in the full screen, and its end brings no maximum";
    show(3, 0);
    ASSERT_TRUE(isSliderShown());
    m_page->EnterFullScreen();
    EXPECT_FALSE(isSliderShown());
    m_page->ExitFullScreen();
    EXPECT_TRUE(isSliderShown());
}

TEST_F(RealPlayLensTest, EndOfFullScreenWithSeveralCellsBringsNoSliderBack)
{
    show(3, 0);
    ASSERT_TRUE(isSliderShown());
    m_page->ChangeSplit(1);
    m_page->EnterFullScreen();
    m_page->ExitFullScreen();
    EXPECT_FALSE(isSliderShown());
}

TEST_F(RealPlayLensTest, DeviceOfTypeTwoIsSetAsChannelMinusOne)
{
    m_stub.outputs["CmdWithResult_Json"] = R"({"Ret":100,"OPSensorGet":[{"Times":2.5}]})";
    m_page->SetLoginInfo(5, 2);
    show(3, 0);
    ASSERT_TRUE(isSliderShown());
    EXPECT_EQ(slider()->maximum(), 70);
    m_page->ScaleSwitch(0, 5);
    EXPECT_EQ(m_stub.calls.back(), setting("2.5", "3.0", -1));
}

TEST_F(RealPlayLensTest, EmptyCellAsksAndSetsNothing)
{
    m_page->slot_GetScaleTwoLensAbility(0);
    m_page->slot_GetScaleTwoLensAbility(64);
    m_page->slot_SetScaleTwoLensTimes(1.0F, 0);
    m_page->slot_SetScaleTwoLensTimes(1.0F, -1);
    EXPECT_THAT(m_stub.calls, IsEmpty());
}
