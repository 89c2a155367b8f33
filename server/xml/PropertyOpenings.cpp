#include "server/xml/PropertyOpenings.h"

namespace velm {

/// Requires: `name` is not empty.
std::size_t PropertyOpenings::_setOf(std::string_view name) noexcept {
    const auto byte = [name](std::size_t position) { return static_cast<unsigned char>(name[position]); };
    return (name.size() * 29U + byte(0) * 7U + byte(name.size() / 2) * 3U + byte(name.size() - 1)) %
           _setCount;
}

std::string_view PropertyOpenings::find(std::string_view name, const IOrvoType* type) const noexcept {
    if (name.empty()) {
        return {};
    }
    for (const Opening& opening : _sets[_setOf(name)].openings) {
        if (opening.type == type && opening.nameSize == name.size() &&
            std::string_view(opening.text).substr(before.size(), name.size()) == name) {
            return opening.text;
        }
    }
    return {};
}

void PropertyOpenings::keep(std::string_view name, const IOrvoType* type, std::string_view text) {
    if (name.empty() || name.size() > _maxNameSize) {
        return;
    }
    Set& set = _sets[_setOf(name)];
    Opening& opening = set.openings[set.next];
    set.next = (set.next + 1) % set.openings.size();
    opening.type = nullptr;
    opening.text = text;
    opening.nameSize = name.size();
    opening.type = type;
}

}  // namespace velm
