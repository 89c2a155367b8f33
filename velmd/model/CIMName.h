#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velm {

/// CIM names (of namespaces, classes, properties, keys, qualifiers and methods) compare without regard to the
/// letter case of ASCII (DSP0004).
bool sameName(std::string_view left, std::string_view right) noexcept;

/// The form of a name under which it is kept in maps and in the database.
std::string foldedName(std::string_view name);

/// Whether `name` can name a class, property or qualifier: letters, digits, underscores and characters beyond
/// ASCII, no digit first, 256 bytes at the most.
bool isCIMName(std::string_view name) noexcept;

/// `nameSpace` without the slashes at both ends, which do not count in names of namespaces.
std::string_view withoutOuterSlashes(std::string_view nameSpace) noexcept;

/// The same for a name that is to be checked; throws CIMOMException (4) when what is left is empty or no
/// sequence of names parted by single slashes.
std::string checkedNamespace(std::string_view nameSpace);

/// quoted(text): the text in single quotes for a message, cut to 60 bytes, at the end of a character, with
/// dots behind what is left. Messages quote what clients send this way, so that none is longer than what it
/// explains. quotedPath(text) is the same for the path of an instance, and leaves 200 bytes, so that its keys
/// are seen. Objects, so that std::quoted is not taken in their place for a std::string.
struct QuoteText {
    std::size_t most;
    std::string operator()(std::string_view text) const;
};
inline constexpr QuoteText quoted{60};
inline constexpr QuoteText quotedPath{200};

/// For containers keyed by CIM names, searched by std::string_view without a copy.
struct CIMNameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept;
};
struct CIMNameEqual {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const noexcept {
        return sameName(left, right);
    }
};

}  // namespace velm
