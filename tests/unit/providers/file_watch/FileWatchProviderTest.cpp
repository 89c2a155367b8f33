#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using velm::test::FileWatchTest;
using velm::test::lineOf;
using velm::test::Report;
using velm::test::TemporaryFolder;
using velm::test::write;

namespace {

TEST_F(FileWatchTest, ReportsAFileAndItsContainmentFromLoadOn) {
    write(file("old"), "x");
    load();
    write(file("new"));
    EXPECT_THAT(allLinesAfterSync(),
                ElementsAre("Creation CIM_DataFile new", "Creation CIM_DirectoryContainsFile new"));
    fs::remove(file("new"));
    fs::remove(file("old"));
    EXPECT_THAT(allLinesAfterSync(),
                ElementsAre("Destruction CIM_DirectoryContainsFile new", "Destruction CIM_DataFile new",
                            "Destruction CIM_DirectoryContainsFile old", "Destruction CIM_DataFile old"));
}

TEST_F(FileWatchTest, ReportsWhatAFileIs) {
    load();
    const fs::path staged = folder().string() + ".staged";
    write(staged, "five.");
    fs::permissions(staged, fs::perms::owner_read | fs::perms::owner_exec);
    fs::rename(staged, file("tool"));
    ASSERT_TRUE(observer().waitFor([](const Report& r) { return r.className() == "CIM_DataFile"; }));
    const Report report = observer().reports().front();
    EXPECT_EQ(report.property("FileSize"), "5");
    EXPECT_EQ(report.property("Readable"), "TRUE");
    EXPECT_EQ(report.property("Writeable"), "FALSE");
    EXPECT_EQ(report.property("Executable"), "TRUE");
    EXPECT_THAT(report.property("LastModified"), AllOf(HasSubstr("."), HasSubstr("+000")));
    EXPECT_EQ(report.property("Name"), file("tool"));
    EXPECT_EQ(report.key("Name"), file("tool"));
    EXPECT_EQ(report.property("CreationClassName"), "CIM_DataFile");
}

TEST_F(FileWatchTest, TellsWhichDirectoriesItWatches) {
    load(folder().string() + ":" + file("missing").string());
    EXPECT_THAT(provider().watched(),
                ElementsAre(folder().string(), file("missing").string() + " (not there)"));
}

TEST_F(FileWatchTest, LoadsAndWatchesNothing_WhenTheArgumentIsEmpty) {
    load("");
    EXPECT_EQ(_log.count("There is no directory to watch"), 1u);
    EXPECT_THAT(kernelMasks(), IsEmpty());
}

TEST_F(FileWatchTest, WatchesEachDirectoryOfTheArgument) {
    const TemporaryFolder second;
    load(folder().string() + "/:" + second.path().string() + ":");
    write(second.path() / "b");
    EXPECT_THAT(linesAfterSync(second.path()), ElementsAre("Creation CIM_DataFile b"));
    write(file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Creation CIM_DataFile a"));
}

TEST_F(FileWatchTest, WatchesTheOthers_WhenADirectoryIsMissing) {
    write(file("plain"));
    load(folder().string() + "/missing:" + file("plain").string() + ":" + folder().string());
    for (const char* name : {"missing", "plain"}) {
        EXPECT_EQ(_log.count("There is no directory '" + file(name).string() + "'; waiting for it"), 1u);
    }
    write(file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Creation CIM_DataFile a"));
}

TEST_F(FileWatchTest, WarnsOfADirectoryThatIsNamedTwice) {
    load(folder().string() + ":" + folder().string() + "/.");
    EXPECT_EQ(_log.count("The directory '" + folder().string() + "' is named twice"), 1u);
    EXPECT_EQ(kernelMasks().size(), 1u);
}

TEST_F(FileWatchTest, WatchesADirectoryOnce_WhenItIsGivenUnderTwoPaths) {
    const TemporaryFolder other;
    const fs::path alias = other.path() / "alias";
    fs::create_directory_symlink(folder(), alias);
    load(folder().string() + ":" + alias.string());
    EXPECT_EQ(_log.count("Left out a directory: cannot watch '" + alias.string() +
                         "' (it is watched already): File exists"),
              1u);
    EXPECT_EQ(kernelMasks().size(), 1u);
    EXPECT_EQ(provider().enumerateInstanceNames(nameSpace, "CIM_Directory", nullptr)->entries(), 1u);
    write(file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Creation CIM_DataFile a"));
}

TEST_F(FileWatchTest, LeavesOtherDirectoriesAlone_WhenALinkToOneIsTurnedToThem) {
    const TemporaryFolder other;
    const fs::path link = other.path() / "link";
    fs::create_directory(other.path() / "first");
    fs::create_directory_symlink(other.path() / "first", link);
    load(link.string() + ":" + folder().string());
    fs::remove(link);
    fs::create_directory_symlink(folder(), link);
    EXPECT_TRUE(start(fileName(link / "a"), IOrvoIndication::IndicationChange));
    write(file("a"));
    ASSERT_TRUE(
        observer().waitFor([](const Report& report) { return report.className() == "CIM_Directory"; }));
    EXPECT_THAT(linesAfterSync(),
                UnorderedElementsAre("Destruction CIM_Directory link", "Creation CIM_DataFile a"));
    EXPECT_EQ(kernelMasks().size(), 1u);
    EXPECT_EQ(_log.count("The directory '" + link.string() + "' is gone"), 1u);
}

TEST_F(FileWatchTest, ReportsARenameAsDestructionAndCreation) {
    load();
    write(file("a"));
    linesAfterSync();
    fs::rename(file("a"), file("b"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a", "Creation CIM_DataFile b"));
}

TEST_F(FileWatchTest, ReportsMovesIntoAndOutOfADirectory) {
    const TemporaryFolder outside;
    load();
    write(outside.path() / "a");
    fs::rename(outside.path() / "a", file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Creation CIM_DataFile a"));
    fs::rename(file("a"), outside.path() / "a");
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a"));
}

TEST_F(FileWatchTest, ReportsAMoveBetweenWatchedDirectoriesWithBothPaths) {
    const TemporaryFolder second;
    load(folder().string() + ":" + second.path().string());
    write(file("a"));
    linesAfterSync();
    fs::rename(file("a"), second.path() / "a");
    linesAfterSync(second.path());
    // Observed through the whole paths, which the lines leave out.
    fs::rename(second.path() / "a", file("a"));
    ASSERT_TRUE(observer().waitFor([&](const Report& report) {
        return report.type == IOrvoIndication::IndicationCreation && report.key("Name") == file("a");
    }));
    std::vector<std::string> paths;
    for (const Report& report : observer().reports()) {
        if (report.className() == "CIM_DataFile") {
            paths.push_back(report.key("Name"));
        }
    }
    EXPECT_THAT(paths, ElementsAre(second.path() / "a", file("a")));
}

TEST_F(FileWatchTest, KeepsAFileThatIsReplacedByARename) {
    load();
    write(file("a"));
    write(file("a.new"), "text");
    linesAfterSync();
    fs::rename(file("a.new"), file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a.new"));
    fs::remove(file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a"));
}

TEST_F(FileWatchTest, KnowsBothFiles_WhenTheyExchangeTheirNames) {
    load();
    write(file("a"), "1");
    write(file("b"), "22");
    linesAfterSync();
    ASSERT_EQ(renameat2(AT_FDCWD, file("a").c_str(), AT_FDCWD, file("b").c_str(), RENAME_EXCHANGE), 0);
    linesAfterSync();
    fs::remove(file("a"));
    fs::remove(file("b"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a", "Destruction CIM_DataFile b"));
}

TEST_F(FileWatchTest, ReportsADestruction_WhenSomethingElseTakesAFilesPlace) {
    load();
    write(file("a"));
    write(file("b"));
    linesAfterSync();
    fs::create_symlink("nowhere", file("link"));
    fs::rename(file("link"), file("a"));
    fs::create_directory(file("directory"));
    ASSERT_EQ(renameat2(AT_FDCWD, file("directory").c_str(), AT_FDCWD, file("b").c_str(), RENAME_EXCHANGE),
              0);
    EXPECT_THAT(linesAfterSync(),
                UnorderedElementsAre("Destruction CIM_DataFile a", "Destruction CIM_DataFile b",
                                     "Creation CIM_DataFile directory"));
}

TEST_F(FileWatchTest, KeepsSilentAboutWhatIsNoRegularFile) {
    load();
    fs::create_directory(file("directory"));
    write(file("directory") / "deep");
    fs::create_symlink("directory/deep", file("link"));
    ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
    fs::rename(file("directory"), file("directory2"));
    fs::remove(file("link"));
    fs::remove(file("pipe"));
    EXPECT_THAT(linesAfterSync(), IsEmpty());
}

TEST_F(FileWatchTest, ReportsEachHardLink) {
    load();
    write(file("a"));
    fs::create_hard_link(file("a"), file("b"));
    fs::remove(file("a"));
    const auto lines = linesAfterSync();
    EXPECT_THAT(lines, Contains("Creation CIM_DataFile b"));
    EXPECT_THAT(lines, Not(Contains("Destruction CIM_DataFile b")));
}

TEST_F(FileWatchTest, ReportsTheDestructionOfAll_WhenTheDirectoryIsRemoved) {
    load();
    write(file("a"));
    write(file("b"));
    linesAfterSync();
    fs::remove_all(folder());
    ASSERT_TRUE(
        observer().waitFor([](const Report& report) { return report.className() == "CIM_Directory"; }));
    std::vector<std::string> lines;
    for (const Report& report : observer().reports()) {
        lines.push_back(lineOf(report));
    }
    EXPECT_THAT(lines, Each(HasSubstr("Destruction")));
    EXPECT_THAT(lines, AllOf(Contains("Destruction CIM_DataFile a").Times(1),
                             Contains("Destruction CIM_DataFile b").Times(1)));
    EXPECT_EQ(_log.count("The directory '" + folder().string() + "' is gone"), 1u);
    EXPECT_THAT(kernelMasks(), IsEmpty());
}

TEST_F(FileWatchTest, ReportsTheDestructionOfAll_WhenTheDirectoryIsMoved) {
    const TemporaryFolder second;
    const fs::path watched = folder() / "watched";
    fs::create_directory(watched);
    write(watched / "a");
    load(watched.string() + ":" + second.path().string());
    fs::rename(watched, folder() / "moved");
    ASSERT_TRUE(
        observer().waitFor([](const Report& report) { return report.className() == "CIM_Directory"; }));
    // The other directory is watched on, the one that was moved is not.
    write(folder() / "moved" / "b");
    write(second.path() / "c");
    EXPECT_THAT(linesAfterSync(second.path()),
                ElementsAre("Destruction CIM_DataFile a", "Destruction CIM_Directory watched",
                            "Creation CIM_DataFile c"));
    EXPECT_EQ(kernelMasks().size(), 1u);
}

TEST_F(FileWatchTest, GoesOn_WhenTheObserverThrows) {
    load();
    observer().fail(true);
    write(file("a"));
    ASSERT_TRUE(_log.waitFor([](const auto& records) {
        return std::ranges::count_if(records, [](const ORVLogRecord& record) {
                   return record.message.view().starts_with("Could not report Creation of ");
               }) == 2;
    }));
    observer().fail(false);
    fs::remove(file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a"));
}

TEST_F(FileWatchTest, ReportsNothingMore_OnceItIsDeleted) {
    load();
    write(file("a"));
    linesAfterSync();
    unload();
    write(file("b"));
    EXPECT_EQ(observer().count(), 0u);
    EXPECT_THAT(kernelMasks(), IsEmpty());
}

}  // namespace
