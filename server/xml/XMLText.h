#pragma once

#include <string>
#include <string_view>

namespace velm {

class TextEnd;

/// Where text stands in an XML document.
enum class XMLContext { element, attribute };

/// Appends `text` to `xml`, escaped for `context`.
///
/// `depth` is the number of embedded instances around that place: each carries the document inside it as text
/// of its own, so that everything inside is escaped once more. Text is read once and written once, whatever
/// the depth.
///
/// & < > are always escaped and " ' TAB LF in attributes; CR is a character reference in both places, since a
/// reader would turn it into LF. What XML 1.0 cannot carry becomes U+FFFD: each control character below
/// U+0020 other than TAB, LF and CR; U+FFFE and U+FFFF; each byte that is not part of a UTF-8 character,
/// surrogates and overlong forms included.
void appendXMLText(std::string& xml, std::string_view text, XMLContext context, unsigned int depth);
void appendXMLText(TextEnd& xml, std::string_view text, XMLContext context, unsigned int depth);

/// Appends tags. Requires: `tags` holds no character reference, and text in it needs no escaping.
void appendXMLTags(TextEnd& xml, std::string_view tags, unsigned int depth);

}  // namespace velm
