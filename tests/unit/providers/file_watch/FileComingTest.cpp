// Directories that are not there yet, or go and come again.

#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using velm::test::age;
using velm::test::FileWatchTest;
using velm::test::lineOf;
using velm::test::Report;
using velm::test::TemporaryFolder;
using velm::test::write;

namespace {

constexpr auto change = IOrvoIndication::IndicationChange;

class FileComing : public FileWatchTest {
protected:
    void await(const std::string& line) {
        ASSERT_TRUE(observer().waitFor([&](const Report& report) { return lineOf(report) == line; })) << line;
    }

    std::size_t countOf(const char* className) {
        return provider().enumerateInstanceNames(nameSpace, className, nullptr)->entries();
    }

    const fs::path deep = file("one") / "two" / "three";
};

TEST_F(FileComing, IsReported_WhenTheDirectoryIsMadeLater) {
    load(deep.string());
    EXPECT_EQ(countOf("CIM_Directory"), 0u);
    fs::create_directories(deep);
    await("Creation CIM_Directory three");
    write(deep / "a");
    EXPECT_THAT(linesAfterSync(deep), ElementsAre("Creation CIM_Directory three", "Creation CIM_DataFile a"));
    EXPECT_EQ(countOf("CIM_Directory"), 1u);
}

TEST_F(FileComing, IsReportedWithWhatIsInIt_WhenItIsMovedToItsPlace) {
    const TemporaryFolder outside;
    const fs::path made = outside.path() / "made";
    fs::create_directories(made / "two" / "three");
    write(made / "two" / "three" / "a", "text");
    load(deep.string());
    fs::rename(made, file("one"));
    await("Creation CIM_Directory three");
    EXPECT_THAT(linesAfterSync(deep), ElementsAre("Creation CIM_Directory three", "Creation CIM_DataFile a"));
}

TEST_F(FileComing, IsReportedEachTime_WhenTheDirectoryIsRemovedAndMadeAgain) {
    fs::create_directories(deep);
    write(deep / "a");
    load(deep.string());
    for (int round = 0; round < 3; ++round) {
        fs::remove_all(file("one"));
        await("Destruction CIM_Directory three");
        fs::create_directories(deep);
        write(deep / "a");
        await("Creation CIM_DataFile a");
        EXPECT_THAT(linesAfterSync(deep),
                    ElementsAre("Destruction CIM_DataFile a", "Destruction CIM_Directory three",
                                "Creation CIM_Directory three", "Creation CIM_DataFile a"));
    }
}

TEST_F(FileComing, IsReported_HoweverFastTheDirectoryIsReplaced) {
    fs::create_directories(deep);
    load(deep.string());
    for (int round = 0; round < 200; ++round) {
        fs::remove_all(file("one"));
        fs::create_directories(deep);
    }
    write(deep / "last");
    await("Creation CIM_DataFile last");
    fs::remove_all(file("one"));
    await("Destruction CIM_DataFile last");
    EXPECT_EQ(countOf("CIM_DataFile"), 0u);
}

TEST_F(FileComing, IsReported_WhenADirectoryAboveIsExchanged) {
    fs::create_directories(deep);
    fs::create_directories(file("other") / "two" / "three");
    write(deep / "a");
    write(file("other") / "two" / "three" / "b");
    load(deep.string());
    ASSERT_EQ(renameat2(AT_FDCWD, file("one").c_str(), AT_FDCWD, file("other").c_str(), RENAME_EXCHANGE), 0);
    await("Creation CIM_DataFile b");
    EXPECT_THAT(linesAfterSync(deep),
                ElementsAre("Destruction CIM_DataFile a", "Destruction CIM_Directory three",
                            "Creation CIM_Directory three", "Creation CIM_DataFile b"));
}

TEST_F(FileComing, IsReported_WhenTheDirectoryIsRemovedWhileAProcessIsInIt) {
    fs::create_directories(deep);
    load(deep.string());
    const int inIt = ::open(deep.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(inIt, 0);
    fs::remove(deep);
    await("Destruction CIM_Directory three");
    fs::create_directory(deep);
    await("Creation CIM_Directory three");
    ::close(inIt);
    write(deep / "a");
    EXPECT_THAT(linesAfterSync(deep), Contains("Creation CIM_DataFile a").Times(1));
}

TEST_F(FileComing, IsReported_WhenALinkIsTurned) {
    for (const char* name : {"first", "second"}) {
        fs::create_directory(file(name));
        write(file(name) / (std::string("in-") + name));
    }
    fs::create_directory_symlink("first", file("one"));
    load(file("one").string());
    fs::create_directory_symlink("second", file("new"));
    fs::rename(file("new"), file("one"));
    await("Creation CIM_DataFile in-second");
    EXPECT_THAT(linesAfterSync(file("one")),
                ElementsAre("Destruction CIM_DataFile in-first", "Destruction CIM_Directory one",
                            "Creation CIM_Directory one", "Creation CIM_DataFile in-second"));
}

TEST_F(FileComing, IsReported_WhenAFileMakesRoomForADirectory) {
    write(file("one"));
    load(file("one").string());
    fs::remove(file("one"));
    fs::create_directory(file("one"));
    await("Creation CIM_Directory one");
}

TEST_F(FileComing, HasItsChangesReported_WhenSomebodyRegisteredBefore) {
    load(deep.string());
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    ASSERT_TRUE(start(fileName(deep / "b"), change));
    const auto expectChangeOf = [&](const char* name) {
        write(deep / name);
        age(deep / name);
        linesAfterSync(deep);
        write(deep / name, "x");
        await(std::string("Change CIM_DataFile ") + name + " [FileSize LastModified]");
    };
    fs::create_directories(deep);
    expectChangeOf("a");
    fs::remove_all(file("one"));
    await("Destruction CIM_Directory three");
    fs::create_directories(deep);
    expectChangeOf("a");
    ASSERT_TRUE(stop(className("CIM_DataFile"), change));
    expectChangeOf("b");
    ASSERT_TRUE(stop(fileName(deep / "b"), change));
    EXPECT_THAT(kernelMasks(),
                ElementsAre(testing::Truly([](std::uint32_t mask) { return (mask & IN_MODIFY) == 0; })));
}

TEST_F(FileComing, IsNotGiven_WhileTheDirectoryIsNotThere) {
    load(deep.string());
    EXPECT_TRUE(provider().getInstance(nameSpace, fileName(deep / "a"), nullptr).IsNull());
    EXPECT_EQ(countOf("CIM_DataFile"), 0u);
    EXPECT_EQ(countOf("CIM_DirectoryContainsFile"), 0u);
}

TEST_F(FileComing, LeavesNoWatchBehind_WhenDirectoriesAboveComeAndGo) {
    const auto watches = [] {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
            std::ifstream stream(entry.path());
            for (std::string line; std::getline(stream, line);) {
                count += line.starts_with("inotify wd:") ? 1U : 0U;
            }
        }
        return count;
    };
    fs::create_directories(deep);
    load(deep.string());
    const std::size_t before = watches();
    for (int round = 0; round < 5; ++round) {
        fs::rename(file("one"), file("away" + std::to_string(round)));
        await("Destruction CIM_Directory three");
        fs::create_directories(deep);
        await("Creation CIM_Directory three");
        // The watches of a path follow what was reported of it.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (watches() != before && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_EQ(watches(), before);
    }
}

TEST_F(FileComing, SharesThePathsOfOthers) {
    load(file("one").string() + ":" + deep.string() + ":" + folder().string());
    fs::create_directories(deep);
    await("Creation CIM_Directory three");
    write(file("one") / "a");
    linesAfterSync(file("one"));
    write(deep / "b");
    linesAfterSync(deep);
    fs::remove_all(file("one"));
    await("Destruction CIM_Directory one");
    write(file("c"));
    EXPECT_THAT(linesAfterSync(), Contains("Creation CIM_DataFile c"));
    EXPECT_EQ(countOf("CIM_Directory"), 1u);
}

}  // namespace
