// The file itself: who may open it, and what happens when it, or the disk below it, is not as it should be.

#include "tests/unit/velmd/repository/ChildProcess.h"
#include "tests/unit/velmd/repository/RepositorySupport.h"
#include "velmd/repository/Database.h"

#include <fstream>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class RepositoryFile : public RepositoryTest {
protected:
    void SetUp() override {}

    void fill() {
        RepositoryTest::SetUp();
        repository->createInstance(space, *thing("1", 5));
    }

    std::string openRefusal() {
        return refusal([this] { open(); });
    }

    void overwrite(std::streamoff position, const std::string& bytes) const {
        std::fstream stream(file(), std::ios::in | std::ios::out | std::ios::binary);
        stream.seekp(position);
        stream << bytes;
    }
};

TEST_F(RepositoryFile, IsNew_UntilItHoldsAClass) {
    open();
    EXPECT_TRUE(repository->isNew());
    repository->createNamespace(space);
    reopen();
    EXPECT_TRUE(repository->isNew());
    repository->createClass(space, thingClass());
    reopen();
    EXPECT_FALSE(repository->isNew());
}

TEST_F(RepositoryFile, IsReadableByItsOwnerOnly) {
    fill();
    for (const char* suffix : {"", "-wal", "-shm", "-lock"}) {
        struct stat found {};
        ASSERT_EQ(::stat((file() + suffix).c_str(), &found), 0) << suffix;
        EXPECT_EQ(found.st_mode & 0777U, 0600U) << suffix;
    }
}

TEST_F(RepositoryFile, IsFoundByARelativePath_AndThroughALink) {
    fill();
    std::filesystem::create_symlink(file(), folder.file("link.db"));
    EXPECT_EQ(refusal([this] { Repository(folder.file("link.db")); }),
              "1: " + file() + ": in use by another process");
    close();
    const Repository linked(std::filesystem::relative(folder.file("link.db")));
    EXPECT_THAT(linked.nameSpaces(), ElementsAre(space));
}

TEST_F(RepositoryFile, IsRefused_WhileAnotherProcessHasIt_AndFree_OnceThatWasKilled) {
    ChildProcess child([this](int pipe) {
        open();
        repository->createNamespace("root/child");
        writeAll(pipe, "x", 1);
        ::pause();
    });
    char ready = 0;
    ASSERT_EQ(child.read(&ready, 1), 1U);
    EXPECT_EQ(openRefusal(), "1: " + file() + ": in use by another process");
    child.kill();
    open();
    EXPECT_THAT(repository->nameSpaces(), ElementsAre("root/child"));
}

TEST_F(RepositoryFile, IsRefused_WhileThisProcessHasIt_AndTheFirstGoesOn) {
    fill();
    EXPECT_EQ(refusal([this] { Repository second(file()); }), "1: " + file() + ": in use by another process");
    repository->createInstance(space, *thing("2"));
    EXPECT_EQ(repository->enumerateInstances(space, "EX_Thing").size(), 2U);
}

TEST_F(RepositoryFile, IsRefused_WhenItIsNoDatabase) {
    folder.write("repository.db", std::string(10000, 'x'));
    EXPECT_EQ(openRefusal(), "1: " + file() + ": file is not a database");
}

TEST_F(RepositoryFile, IsRefused_WhenItIsADirectory) {
    std::filesystem::create_directory(file());
    EXPECT_EQ(openRefusal(), "1: " + file() + ": cannot be opened for writing: Is a directory");
}

TEST_F(RepositoryFile, IsRefused_WhenItsFolderDoesNotExist) {
    EXPECT_EQ(refusal([this] { Repository(folder.file("none/a.db")); }),
              "1: " + folder.file("none/a.db") + ": cannot be locked by " + folder.file("none/a.db") +
                  "-lock: No such file or directory");
}

TEST_F(RepositoryFile, IsRefused_WhenItsFolderIsAFile) {
    folder.write("file", "");
    EXPECT_THAT(refusal([this] { Repository(folder.file("file/a.db")); }),
                AllOf(StartsWith("1: " + folder.file("file/a.db")), EndsWith("Not a directory")));
}

TEST_F(RepositoryFile, IsRefused_WhenNewer) {
    fill();
    close();
    Database(file(), Database::Access::write).execute("PRAGMA user_version = 1000");
    EXPECT_THAT(openRefusal(), AllOf(StartsWith("1: " + file()), HasSubstr("newer program")));
}

TEST_F(RepositoryFile, IsRefused_WhenPagesAreDamaged) {
    fill();
    close();
    for (std::streamoff page = 1; page < 4; ++page) {
        overwrite(page * 4096, std::string(4096, '\xAA'));
    }
    EXPECT_THAT(openRefusal(), AllOf(StartsWith("1: " + file()), HasSubstr("damaged")));
}

TEST_F(RepositoryFile, IsRefused_WhenItsEndIsMissing) {
    fill();
    close();
    std::filesystem::resize_file(file(), 2 * 4096);
    EXPECT_THAT(openRefusal(), AllOf(StartsWith("1: " + file()), HasSubstr("malformed")));
}

TEST_F(RepositoryFile, IsRefused_WhenAClassCannotBeReadAnyMore) {
    fill();
    close();
    Database(file(), Database::Access::write).execute("UPDATE class SET document = '<CLASS' WHERE id = 2");
    EXPECT_THAT(openRefusal(),
                StartsWith("1: " + file() + ": the database is damaged: class ex_part of root/test: "));
}

TEST_F(RepositoryFile, IsRefused_WhenASuperclassIsGone) {
    fill();
    close();
    Database(file(), Database::Access::write)
        .execute(
            "UPDATE class SET folded = 'x', document ="
            " '<CLASS NAME=\"X\"></CLASS>' WHERE id = 1");
    EXPECT_THAT(openRefusal(),
                AllOf(StartsWith("1: " + file() + ": the database is damaged: "), HasSubstr("EX_Part")));
}

TEST_F(RepositoryFile, NamesTheInstance_WhenOneCannotBeReadAnyMore) {
    fill();
    repository->createInstance(space, *thing("2"));
    close();
    Database(file(), Database::Access::write)
        .execute(
            "UPDATE instance SET document = '<INSTANCE CLASSNAME=\"EX_Thing\"></INSTANCE>' WHERE id = 1;"
            "UPDATE instance SET document = '' WHERE id = 2");
    open();
    EXPECT_EQ(
        refusal([this] { repository->enumerateInstances(space, "EX_Thing"); }),
        "1: " + file() +
            ": the database is damaged: an instance of root/test:EX_Thing: an instance of EX_Thing without "
            "its key Id");
    EXPECT_THAT(refusal([this] { repository->findInstance(*thingName("2"), space); }),
                StartsWith("1: " + file() + ": the database is damaged: root/test:EX_Thing.Id=\"2\": "));
}

/// The answer of `action`, run by a user who has no rights of their own.
std::string asNobody(const std::function<std::string()>& action) {
    constexpr uid_t nobody = 65534;
    return inChild([&action]() -> std::string {
        if (::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)) {
            return "cannot change the user";
        }
        return action();
    });
}

TEST_F(RepositoryFile, IsRefused_WhenItsFolderCannotBeWritten) {
    ASSERT_EQ(::chmod(folder.file("").c_str(), 0555), 0);
    EXPECT_EQ(asNobody([this] { return openRefusal(); }),
              "1: " + file() + ": cannot be locked by " + file() + "-lock: Permission denied");
    EXPECT_FALSE(std::filesystem::exists(file()));
    ASSERT_EQ(::chmod(folder.file("").c_str(), 0700), 0);
}

TEST_F(RepositoryFile, IsRefused_WhenItCannotBeWritten) {
    fill();
    close();
    std::filesystem::remove(file() + "-lock");
    ASSERT_EQ(::chmod(folder.file("").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(file().c_str(), 0444), 0);
    EXPECT_EQ(asNobody([this] { return openRefusal(); }),
              "1: " + file() + ": cannot be opened for writing: Permission denied");
    std::filesystem::remove(file() + "-lock");
    ASSERT_EQ(::chmod(file().c_str(), 0600), 0);
    open();
    EXPECT_THAT(idsOf(repository->enumerateInstances(space, "EX_Thing")), ElementsAre("1"));
}

}  // namespace
