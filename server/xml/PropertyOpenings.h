#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

class IOrvoType;

namespace velm {

/// Remembers how the properties of embedded instances begin: the text before the value, names looked at and
/// tags escaped already. Objects of one class come one after the other, and only their values differ.
///
/// Used by one thread. The memory is bounded: once its set is full, a property takes the place of the one
/// that came there first.
class PropertyOpenings {
public:
    /// What stands before `name` in each text.
    static constexpr std::string_view before = "&lt;PROPERTY NAME=\"";

    /// The text for a property, valid until the next keep(); the null view when it is not known.
    std::string_view find(std::string_view name, const IOrvoType* type) const noexcept;

    /// Remembers `text`, which begins with `before` and `name`. Nothing happens when the name is longer than
    /// is usual. Requires: `type` lives as long as the process.
    void keep(std::string_view name, const IOrvoType* type, std::string_view text);

private:
    struct Opening {
        const IOrvoType* type = nullptr;
        std::size_t nameSize = 0;
        std::string text;
    };

    struct Set {
        std::array<Opening, 4> openings;
        std::size_t next = 0;
    };

    static std::size_t _setOf(std::string_view name) noexcept;

    static constexpr std::size_t _setCount = 64;
    static constexpr std::size_t _maxNameSize = 64;

    std::array<Set, _setCount> _sets;
};

}  // namespace velm
