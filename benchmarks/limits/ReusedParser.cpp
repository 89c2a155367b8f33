#include "benchmarks/limits/ReusedParser.h"

#include <stdexcept>

#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace velm::bench {

namespace xml = xercesc;

struct ReusedParser::State : xml::DefaultHandler {
    State() {
        xml::XMLPlatformUtils::Initialize();
        reader.reset(xml::XMLReaderFactory::createXMLReader());
        reader->setFeature(xml::XMLUni::fgSAX2CoreNameSpaces, false);
        reader->setFeature(xml::XMLUni::fgSAX2CoreValidation, false);
        reader->setFeature(xml::XMLUni::fgXercesSchema, false);
        reader->setFeature(xml::XMLUni::fgXercesLoadExternalDTD, false);
        reader->setContentHandler(this);
        reader->setErrorHandler(this);
    }

    void fatalError(const xml::SAXParseException&) override {
        throw std::runtime_error("the document is not well-formed");
    }

    std::unique_ptr<xml::SAX2XMLReader> reader;
};

ReusedParser::ReusedParser() : _state(std::make_unique<State>()) {
}

ReusedParser::~ReusedParser() = default;

void ReusedParser::parse(std::string_view document) {
    const xml::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                        "document");
    _state->reader->parse(source);
}

void ReusedParser::parseFile(const std::filesystem::path& file) {
    const std::unique_ptr<XMLCh, void (*)(XMLCh*)> path(xml::XMLString::transcode(file.c_str()),
                                                        [](XMLCh* text) { xml::XMLString::release(&text); });
    _state->reader->parse(xml::LocalFileInputSource(path.get()));
}

}  // namespace velm::bench
