// Fault model: the disk below the repository runs full, becomes read-only, or a file may not grow; later
// there is room again. Each case runs in a process of its own, on a file system of its own where the system
// allows that.

#include "tests/unit/velmd/repository/ChildProcess.h"
#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class RepositoryDisk : public RepositoryTest {
protected:
    static constexpr const char* noMounts = "no mounts";
    static constexpr unsigned int tooMany = 20000;

    void SetUp() override {}

    /// Puts a small file system in place of the folder, seen by this process only.
    bool mountSmallDisk(const char* options) const {
        if (::unshare(CLONE_NEWNS) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
            return false;
        }
        return ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 && mountDisk(options, 0);
    }

    bool mountDisk(const char* options, unsigned long flags) const {
        return ::mount("tmpfs", folder.file("").c_str(), "tmpfs", flags, options) == 0;
    }

    static Object largeThing(unsigned int number) {
        const std::string caption(3000, 'x');
        return object("EX_Thing",
                      {{"Id", text(std::to_string(number).c_str())}, {"Caption", text(caption.c_str())}});
    }

    /// Creates instances until one is refused; what that said.
    std::string fillUp() {
        std::string refused = "nothing thrown";
        while (refused == "nothing thrown" && created < tooMany) {
            refused = refusal([this] { repository->createInstance(space, *largeThing(created)); });
            created += refused == "nothing thrown" ? 1 : 0;
        }
        return refused;
    }

    /// What is wrong with the store: exactly those that were created are there, in it and after opening it
    /// again.
    std::string damage() {
        for (const bool again : {false, true}) {
            if (again) {
                reopen();
            }
            const auto ids = idsOf(repository->enumerateInstances(space, "EX_Thing"));
            for (unsigned int number = 0; number < created; ++number) {
                if (number >= ids.size() || ids[number] != std::to_string(number)) {
                    return "\ninstance " + std::to_string(number) + " is missing";
                }
            }
            if (ids.size() != created) {
                return "\nthere are " + std::to_string(ids.size() - created) + " too many";
            }
        }
        return "";
    }

    /// Creates one more, or tells why not.
    std::string createAfterwards() {
        const std::string refused =
            refusal([this] { repository->createInstance(space, *largeThing(created)); });
        if (refused != "nothing thrown") {
            return "\nstill refused: " + refused;
        }
        ++created;
        return "";
    }

    unsigned int created = 0;
};

TEST_F(RepositoryDisk, RefusesClearly_WhenFull_AndGoesOn_OnceThereIsRoom) {
    const std::string report = inChild([this]() -> std::string {
        if (!mountSmallDisk("size=2m")) {
            return noMounts;
        }
        RepositoryTest::SetUp();
        const std::string refused = fillUp();
        const std::string again = fillUp();
        if (refused != again) {
            return refused + " and then " + again;
        }
        const bool hasRoom = mountDisk("size=16m", MS_REMOUNT);
        return refused + (hasRoom ? "" : "\nno room") + createAfterwards() + damage();
    });
    if (report == noMounts) {
        GTEST_SKIP() << "this system lets nobody mount a small disk";
    }
    EXPECT_EQ(report, "1: " + file() + ": database or disk is full");
}

TEST_F(RepositoryDisk, IsSound_WhenOpenedAgainAfterItWasFull) {
    const std::string report = inChild([this]() -> std::string {
        if (!mountSmallDisk("size=2m")) {
            return noMounts;
        }
        RepositoryTest::SetUp();
        const std::string refused = fillUp();
        close();
        const bool hasRoom = mountDisk("size=16m", MS_REMOUNT);
        open();
        return refused + (hasRoom ? "" : "\nno room") + damage() + createAfterwards() + damage();
    });
    if (report == noMounts) {
        GTEST_SKIP() << "this system lets nobody mount a small disk";
    }
    EXPECT_EQ(report, "1: " + file() + ": database or disk is full");
}

TEST_F(RepositoryDisk, RefusesToOpen_WhenReadOnly_AndOpens_OnceItIsNot) {
    const std::string report = inChild([this]() -> std::string {
        if (!mountSmallDisk("size=2m")) {
            return noMounts;
        }
        RepositoryTest::SetUp();
        created += createAfterwards().empty() ? 0 : 1;
        close();
        const bool readOnly = mountDisk("size=2m", MS_REMOUNT | MS_RDONLY);
        const std::string refused = refusal([this] { open(); });
        const bool writable = mountDisk("size=2m", MS_REMOUNT);
        open();
        return refused + (readOnly && writable ? "" : "\nno remount") + damage() + createAfterwards();
    });
    if (report == noMounts) {
        GTEST_SKIP() << "this system lets nobody mount a small disk";
    }
    EXPECT_EQ(report, "1: " + file() + ": cannot be locked by " + file() + "-lock: Read-only file system");
}

TEST_F(RepositoryDisk, RefusesClearly_WhenAFileMayNotGrow_AndGoesOn_OnceItMay) {
    const std::string report = inChild([this]() -> std::string {
        RepositoryTest::SetUp();
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{400'000, limit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
        const std::string refused = fillUp();
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return refused + createAfterwards() + damage();
    });
    EXPECT_EQ(report, "1: " + file() + ": disk I/O error (File too large)");
}

TEST_F(RepositoryDisk, ChangesNothing_WhenAnImportDoesNotFit) {
    const std::string report = inChild([this]() -> std::string {
        if (!mountSmallDisk("size=2m")) {
            return noMounts;
        }
        RepositoryTest::SetUp();
        Repository::Declarations many;
        for (unsigned int number = 0; number < 2000; ++number) {
            many.instances.push_back(largeThing(number));
        }
        many.classes.push_back(classFrom(R"(<CLASS NAME="EX_Late"></CLASS>)"));
        const std::string refused = refusal([&] { repository->import(space, many); });
        const std::string unknown = refusal([&] { repository->getClass(space, "EX_Late"); });
        return refused + "\n" + unknown + createAfterwards() + damage();
    });
    if (report == noMounts) {
        GTEST_SKIP() << "this system lets nobody mount a small disk";
    }
    EXPECT_EQ(report,
              "1: " + file() + ": database or disk is full\n5: there is no class 'EX_Late' in root/test");
}

}  // namespace
