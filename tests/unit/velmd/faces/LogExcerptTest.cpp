#include "velmd/faces/LogExcerpt.h"

#include "tests/support/VelmdProcess.h"

#include <string>
#include <system_error>

#include <gtest/gtest.h>

namespace velm::test {

namespace {

struct Row {
    std::int64_t from;
    std::uint64_t begin;
    const char* text;
};

class LogExcerptOf : public testing::Test {
protected:
    const TemporaryDirectory directory;
    const std::filesystem::path file = directory.write("log", "0123456789");
};

}  // namespace

TEST_F(LogExcerptOf, AFile_BeginsWhereItIsWanted) {
    constexpr Row rows[]{{0, 0, "0123456789"},
                         {4, 4, "456789"},
                         {10, 10, ""},
                         {11, 0, "0123456789"},
                         {-3, 7, "789"},
                         {-10, 0, "0123456789"},
                         {-11, 0, "0123456789"},
                         {INT64_MAX, 0, "0123456789"},
                         {INT64_MIN, 0, "0123456789"}};
    for (const Row& row : rows) {
        const LogExcerpt excerpt = LogExcerpt::read(file, row.from);
        EXPECT_EQ(excerpt.from, row.begin) << row.from;
        EXPECT_EQ(excerpt.text, row.text) << row.from;
        EXPECT_EQ(excerpt.size, 10U);
    }
}

TEST_F(LogExcerptOf, ALargeFile_IsReadInParts) {
    const std::string content(LogExcerpt::longest + 5, 'x');
    const auto large = directory.write("large", content);
    const LogExcerpt first = LogExcerpt::read(large, 0);
    EXPECT_EQ(first.text.size(), LogExcerpt::longest);
    EXPECT_EQ(first.size, content.size());
    EXPECT_EQ(LogExcerpt::read(large, static_cast<std::int64_t>(first.from + first.text.size())).text,
              "xxxxx");
}

TEST_F(LogExcerptOf, NoFile_IsEmpty) {
    const LogExcerpt excerpt = LogExcerpt::read(directory.path() / "none", 3);
    EXPECT_EQ(excerpt.size, 0U);
    EXPECT_EQ(excerpt.text, "");
}

TEST_F(LogExcerptOf, WhatCannotBeRead_FailsWithItsName) {
    try {
        LogExcerpt::read(file / "below", 0);
        FAIL() << "a file has no files below it";
    } catch (const std::system_error& failure) {
        EXPECT_NE(std::string(failure.what()).find((file / "below").string()), std::string::npos);
    }
}

}  // namespace velm::test
