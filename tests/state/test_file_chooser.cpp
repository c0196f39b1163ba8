// The external dialog program: a stand-in "zenity" script on PATH answers as the real one does
// (the path on stdout, exit 1 on cancel), and the chooser must neither block nor lose it.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "ExternalFileChooser.h"

namespace fs = std::filesystem;

namespace {

class ChooserTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tessarine-chooser-XXXXXX";
        folder = mkdtemp(pattern);
        oldPath = std::getenv("PATH");
        setenv("PATH", folder.c_str(), 1);
    }
    void TearDown() override {
        setenv("PATH", oldPath.c_str(), 1);
        fs::remove_all(folder);
    }
    // A dialog program that records its arguments, waits a little, and answers.
    void writeProgram(const std::string& name, const std::string& answer, int exitCode) {
        const std::string path = folder + "/" + name;
        std::ofstream(path) << "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" << folder << "/args'\n/bin/sleep 0.2\n"
                            << "printf '" << answer << "\\n'\nexit " << exitCode << "\n";
        fs::permissions(path, fs::perms::owner_all);
    }
    std::string args() {
        std::ifstream in(folder + "/args");
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    // Pumps as the editor's idle would until the answer arrives.
    bool pumpUntilDone(ExternalFileChooser& chooser) {
        for (int i = 0; i < 500; ++i) {
            if (chooser.pump()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    std::string folder, oldPath;
};

}  // namespace

TEST_F(ChooserTest, SaveDialogAnswersLaterWithThePath) {
    writeProgram("zenity", "/music/My bank.tsb", 0);
    ExternalFileChooser chooser;
    ASSERT_EQ(chooser.program(), folder + "/zenity");
    std::string chosen = "none";
    int calls = 0;
    FileRequest request{true, "Choose destination filename", "/home/u/Desktop/Tessarine bank.tsb", "tsb"};
    chooser.choose(request, [&](const std::string* path) {
        ++calls;
        chosen = path ? *path : "cancelled";
    });
    EXPECT_EQ(calls, 0);  // the call returned while the dialog is open
    EXPECT_TRUE(chooser.isOpen());
    // A second request meanwhile is cancelled at once and leaves the first alone.
    bool secondCancelled = false;
    chooser.choose(request, [&](const std::string* path) { secondCancelled = path == nullptr; });
    EXPECT_TRUE(secondCancelled);

    ASSERT_TRUE(pumpUntilDone(chooser));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(chosen, "/music/My bank.tsb");
    EXPECT_EQ(args(), "--file-selection\n--save\n--confirm-overwrite\n--title=Choose destination filename\n"
                      "--filename=/home/u/Desktop/Tessarine bank.tsb\n--file-filter=*.tsb\n");
}

TEST_F(ChooserTest, CancelAndMissingProgramAnswerNull) {
    writeProgram("kdialog", "", 1);
    ExternalFileChooser chooser;
    ASSERT_EQ(chooser.program(), folder + "/kdialog");
    bool cancelled = false;
    chooser.choose({false, "Select preset file", "/home/u", "tsi"}, [&](const std::string* p) { cancelled = !p; });
    ASSERT_TRUE(pumpUntilDone(chooser));
    EXPECT_TRUE(cancelled);
    EXPECT_EQ(args(), "--getopenfilename\n/home/u\n*.tsi\n--title\nSelect preset file\n");

    fs::remove(folder + "/kdialog");
    ExternalFileChooser none;
    EXPECT_TRUE(none.program().empty());
    cancelled = false;
    none.choose({false, "Select preset bank", "/home/u", "tsb"}, [&](const std::string* p) { cancelled = !p; });
    EXPECT_TRUE(cancelled);
}
