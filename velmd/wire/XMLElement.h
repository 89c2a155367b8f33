#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

/// One element of a document that is kept whole, its descendants inside it. A plain value.
struct XMLElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<XMLElement> children;
    /// The character data directly inside the element, UTF-8.
    std::string text;
    std::uint64_t line = 0;

    /// Null when the attribute is absent; names are exact.
    const std::string* attribute(std::string_view attributeName) const;
    /// The first child of this name; null when there is none.
    const XMLElement* child(std::string_view childName) const;
};

/// Reads a document that nobody vouches for into a tree. Throws ORVXMLError (line and column in its message)
/// when it is not well-formed, has a document type declaration, or is larger than `maxBytes` or deeper than
/// `maxDepth`. A document in memory is UTF-8, and refused when it declares another encoding; a file is read
/// as it declares.
XMLElement readXMLTree(std::string_view document, std::size_t maxBytes, std::size_t maxDepth);
XMLElement readXMLTreeFromFile(const std::string& path, std::size_t maxBytes, std::size_t maxDepth);

}  // namespace velm
