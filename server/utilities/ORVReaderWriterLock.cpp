#include "foundation/utilities/ORVReaderWriterLock.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cassert>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <utility>

namespace {

using Rank = ORVReaderWriterLock::Rank;

constexpr std::size_t cacheLine = 64;

/// One thread's hold on one lock. Reads taken under a write lock count here only.
struct Hold {
    const void* lock;
    Rank rank;
    unsigned int reads;
    unsigned int writes;
};

/// The locks that one thread holds, and its number. Trivially destructible, so that locks work while a thread
/// or the process ends.
class Holds {
public:
    Hold* find(const void* lock) noexcept {
        for (std::size_t i = _count; i-- > 0;) {
            if (_holds[i].lock == lock) {
                return &_holds[i];
            }
        }
        return nullptr;
    }

    bool isFull() const noexcept { return _count == _holds.size(); }

    /// Requires: not full.
    void add(const Hold& hold) noexcept {
        _holds[_count++] = hold;
        _ranked += hold.rank != Rank::unranked;
    }

    void remove(Hold* hold) noexcept {
        _ranked -= hold->rank != Rank::unranked;
        *hold = _holds[--_count];
    }

    bool hasRanked() const noexcept { return _ranked != 0; }

    bool mayTake(Rank rank) const noexcept {
        return rank == Rank::unranked || std::none_of(_holds.begin(), _holds.begin() + _count,
                                                      [rank](const Hold& hold) { return hold.rank > rank; });
    }

    /// Neighbouring threads have different numbers.
    std::size_t threadNumber() noexcept {
        if (_threadNumber == 0) {
            static constinit std::atomic<std::size_t> next{1};
            _threadNumber = next.fetch_add(1, std::memory_order_relaxed);
        }
        return _threadNumber;
    }

private:
    std::array<Hold, 16> _holds{};
    std::size_t _count = 0;
    std::size_t _ranked = 0;
    std::size_t _threadNumber = 0;
};

/// In a shared library each look for it is a call, so that each operation looks once.
constinit thread_local Holds holdsOfThread;

/// The readers of those threads that share a slot. Processors fetch lines in pairs.
struct alignas(2 * cacheLine) Slot {
    std::atomic<std::uint32_t> readers{0};
};

std::size_t countSlots() {
    return std::bit_ceil(std::clamp<std::size_t>(std::thread::hardware_concurrency(), 4, 128));
}

}  // namespace

/// Readers count themselves in their slot and then look whether the gate is closed; a writer closes the gate
/// and then looks whether all slots are empty. Both do it in one total order (seq_cst), so that at least one
/// sees the other.
///
/// Turns: a writer that leaves lets in the readers that waited for it, and the next writer waits until those
/// have counted themselves.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): the cache lines are kept apart.
struct ORVReaderWriterLock::State {
    explicit State(Rank lockRank) : rank(lockRank) {}

    // All that a reader looks at when no writer is about, on one line that changes with writers only.
    alignas(cacheLine) const Rank rank;
    std::atomic<bool> gateIsClosed{false};
    const std::size_t slotMask = countSlots() - 1;
    const std::unique_ptr<Slot[]> slots = std::make_unique<Slot[]>(slotMask + 1);

    alignas(cacheLine) std::mutex mutex;
    std::condition_variable readersTurn;
    std::condition_variable writersTurn;
    std::condition_variable drained;
    bool writerIsIn = false;
    unsigned int writers = 0;
    unsigned int waitingReaders = 0;
    unsigned int admittedReaders = 0;
    std::uint64_t admissions = 0;

    Slot& slotOf(Holds& mine) const noexcept { return slots[mine.threadNumber() & slotMask]; }

    bool hasReaders() const noexcept {
        return std::any_of(&slots[0], &slots[0] + slotMask + 1, [](const Slot& slot) {
            return slot.readers.load(std::memory_order_seq_cst) != 0;
        });
    }

    void enterAsReader(Slot& slot) {
        slot.readers.fetch_add(1, std::memory_order_seq_cst);
        if (gateIsClosed.load(std::memory_order_seq_cst)) {
            leaveAsReader(slot);
            queueAsReader(slot);
        }
    }

    void leaveAsReader(Slot& slot) noexcept {
        slot.readers.fetch_sub(1, std::memory_order_seq_cst);
        if (gateIsClosed.load(std::memory_order_seq_cst)) {
            // The empty critical section keeps the wake-up from falling between the writer's look and its
            // wait.
            { const std::lock_guard lock(mutex); }
            drained.notify_one();
        }
    }

    void queueAsReader(Slot& slot) {
        std::unique_lock lock(mutex);
        if (writers != 0) {
            ++waitingReaders;
            readersTurn.wait(lock, [this, seen = admissions] { return admissions != seen; });
            if (--admittedReaders == 0) {
                writersTurn.notify_one();
            }
        }
        slot.readers.fetch_add(1, std::memory_order_seq_cst);
    }

    void enterAsWriter() {
        std::unique_lock lock(mutex);
        ++writers;
        gateIsClosed.store(true, std::memory_order_seq_cst);
        writersTurn.wait(lock, [this] { return !writerIsIn && admittedReaders == 0; });
        writerIsIn = true;
        drained.wait(lock, [this] { return !hasReaders(); });
    }

    void leaveAsWriter() {
        const std::lock_guard lock(mutex);
        writerIsIn = false;
        --writers;
        if (waitingReaders != 0) {
            admittedReaders = std::exchange(waitingReaders, 0);
            ++admissions;
            readersTurn.notify_all();
        }
        if (writers == 0) {
            gateIsClosed.store(false, std::memory_order_seq_cst);
        } else if (admittedReaders == 0) {
            writersTurn.notify_one();
        }
    }

    /// What must be true of a thread that takes this lock for the first time.
    void checkFirstHold(const Holds& mine) const {
        assert(mine.mayTake(rank) && "locks are nested in the order of their ranks");
        if (mine.isFull()) {
            throw OrvoBaseException("ORVReaderWriterLock", "utilities", "This thread holds too many locks",
                                    0);
        }
    }
};

ORVReaderWriterLock::ORVReaderWriterLock(Rank rank) : _state(std::make_unique<State>(rank)) {
}

ORVReaderWriterLock::~ORVReaderWriterLock() {
    assert(_state->writers == 0 && !_state->hasReaders() && "nobody holds a lock that is destroyed");
}

void ORVReaderWriterLock::getReadLock() const {
    Holds& mine = holdsOfThread;
    if (Hold* hold = mine.find(_state.get())) {
        ++hold->reads;
        return;
    }
    _state->checkFirstHold(mine);
    _state->enterAsReader(_state->slotOf(mine));
    mine.add({_state.get(), _state->rank, 1, 0});
}

void ORVReaderWriterLock::releaseReadLock() const {
    Holds& mine = holdsOfThread;
    Hold* hold = mine.find(_state.get());
    assert(hold && hold->reads != 0 && "this thread holds the lock for reading");
    if (!hold || hold->reads == 0 || --hold->reads != 0 || hold->writes != 0) {
        return;
    }
    mine.remove(hold);
    _state->leaveAsReader(_state->slotOf(mine));
}

void ORVReaderWriterLock::getWriteLock() const {
    Holds& mine = holdsOfThread;
    if (Hold* hold = mine.find(_state.get())) {
        assert(hold->writes != 0 && "a reader does not ask for the write lock");
        if (hold->writes == 0) {
            throw OrvoBaseException("ORVReaderWriterLock::getWriteLock", "utilities",
                                    "A reader asked for the write lock", 0);
        }
        ++hold->writes;
        return;
    }
    _state->checkFirstHold(mine);
    _state->enterAsWriter();
    mine.add({_state.get(), _state->rank, 0, 1});
}

void ORVReaderWriterLock::releaseWriteLock() const {
    Holds& mine = holdsOfThread;
    Hold* hold = mine.find(_state.get());
    assert(hold && hold->writes != 0 && "this thread holds the lock for writing");
    if (!hold || hold->writes == 0 || --hold->writes != 0) {
        return;
    }
    if (hold->reads != 0) {
        // The thread keeps on reading: it becomes a reader like any other before the next writer can come in.
        _state->slotOf(mine).readers.fetch_add(1, std::memory_order_seq_cst);
    } else {
        mine.remove(hold);
    }
    _state->leaveAsWriter();
}

bool ORVReaderWriterLock::isHeldByThisThread() const noexcept {
    return holdsOfThread.find(_state.get()) != nullptr;
}

bool ORVReaderWriterLock::isHeldForWritingByThisThread() const noexcept {
    const Hold* hold = holdsOfThread.find(_state.get());
    return hold && hold->writes != 0;
}

bool ORVReaderWriterLock::thisThreadHoldsRankedLock() noexcept {
    return holdsOfThread.hasRanked();
}
