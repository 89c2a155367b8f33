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

/// Without slashes at both ends; throws CIMOMException (4) when what is left is empty or no sequence of
/// names parted by single slashes.
std::string checkedNamespace(std::string_view nameSpace);

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
