#include "velmd/repository/Migrations.h"

#include <array>

#include <fmt/format.h>

namespace velm {

namespace {

// Keys are never used again (AUTOINCREMENT): readers that hold an older set of classes tell a class from a
// later one of the same name by its key.
constexpr std::string_view firstVersion = R"(
CREATE TABLE namespace (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL,
    folded TEXT NOT NULL UNIQUE
) STRICT;

CREATE TABLE class (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    namespace INTEGER NOT NULL REFERENCES namespace (id),
    folded TEXT NOT NULL,
    document TEXT NOT NULL,
    UNIQUE (namespace, folded)
) STRICT;

CREATE TABLE qualifier (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    namespace INTEGER NOT NULL REFERENCES namespace (id) ON DELETE CASCADE,
    folded TEXT NOT NULL,
    document TEXT NOT NULL,
    UNIQUE (namespace, folded)
) STRICT;

CREATE TABLE instance (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    class INTEGER NOT NULL REFERENCES class (id),
    name TEXT NOT NULL UNIQUE,
    document TEXT NOT NULL
) STRICT;
CREATE INDEX instance_by_class ON instance (class);

CREATE TABLE reference (
    instance INTEGER NOT NULL REFERENCES instance (id) ON DELETE CASCADE,
    role TEXT NOT NULL,
    target TEXT NOT NULL,
    PRIMARY KEY (instance, role)
) STRICT, WITHOUT ROWID;
CREATE INDEX reference_by_target ON reference (target);
)";

constexpr std::array steps{firstVersion};

void refuseStrangers(Database& database) {
    bool isEmpty = database.number("SELECT count(*) FROM sqlite_schema") == 0;
    if (!isEmpty && database.number("PRAGMA application_id") != repositoryApplicationId) {
        database.refuse("a database of something else, not a repository");
    }
}

void refuseDamage(Database& database) {
    auto verdict = database.text("PRAGMA quick_check(1)");
    if (verdict != "ok") {
        database.refuse("the database is damaged: " + verdict);
    }
}

}  // namespace

std::span<const std::string_view> repositoryMigrations() {
    return steps;
}

void migrate(Database& database, std::span<const std::string_view> migrations) {
    refuseStrangers(database);
    auto newest = static_cast<std::int64_t>(migrations.size());
    auto version = database.number("PRAGMA user_version");
    if (version < 0 || version > newest) {
        database.refuse(
            fmt::format("schema version {} was written by a newer program; this one knows versions up to {}",
                        version, newest));
    }
    refuseDamage(database);
    if (database.text("PRAGMA journal_mode = WAL") != "wal") {
        database.refuse("the file system cannot keep a write-ahead log for it");
    }
    for (; version < newest; ++version) {
        Transaction transaction(database);
        database.execute(std::string(migrations[static_cast<std::size_t>(version)]));
        database.execute(fmt::format("PRAGMA application_id = {}", repositoryApplicationId));
        database.execute(fmt::format("PRAGMA user_version = {}", version + 1));
        transaction.commit();
    }
}

}  // namespace velm
