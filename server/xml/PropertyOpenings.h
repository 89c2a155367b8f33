#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

class IOrvoType;

namespace velm {

/// Remembers how the properties of embedded instances begin: the text before the value, names looked at and
/// tags escaped already. Objects of one class come one after the other, and only their values differ: what
/// followed a property last time is looked at first.
///
/// Used by one thread. The memory is bounded: once its set is full, a property takes the place of the one
/// that came there first.
class PropertyOpenings {
public:
    /// What stands before `name` in each text.
    static constexpr std::string_view before = "&lt;PROPERTY NAME=\"";

    PropertyOpenings() = default;
    PropertyOpenings(const PropertyOpenings&) = delete;
    PropertyOpenings& operator=(const PropertyOpenings&) = delete;

    class Opening {
    public:
        std::string_view text() const noexcept { return {_text.data(), _textSize}; }

        /// What a copy may take, however short the text.
        static constexpr std::size_t room = 192;
        /// Copies the text to where there is that much room, in blocks; answers where it ends.
        char* copyTo(char* place) const noexcept {
            constexpr std::size_t block = 32;
            static_assert(room % block == 0);
            for (std::size_t position = 0; position < _textSize; position += block) {
                std::memcpy(place + position, _text.data() + position, block);
            }
            return place + _textSize;
        }

    private:
        friend class PropertyOpenings;

        bool isOf(std::string_view name, const IOrvoType* type) const noexcept;

        const IOrvoType* _type = nullptr;
        Opening* _following = this;
        std::size_t _nameSize = 0;
        std::size_t _textSize = 0;
        std::array<char, room> _text{};
    };

    /// The one for a property, valid until the next keep(); null when it is not known.
    const Opening* find(std::string_view name, const IOrvoType* type) noexcept;

    /// Remembers `text`, which begins with `before` and `name`. Nothing happens when it is longer than is
    /// usual. Requires: `type` lives as long as the process.
    void keep(std::string_view name, const IOrvoType* type, std::string_view text) noexcept;

private:
    struct Set {
        std::array<Opening, 4> openings;
        std::size_t next = 0;
    };

    static std::size_t _setOf(std::string_view name) noexcept;
    Opening* _search(std::string_view name, const IOrvoType* type) noexcept;

    static constexpr std::size_t _setCount = 64;

    std::array<Set, _setCount> _sets;
    /// The one that was found last.
    Opening* _last = &_sets[0].openings[0];
};

}  // namespace velm
