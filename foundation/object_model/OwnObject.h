#pragma once

#include <typeinfo>

namespace velm {

/// `object` as an object of this system's own class, whose parts can be read without a handle to each of
/// them; null when another class implements the interface. Any thread.
template <class Own, class Interface>
const Own* ownObject(const Interface& object) noexcept {
    return typeid(object) == typeid(Own) ? static_cast<const Own*>(&object) : nullptr;
}

}  // namespace velm
