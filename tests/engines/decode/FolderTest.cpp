// Files in folders that are not named in ASCII. Paths go to the library in the local 8-bit encoding; where that does
// not know a name the test is skipped, and runs in a process of its own with an encoding that does.
#include "Environment.h"
#include "Player.h"

#include <algorithm>

using namespace clip;
namespace fs = std::filesystem;

namespace
{

struct Named {
    const char* test;
    fs::path name;
};

class FolderTest : public ScreenTest, public testing::WithParamInterface<Named>
{
protected:
    FolderTest() : m_below(m_folder.path() / GetParam().name / GetParam().name)
    {
        Spec spec;
        spec.frames = 20;
        spec.keyEvery = 10;
        m_units = numbered(spec);
    }
    void SetUp() override
    {
        if (localPathText(GetParam().name).empty())
            GTEST_SKIP() << "the local encoding does not know this name";
    }

    /// A file in a folder that does not exist yet.
    std::string named(const char* ending) const
    {
        return localPathText(m_below / (GetParam().name.u8string() + reinterpret_cast<const char8_t*>(ending)));
    }
    std::vector<fs::path> files() const
    {
        std::vector<fs::path> found;
        for (const auto& entry : fs::recursive_directory_iterator(m_folder.path()))
            if (entry.is_regular_file() && entry.file_size() > 0)
                found.push_back(entry.path());
        return found;
    }
    fs::path expected(const char* ending) const
    {
        return m_below / (GetParam().name.u8string() + reinterpret_cast<const char8_t*>(ending));
    }
    void record(const std::string& path)
    {
        Player player;
        ASSERT_EQ(LUMODEC_StartDataRecord(player.port(), path.c_str(), LUMODEC_RECORD_RAW), 1);
        player.feed(m_units);
        ASSERT_TRUE(eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; }));
        EXPECT_EQ(LUMODEC_StopDataRecord(player.port()), 1);
    }
    static void opens(const std::string& path)
    {
        const int port = Player::freePort();
        EXPECT_EQ(LUMODEC_OpenFile(port, path.c_str()), 1);
        LUMODEC_CloseFile(port);
    }

    TempFolder m_folder;
    const fs::path m_below;
    std::vector<Unit> m_units;
};

} // namespace

TEST_P(FolderTest, ASnapshotIsThere)
{
    Player player;
    player.feed(m_units);
    ASSERT_TRUE(eventually([&] { return LUMODEC_GetCurrentFrameTime(player.port()) != 0; }));
    ASSERT_EQ(LUMODEC_CatchPicture(player.port(), named(".bmp").c_str(), 0), 1);
    EXPECT_EQ(files(), std::vector{expected(".bmp")});
}

TEST_P(FolderTest, ARecordingIsThereAndOpens)
{
    record(named(".h265x"));
    EXPECT_EQ(files(), std::vector{expected(".h265x")});
    opens(named(".h265x"));
}

TEST_P(FolderTest, AConvertedFileIsThereAndOpens)
{
    record(named(".h265x"));
    static std::atomic<bool> done;
    done = false;
    const auto tell = [](long at, long total, intptr_t) { done = done || at == total; };
    ASSERT_GT(LUMODEC_ConvertFile(named(".h265x").c_str(), named(".avi").c_str(), LUMODEC_RECORD_AVI, tell, 0), 0);
    ASSERT_TRUE(eventually([] { return done.load(); }));
    auto found = files();
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector{expected(".avi"), expected(".h265x")}));
    opens(named(".avi"));
}

// The bytes of the second name are text in UTF-8 as well, another one; the third holds the byte of a backslash.
INSTANTIATE_TEST_SUITE_P(, FolderTest,
                         testing::Values(Named{"Cyrillic", u8"Записи"}, Named{"Chinese", u8"模某"},
                                         Named{"ChineseWithABackslash", u8"录像乗"}),
                         [](const auto& info) { return std::string(info.param.test); });
