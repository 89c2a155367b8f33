// What happens when files come and go faster than they are read of. The observer keeps the provider waiting,
// so that the kernel's queue fills.

#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using velm::test::age;
using velm::test::fileOf;
using velm::test::FileWatchTest;
using velm::test::lineOf;
using velm::test::Report;
using velm::test::write;

namespace {

constexpr const char* overflowLine = "Events were lost; comparing the directories with what is known of them";

/// Where thousands of files are made quickly, if there is such a place.
fs::path quickPlace() {
    const fs::path memory = "/dev/shm";
    return access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path();
}

class FileFlood : public FileWatchTest {
protected:
    FileFlood() : FileWatchTest(quickPlace()) {}

    static std::size_t queueLimit() {
        std::size_t limit = 0;
        std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
        return limit;
    }

    /// Keeps the provider waiting at the report of a file.
    void holdProvider() {
        observer().hold();
        write(file("held"));
        ASSERT_TRUE(observer().waitUntilHolding());
    }

    /// More events than the queue takes: names that come and go.
    void overflowQueue() {
        const std::size_t limit = queueLimit();
        for (std::size_t events = 0; events <= limit + 100; events += 2) {
            const fs::path path = file("passing-" + std::to_string(events % 64));
            fs::create_hard_link(file("held"), path);
            fs::remove(path);
        }
    }

    void createFiles(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            close(open(file(std::to_string(i)).c_str(), O_CREAT | O_WRONLY, 0600));
        }
    }

    /// What is left of the files after all reports, if they are right; a wrong one fails the test.
    std::set<std::string> replay(std::set<std::string> known) {
        for (const Report& report : observer().reports()) {
            const std::string name = fs::path(report.key("Name")).filename();
            if (report.className() != "CIM_DataFile" || report.type == IOrvoIndication::IndicationChange) {
                continue;
            }
            if (report.type == IOrvoIndication::IndicationCreation) {
                EXPECT_TRUE(known.insert(name).second) << name << " was created twice";
            } else {
                EXPECT_EQ(known.erase(name), 1u) << name << " was destroyed twice";
            }
        }
        return known;
    }

    std::set<std::string> present() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder())) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    /// Waits until all is reported. The observer keeps its reports.
    void sync() {
        write(file("last"));
        ASSERT_TRUE(observer().waitFor([](const Report& report) {
            return lineOf(report) == "Creation CIM_DirectoryContainsFile last";
        }));
    }
};

TEST_F(FileFlood, LosesNothing_WhenTheKernelsQueueOverflows) {
    for (const char* name : {"kept", "removed", "written", "replaced"}) {
        write(file(name));
        age(file(name));
    }
    load();
    ASSERT_TRUE(start(className("CIM_DataFile"), IOrvoIndication::IndicationChange));
    const std::set<std::string> before = present();
    holdProvider();
    overflowQueue();
    fs::remove(file("removed"));
    write(file("written"), "x");
    write(file("created"), "y");
    write(file("other"), "zz");
    fs::rename(file("other"), file("replaced"));
    observer().release();
    ASSERT_TRUE(_log.waitForMessage(overflowLine, velm::test::RecordingObserver::patience));
    ASSERT_TRUE(observer().waitFor(
        [](const Report& report) { return lineOf(report) == "Creation CIM_DataFile created"; }));
    sync();

    EXPECT_EQ(replay(before), present());
    std::map<std::string, std::vector<std::string>> lines;
    for (const Report& report : observer().reports()) {
        if (report.className() == "CIM_DataFile") {
            lines[fs::path(report.key("Name")).filename()].push_back(lineOf(report));
        }
    }
    EXPECT_THAT(lines["kept"], testing::IsEmpty());
    EXPECT_THAT(lines["removed"], ElementsAre("Destruction CIM_DataFile removed"));
    EXPECT_THAT(lines["written"], ElementsAre("Change CIM_DataFile written [FileSize LastModified]"));
    EXPECT_THAT(lines["replaced"], ElementsAre("Change CIM_DataFile replaced [FileSize LastModified]"));
    EXPECT_THAT(lines["created"], ElementsAre("Creation CIM_DataFile created"));
    EXPECT_EQ(_log.count(overflowLine), 1u);
}

TEST_F(FileFlood, NoticesThatTheDirectoryIsGone_WhenThatEventIsLost) {
    load();
    holdProvider();
    overflowQueue();
    const fs::path moved = folder().string() + ".moved";
    fs::rename(folder(), moved);
    fs::create_directory(folder());  // Another one in its place is not the one that was watched.
    write(file("stranger"));
    observer().release();
    const std::string stranger = "Creation CIM_DataFile stranger";
    ASSERT_TRUE(observer().waitFor([&](const Report& report) { return lineOf(report) == stranger; }));
    EXPECT_EQ(_log.count("The directory '" + folder().string() + "' is gone"), 1u);
    EXPECT_EQ(_log.count("The directory '" + folder().string() + "' has come"), 1u);
    EXPECT_EQ(replay({}), present());
    EXPECT_EQ(kernelMasks().size(), 1u);
    fs::remove_all(moved);
}

TEST_F(FileFlood, ReportsThousandsOfFilesOnceEachAndInOrder) {
    constexpr std::size_t files = 10'000;
    const auto waitForReports = [&](std::size_t count) {
        return observer().waitFor([count](const Report&) mutable { return --count == 0; });
    };
    load();
    createFiles(files);
    ASSERT_TRUE(waitForReports(2 * files));
    for (std::size_t i = 0; i < files; ++i) {
        fs::remove(file(std::to_string(i)));
    }
    ASSERT_TRUE(waitForReports(4 * files));
    sync();

    std::map<std::string, std::string> histories;
    for (const Report& report : observer().reports()) {
        const bool isFile = report.className() == "CIM_DataFile";
        const bool isCreation = report.type == IOrvoIndication::IndicationCreation;
        histories[fileOf(report)] += isCreation ? (isFile ? 'C' : 'c') : (isFile ? 'D' : 'd');
    }
    histories.erase("last");
    EXPECT_EQ(histories.size(), files);
    EXPECT_TRUE(std::ranges::all_of(histories, [](const auto& entry) { return entry.second == "CcdD"; }));
    EXPECT_EQ(observer().count(), 4 * files + 2);
}

TEST_F(FileFlood, KeepsCreationsAndDestructionsPaired_WhenFilesPassQuickly) {
    load();
    for (int i = 0; i < 5000; ++i) {
        const fs::path path = file(std::to_string(i % 7));
        close(open(path.c_str(), O_CREAT | O_WRONLY, 0600));
        if (i % 3 == 0) {
            fs::rename(path, file("renamed"));
        } else {
            fs::remove(path);
        }
    }
    sync();
    EXPECT_EQ(replay({}), present());
}

TEST_F(FileFlood, IsDeletedPromptly_WhenMuchIsLeftToReport) {
    constexpr std::size_t files = 5000;
    load();
    holdProvider();
    overflowQueue();
    createFiles(files);
    observer().release();
    ASSERT_TRUE(_log.waitForMessage(overflowLine, velm::test::RecordingObserver::patience));
    // It is about to report all of them in one go.
    observer().hold();
    ASSERT_TRUE(observer().waitUntilHolding());
    std::promise<void> begins;
    std::thread deletion([&] {
        begins.set_value();
        unload();
    });
    begins.get_future().wait();
    observer().release();
    deletion.join();
    EXPECT_LT(observer().count(), 2 * files);
}

TEST_F(FileFlood, ServesManyThreadsAtOnce) {
    load();
    std::atomic<bool> goesOn = true;
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&, i] {
            while (goesOn) {
                const auto name = i == 0 ? className("CIM_DataFile") : fileName(file(std::to_string(i)));
                start(name, IOrvoIndication::IndicationChange);
                provider().getInstance(nameSpace, fileName(file(std::to_string(i))), nullptr);
                provider().enumerateInstanceNames(nameSpace, "CIM_DirectoryContainsFile", nullptr);
                stop(name, IOrvoIndication::IndicationChange);
            }
        });
    }
    for (int i = 0; i < 500; ++i) {
        const fs::path path = file(std::to_string(i % 5));
        write(path, "x");
        write(path, "y");
        fs::remove(path);
    }
    sync();
    goesOn = false;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(replay({}), present());
}

}  // namespace
