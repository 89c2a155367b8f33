#include "velmd/repository/Database.h"

#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class DatabaseFile : public testing::Test {
protected:
    std::int64_t rows(Database& connection) { return connection.number("SELECT count(*) FROM item"); }

    const TemporaryFolder folder;
    const std::string file = folder.write("test.db", "");
    Database database{file, Database::Access::write};

    void SetUp() override {
        database.execute("PRAGMA journal_mode = WAL");
        database.execute("CREATE TABLE item (id INTEGER PRIMARY KEY, name TEXT UNIQUE)");
    }
};

TEST_F(DatabaseFile, KeepsNumbersAndTexts_WhateverBytesTheyHold) {
    const std::string odd = "a'b\"\n\xC3\xA9;--";
    Statement(database, "INSERT INTO item VALUES (?, ?)").bind(-5).bind(odd).run();
    Statement select(database, "SELECT id, name FROM item");
    ASSERT_TRUE(select.step());
    EXPECT_EQ(select.number(0), -5);
    EXPECT_EQ(select.text(1), odd);
    EXPECT_FALSE(select.step());
}

TEST_F(DatabaseFile, KeepsAnEmptyText_AsAText) {
    Statement(database, "INSERT INTO item VALUES (1, ?)").bind(std::string_view()).run();
    EXPECT_EQ(database.text("SELECT typeof(name) FROM item"), "text");
}

TEST_F(DatabaseFile, GivesEmptyTextForNull) {
    EXPECT_EQ(database.text("SELECT NULL"), "");
    EXPECT_EQ(database.text("SELECT name FROM item"), "");
    EXPECT_EQ(database.number("SELECT id FROM item"), 0);
}

TEST_F(DatabaseFile, TakesAStatementAgain_AfterARun) {
    Statement insert(database, "INSERT INTO item (name) VALUES (?)");
    insert.bind("one").run();
    EXPECT_EQ(database.lastInsertId(), 1);
    insert.bind("two").run();
    EXPECT_EQ(database.lastInsertId(), 2);
    EXPECT_EQ(database.text("SELECT group_concat(name) FROM item"), "one,two");
}

TEST_F(DatabaseFile, NamesFileAndProblem_WhenAStatementFails) {
    database.execute("INSERT INTO item VALUES (1, 'one')");
    EXPECT_EQ(refusal([&] { database.execute("INSERT INTO item VALUES (1, 'two')"); }),
              "1: " + file + ": UNIQUE constraint failed: item.id");
    EXPECT_EQ(refusal([&] { Statement(database, "SELECT missing FROM item"); }),
              "1: " + file + ": no such column: missing");
}

TEST_F(DatabaseFile, NamesFileAndCause_WhenItCannotBeOpened) {
    const std::string missing = folder.file("none/test.db");
    EXPECT_THAT(refusal([&] { Database(missing, Database::Access::write); }),
                AllOf(StartsWith("1: " + missing + ": unable to open database file"),
                      EndsWith("(No such file or directory)")));
}

TEST_F(DatabaseFile, TakesBackWhatIsNotCommitted) {
    {
        const Transaction transaction(database);
        database.execute("INSERT INTO item VALUES (1, 'one')");
        EXPECT_EQ(rows(database), 1);
    }
    EXPECT_EQ(rows(database), 0);
}

TEST_F(DatabaseFile, ShowsReadersTheLastCommit_WhileAWriterWrites) {
    Database reader(file, Database::Access::read);
    Transaction transaction(database);
    database.execute("INSERT INTO item VALUES (1, 'one')");
    EXPECT_EQ(rows(reader), 0);
    transaction.commit();
    EXPECT_EQ(rows(reader), 1);
}

TEST_F(DatabaseFile, RefusesToWrite_OnAConnectionForReading) {
    Database reader(file, Database::Access::read);
    EXPECT_THAT(refusal([&] { reader.execute("DELETE FROM item"); }), HasSubstr("readonly"));
}

TEST_F(DatabaseFile, SynchronisesEveryCommit_AndChecksForeignKeys) {
    EXPECT_EQ(database.number("PRAGMA synchronous"), 2);
    EXPECT_EQ(database.number("PRAGMA foreign_keys"), 1);
}

}  // namespace
