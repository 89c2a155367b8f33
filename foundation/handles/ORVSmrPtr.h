#pragma once

#include "foundation/Export.h"
#include "foundation/handles/ORVAtomicInt.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

/// What the handles share that does not depend on the type of the object.
class VELM_EXPORT ORVSmrPtrImpl {
public:
    /// Throws ORVNullPointerException, whose message is `operation` ("operator->()" or "operator*()").
    [[noreturn]] static void raiseNullPointer(const char* operation);
};

/// The counts of a record, the same for every type of handle.
struct SmartPointerCounts {
    /// The handles that share the record.
    ORVAtomicInt ownCount{1};
    /// The records, of whatever handle type, that refer to the object. That of the object's first record
    /// counts, the others stay unused.
    ORVAtomicInt objectCount{1};

    /// `firstRecord` is null for the first record itself. `holdsObject`: the object stands in its block.
    SmartPointerCounts(SmartPointerCounts* firstRecord, bool holdsObject) noexcept
        : _first(firstRecord || holdsObject ? firstRecord : this) {}

    /// The object's first record. Its memory lives as long as any of them.
    SmartPointerCounts* first() noexcept { return _first ? _first : this; }
    /// Of a first record: whether its memory is the object's too.
    bool holdsObject() const noexcept { return !_first; }

private:
    SmartPointerCounts* _first;
};

/// The shared record behind the handles to one object: one block of memory, which needs no destruction, so
/// that the last handle of another type can free it.
template <class T>
struct SmartPointerPointee : SmartPointerCounts {
    std::atomic<T*> object;

    SmartPointerPointee(SmartPointerCounts* firstRecord, T* pointee, bool holdsObject = false) noexcept
        : SmartPointerCounts(firstRecord, holdsObject), object(pointee) {}

    /// A record for a new object, or one more for the object of `firstRecord`.
    static SmartPointerPointee* make(SmartPointerCounts* firstRecord, T* pointee) {
        static_assert(std::is_trivially_destructible_v<SmartPointerPointee>);
        return new (::operator new(sizeof(SmartPointerPointee))) SmartPointerPointee(firstRecord, pointee);
    }

    /// A record and its object, a `Made` from `arguments`, in one block.
    template <class Made, class... Arguments>
    static SmartPointerPointee* makeWithObject(Arguments&&... arguments) {
        static_assert(alignof(Made) <= alignof(SmartPointerPointee));
        static_assert(std::is_same_v<Made, T> || std::has_virtual_destructor_v<T>);
        struct Free {
            void operator()(void* block) const noexcept { ::operator delete(block); }
        };
        std::unique_ptr<void, Free> block(::operator new(sizeof(SmartPointerPointee) + sizeof(Made)));
        T* object = new (static_cast<std::byte*>(block.get()) + sizeof(SmartPointerPointee))
            Made(std::forward<Arguments>(arguments)...);
        return new (block.release()) SmartPointerPointee(nullptr, object, true);
    }
};

template <class T>
class ORVSmrPtr;

template <class To, class From>
void ForceCopySmrPtr(ORVSmrPtr<To>& target, const ORVSmrPtr<From>& source);

/// A counted handle: the one way in which this system holds a shared object.
///
/// Threads: handles to one object may be copied and released on different threads; one handle must not be
/// changed by one thread while another uses it. Ownership: the object is deleted, through its virtual
/// destructor, when the last handle of every typed view is gone. Making two handles from the same raw pointer
/// deletes the object twice. Failure: `operator->` and `operator*` of a null handle throw
/// ORVNullPointerException.
template <class T>
class ORVSmrPtr {
public:
    /// A null handle: it owns a record whose object is null.
    ORVSmrPtr(std::nullptr_t = nullptr) : _pointee(_newRecord(nullptr)) {}

    /// Takes ownership of `object`, which may be null. Deletes it when the record cannot be made.
    explicit ORVSmrPtr(T* object) : _pointee(_newRecord(object)) {}

    /// A null handle without a record, as a handle is that was moved from: it costs nothing, and Set() does
    /// nothing to it.
    static ORVSmrPtr none() noexcept { return ORVSmrPtr(static_cast<Pointee*>(nullptr), Record{}); }

    /// A handle to a new object, a `Made` from `arguments`, which shares one block of memory with its record:
    /// for objects of which there are many. Requires: nobody calls Set() on the handle.
    template <class Made = T, class... Arguments>
    static ORVSmrPtr make(Arguments&&... arguments) {
        return ORVSmrPtr(Pointee::template makeWithObject<Made>(std::forward<Arguments>(arguments)...),
                         Record{});
    }

    ORVSmrPtr(const ORVSmrPtr& other) noexcept : _pointee(other._pointee) { _retain(); }

    /// Leaves `other` referring to nothing.
    ORVSmrPtr(ORVSmrPtr&& other) noexcept : _pointee(std::exchange(other._pointee, nullptr)) {}

    ~ORVSmrPtr() { _Release(); }

    ORVSmrPtr& operator=(const ORVSmrPtr& other) noexcept {
        if (_pointee != other._pointee) {
            ORVSmrPtr copy(other);
            copy._swap(*this);
        }
        return *this;
    }

    ORVSmrPtr& operator=(ORVSmrPtr&& other) noexcept {
        ORVSmrPtr(std::move(other))._swap(*this);
        return *this;
    }

    /// Releases the object held so far and takes ownership of `object`, which may be null.
    ORVSmrPtr& operator=(T* object) {
        _Release();
        _pointee = _newRecord(object);
        return *this;
    }

    ORVSmrPtr& operator=(std::nullptr_t) { return *this = static_cast<T*>(nullptr); }

    bool IsNull() const noexcept { return Get() == nullptr; }

    /// The object, unchecked: null for a null handle.
    T* Get() const noexcept { return _pointee ? _pointee->object.load(std::memory_order_acquire) : nullptr; }

    /// Asks for the memory of the record, which no cache may hold, without waiting for it.
    void prefetch() const noexcept { __builtin_prefetch(_pointee); }

    operator void*() const noexcept { return const_cast<void*>(static_cast<const void*>(Get())); }

    T* operator->() const { return _checked("operator->()"); }
    T& operator*() const { return *_checked("operator*()"); }

    /// Replaces the object in the shared record, for every handle that shares it. The counts stay and the
    /// former object is not deleted: `Set(nullptr)` detaches an object that somebody else is about to
    /// destroy. Handles that ForceCopySmrPtr split off have a record of their own and keep their object.
    void Set(T* object) noexcept {
        if (_pointee) {
            _pointee->object.store(object, std::memory_order_release);
        }
    }

    /// True when both refer to the same address; the records may differ.
    friend bool operator==(const ORVSmrPtr& left, const ORVSmrPtr& right) noexcept {
        return left.Get() == right.Get();
    }

private:
    using Pointee = SmartPointerPointee<T>;

    template <class To, class From>
    friend void ForceCopySmrPtr(ORVSmrPtr<To>& target, const ORVSmrPtr<From>& source);

    /// Tells the constructor that takes a record from the one that takes an object.
    struct Record {};
    ORVSmrPtr(Pointee* record, Record) noexcept : _pointee(record) {}

    static Pointee* _newRecord(T* object) {
        std::unique_ptr<T> guard(object);
        Pointee* record = Pointee::make(nullptr, object);
        static_cast<void>(guard.release());
        return record;
    }

    void _retain() noexcept {
        if (_pointee) {
            _pointee->ownCount.atomicInc();
        }
    }

    void _Release() noexcept {
        Pointee* record = std::exchange(_pointee, nullptr);
        if (!record || record->ownCount.atomicDec() != 0) {
            return;
        }
        SmartPointerCounts* first = record->first();
        T* object = record->object.load(std::memory_order_acquire);
        if (record != first) {
            ::operator delete(record);
        }
        if (first->objectCount.atomicDec() != 0) {
            return;
        }
        if (first->holdsObject()) {
            object->~T();
            ::operator delete(first);
        } else {
            ::operator delete(first);
            delete object;
        }
    }

    void _swap(ORVSmrPtr& other) noexcept { std::swap(_pointee, other._pointee); }

    T* _checked(const char* operation) const {
        T* object = Get();
        if (!object) {
            ORVSmrPtrImpl::raiseNullPointer(operation);
        }
        return object;
    }

    Pointee* _pointee;
};

/// A checked downcast that keeps one ownership.
///
/// When the object of `source` is a `To`, `target` releases its own record and gets a new one that shares the
/// count of the object; otherwise `target` is left as it was, and nothing is raised.
template <class To, class From>
void ForceCopySmrPtr(ORVSmrPtr<To>& target, const ORVSmrPtr<From>& source) {
    To* object = dynamic_cast<To*>(source.Get());
    if (!object) {
        return;
    }
    SmartPointerCounts* first = source._pointee->first();
    auto* record = SmartPointerPointee<To>::make(first, object);
    first->objectCount.atomicInc();
    target._Release();
    target._pointee = record;
}
