#include "replay/replay.h"

#include "image/image.h"
#include "image/machine_ini.h"
#include "image/reg_file.h"
#include "platform/simulated/texts/unicode.h"
#include "support/host_files.h"
#include "support/images.h"
#include "support/machines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace replay {
namespace {

namespace fs = std::filesystem;
using test::FindImages;
using test::MakeTestName;
using test::ReadFile;

class Replay : public testing::Test {
  protected:
    Replay() {
        fs::create_directories(image_);
    }
    /// Writes a file of the image.
    void Write(const std::string& name, const std::string& bytes) {
        fs::create_directories((image_ / name).parent_path());
        std::ofstream(image_ / name, std::ios::binary) << bytes;
    }

    /// Runs saltrove-replay; its status, what it wrote, and what it complained of.
    int RunReplayWith(std::vector<std::string> arguments, bool isColoured = false) {
        arguments.insert(arguments.begin(), "saltrove-replay");
        std::ostringstream out;
        std::ostringstream err;
        const int status = RunReplay(arguments, out, err, isColoured);
        out_ = out.str();
        err_ = err.str();
        return status;
    }

    struct UnreadableFile {
        const char* file;
        const char* bytes;
        const char* error;
    };

    /// Each of the files, alone in an image, makes the image unreadable with its error.
    void ExpectUnreadable(const std::vector<UnreadableFile>& files) {
        for (const UnreadableFile& row : files) {
            fs::remove_all(image_);
            Write(row.file, row.bytes);
            const fs::path out = folder_ / "out";
            EXPECT_EQ(RunReplayWith({image_.string(), "--out", out.string()}), kExitBadImage);
            EXPECT_NE(err_.find(row.error), std::string::npos) << err_;
            EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 1) << err_;
            EXPECT_EQ(out_, "");
            EXPECT_FALSE(fs::exists(out));
        }
    }

    test::TemporaryFolder temporary_;
    const fs::path& folder_ = temporary_.path;
    const fs::path image_ = folder_ / "image";
    std::string out_;
    std::string err_;
};

/// Every file of a folder with its content, and every folder.
std::string TakeSnapshot(const fs::path& folder) {
    std::string text;
    std::vector<fs::path> paths(fs::recursive_directory_iterator(folder), {});
    std::sort(paths.begin(), paths.end());
    for (const fs::path& path : paths)
        text += path.lexically_relative(folder).string() + "\n" +
                (fs::is_regular_file(path) ? ReadFile(path) : "") + "\n";
    return text;
}

class Images : public Replay, public testing::WithParamInterface<fs::path> {};

TEST_P(Images, ReplayAsExpectedAndStayAsTheyAre) {
    const std::string name = GetParam().filename().string();
    const std::string before = TakeSnapshot(GetParam());
    const fs::path out = folder_ / "out";
    const int status = RunReplayWith({GetParam().string(), "--out", out.string()});
    EXPECT_EQ(out_, ReadFile(fs::path(SALTROVE_EXPECTED) / (name + ".txt")));
    EXPECT_EQ(status, out_.ends_with("Process exit code\n  1\n") ? 1 : 0);
    EXPECT_EQ(TakeSnapshot(GetParam()), before);

    // What was written is the machine after the run, and replays again.
    EXPECT_EQ(ReadFile(out / "registry.reg"),
              image::FormatRegFile(image::ReadImage(out).machine.registry));
    EXPECT_EQ(ReadFile(out / "machine.ini"),
              image::RewritePackages(ReadFile(GetParam() / "machine.ini"),
                                     image::ReadImage(out).machine.drive));
    EXPECT_EQ(ReadFile(out / "args.txt"), ReadFile(GetParam() / "args.txt"));
    const fs::path removed = "C/Windows/Installer/2f60d5.msp";
    EXPECT_EQ(fs::exists(out / removed), name != "incremental" && fs::exists(GetParam() / removed));
    EXPECT_EQ(RunReplayWith({out.string()}), status);
}

INSTANTIATE_TEST_SUITE_P(Samples, Images, testing::ValuesIn(FindImages(SALTROVE_SAMPLES)),
                         MakeTestName);
INSTANTIATE_TEST_SUITE_P(Tests, Images, testing::ValuesIn(FindImages(SALTROVE_IMAGES)),
                         MakeTestName);

TEST(ExpectedTexts, BelongToAnImageEach) {
    std::set<std::string> images;
    for (const char* folder : {SALTROVE_SAMPLES, SALTROVE_IMAGES}) {
        for (const fs::path& image : FindImages(folder))
            EXPECT_TRUE(images.insert(image.filename().string() + ".txt").second)
                << image << " has the name of a sample";
    }
    std::set<std::string> texts;
    for (const fs::directory_entry& entry : fs::directory_iterator(SALTROVE_EXPECTED))
        texts.insert(entry.path().filename().string());
    EXPECT_EQ(texts, images);
}

TEST_F(Replay, AnEmptyImageIsAMachineWithoutArguments) {
    EXPECT_EQ(RunReplayWith({image_.string()}), 1);
    EXPECT_NE(out_.find("The run log was off."), std::string::npos);
    EXPECT_NE(out_.find("Registry values\n  none changed\n"), std::string::npos);
    const std::string warning = "saltrove-replay: " + image_.string() + ": warning: ";
    EXPECT_EQ(err_,
              warning + "no registry export (*.reg): the machine knows no product\n" + warning +
                  "no folder C: the machine has no packages and no folder for a log\n" + warning +
                  "no arguments, neither in args.txt nor behind --: the run does nothing\n");
    EXPECT_EQ(RunReplayWith({image_.string(), "--", "{4D2E}", "1.0", "x", "y"}), 1);
    EXPECT_EQ(RunReplayWith({image_.string(), "--", "{4D2E}", ""}), 0);
    EXPECT_NE(out_.find("CurrentPatchVersion: (none) -> \"\"\n"), std::string::npos);
}

TEST_F(Replay, TellsOfALogThatCouldNotBeOpenedAndReadsExportsInOrder) {
    Write("a.reg", "Windows Registry Editor Version 5.00\n"
                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\Trunk\\Cleanup]\n"
                   "\"EnablePatchCleanuplog\"=dword:1\n\"ExitState\"=hex(1):41\n");
    // A later export wins, in name order without regard to letter case.
    Write("B.REG", "Windows Registry Editor Version 5.00\n"
                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kelvane\\Kelvane Ostrel\\Trunk\\Cleanup]\n"
                   "\"ExitState\"=dword:7\n");
    Write("args.txt", "{4D2E}\r\n\r\n");
    EXPECT_EQ(RunReplayWith({image_.string()}, true), 0);
    EXPECT_NE(out_.find("\x1B[1mRun log\x1B[0m\n  The run log was on, but "
                        "C:\\Windows\\Temp\\PatchCleanuplog.txt could not be opened.\n"),
              std::string::npos);
    EXPECT_NE(out_.find("ExitState: dword 7 -> dword 5\n"), std::string::npos) << out_;
}

TEST_F(Replay, AFileThatItsOwnerMayNotWriteIsReadOnlyOnTheMachine) {
    fs::copy(SALTROVE_SAMPLES "/cumulative", image_, fs::copy_options::recursive);
    const fs::path package = image_ / "C/Windows/Installer/10a3f8.msp";
    fs::permissions(package, fs::perms::owner_read);
    EXPECT_EQ(RunReplayWith({image_.string()}), 0);
    fs::permissions(package, fs::perms::owner_all);
    EXPECT_NE(out_.find("Error code: 5\n"), std::string::npos);
    EXPECT_NE(out_.find("next restart\n  C:\\Windows\\Installer\\10a3f8.msp\n"), std::string::npos);
}

TEST_F(Replay, AnImageThatCannotBeReadIsNamedAndNothingIsWritten) {
    ExpectUnreadable({{"a.reg", "x", "a.reg:1: the first line is not"},
                      {"machine.ini", "[x]", "machine.ini:1: \"[x]\" is not a section\n"},
                      {"args.txt", "a\n\xFF\n", "args.txt:2: invalid UTF-8\n"},
                      {"machine.ini/x", "", "machine.ini: not a file that can be read\n"},
                      {"C", "", "C: "}});
    EXPECT_EQ(RunReplayWith({(folder_ / "none").string()}), kExitBadImage);
    EXPECT_NE(err_.find("none: not a folder"), std::string::npos);
}

#ifndef _WIN32
TEST_F(Replay, WhatTheHostCannotReadIsNeverAnAnswerOfTheMachine) {
    fs::create_directory(image_ / "c");
    RunReplayWith({image_.string()});
    EXPECT_NE(err_.find("c is not read: drive C: is the folder C\n"), std::string::npos) << err_;
    fs::create_symlink("nowhere", image_ / "machine.ini");
    EXPECT_EQ(RunReplayWith({image_.string()}), kExitBadImage);
    EXPECT_NE(err_.find("machine.ini: a link to nothing\n"), std::string::npos) << err_;
    fs::remove_all(image_);
    fs::copy(SALTROVE_SAMPLES "/incremental", image_, fs::copy_options::recursive);
    const fs::path package = image_ / "C/Windows/Installer/5a01c3.msp";
    fs::permissions(package, fs::perms::none);
    // The superuser may read everything, and nobody is not the superuser.
    const bool isSuperuser = ::geteuid() == 0 && ::seteuid(65534) == 0;
    const fs::path out = folder_ / "out";
    const int status = RunReplayWith({image_.string()});
    const int pilotStatus = RunReplayWith({image_.string(), SALTROVE_SAMPLES "/incremental"});
    ASSERT_TRUE(!isSuperuser || ::seteuid(0) == 0);
    EXPECT_EQ(status, kExitBadImage);
    EXPECT_EQ(pilotStatus, kExitBadImage);
    EXPECT_EQ(err_, "saltrove-replay: " + package.string() + ": Permission denied\n");
    EXPECT_NE(out_.find("not readable "), std::string::npos);
    fs::permissions(package, fs::perms::owner_all);
}

TEST_F(Replay, AFailedOutTakesAwayWhatItBegan) {
    const std::string image = SALTROVE_SAMPLES "/incremental";
    const fs::path out = folder_ / "new/out";
    const fs::path empty = folder_ / "empty";
    fs::create_directory(empty);
    // No file may get longer than this, as on a disk that is full.
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit little{1000, before.rlim_max};
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &little);
    const int status = RunReplayWith({image, "--out", out.string()});
    const std::string error = err_;
    const int secondStatus = RunReplayWith({image, "--out", empty.string()});
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(status, kExitCannotWrite);
    EXPECT_EQ(error, "saltrove-replay: the image after the run cannot be written: " +
                         (out / "registry.reg").string() + ": File too large\n");
    EXPECT_FALSE(fs::exists(folder_ / "new"));
    EXPECT_EQ(secondStatus, kExitCannotWrite);
    EXPECT_TRUE(fs::is_empty(empty));
}
#endif

TEST_F(Replay, AFileThatNoWindowsMachineCanHaveIsNamed) {
    if (fs::path::preferred_separator == '\\')
        GTEST_SKIP() << "such files cannot be made here";
    ExpectUnreadable({{"C/\xE9.msp", "", "the file name is not UTF-8\n"},
                      {"C/a\\b", "", "/C/a\\b: the file name is none that Windows can have\n"},
                      {"C/a\nb", "", "/C/a\\x0Ab: the file name is none that Windows can have\n"},
                      {"C/a.msp.", "", "/C/a.msp.: the file name is none that Windows can have\n"},
                      {"\xFF.reg", "", "the file name is not UTF-8\n"}});
    fs::remove_all(image_);
    Write("C/x/a.msp", "");
    Write("C/X/b.msp", "");
    EXPECT_EQ(RunReplayWith({image_.string()}), kExitBadImage);
    EXPECT_NE(err_.find("differs in letter case only"), std::string::npos);
    fs::remove_all(image_ / "C/X");
    fs::create_symlink("/", image_ / "C/link");
    EXPECT_EQ(RunReplayWith({image_.string()}), kExitBadImage);
    EXPECT_NE(err_.find("C/link: a symbolic link"), std::string::npos);
}

TEST_F(Replay, DoubtsAnImageThatMayNotBeWhatWasMeant) {
    const std::string product = "{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}";
    fs::copy(SALTROVE_SAMPLES "/incremental", image_, fs::copy_options::recursive);
    EXPECT_EQ(RunReplayWith({image_.string()}), 0);
    EXPECT_EQ(err_, "");
    Write("exports/deep/a.REG", "");
    Write("policy.reg.txt", "");
    const struct {
        std::string argument;
        std::string doubt;
    } cases[] = {
        {product, "exports/deep/a.REG is not read"},
        {product, "policy.reg.txt is not read"},
        {"{5b7a90e1-4D2E-4C19-8A54-EC83016FC300}", "EC83016FC300}\" is " + product + " on this"},
        {"{5B7A90E1-4D2E-4C19-8A54-EC83016FC301}", "of no product that this machine knows"},
        {"5B7A90E1-4D2E-4C19-8A54-EC83016FC300", "is no GUID in braces"},
    };
    for (const auto& row : cases) {
        RunReplayWith({image_.string(), "--", row.argument, "1.0"});
        EXPECT_NE(err_.find(row.doubt), std::string::npos) << row.doubt << "\n" << err_;
        EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), row.argument == product ? 2 : 3);
    }
}

TEST_F(Replay, RehearsesWithTheLogOnAForcedRunOrAnotherTime) {
    const std::string image = SALTROVE_SAMPLES "/too-recent";
    const std::string state = "ExitState: (none) -> dword ";
    const struct {
        std::vector<std::string> options;
        std::string text;
    } cases[] = {{{}, state + "4\n"},
                 {{"--force"}, state + "0\n"},
                 {{"--now", "2030-01-01T00:00:00Z"}, state + "5\n"},
                 {{"--now", "2030-01-01T00:00:00.5Z"}, ""},
                 {{"--now", "2030-01-01T00:00:00.500Z"}, "[2030-01-01 "}};
    for (const auto& row : cases) {
        std::vector<std::string> arguments = row.options;
        arguments.push_back(image);
        EXPECT_EQ(RunReplayWith(arguments), row.text.empty() ? kExitUsage : 0);
        EXPECT_NE(out_.find(row.text), std::string::npos) << row.text << out_;
    }
    // The log's switch and folder are part of the machine; the run did not change them.
    fs::copy(SALTROVE_IMAGES "/log-off", image_, fs::copy_options::recursive);
    fs::remove_all(image_ / "C/Windows/Temp");
    EXPECT_EQ(RunReplayWith({"--log", image_.string()}), 0);
    EXPECT_NE(out_.find("Exit State: 0 (Success)\n"), std::string::npos) << out_;
    EXPECT_EQ(out_.find("EnablePatchCleanuplog"), std::string::npos);
}

TEST_F(Replay, SumsUpSeveralImages) {
    const std::string samples = SALTROVE_SAMPLES;
    const std::string images = SALTROVE_IMAGES;
    EXPECT_EQ(RunReplayWith({samples + "/incremental", images + "/orphans-simulated",
                             images + "/five-arguments", folder_.string() + "/none",
                             samples + "/too-recent", images + "/damaged-other-product"}),
              kExitBadImage);
    EXPECT_EQ(err_, "saltrove-replay: " + folder_.string() + "/none: not a folder\n");
    std::vector<std::string> lines;
    std::istringstream table(out_);
    for (std::string line; std::getline(table, line);) {
        // Columns are two blanks or more apart.
        std::string cells;
        for (const char character : line.substr(0, line.rfind("  ")))
            if (character != ' ' || cells.empty() || cells.back() != ' ')
                cells += character;
        lines.push_back(cells);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{
                  "state kept deleted at restart orphans bytes now bytes at restart",
                  "0 done 6 3 1 2 10752 3584", "0 done, simulated 1 4 0 4 14336 0",
                  "no run 0 0 0 0 0 0", "not readable 0 0 0 0 0 0", "4 too recent 2 0 0 0 0 0",
                  "0 done 0 3 0 2 10752 0", "sum 9 10 1 8 35840 3584"}));
}

TEST_F(Replay, AWrongCommandLineGivesTheUsage) {
    const std::string image = image_.string();
    Write("args.txt", "x");
    const struct {
        std::vector<std::string> arguments;
        std::string error;
    } cases[] = {
        {{}, "IMAGE is missing"},
        {{"--", "a"}, "IMAGE is missing"},
        {{image, image, "--out", "x"}, "--out and --explain are for one IMAGE alone"},
        {{image, "--now"}, "--now needs a value"},
        {{image, "--log=1"}, "--log=1 takes no value"},
        {{image, "--now", "2026-02-29T00:00:00Z"}, "(such as 2026-11-18T07:37:42Z)"},
        {{image, "--log"},
         "--log: the product code \"x\" names no product, and the log's switch "
         "is a value of the product's"},
        {{image, "--force"},
         "--force: the product code \"x\" is of no known release track, for "
         "which there is no policy"},
        {{image, "--out"}, "--out needs a value"},
        {{image, "--out", "--", "a"}, "--out needs a value"},
        {{image, "--format"}, "--format needs a value"},
        {{image, "--format", "json"}, "--format needs --explain"},
        {{image, "--explain", "--format", "xml"}, "--format: \"xml\" is not text, json or html"},
        {{image, "--frobnicate"}, "--frobnicate is not an option"},
        {{image, "-xy"}, "-x is not an option"},
        {{image, "--out", ""}, "the name of the folder is empty"},
        {{image, "--", "\xFF"}, "an argument of the run is not UTF-8"},
        {{image, "--out", image}, "is not empty"},
        {{image, "--out", image + "/args.txt"}, "is not a folder"},
        {{image, "--out", image + "/new"}, "lies inside the image"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(RunReplayWith(row.arguments), kExitUsage) << row.error;
        EXPECT_NE(err_.find(row.error + "\nusage: saltrove-replay [OPTION...] IMAGE"),
                  std::string::npos)
            << err_;
        EXPECT_EQ(out_, "");
    }
    EXPECT_EQ(TakeSnapshot(image_), "args.txt\nx\n");
}

TEST_F(Replay, TellsHelpAndVersion) {
    EXPECT_EQ(RunReplayWith({"--help"}), 0);
    EXPECT_TRUE(out_.starts_with("usage: saltrove-replay [OPTION...] IMAGE... [-- ARGUMENT...]\n"));
    EXPECT_EQ(RunReplayWith({"--version"}), 0);
    EXPECT_TRUE(out_.starts_with("saltrove-replay 0."));
    EXPECT_EQ(err_, "");
}

}  // namespace
}  // namespace replay
