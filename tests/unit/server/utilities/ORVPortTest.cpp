#include "foundation/utilities/ORVPort.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

class Port : public testing::Test {
public:
    Port() {
        std::string pattern = testing::TempDir() + "portXXXXXX";
        folder = mkdtemp(pattern.data());
    }
    ~Port() override { std::filesystem::remove_all(folder); }

protected:
    std::filesystem::path folder;
};

}  // namespace

TEST_F(Port, DeletesAFile) {
    const std::filesystem::path file = folder / "file";
    std::ofstream(file) << "text";
    EXPECT_TRUE(ORVPort::deleteFile(file.c_str()));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Port, CountsAMissingFileAsDeleted) {
    EXPECT_TRUE(ORVPort::deleteFile((folder / "missing").c_str()));
}

TEST_F(Port, AnswersFalseWithErrno_WhenItCannotDelete) {
    errno = 0;
    EXPECT_FALSE(ORVPort::deleteFile(folder.c_str()));
    EXPECT_EQ(errno, EISDIR);
}
