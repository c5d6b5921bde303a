// The program from its arguments to its output, with a user at the keyboard.
#include "PickerRunner.h"

#include <gtest/gtest.h>

#include <QFileInfo>

#include <ostream>

using lumo::test::PickerRunner;

namespace
{

class Picker : public testing::Test
{
protected:
    PickerRunner picker_;
};

struct FolderMode {
    const char* number;
    const char* setting;
};

void PrintTo(const FolderMode& mode, std::ostream* out)
{
    *out << mode.number;
}

class PickerFolder : public Picker, public testing::WithParamInterface<FolderMode>
{
};

class PickerFile : public Picker, public testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_P(PickerFolder, PrintsTheChosenFolderInUtf8WithoutALineEnd)
{
    const auto [mode, key] = GetParam();
    const QString folder = picker_.makeFolder(QString::fromUtf8("Übersicht 映像/front door"));
    // The keyboard has no such letters: the dialog opens in the folder that bears them.
    picker_.setFolder(key, QFileInfo(folder).path());
    picker_.start({mode, "0"});
    picker_.title();
    picker_.key("ctrl+a");
    picker_.type("front door");
    picker_.key("Return");
    const auto [code, output, errors] = picker_.result();
    EXPECT_EQ(code, 0) << errors.toStdString();
    EXPECT_EQ(output.toStdString(), folder.toUtf8().toStdString());
}

INSTANTIATE_TEST_SUITE_P(Modes, PickerFolder,
                         testing::Values(FolderMode{"0", "Path/RecPath"}, FolderMode{"1", "Path/CapPath"},
                                         FolderMode{"2", "Path/DownPath"}));

TEST_P(PickerFile, PrintsTheChosenFileInUtf8WithoutALineEnd)
{
    const QString folder = picker_.makeFolder(QString::fromUtf8("home/größer"));
    const QString file = picker_.makeFile(QString::fromUtf8("home/größer/front door.bin"));
    picker_.setHome(folder);
    picker_.start({GetParam(), "1"});
    picker_.title();
    picker_.key("ctrl+a");
    picker_.type("front door.bin");
    picker_.key("Return");
    const auto [code, output, errors] = picker_.result();
    EXPECT_EQ(code, 0) << errors.toStdString();
    EXPECT_EQ(output.toStdString(), file.toUtf8().toStdString());
}

INSTANTIATE_TEST_SUITE_P(Modes, PickerFile, testing::Values("3", "4", "5"));

TEST_F(Picker, AUserWhoCancelsGetsNothingPrintedAndExitCodeZero)
{
    for (const char* mode : {"0", "3"}) {
        picker_.start({mode, "1"});
        picker_.title();
        picker_.key("Escape");
        const auto [code, output, errors] = picker_.result();
        EXPECT_EQ(code, 0) << errors.toStdString();
        EXPECT_EQ(output.toStdString(), "");
    }
}

TEST_F(Picker, AFileThatIsNotThereIsNotTaken)
{
    picker_.start({"5", "1"});
    picker_.title();
    picker_.key("ctrl+a");
    picker_.type(picker_.folder() + "/nothing.bin");
    picker_.key("Return");
    picker_.awaitMessage();
    picker_.key("Escape"); // it goes, the dialog stays
    picker_.title();
    picker_.key("Escape");
    const auto [code, output, errors] = picker_.result();
    EXPECT_EQ(code, 0) << errors.toStdString();
    EXPECT_EQ(output.toStdString(), "");
}

TEST_F(Picker, TheTitleSaysWhatIsAskedFor)
{
    picker_.start({"4", "1"});
    EXPECT_TRUE(picker_.title().startsWith("Choose a firmware file"));
    picker_.key("Escape");
    EXPECT_EQ(picker_.result().exitCode, 0);
}

TEST_F(Picker, AModeThatDoesNotExistIsRefusedAtOnce)
{
    picker_.start({"7", "1"});
    const auto [code, output, errors] = picker_.result();
    EXPECT_EQ(code, 2);
    EXPECT_EQ(output.toStdString(), "");
    EXPECT_NE(errors.toStdString().find("0 to 5"), std::string::npos);
}

TEST_F(Picker, GoesWithTheProgramThatAsked)
{
    picker_.start({"0", "0"});
    picker_.title();
    picker_.askerGoes();
    const auto [code, output, errors] = picker_.result();
    EXPECT_EQ(code, 0) << errors.toStdString();
    EXPECT_EQ(output, "");
}
