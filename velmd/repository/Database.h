#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace velm {

/// One connection to the SQLite file of a repository.
///
/// Threads: one at a time. Failure: everything throws CIMOMException (1), whose text names the file, what was
/// being done, and what SQLite and the system say of it.
class Database {
public:
    enum class Access { write, read };

    /// Opens a file that exists. Requires: `file` is absolute, and for reading, another connection is open
    /// for writing.
    Database(const std::string& file, Access access);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    const std::string& file() const noexcept { return _file; }

    /// Runs statements that answer nothing.
    void execute(const std::string& sql);

    /// The first column of the first row; 0 when there is none.
    std::int64_t number(std::string_view sql);
    /// The same as text.
    std::string text(std::string_view sql);

    /// The key that the last INSERT gave.
    std::int64_t lastInsertId() const noexcept;

    /// Throws that `problem` is wrong with the file.
    [[noreturn]] void refuse(std::string_view problem) const;

private:
    friend class Statement;
    friend class Transaction;

    struct Closer {
        void operator()(sqlite3* connection) const noexcept;
    };

    void _configure(Access access);
    /// Throws with the last failure of this connection.
    [[noreturn]] void _fail() const;

    std::string _file;
    std::unique_ptr<sqlite3, Closer> _connection;
};

/// A statement and its place among the rows it answers. Used by one thread, and gone before its database.
class Statement {
public:
    Statement(Database& database, std::string_view sql);

    /// Values for the question marks, from left to right; they are copied.
    Statement& bind(std::int64_t value);
    Statement& bind(std::string_view value);

    /// To the next row; false after the last one.
    bool step();
    /// To the end, and back to the beginning with nothing bound, so that it can be used again.
    void run();

    std::int64_t number(int column) const noexcept;
    /// Valid until the next step.
    std::string_view text(int column) const noexcept;

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const noexcept;
    };

    void _check(int result) const;

    const Database& _database;
    std::unique_ptr<sqlite3_stmt, Finalizer> _statement;
    int _bound = 0;
};

/// Everything between here and commit() is written together, or not at all: what is not committed is taken
/// back when this goes.
class Transaction {
public:
    /// Waits for other processes that write, some seconds at the most.
    explicit Transaction(Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    /// What was written is on disk when this returns. Nothing of it is there when it throws.
    void commit();

private:
    Database& _database;
};

}  // namespace velm
