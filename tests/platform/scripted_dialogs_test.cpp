#include "platform/qt/qt_services.h"
#include "platform/scripted/scripted_dialogs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace platform;

TEST(ScriptedDialogs, AnswersInOrderAndRecordsEveryBox) {
    ScriptedDialogs d;
    d.answer(vbNo);
    d.answerFile(std::string("/songs/a.kar"));
    d.answerFile(std::nullopt);
    EXPECT_EQ(d.msgBox("Exit ?", vbYesNo | vbInformation, "Velvora Synth"), vbNo);
    EXPECT_EQ(d.openFile({"Load File", "Files|*.mid", "/songs", "", "", 0x81004}), "/songs/a.kar");
    EXPECT_FALSE(d.openFile({"Load File", "Files|*.mid", "", "", "", 0}).has_value());
    ASSERT_EQ(d.shown().size(), 3u);
    EXPECT_EQ(d.shown()[0].caption, "Velvora Synth");
    EXPECT_EQ(d.shown()[0].style, 68);
    EXPECT_EQ(d.shown()[1].style, 0x81004);
    EXPECT_EQ(d.shown()[1].initialFolder, "/songs");
    EXPECT_TRUE(d.unexpected().empty());
    EXPECT_TRUE(d.allAnswersUsed());
}

TEST(ScriptedDialogs, AnUnansweredBoxIsUnexpectedAndGetsItsDefault) {
    ScriptedDialogs d;
    EXPECT_EQ(d.msgBox("Crea NVK(SI)  Crea Wave(NO) ", vbYesNoCancel, "RECORDER"), vbCancel);
    EXPECT_EQ(d.msgBox("Exit ?", vbYesNo, "Velvora"), vbNo);
    EXPECT_EQ(d.msgBox("Done!", vbOKOnly, "Velvora"), vbOK);
    EXPECT_EQ(d.inputBox("Folder to extract to...", "", ""), "");
    EXPECT_EQ(d.unexpected().size(), 4u);
}

TEST(QtFilter, TranslatesTheClassicFilterText) {
    EXPECT_EQ(qtFilter("Files (mid/midi/kar/mp3/NVK/wav)|*.mid;*.midi;*.kar;*.mp3;*.NVK;*.wav"),
              "Files (mid/midi/kar/mp3/NVK/wav) (*.mid *.midi *.kar *.mp3 *.NVK *.wav)");
    EXPECT_EQ(qtFilter("Wave Files (*.wav)|*.wav|Mp3 Files (*.mp3)|*.mp3"),
              "Wave Files (*.wav) (*.wav);;Mp3 Files (*.mp3) (*.mp3)");
    EXPECT_EQ(qtFilter(""), "");
    EXPECT_EQ(qtFilter("dangling|"), "dangling ()");
}

TEST(AppFolder, FallsBackToTheUserFolderWhenTheProgramFolderIsReadOnly) {
    namespace fs = std::filesystem;
    const fs::path base = fs::temp_directory_path() / ("velvora-appfolder-" + std::to_string(getpid()));
    fs::create_directories(base / "exe");
    EXPECT_EQ(chooseAppFolder((base / "exe").string(), (base / "user").string()), (base / "exe").string());
    chmod((base / "exe").c_str(), 0555);
    const bool rootIgnoresModes = access((base / "exe").c_str(), W_OK) == 0;
    if (!rootIgnoresModes) {
        EXPECT_EQ(chooseAppFolder((base / "exe").string(), (base / "user").string()),
                  (base / "user").string());
        EXPECT_TRUE(fs::is_directory(base / "user"));
    }
    // A folder that does not exist cannot be written either.
    EXPECT_EQ(chooseAppFolder((base / "missing").string(), (base / "user2").string()),
              (base / "user2").string());
    chmod((base / "exe").c_str(), 0755);
    fs::remove_all(base);
}

TEST(AppFolder, AnInstalledProgramKeepsItsFilesInTheUserFolderEvenWhenItsOwnCouldBeWritten) {
    namespace fs = std::filesystem;
    const fs::path base = fs::temp_directory_path() / ("velvora-installed-" + std::to_string(getpid()));
    const fs::path bin = base / "prefix" / "bin";
    fs::create_directories(bin);
    EXPECT_FALSE(installedProgram(bin.string()));
    EXPECT_EQ(chooseAppFolder(bin.string(), (base / "user").string()), bin.string());

    // The install puts the desktop entry in place; the program then counts as installed.
    const fs::path entry = bin / VELVORA_INSTALLED_ENTRY;
    fs::create_directories(entry.parent_path());
    std::ofstream(entry) << "[Desktop Entry]\n";
    EXPECT_TRUE(installedProgram(bin.string()));
    EXPECT_EQ(chooseAppFolder(bin.string(), (base / "user").string()), (base / "user").string());
    EXPECT_TRUE(fs::is_directory(base / "user"));
    EXPECT_EQ(std::distance(fs::directory_iterator(bin), fs::directory_iterator()), 0)
        << "nothing is made in the installed program's folder";
    fs::remove_all(base);
}

} // namespace
