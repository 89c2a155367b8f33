#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/object_model/OwnObject.h"

#include <cstddef>

namespace velm {

/// Walks a queue ahead of the one who sends it. Indications wait until no cache holds them any more: what the
/// next ones are made of is asked for while the one before is being sent, one link of the chain of pointers
/// at a time.
///
/// One thread uses it; the list must outlive it and not change.
class QueueLookahead {
public:
    using List = ORVValSlist<ORVSmrPtr<IOrvoIndication>>;

    explicit QueueLookahead(List& list) noexcept : _next(list) {
        for (int link = 0; link < _links; ++link) {
            step();
        }
    }

    /// Called before each indication is used.
    void step() noexcept {
        _fetchTexts(_valued);
        _valued = _recorded;
        _fetchValues(_valued);
        _recorded = _opened;
        _fetchRecords(_recorded);
        _opened = _object ? ownObject<COrvoObject>(*_object) : nullptr;
        _fetchProperties(_opened);
        _object = _held ? _held->Get() : nullptr;
        __builtin_prefetch(_object);
        _held = _objectOf(_indication);
        if (_held) {
            _held->prefetch();
        }
        _indication = _queued ? _queued->Get() : nullptr;
        __builtin_prefetch(_indication);
        _queued = ++_next ? &_next.key() : nullptr;
        if (_queued) {
            _queued->prefetch();
            _next.prefetchNext();
        }
    }

private:
    /// Null for objects of other classes, here and below: their parts can be had through handles only.
    static const ORVSmrPtr<IOrvoObject>* _objectOf(const IOrvoIndication* indication) noexcept {
        const auto* own = indication ? ownObject<COrvoIndication>(*indication) : nullptr;
        return own ? &own->object() : nullptr;
    }

    static void _fetchProperties(const COrvoObject* object) noexcept {
        if (!object) {
            return;
        }
        constexpr std::size_t cacheLine = 64;
        const auto& properties = object->properties();
        const char* const begin = reinterpret_cast<const char*>(properties.data());
        for (std::size_t offset = 0; offset < properties.size() * sizeof properties[0]; offset += cacheLine) {
            __builtin_prefetch(begin + offset);
        }
        object->instanceName().prefetch();
    }

    static void _fetchRecords(const COrvoObject* object) noexcept {
        if (!object) {
            return;
        }
        for (const COrvoObject::Held& held : object->properties()) {
            held.name.prefetch();
            held.value.prefetch();
        }
        __builtin_prefetch(object->instanceName().Get());
    }

    static void _fetchValues(const COrvoObject* object) noexcept {
        if (!object) {
            return;
        }
        for (const COrvoObject::Held& held : object->properties()) {
            __builtin_prefetch(held.value.Get());
        }
    }

    static void _fetchTexts(const COrvoObject* object) noexcept {
        if (!object) {
            return;
        }
        for (const COrvoObject::Held& held : object->properties()) {
            const IOrvoValue* const value = held.value.Get();
            if (const auto* own = value ? ownObject<COrvoValue>(*value) : nullptr) {
                own->prefetchText();
            }
        }
    }

    static constexpr int _links = 7;

    ORVValSlistIterator<ORVSmrPtr<IOrvoIndication>> _next;
    // One indication at each link of the chain: what stands here was asked for, and is looked into at the
    // next step.
    const ORVSmrPtr<IOrvoIndication>* _queued = nullptr;
    const IOrvoIndication* _indication = nullptr;
    const ORVSmrPtr<IOrvoObject>* _held = nullptr;
    const IOrvoObject* _object = nullptr;
    const COrvoObject* _opened = nullptr;
    const COrvoObject* _recorded = nullptr;
    const COrvoObject* _valued = nullptr;
};

}  // namespace velm
