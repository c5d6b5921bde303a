// The rubber band's pen and draw contexts, where they are counted.
#include "platform/null/NullWindows.h"
#include "surface/PlayWindowManage.h"

#include <gtest/gtest.h>

#include <memory>

using namespace platform;

TEST(PlayWindowBand, ThePenIsMadeAtItsFirstUseServesAllBandsAndGoesWithTheGrid)
{
    constexpr WindowHandle kWindow = 0x7000001;
    null::reset();
    null::add(kWindow, null::SWindow());
    const int nPens = null::penCount();
    const int nContexts = null::drawContextCount();
    auto pGrid = std::make_unique<CPlayWindowManage>(nullptr);
    EXPECT_EQ(null::penCount(), nPens);
    for (int i = 0; i < 2; ++i) {
        pGrid->onRectanglePoint(reinterpret_cast<void*>(kWindow), {10, 20}, {30, 40});
        EXPECT_EQ(null::penCount(), nPens + 1);
        EXPECT_EQ(null::drawContextCount(), nContexts);
    }
    pGrid.reset();
    EXPECT_EQ(null::penCount(), nPens);
}
