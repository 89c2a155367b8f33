#include "server/xml/SecureXMLReader.h"

#include "foundation/utilities/ORVXMLError.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <istream>
#include <memory>
#include <mutex>
#include <span>
#include <streambuf>
#include <utility>

#include <fmt/format.h>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace velm {

namespace {

namespace xml = xercesc;

[[noreturn]] void throwAt(const XMLPosition& position, std::string_view problem) {
    throw ORVXMLError(
        std::string_view(fmt::format("line {}, column {}: {}", position.line, position.column, problem)));
}

/// Whether the document begins as one does whose characters take two or four bytes.
bool isWide(std::span<const XMLByte> begin) {
    const auto first = begin.first(std::min<std::size_t>(begin.size(), 4));
    const bool hasMark = first.size() >= 2 &&
                         ((first[0] == 0xFE && first[1] == 0xFF) || (first[0] == 0xFF && first[1] == 0xFE));
    return hasMark || std::ranges::find(first, 0) != first.end();
}

/// The bytes of a stream buffer, up to a limit. The parser takes a zero byte behind the document for the end
/// of the input and would not see what follows.
class StreamBytes final : public xml::BinInputStream {
public:
    /// What is read is added to `total`.
    StreamBytes(std::streambuf& source, std::size_t limit, XMLEncoding encoding, std::size_t& total)
        : _source(source), _limit(limit), _encoding(encoding), _total(total) {}

    XMLFilePos curPos() const override { return _read; }
    const XMLCh* getContentType() const override { return nullptr; }

    XMLSize_t readBytes(XMLByte* const target, const XMLSize_t capacity) override {
        // One look ahead waits for data; the rest takes only what is there, so that a short answer on a
        // connection that stays open is not waited for any longer than needed.
        if (_source.sgetc() == std::streambuf::traits_type::eof()) {
            return 0;
        }
        auto wanted =
            std::clamp<std::streamsize>(_source.in_avail(), 1, static_cast<std::streamsize>(capacity));
        auto count = static_cast<std::size_t>(_source.sgetn(reinterpret_cast<char*>(target), wanted));
        _refuseZeros({target, count});
        _read += count;
        _total += count;
        if (_limit != 0 && _read > _limit) {
            throw ORVXMLError(std::string_view(fmt::format("the document is longer than {} bytes", _limit)));
        }
        return count;
    }

private:
    void _refuseZeros(std::span<const XMLByte> bytes) {
        if (_read == 0) {
            _mayHaveZeros = _encoding == XMLEncoding::declared && isWide(bytes);
        }
        if (_mayHaveZeros) {
            return;
        }
        const auto* zero = static_cast<const XMLByte*>(std::memchr(bytes.data(), 0, bytes.size()));
        if (zero) {
            throw ORVXMLError(
                std::string_view(fmt::format("byte {} is zero, which text in UTF-8 never has",
                                             _read + static_cast<std::size_t>(zero - bytes.data()) + 1)));
        }
    }

    std::streambuf& _source;
    const std::size_t _limit;
    const XMLEncoding _encoding;
    std::size_t& _total;
    bool _mayHaveZeros = false;
    std::size_t _read = 0;
};

/// Bytes in memory as a stream buffer, without a copy.
class ViewBuffer final : public std::streambuf {
public:
    explicit ViewBuffer(std::string_view text) {
        char* begin = const_cast<char*>(text.data());
        setg(begin, begin, begin + text.size());
    }
};

class StreamSource final : public xml::InputSource {
public:
    StreamSource(std::streambuf& source, std::size_t limit, XMLEncoding encoding, std::size_t& total)
        : _source(source), _limit(limit), _encoding(encoding), _total(total) {
        if (encoding == XMLEncoding::utf8) {
            setEncoding(xml::XMLUni::fgUTF8EncodingString);
        }
    }
    xml::BinInputStream* makeStream() const override {
        return new StreamBytes(_source, _limit, _encoding, _total);
    }

private:
    std::streambuf& _source;
    const std::size_t _limit;
    const XMLEncoding _encoding;
    std::size_t& _total;
};

/// Turns the parser's UTF-16 into UTF-8.
class Transcoder {
public:
    Transcoder() {
        xml::XMLTransService::Codes result;
        _transcoder.reset(xml::XMLPlatformUtils::fgTransService->makeNewTranscoderFor(
            xml::XMLRecognizer::UTF_8, result, blockSize));
    }

    /// Appends the text to `target`. A lead surrogate at the very end is left out.
    void append(std::span<const XMLCh> text, std::string& target) const {
        XMLByte block[blockSize];
        while (!text.empty()) {
            XMLSize_t eaten = std::min<std::size_t>(text.size(), blockSize);
            XMLSize_t made = eaten;
            if (!_copyASCII(text.first(eaten), block)) {
                made = _transcoder->transcodeTo(text.data(), text.size(), block, blockSize, eaten,
                                                xml::XMLTranscoder::UnRep_RepChar);
            }
            if (eaten == 0) {
                return;
            }
            target.append(reinterpret_cast<const char*>(block), made);
            text = text.subspan(eaten);
        }
    }

    std::string toUTF8(const XMLCh* text) const {
        std::string result;
        if (text) {
            append({text, xml::XMLString::stringLen(text)}, result);
        }
        return result;
    }

private:
    /// Nearly all text is ASCII. False when this one is not.
    static bool _copyASCII(std::span<const XMLCh> text, XMLByte* target) {
        std::uint64_t all = 0;
        std::size_t index = 0;
        for (; index + 4 <= text.size(); index += 4) {
            all |= _copyFour(text.data() + index, target + index);
        }
        for (; index < text.size(); ++index) {
            all |= text[index];
            target[index] = static_cast<XMLByte>(text[index]);
        }
        constexpr std::uint64_t highBits = 0xFF80FF80FF80FF80;
        return (all & highBits) == 0;
    }

    static_assert(std::endian::native == std::endian::little);
    /// Names are short: four characters at a time are worth more than a vector of them. Answers them.
    static std::uint64_t _copyFour(const XMLCh* from, XMLByte* to) {
        std::uint64_t word;
        std::memcpy(&word, from, sizeof word);
        const std::uint64_t pairs = (word | word >> 8) & 0x0000FFFF0000FFFF;
        const auto bytes = static_cast<std::uint32_t>(pairs | pairs >> 16);
        std::memcpy(to, &bytes, sizeof bytes);
        return word;
    }

    static constexpr XMLSize_t blockSize = 4096;
    std::unique_ptr<xml::XMLTranscoder> _transcoder;
};

class Attributes final : public XMLAttributes {
public:
    /// `scratch` is overwritten with each text that is asked for.
    Attributes(const xml::Attributes& attributes, const Transcoder& transcoder, std::string& scratch)
        : _attributes(attributes), _transcoder(transcoder), _scratch(scratch) {}

    ORVString value(std::string_view name) const override {
        for (XMLSize_t index = 0; index < _attributes.getLength(); ++index) {
            if (_isNamed(_attributes.getQName(index), name)) {
                return valueAt(index);
            }
        }
        return {};
    }

    std::size_t size() const override { return _attributes.getLength(); }
    ORVString nameAt(std::size_t index) const override { return _text(_attributes.getQName(index)); }
    ORVString valueAt(std::size_t index) const override { return _text(_attributes.getValue(index)); }

private:
    static bool _isNamed(const XMLCh* found, std::string_view name) {
        for (char letter : name) {
            if (*found++ != static_cast<XMLCh>(static_cast<unsigned char>(letter))) {
                return false;
            }
        }
        return *found == 0;
    }

    ORVString _text(const XMLCh* text) const {
        _scratch.clear();
        _transcoder.append({text, xml::XMLString::stringLen(text)}, _scratch);
        return std::string_view(_scratch);
    }

    const xml::Attributes& _attributes;
    const Transcoder& _transcoder;
    std::string& _scratch;
};

constexpr bool isLeadSurrogate(XMLCh unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

}  // namespace

/// One parser with its settings; reads one document at a time.
class XMLParser final : private xml::DefaultHandler {
public:
    XMLParser() : _reader(std::make_unique<Reader>(*this)) {
        // Knows no schemas, and is the faster for it. It never forgets the name of an element: see isWorn().
        _reader->setProperty(xml::XMLUni::fgXercesScannerName,
                             const_cast<XMLCh*>(xml::XMLUni::fgDGXMLScanner));
        _reader->setFeature(xml::XMLUni::fgSAX2CoreNameSpaces, false);
        _reader->setFeature(xml::XMLUni::fgSAX2CoreValidation, false);
        _reader->setFeature(xml::XMLUni::fgXercesSchema, false);
        _reader->setFeature(xml::XMLUni::fgXercesLoadExternalDTD, false);
        _reader->setFeature(xml::XMLUni::fgXercesDisableDefaultEntityResolution, true);
        _reader->setContentHandler(this);
        _reader->setLexicalHandler(this);
        _reader->setErrorHandler(this);
        _reader->setEntityResolver(this);
    }

    void parse(std::streambuf& buffer, XMLHandler& handler, const XMLLimits& limits, XMLEncoding encoding) {
        _handler = &handler;
        _maxDepth = limits.maxDepth;
        _encoding = encoding;
        _depth = 0;
        _carry.clear();
        const auto* outer = std::exchange(handler._parser, this);
        try {
            _run(StreamSource(buffer, limits.maxBytes, encoding, _total));
        } catch (...) {
            handler._parser = outer;
            throw;
        }
        handler._parser = outer;
    }

    /// Whether it has read so much that it is to be given up, with the names that it keeps.
    bool isWorn() const { return _total > _maxTotal; }

    XMLPosition position() const {
        return _locator ? XMLPosition{_locator->getLineNumber(), _locator->getColumnNumber()} : XMLPosition{};
    }

private:
    /// Hears of declarations that no handler is told of.
    class Reader final : public xml::SAX2XMLReaderImpl {
    public:
        explicit Reader(const XMLParser& owner) : _owner(owner) {}

        void doctypeDecl(const xml::DTDElementDecl&, const XMLCh* const, const XMLCh* const, const bool,
                         const bool) override {
            throwAt(_owner.position(), "document type declarations are not accepted");
        }

        void XMLDecl(const XMLCh* const version, const XMLCh* const encoding, const XMLCh* const,
                     const XMLCh* const) override {
            _owner._checkDeclaration(version, encoding);
        }

    private:
        const XMLParser& _owner;
    };

    void _run(const xml::InputSource& source) {
        try {
            _reader->parse(source);
        } catch (const xml::OutOfMemoryException&) {
            throw std::bad_alloc();
        } catch (const xml::SAXParseException& error) {
            _refuse(error);
        } catch (const xml::SAXException& error) {
            throwAt(position(), _transcoder.toUTF8(error.getMessage()));
        } catch (const xml::XMLException& error) {
            throwAt(position(), _transcoder.toUTF8(error.getMessage()));
        }
    }

    void _checkDeclaration(const XMLCh* version, const XMLCh* encoding) const {
        if (!xml::XMLString::equals(version, xml::XMLUni::fgVersion1_0)) {
            throwAt(position(), "the only version of XML that is read is 1.0");
        }
        const bool isDeclared = encoding && *encoding != 0;
        if (_encoding == XMLEncoding::utf8 && isDeclared &&
            xml::XMLString::compareIStringASCII(encoding, xml::XMLUni::fgUTF8EncodingString) != 0) {
            throwAt(position(), fmt::format("the document declares the encoding '{}', not UTF-8",
                                            _transcoder.toUTF8(encoding)));
        }
    }

    [[noreturn]] void _refuse(const xml::SAXParseException& error) const {
        throwAt({error.getLineNumber(), error.getColumnNumber()}, _transcoder.toUTF8(error.getMessage()));
    }

    void setDocumentLocator(const xml::Locator* const locator) override { _locator = locator; }

    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const name,
                      const xml::Attributes& attributes) override {
        if (++_depth > _maxDepth && _maxDepth != 0) {
            throwAt(position(), fmt::format("elements nest deeper than {}", _maxDepth));
        }
        _handler->startElement(_name(name), Attributes(attributes, _transcoder, _attributeText));
    }

    void endElement(const XMLCh* const, const XMLCh* const, const XMLCh* const) override {
        --_depth;
        _handler->endElement();
    }

    /// The parser hands long text over in blocks, which may part a surrogate pair: the first half waits in
    /// _carry.
    void characters(const XMLCh* const text, const XMLSize_t length) override {
        if (!_handler->wantsCharacters()) {
            _carry.clear();
            return;
        }
        std::span<const XMLCh> units(text, length);
        if (!_carry.empty()) {
            units = _carry.append(text, length);
        }
        std::basic_string<XMLCh> next;
        if (!units.empty() && isLeadSurrogate(units.back())) {
            next.assign(1, units.back());
            units = units.first(units.size() - 1);
        }
        _text.clear();
        _transcoder.append(units, _text);
        _carry = std::move(next);
        if (!_text.empty()) {
            _handler->characters(_text);
        }
    }

    void ignorableWhitespace(const XMLCh* const text, const XMLSize_t length) override {
        characters(text, length);
    }

    void startEntity(const XMLCh* const name) override {
        throwAt(position(), fmt::format("the entity '{}' is not accepted", _transcoder.toUTF8(name)));
    }

    void skippedEntity(const XMLCh* const name) override { startEntity(name); }

    xml::InputSource* resolveEntity(const XMLCh* const, const XMLCh* const) override {
        throwAt(position(), "external entities are not accepted");
    }

    void warning(const xml::SAXParseException&) override {}
    void error(const xml::SAXParseException& problem) override { _refuse(problem); }
    void fatalError(const xml::SAXParseException& problem) override { _refuse(problem); }

    std::string_view _name(const XMLCh* name) {
        _text.clear();
        _transcoder.append({name, xml::XMLString::stringLen(name)}, _text);
        return _text;
    }

    /// Thousands of answers from listeners.
    static constexpr std::size_t _maxTotal = std::size_t{1024} * 1024;

    const Transcoder _transcoder;
    const std::unique_ptr<Reader> _reader;
    const xml::Locator* _locator = nullptr;
    XMLHandler* _handler = nullptr;
    std::size_t _total = 0;
    std::size_t _maxDepth = 0;
    XMLEncoding _encoding = XMLEncoding::declared;
    std::size_t _depth = 0;
    std::string _text;
    std::string _attributeText;
    std::basic_string<XMLCh> _carry;
};

namespace {

/// Never undone: other threads may hold parsers until the very end of the process.
void initializeOnce() {
    static std::once_flag flag;
    std::call_once(flag, [] { xml::XMLPlatformUtils::Initialize(); });
}

void parseBuffer(std::streambuf& buffer, XMLHandler& handler, const XMLLimits& limits, XMLEncoding encoding) {
    initializeOnce();
    // A handler that reads another document finds the slot empty and makes a second parser. A parser that
    // failed is given up: its tables may have grown with a hostile document.
    static thread_local std::unique_ptr<XMLParser> slot;
    std::unique_ptr<XMLParser> parser = std::move(slot);
    if (!parser) {
        parser = std::make_unique<XMLParser>();
    }
    parser->parse(buffer, handler, limits, encoding);
    if (!parser->isWorn()) {
        slot = std::move(parser);
    }
}

}  // namespace

XMLPosition XMLHandler::position() const {
    return _parser->position();
}

void XMLHandler::fail(std::string_view problem) const {
    throwAt(position(), problem);
}

void SecureXMLReader::parse(std::string_view text, XMLHandler& handler) const {
    ViewBuffer buffer(text);
    parseBuffer(buffer, handler, _limits, _encoding);
}

void SecureXMLReader::parse(std::istream& stream, XMLHandler& handler) const {
    parseBuffer(*stream.rdbuf(), handler, _limits, _encoding);
}

void SecureXMLReader::parseFile(const std::string& path, XMLHandler& handler) const {
    std::filebuf file;
    if (!file.open(path, std::ios::in | std::ios::binary)) {
        throw ORVXMLError(std::string_view(fmt::format("cannot open '{}': {}", path, std::strerror(errno))));
    }
    try {
        parseBuffer(file, handler, _limits, _encoding);
    } catch (const std::ios_base::failure& error) {
        throw ORVXMLError(std::string_view(fmt::format("cannot read '{}': {}", path, error.what())));
    }
}

}  // namespace velm
