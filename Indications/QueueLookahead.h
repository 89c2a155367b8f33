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
        _fetchTexts(_second);
        _fetchValues(_first);
        _second = _first;
        _first = ++_next ? _objectOf(_next.key().Get()) : nullptr;
        _fetchProperties(_first);
    }

private:
    /// Null for objects of other classes: their parts can be had through handles only.
    static const COrvoObject* _objectOf(const IOrvoIndication* indication) noexcept {
        const auto* own = indication ? ownObject<COrvoIndication>(*indication) : nullptr;
        const IOrvoObject* const object = own ? own->object().Get() : nullptr;
        return object ? ownObject<COrvoObject>(*object) : nullptr;
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
        __builtin_prefetch(object->instanceName().Get());
    }

    static void _fetchValues(const COrvoObject* object) noexcept {
        if (!object) {
            return;
        }
        for (const COrvoObject::Held& held : object->properties()) {
            held.name.prefetch();
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

    static constexpr int _links = 3;

    ORVValSlistIterator<ORVSmrPtr<IOrvoIndication>> _next;
    /// Whose properties are on their way, and whose values are.
    const COrvoObject* _first = nullptr;
    const COrvoObject* _second = nullptr;
};

}  // namespace velm
