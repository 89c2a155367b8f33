#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <ranges>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using velm::test::age;
using velm::test::FileWatchTest;
using velm::test::lineOf;
using velm::test::RecordingObserver;
using velm::test::Report;
using velm::test::TemporaryFolder;
using velm::test::write;

namespace {

constexpr auto change = IOrvoIndication::IndicationChange;
constexpr std::uint32_t changeMask = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;

MATCHER(TellsChanges, "") {
    return (arg & changeMask) == changeMask;
}
MATCHER(TellsNoChanges, "") {
    return (arg & changeMask) == 0 && (arg & IN_CREATE) != 0;
}

class FileChanges : public FileWatchTest {
protected:
    /// The thread on which the provider of this process reads.
    static fs::path watcherThread() {
        for (const auto& task : fs::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm") >> std::ws, name);
            if (name == "file_watch") {
                return task.path();
            }
        }
        return {};
    }

    static std::string statusOf(const fs::path& thread, const std::string& field) {
        std::ifstream stream(thread / "status");
        for (std::string line; std::getline(stream, line);) {
            if (line.starts_with(field)) {
                return line;
            }
        }
        return {};
    }

    static bool waitUntilAsleep(const fs::path& thread) {
        const auto deadline = std::chrono::steady_clock::now() + RecordingObserver::patience;
        while (std::chrono::steady_clock::now() < deadline) {
            if (statusOf(thread, "State:").find("S (sleeping)") != std::string::npos) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }

    ORVSmrPtr<IOrvoSubscriptionFilter> filterFor(std::initializer_list<const char*> properties) {
        ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
        for (const char* property : properties) {
            filter->addProperty(property);
        }
        return filter;
    }
};

TEST_F(FileChanges, AreNotAskedOfTheKernel_WhileNobodyIsRegistered) {
    load();
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));

    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsChanges()));
    ASSERT_TRUE(start(fileName(file("a")), change));
    ASSERT_TRUE(stop(className("CIM_DataFile"), change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsChanges()));

    ASSERT_TRUE(stop(fileName(file("a")), change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));
}

TEST_F(FileChanges, AreAskedOnlyOfTheDirectoryConcerned) {
    const TemporaryFolder second;
    load(folder().string() + ":" + second.path().string());
    ASSERT_TRUE(start(fileName(second.path() / "a"), change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges(), TellsChanges()));
}

TEST_F(FileChanges, DoNotWakeTheProvider_WhileNobodyIsRegistered) {
    load();
    write(file("a"));
    linesAfterSync();
    const fs::path thread = watcherThread();
    ASSERT_FALSE(thread.empty());
    const auto wakes = [&] {
        EXPECT_TRUE(waitUntilAsleep(thread));
        const std::string before = statusOf(thread, "voluntary_ctxt_switches:");
        for (int i = 0; i < 1000; ++i) {
            write(file("a"), "x");
        }
        fs::permissions(file("a"), fs::perms::owner_read);
        return statusOf(thread, "voluntary_ctxt_switches:") != before;
    };
    // What others do in the place for temporary files, above this directory, may wake it now and then.
    constexpr int attempts = 20;
    EXPECT_TRUE(std::ranges::any_of(std::views::iota(0, attempts), [&](int) { return !wakes(); }));
    EXPECT_THAT(linesAfterSync(), IsEmpty());
}

TEST_F(FileChanges, NameThePropertiesThatChanged) {
    load();
    write(file("a"));
    age(file("a"));
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));

    write(file("a"), "x");
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [FileSize LastModified]"));
    fs::permissions(file("a"), fs::perms::owner_read);
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [Writeable]"));
    fs::permissions(file("a"), fs::perms::owner_exec);
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [Readable Executable]"));
}

TEST_F(FileChanges, TellOfAFileThatNobodyOpens) {
    load();
    write(file("a"), "text");
    write(file("b"), "text");
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    age(file("a"));
    ASSERT_EQ(truncate(file("b").c_str(), 2), 0);
    EXPECT_TRUE(observer().waitFor(
        [](const Report& report) { return lineOf(report) == "Change CIM_DataFile a [LastModified]"; }));
    EXPECT_TRUE(observer().waitFor([](const Report& report) { return report.property("FileSize") == "2"; }));
}

TEST_F(FileChanges, CarryTheNewState) {
    load();
    write(file("a"), "1");
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    write(file("a"), "23");
    ASSERT_TRUE(observer().waitFor([](const Report& report) { return report.type == change; }));
    EXPECT_EQ(observer().reports().front().property("FileSize"), "3");
}

TEST_F(FileChanges, LeaveOutWhatHappenedBeforeTheRegistration) {
    load();
    write(file("a"));
    linesAfterSync();
    write(file("a"), "not seen by anybody");
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    fs::permissions(file("a"), fs::perms::owner_read);
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [Writeable]"));
}

TEST_F(FileChanges, AreReportedOfTheFileConcerned) {
    load();
    write(file("a"));
    write(file("b"));
    age(file("a"));
    linesAfterSync();
    ASSERT_TRUE(start(fileName(file("a")), change));
    write(file("b"), "x");
    write(file("a"), "x");
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [FileSize LastModified]"));
}

TEST_F(FileChanges, AreReportedOfAFileThatComesLater) {
    load();
    ASSERT_TRUE(start(fileName(file("a")), change));
    const TemporaryFolder outside;
    write(outside.path() / "a");
    age(outside.path() / "a");
    fs::rename(outside.path() / "a", file("a"));
    linesAfterSync();
    write(file("a"), "x");
    EXPECT_THAT(linesAfterSync(), ElementsAre("Change CIM_DataFile a [FileSize LastModified]"));
}

TEST_F(FileChanges, EndWithTheFile) {
    load();
    write(file("a"));
    linesAfterSync();
    ASSERT_TRUE(start(fileName(file("a")), change));
    fs::remove(file("a"));
    linesAfterSync();
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));
    EXPECT_FALSE(stop(fileName(file("a")), change));
}

TEST_F(FileChanges, AreReportedWhileTheWriterKeepsTheFileOpen) {
    load();
    write(file("log"));
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    std::ofstream stream(file("log"), std::ios::app);
    stream << "a line" << std::flush;
    EXPECT_TRUE(observer().waitFor(
        [](const Report& report) { return report.type == change && report.property("FileSize") == "6"; }));
}

TEST_F(FileChanges, AreGatheredWhileTheWriterKeepsTheFileOpen) {
    load();
    write(file("log"));
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    const auto begin = std::chrono::steady_clock::now();
    {
        std::ofstream stream(file("log"), std::ios::app);
        for (int i = 0; i < 2000; ++i) {
            stream << 'x' << std::flush;
        }
    }
    const auto lines = linesAfterSync();
    const auto tenths = (std::chrono::steady_clock::now() - begin) / std::chrono::milliseconds(100);
    EXPECT_GE(lines.size(), 1u);
    EXPECT_LE(lines.size(), static_cast<std::size_t>(tenths) + 2);
}

TEST_F(FileChanges, TellOfAFileThatIsReplacedByARename) {
    load();
    write(file("a"));
    age(file("a"));
    write(file("a.new"), "text");
    linesAfterSync();
    ASSERT_TRUE(start(className("CIM_DataFile"), change));
    fs::rename(file("a.new"), file("a"));
    EXPECT_THAT(linesAfterSync(), ElementsAre("Destruction CIM_DataFile a.new",
                                              "Change CIM_DataFile a [FileSize LastModified]"));
}

TEST_F(FileChanges, StopOnlyWhenTakenBackAsOftenAsAskedFor) {
    load();
    const auto name = className("CIM_DataFile");
    ASSERT_TRUE(start(name, change));
    ASSERT_TRUE(start(name, change, filterFor({"FileSize"})));
    ASSERT_TRUE(start(name, change, filterFor({"Readable"})));
    ASSERT_TRUE(stop(name, change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsChanges()));
    ASSERT_TRUE(stop(name, change, filterFor({"FileSize", "Readable"})));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));
    EXPECT_FALSE(stop(name, change));
}

TEST_F(FileChanges, MayBeAskedForByTheClassesAbove) {
    load();
    for (const char* name :
         {"CIM_LogicalFile", "cim_logicalelement", "CIM_ManagedSystemElement", "CIM_ManagedElement"}) {
        EXPECT_TRUE(start(className(name), change)) << name;
        EXPECT_THAT(kernelMasks(), ElementsAre(TellsChanges())) << name;
        EXPECT_TRUE(stop(className(name), change)) << name;
        EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges())) << name;
    }
}

TEST_F(FileChanges, AreRefusedForWhatIsNotWatched) {
    load();
    EXPECT_FALSE(start(nullptr, change));
    EXPECT_FALSE(start(className("CIM_Directory"), change));
    EXPECT_FALSE(start(className("CIM_EthernetPort"), change));
    EXPECT_FALSE(start(fileName("/somewhere/else"), change));
    EXPECT_FALSE(start(fileName(file("deeper") / "a"), change));
    EXPECT_FALSE(start(fileName(folder().string() + "/"), change));
    EXPECT_FALSE(start(fileName("relative"), change));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));
}

TEST_F(FileWatchTest, TakesRegistrationsForOtherKindsWithoutCost) {
    load();
    const velm::file_watch::FileModel model(nameSpace);
    const auto creation = IOrvoIndication::IndicationCreation;
    EXPECT_TRUE(start(className("CIM_DataFile"), creation));
    EXPECT_TRUE(start(fileName(file("a")), IOrvoIndication::IndicationDestruction));
    EXPECT_TRUE(start(model.directoryName(folder()), IOrvoIndication::IndicationAddition));
    EXPECT_TRUE(start(model.containmentName(model.directoryName(folder()), model.fileName(file("a"))),
                      IOrvoIndication::IndicationDestruction));
    EXPECT_TRUE(stop(className("CIM_DataFile"), creation));
    EXPECT_FALSE(start(model.directoryName("/"), IOrvoIndication::IndicationAddition));
    EXPECT_FALSE(stop(nullptr, creation));
    EXPECT_THAT(kernelMasks(), ElementsAre(TellsNoChanges()));
    EXPECT_EQ(_log.count("Told to start reporting Creation of every CIM_DataFile"), 1u);
    EXPECT_EQ(_log.count("Told to start reporting Addition of CIM_Directory '" + folder().string() + "'"),
              1u);
}

}  // namespace
