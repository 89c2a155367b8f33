#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

#include <cstdint>
#include <vector>

namespace velm {

/// The names under which changes of one class's objects are filed: those of the class and of the classes
/// above it, and "*" for the root.
///
/// Each change carries them, and many threads report at once: they are made once for each line of classes and
/// never destroyed, so that nobody counts who uses them. Threads: any.
class RouteNames {
public:
    struct Name {
        ORVString text;
        /// That of hashKeyORVString().
        std::uint32_t hash;
        /// Whether only the name of a class can be the same: see isPlain().
        bool isPlain;
    };

    /// Those of the class `className`, below the class of `base`; of a root when `base` is null. Failure:
    /// only std::bad_alloc.
    static const RouteNames& of(const ORVString& className, const RouteNames* base);

    /// Whether `text` holds none of the characters that part the text of an instance name.
    static bool isPlain(const ORVString& text) noexcept;

    RouteNames(const RouteNames&) = delete;
    RouteNames& operator=(const RouteNames&) = delete;

    const std::vector<Name>& names() const noexcept { return _names; }
    /// The same as a list, which nobody changes.
    const ORVSmrPtr<ORVValSlist<ORVString>>& list() const noexcept { return _list; }

private:
    RouteNames(const ORVString& className, const RouteNames* base);

    void _append(const ORVString& name);

    std::vector<Name> _names;
    ORVSmrPtr<ORVValSlist<ORVString>> _list;
};

}  // namespace velm
