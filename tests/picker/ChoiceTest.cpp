// Which dialog a mode gets, and where it opens.
#include "Choice.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

using namespace lumo::picker;

namespace
{

class PickerChoice : public testing::Test
{
protected:
    Choice choice(int mode) { return choiceOf(QString::number(mode), m_file).value(); }
    void set(const char* key, const QString& path)
    {
        QSettings settings(m_file, QSettings::IniFormat);
        settings.setIniCodec("System");
        settings.setValue(key, path);
    }
    QString folder(const QString& name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.path() + "/" + name;
    }

    QTemporaryDir m_dir;
    QString m_file = m_dir.path() + "/ClientCfg.ini";
};

} // namespace

TEST_F(PickerChoice, ModesZeroToTwoAskForFoldersAndThreeToFiveForFiles)
{
    for (int mode = 0; mode <= 5; ++mode) {
        EXPECT_EQ(choice(mode).folder, mode <= 2) << mode;
        EXPECT_EQ(choice(mode).filters.isEmpty(), mode <= 2) << mode;
    }
}

TEST_F(PickerChoice, EachModeSaysWhatItIsFor)
{
    QStringList titles;
    for (int mode = 0; mode <= 5; ++mode) {
        titles << choice(mode).title;
    }
    EXPECT_EQ(titles.removeDuplicates(), 0);
    EXPECT_TRUE(choice(3).filters.first().contains("*.h265x"));
    EXPECT_TRUE(choice(3).filters.first().contains("*.avi"));
    EXPECT_TRUE(choice(4).filters.first().contains("*.bin"));
}

TEST_F(PickerChoice, AnyFileCanBeChosenInTheFileModes)
{
    for (int mode = 3; mode <= 5; ++mode) {
        EXPECT_TRUE(choice(mode).filters.contains("All files (*)")) << mode;
    }
}

TEST_F(PickerChoice, WhatIsNoModeAsksForNothing)
{
    for (const char* mode : {"", "6", "-1", "x", "3x", "99999999999"}) {
        EXPECT_FALSE(choiceOf(mode, m_file)) << mode;
    }
}

TEST_F(PickerChoice, TheFolderModesBeginWhereTheViewerKeepsSuchFiles)
{
    const char* const keys[] = {"Path/RecPath", "Path/CapPath", "Path/DownPath"};
    for (int mode = 0; mode < 3; ++mode) {
        const QString path = folder(QString::fromUtf8("Gärten %1").arg(mode));
        set(keys[mode], path);
        EXPECT_EQ(choice(mode).startFolder.toStdString(), path.toStdString());
    }
}

TEST_F(PickerChoice, ARecordingIsSoughtAmongTheDownloadsAndElseAmongTheClips)
{
    set("Path/RecPath", folder("clips"));
    set("Path/DownPath", m_dir.path() + "/not there");
    EXPECT_EQ(choice(3).startFolder, m_dir.path() + "/clips");
    set("Path/DownPath", folder("downloads"));
    EXPECT_EQ(choice(3).startFolder, m_dir.path() + "/downloads");
}

TEST_F(PickerChoice, AFolderThatIsNotThereYetGivesTheNearestAboveIt)
{
    set("Path/RecPath", folder("viewer") + "/Device/Record");
    EXPECT_EQ(choice(0).startFolder, m_dir.path() + "/viewer");
}

TEST_F(PickerChoice, WithoutAFolderInTheSettingsItBeginsAtHome)
{
    EXPECT_EQ(choice(0).startFolder, QDir::homePath());
    EXPECT_EQ(choice(4).startFolder, QDir::homePath());
    set("Path/RecPath", "/no such folder at all");
    EXPECT_EQ(choice(0).startFolder, QDir::homePath());
    set("Path/RecPath", "relative/folder");
    EXPECT_EQ(choice(0).startFolder, QDir::homePath());
}
