#include "server/xml/PropertyOpenings.h"

#include "server/xml/PlainText.h"

#include <algorithm>
#include <cstdint>

namespace velm {

/// Requires: `name` is not empty.
std::size_t PropertyOpenings::_setOf(std::string_view name) noexcept {
    const auto byte = [name](std::size_t position) { return static_cast<unsigned char>(name[position]); };
    return (name.size() * 29U + byte(0) * 7U + byte(name.size() / 2) * 3U + byte(name.size() - 1)) %
           _setCount;
}

namespace {

template <class Word>
bool differ(const char* left, const char* right, std::size_t position) noexcept {
    return plain::wordAt<Word>(left + position) != plain::wordAt<Word>(right + position);
}

/// As memcmp(3), which costs a call: names are short. The last words overlap.
bool areEqual(const char* left, const char* right, std::size_t size) noexcept {
    using Word = std::uint64_t;
    if (size < sizeof(Word)) {
        return std::equal(left, left + size, right);
    }
    const std::size_t last = size - sizeof(Word);
    for (std::size_t position = 0; position < last; position += sizeof(Word)) {
        if (differ<Word>(left, right, position)) {
            return false;
        }
    }
    return !differ<Word>(left, right, last);
}

}  // namespace

bool PropertyOpenings::Opening::isOf(std::string_view name, const IOrvoType* type) const noexcept {
    return _type == type && _nameSize == name.size() &&
           areEqual(_text.data() + before.size(), name.data(), name.size());
}

PropertyOpenings::Opening* PropertyOpenings::_search(std::string_view name, const IOrvoType* type) noexcept {
    for (Opening& opening : _sets[_setOf(name)].openings) {
        if (opening.isOf(name, type)) {
            return &opening;
        }
    }
    return nullptr;
}

const PropertyOpenings::Opening* PropertyOpenings::find(std::string_view name,
                                                        const IOrvoType* type) noexcept {
    if (name.empty()) {
        return nullptr;
    }
    Opening* found = _last->_following;
    if (!found->isOf(name, type)) {
        found = _search(name, type);
        if (!found) {
            return nullptr;
        }
        _last->_following = found;
    }
    _last = found;
    return found;
}

void PropertyOpenings::keep(std::string_view name, const IOrvoType* type, std::string_view text) noexcept {
    if (name.empty() || text.size() > Opening::room) {
        return;
    }
    Set& set = _sets[_setOf(name)];
    Opening& opening = set.openings[set.next];
    set.next = (set.next + 1) % set.openings.size();
    opening._type = type;
    opening._nameSize = name.size();
    opening._textSize = text.copy(opening._text.data(), text.size());
}

}  // namespace velm
