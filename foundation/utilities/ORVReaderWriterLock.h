#pragma once

#include "foundation/Export.h"

#include <cstdint>
#include <memory>

/// A shared/exclusive lock made for many readers.
///
/// Re-entry: the thread that holds it for writing may take it again, for writing and for reading; a thread
/// that holds it for reading may take it again for reading, even while a writer waits. Releases are counted.
/// A writer that also reads may release the write lock first and goes on as a reader.
///
/// Fairness: new readers wait behind a waiting writer, and the readers that waited for one writer come in
/// before the next one, so that neither starves the other. Readers on different cores share no cache line
/// that they write.
///
/// Threads: any; each release is made by the thread that took the lock. Requires: the lock is destroyed after
/// every operation on it has returned. Failure: a reader must not ask for the write lock, because nobody
/// could ever grant it, and one thread holds at most 16 of these locks at once; both throw OrvoBaseException
/// and take nothing. Debug builds assert the former, a release without a hold, and the order in which one
/// thread takes locks: ranks must not fall (see Rank).
class VELM_EXPORT ORVReaderWriterLock {
public:
    /// The place of a lock in the one order in which locks are nested; a lower rank is taken first. Unranked
    /// locks are not checked.
    enum class Rank : std::uint8_t { unranked = 0, indicationManager = 1, classManager = 2 };

    explicit ORVReaderWriterLock(Rank rank = Rank::unranked);
    ORVReaderWriterLock(const ORVReaderWriterLock&) = delete;
    ORVReaderWriterLock& operator=(const ORVReaderWriterLock&) = delete;
    ~ORVReaderWriterLock();

    void getReadLock() const;
    void releaseReadLock() const;
    void getWriteLock() const;
    void releaseWriteLock() const;

    /// Whether the calling thread holds this lock, either way.
    bool isHeldByThisThread() const noexcept;
    /// Whether the calling thread holds this lock for writing.
    bool isHeldForWritingByThisThread() const noexcept;
    /// Whether the calling thread holds any ranked lock: false wherever a provider may be called.
    static bool thisThreadHoldsRankedLock() noexcept;

private:
    struct State;
    std::unique_ptr<State> _state;
};
