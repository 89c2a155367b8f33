#pragma once

#include "foundation/utilities/ORVString.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace velm {

/// A place in a document, both numbers from 1.
struct XMLPosition {
    std::uint64_t line = 0;
    std::uint64_t column = 0;
};

/// How much of a document is read before it is refused; 0 stands for no limit.
struct XMLLimits {
    /// Bytes of the document. Larger costs memory where a handler keeps what it reads.
    std::size_t maxBytes = 0;
    /// Elements inside each other, the root counting as 1.
    std::size_t maxDepth = 256;
};

/// How the bytes of a document become characters.
enum class XMLEncoding {
    declared,  ///< As the document declares; UTF-8 where it declares nothing.
    utf8,      ///< UTF-8, and a document that declares another encoding is refused.
};

/// The attributes of one element. Valid during the call of startElement() that received them.
class XMLAttributes {
public:
    virtual ~XMLAttributes() = default;

    /// The value of the attribute with exactly this name, which is ASCII; the null string when it is absent.
    virtual ORVString value(std::string_view name) const = 0;

    virtual std::size_t size() const = 0;
    /// Requires: `index` is below size().
    virtual ORVString nameAt(std::size_t index) const = 0;
    virtual ORVString valueAt(std::size_t index) const = 0;
};

/// Receives a document in pieces. Whatever an operation throws ends the reading and reaches the caller
/// unchanged.
class XMLHandler {
public:
    XMLHandler() = default;
    XMLHandler(const XMLHandler&) = delete;
    XMLHandler& operator=(const XMLHandler&) = delete;
    virtual ~XMLHandler() = default;

    /// Names keep their prefix ("xml:lang"). The view is valid during the call.
    virtual void startElement(std::string_view name, const XMLAttributes& attributes) = 0;
    /// The element that began last and has not ended yet, ends.
    virtual void endElement() = 0;

    /// Text between elements and inside them, UTF-8, references and CDATA sections resolved. One text may
    /// come in several calls; a character is never split. The view is valid during the call.
    virtual void characters(std::string_view text) = 0;

    /// Whether the text that comes next is to be handed over. Most text of some documents is white space that
    /// nobody wants.
    virtual bool wantsCharacters() const { return true; }

protected:
    /// The end of the piece that is being handed over. Requires: called during one of the operations above.
    XMLPosition position() const;

    /// Throws ORVXMLError: "line 3, column 7: " and `problem`. Requires: as position().
    [[noreturn]] void fail(std::string_view problem) const;

private:
    friend class XMLParser;
    const class XMLParser* _parser = nullptr;
};

/// Reads XML documents that nobody vouches for.
///
/// Document type declarations are refused, and with them external entities and every general entity but the
/// five built in; nothing outside the document is ever opened. So are other versions of XML than 1.0, which
/// allow characters that 1.0 has not, and zero bytes, behind the end of the document too. Input that is
/// refused, not well-formed, or past a limit, throws ORVXMLError, whose message tells line and column.
///
/// Threads: any number may read at once, with this object or others; a handler may read another document from
/// inside its operations. Each thread keeps one parser for the next document.
class SecureXMLReader {
public:
    SecureXMLReader() = default;
    explicit SecureXMLReader(const XMLLimits& limits, XMLEncoding encoding = XMLEncoding::declared)
        : _limits(limits), _encoding(encoding) {}

    void parse(std::string_view text, XMLHandler& handler) const;

    /// Reads `stream` up to its end. What its buffer throws reaches the caller unchanged.
    void parse(std::istream& stream, XMLHandler& handler) const;

    /// Reads the file at `path`; throws ORVXMLError, without line and column, when it cannot be opened or
    /// read.
    void parseFile(const std::string& path, XMLHandler& handler) const;

private:
    XMLLimits _limits;
    XMLEncoding _encoding = XMLEncoding::declared;
};

}  // namespace velm
