#include "velmd/repository/Database.h"

#include "velmd/model/CIMStatus.h"

#include <cerrno>
#include <sqlite3.h>
#include <system_error>

#include <fmt/format.h>

namespace velm {

namespace {

/// Others that look into the file with tools of their own hold it for moments only.
constexpr int busyMilliseconds = 5000;

/// The log is cut back to this size once an import has blown it up.
constexpr const char* logLimit = "PRAGMA journal_size_limit = 16777216";

}  // namespace

Database::Database(const std::string& file, Access access) : _file(file) {
    sqlite3* connection = nullptr;
    errno = 0;
    const int result =
        sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    _connection.reset(connection);
    if (result != SQLITE_OK) {
        _fail();
    }
    _configure(access);
}

Database::~Database() = default;

void Database::Closer::operator()(sqlite3* connection) const noexcept {
    sqlite3_close_v2(connection);
}

void Database::_configure(Access access) {
    sqlite3_extended_result_codes(_connection.get(), 1);
    sqlite3_busy_timeout(_connection.get(), busyMilliseconds);
    sqlite3_db_config(_connection.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    execute("PRAGMA trusted_schema = OFF");
    execute("PRAGMA foreign_keys = ON");
    execute("PRAGMA temp_store = MEMORY");
    if (access == Access::read) {
        execute("PRAGMA query_only = ON");
        return;
    }
    // The file is left as it is before anybody has looked at whether it is ours.
    execute("PRAGMA synchronous = FULL");
    execute(logLimit);
}

void Database::execute(const std::string& sql) {
    errno = 0;
    if (sqlite3_exec(_connection.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        _fail();
    }
}

std::int64_t Database::number(std::string_view sql) {
    Statement statement(*this, sql);
    return statement.step() ? statement.number(0) : 0;
}

std::string Database::text(std::string_view sql) {
    Statement statement(*this, sql);
    return statement.step() ? std::string(statement.text(0)) : std::string();
}

std::int64_t Database::lastInsertId() const noexcept {
    return sqlite3_last_insert_rowid(_connection.get());
}

void Database::refuse(std::string_view problem) const {
    throwStatus(CIMStatus::failed, fmt::format("{}: {}", _file, problem));
}

void Database::_fail() const {
    const int current = errno;
    std::string problem = sqlite3_errmsg(_connection.get());
    const int result = sqlite3_errcode(_connection.get()) & 0xff;
    // SQLite notes the system's error for some operations only; the callers have cleared it before each.
    const int noted = sqlite3_system_errno(_connection.get());
    const int cause = noted != 0 ? noted : current;
    if (cause != 0 && (result == SQLITE_IOERR || result == SQLITE_CANTOPEN)) {
        problem += fmt::format(" ({})", std::generic_category().message(cause));
    }
    refuse(problem);
}

Statement::Statement(Database& database, std::string_view sql) : _database(database) {
    sqlite3_stmt* statement = nullptr;
    errno = 0;
    const int result = sqlite3_prepare_v2(database._connection.get(), sql.data(),
                                          static_cast<int>(sql.size()), &statement, nullptr);
    _statement.reset(statement);
    _check(result);
}

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const noexcept {
    sqlite3_finalize(statement);
}

void Statement::_check(int result) const {
    if (result != SQLITE_OK) {
        _database._fail();
    }
}

Statement& Statement::bind(std::int64_t value) {
    _check(sqlite3_bind_int64(_statement.get(), ++_bound, value));
    return *this;
}

Statement& Statement::bind(std::string_view value) {
    // Without an address it would be NULL.
    const char* bytes = value.data() ? value.data() : "";
    _check(
        sqlite3_bind_text64(_statement.get(), ++_bound, bytes, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

bool Statement::step() {
    errno = 0;
    const int result = sqlite3_step(_statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        _database._fail();
    }
    return result == SQLITE_ROW;
}

void Statement::run() {
    while (step()) {
    }
    sqlite3_reset(_statement.get());
    sqlite3_clear_bindings(_statement.get());
    _bound = 0;
}

std::int64_t Statement::number(int column) const noexcept {
    return sqlite3_column_int64(_statement.get(), column);
}

std::string_view Statement::text(int column) const noexcept {
    const void* bytes = sqlite3_column_text(_statement.get(), column);
    auto length = static_cast<std::size_t>(sqlite3_column_bytes(_statement.get(), column));
    return {static_cast<const char*>(bytes), bytes ? length : 0};
}

Transaction::Transaction(Database& database) : _database(database) {
    _database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    // A failure may have taken it back already.
    if (sqlite3_get_autocommit(_database._connection.get()) == 0) {
        sqlite3_exec(_database._connection.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::commit() {
    _database.execute("COMMIT");
}

}  // namespace velm
