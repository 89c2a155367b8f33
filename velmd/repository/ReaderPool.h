#pragma once

#include "foundation/utilities/ORVCriticalSection.h"
#include "velmd/repository/Database.h"

#include <memory>
#include <string>
#include <vector>

namespace velm {

/// Connections for reading, as many as threads read at once; some are kept for the next ones.
///
/// Threads: any number. Failure: CIMOMException (1) when another connection cannot be opened.
class ReaderPool {
public:
    /// A connection for one thread; goes back when this goes. Gone before the pool.
    class Reader {
    public:
        explicit Reader(ReaderPool& pool) : _pool(pool), _database(pool._take()) {}
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        ~Reader() { _pool._giveBack(std::move(_database)); }

        Database& operator*() const noexcept { return *_database; }

    private:
        ReaderPool& _pool;
        std::unique_ptr<Database> _database;
    };

    /// Requires: `file` as Database wants it.
    explicit ReaderPool(std::string file);
    ReaderPool(const ReaderPool&) = delete;
    ReaderPool& operator=(const ReaderPool&) = delete;
    ~ReaderPool();

private:
    std::unique_ptr<Database> _take();
    void _giveBack(std::unique_ptr<Database> database) noexcept;

    const std::string _file;
    ORVCriticalSection _lock;
    std::vector<std::unique_ptr<Database>> _idle VELM_GUARDED_BY(_lock);
};

}  // namespace velm
