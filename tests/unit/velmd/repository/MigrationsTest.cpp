#include "velmd/repository/Migrations.h"

#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using Steps = std::vector<std::string_view>;

class MigratedFile : public testing::Test {
protected:
    std::string migrationRefusal(const Steps& steps) {
        return refusal([&] { migrate(database, steps); });
    }

    const TemporaryFolder folder;
    const std::string file = folder.write("test.db", "");
    Database database{file, Database::Access::write};

    const Steps one{"CREATE TABLE a (x); INSERT INTO a VALUES ('kept')"};
    const Steps two{one[0], "ALTER TABLE a ADD COLUMN y DEFAULT 7"};
};

TEST_F(MigratedFile, GoesThroughEveryStep_WhenEmpty) {
    migrate(database, two);
    EXPECT_EQ(database.number("PRAGMA user_version"), 2);
    EXPECT_EQ(database.number("PRAGMA application_id"), repositoryApplicationId);
    EXPECT_EQ(database.text("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(database.text("SELECT x || y FROM a"), "kept7");
}

TEST_F(MigratedFile, GoesThroughTheMissingSteps_WhenOlder) {
    migrate(database, one);
    database.execute("INSERT INTO a VALUES ('older')");
    migrate(database, two);
    EXPECT_EQ(database.text("SELECT group_concat(x || y) FROM a"), "kept7,older7");
}

TEST_F(MigratedFile, StaysAsItIs_WhenUpToDate) {
    migrate(database, two);
    migrate(database, two);
    EXPECT_EQ(database.number("SELECT count(*) FROM a"), 1);
}

TEST_F(MigratedFile, IsRefused_WhenNewer) {
    migrate(database, two);
    EXPECT_EQ(migrationRefusal(one), "1: " + file +
                                         ": schema version 2 was written by a newer program; this one knows "
                                         "versions up to 1");
    EXPECT_EQ(database.text("SELECT x || y FROM a"), "kept7");
}

TEST_F(MigratedFile, KeepsTheStepBefore_WhenAStepFails) {
    const Steps broken{one[0], "ALTER TABLE a ADD COLUMN y; INSERT INTO missing VALUES (1)"};
    EXPECT_EQ(migrationRefusal(broken), "1: " + file + ": no such table: missing");
    EXPECT_EQ(database.number("PRAGMA user_version"), 1);
    EXPECT_EQ(database.number("SELECT count(*) FROM pragma_table_info('a')"), 1);
    migrate(database, two);
    EXPECT_EQ(database.text("SELECT x || y FROM a"), "kept7");
}

TEST_F(MigratedFile, IsRefused_WhenItBelongsToSomethingElse) {
    database.execute("CREATE TABLE photo (x)");
    EXPECT_EQ(migrationRefusal(one), "1: " + file + ": a database of something else, not a repository");
    database.execute("PRAGMA application_id = 17");
    EXPECT_THAT(migrationRefusal(one), HasSubstr("something else"));
    EXPECT_EQ(database.number("SELECT count(*) FROM sqlite_schema"), 1);
    EXPECT_EQ(database.text("PRAGMA journal_mode"), "delete");
}

TEST_F(MigratedFile, IsRefused_WhenItIsNoDatabase) {
    const std::string text = folder.write("text.db", std::string(5000, 'x'));
    const auto attempt = [&] {
        Database stranger(text, Database::Access::write);
        migrate(stranger, one);
    };
    EXPECT_THAT(refusal(attempt), AllOf(StartsWith("1: " + text), HasSubstr("not a database")));
    EXPECT_EQ(folder.read("text.db"), std::string(5000, 'x'));
}

TEST(RepositoryMigrations, MakeTheTablesOfARepository) {
    const TemporaryFolder folder;
    Database database(folder.write("test.db", ""), Database::Access::write);
    migrate(database, repositoryMigrations());
    EXPECT_EQ(database.number("PRAGMA user_version"),
              static_cast<std::int64_t>(repositoryMigrations().size()));
    EXPECT_EQ(
        database.text("SELECT group_concat(name) FROM (SELECT name FROM sqlite_schema WHERE type = 'table'"
                      " AND name NOT LIKE 'sqlite%' ORDER BY name)"),
        "class,instance,namespace,qualifier,reference");
}

}  // namespace
