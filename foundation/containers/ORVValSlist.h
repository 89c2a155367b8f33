#pragma once

#include "foundation/containers/ORVBoundsException.h"

#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

template <class T>
class ORVValSlistIterator;

/// One element of an ORVValSlist and its links to the neighbours.
template <class T>
struct ORVValSlistItem {
    ORVValSlistItem* previous;
    ORVValSlistItem* next;
    T data;
};

/// A doubly linked list that owns copies of its elements, in insertion order.
///
/// Threads: not synchronised; any number may read at once while none writes. Failure: positions outside the
/// list throw ORVBoundsException. References to elements stay valid until the element is removed.
template <class T>
class ORVValSlist {
public:
    template <class Value>
    class Position;
    using iterator = Position<T>;
    using const_iterator = Position<const T>;

    ORVValSlist() = default;
    ORVValSlist(const ORVValSlist& other) : ORVValSlist() {
        for (const T& value : other) {
            append(value);
        }
    }
    ORVValSlist(ORVValSlist&& other) noexcept { _swap(other); }
    ORVValSlist& operator=(ORVValSlist other) noexcept {
        _swap(other);
        return *this;
    }
    ~ORVValSlist() { clear(); }

    void append(const T& value) { _link(new Item{nullptr, nullptr, value}); }
    void append(T&& value) { _link(new Item{nullptr, nullptr, std::move(value)}); }

    bool contains(const T& value) const { return _search(value) != nullptr; }

    /// Removes the first element equal to `value`; answers whether there was one.
    bool removeObject(const T& value) {
        Item* item = _search(value);
        if (item) {
            _erase(item);
        }
        return item != nullptr;
    }

    T& at(unsigned int index) { return _advanceTo(index)->data; }
    const T& at(unsigned int index) const { return _advanceTo(index)->data; }

    /// Removes the element at `index` and returns it.
    T removeAt(unsigned int index) {
        Item* item = (!isEmpty() && index == _entries - 1) ? _last : _advanceTo(index);
        T value = std::move(item->data);
        _erase(item);
        return value;
    }

    void clear() noexcept {
        Item* item = std::exchange(_head, nullptr);
        _last = nullptr;
        _entries = 0;
        while (item) {
            delete std::exchange(item, item->next);
        }
    }

    unsigned int entries() const noexcept { return _entries; }
    bool isEmpty() const noexcept { return _entries == 0; }

    /// The position of the tail; end() when the list is empty. Positions stay good until their element goes.
    iterator last() noexcept { return iterator(_last); }

    /// Removes the element at `position`, at the same cost wherever it stands. Requires: a position of this
    /// list, not end().
    void erase(iterator position) noexcept { _erase(position._item); }

    iterator begin() noexcept { return iterator(_head); }
    iterator end() noexcept { return iterator(nullptr); }
    const_iterator begin() const noexcept { return const_iterator(_head); }
    const_iterator end() const noexcept { return const_iterator(nullptr); }

private:
    using Item = ORVValSlistItem<T>;
    friend class ORVValSlistIterator<T>;

    Item* _advanceTo(unsigned int index) const {
        if (index >= _entries) {
            throw ORVBoundsException();
        }
        Item* item = _head;
        for (unsigned int step = 0; item && step < index; ++step) {
            item = item->next;
        }
        if (!item) {
            throw ORVBoundsException();
        }
        return item;
    }

    Item* _search(const T& value) const {
        for (Item* item = _head; item; item = item->next) {
            if (item->data == value) {
                return item;
            }
        }
        return nullptr;
    }

    void _link(Item* item) noexcept {
        item->previous = _last;
        if (_last) {
            _last->next = item;
            _sortOrder = 0;
        } else {
            _head = item;
        }
        _last = item;
        ++_entries;
    }

    void _erase(Item* item) noexcept {
        (item->previous ? item->previous->next : _head) = item->next;
        (item->next ? item->next->previous : _last) = item->previous;
        --_entries;
        delete item;
    }

    void _swap(ORVValSlist& other) noexcept {
        std::swap(_head, other._head);
        std::swap(_last, other._last);
        std::swap(_entries, other._entries);
        std::swap(_sortOrder, other._sortOrder);
    }

    Item* _head = nullptr;
    Item* _last = nullptr;
    unsigned int _entries = 0;
    int _sortOrder = 0;
};

/// A position for range-based loops. The list must not change while one walks it.
template <class T>
template <class Value>
class ORVValSlist<T>::Position {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<Value>;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using reference = Value&;

    Position() = default;
    explicit Position(ORVValSlistItem<T>* item) noexcept : _item(item) {}

    Value& operator*() const noexcept { return _item->data; }
    Value* operator->() const noexcept { return &_item->data; }
    Position& operator++() noexcept {
        _item = _item->next;
        return *this;
    }
    Position operator++(int) noexcept { return Position(std::exchange(_item, _item->next)); }
    bool operator==(const Position&) const = default;

private:
    friend class ORVValSlist<T>;

    ORVValSlistItem<T>* _item = nullptr;
};

/// Walks a list from head to tail and may remove the element that it stands on.
///
/// Starts before the first element: `for (ORVValSlistIterator<T> it(list); ++it;) use(it.key());`
/// Threads: as the list. The list must outlive the iterator.
template <class T>
class ORVValSlistIterator {
public:
    explicit ORVValSlistIterator(ORVValSlist<T>& list) noexcept : _list(&list) {}

    /// Steps to the next element; false when there is none, and from then on.
    bool operator++() noexcept {
        if (_atEnd) {
            return false;
        }
        _current = _current ? _current->next : _list->_head;
        _atEnd = _current == nullptr;
        return !_atEnd;
    }

    bool operator()() noexcept { return ++*this; }

    /// The current element. Requires: the last step answered true and the element was not removed since.
    T& key() const noexcept { return _current->data; }

    /// Asks for the memory of the element behind the current one, which no cache may hold, without waiting
    /// for it. Requires: as key().
    void prefetchNext() const noexcept { __builtin_prefetch(_current->next); }

    void reset() noexcept {
        _current = nullptr;
        _atEnd = false;
    }

    /// Unlinks the current element and returns it; the next step yields the element that followed it. Throws
    /// ORVBoundsException when there is no current element.
    T remove() {
        if (!_current) {
            throw ORVBoundsException();
        }
        Item* removed = _current;
        T value = std::move(removed->data);
        if (removed->previous) {
            _current = removed->previous;
        } else {
            reset();
        }
        _list->_erase(removed);
        return value;
    }

private:
    using Item = ORVValSlistItem<T>;

    ORVValSlist<T>* _list;
    Item* _current = nullptr;
    bool _atEnd = false;
};
