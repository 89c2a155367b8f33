#include "tests/support/DTDCheck.h"

#include <memory>
#include <mutex>

#include <libxml/parser.h>
#include <libxml/valid.h>

namespace velm::test {

namespace {

std::mutex validating;

xmlDtdPtr loadedDTD() {
    static xmlDtdPtr dtd = xmlParseDTD(nullptr, reinterpret_cast<const xmlChar*>(VELM_TEST_DTD));
    return dtd;
}

void collect(void* problem, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    *static_cast<std::string*>(problem) += text;
}

}  // namespace

bool hasDTD() {
    const std::lock_guard lock(validating);
    return loadedDTD() != nullptr;
}

std::string dtdProblem(const std::string& document) {
    const std::lock_guard lock(validating);
    if (!loadedDTD()) {
        return {};
    }
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> parsed(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), "document", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR),
        &xmlFreeDoc);
    if (!parsed) {
        return "not well-formed";
    }
    const std::unique_ptr<xmlValidCtxt, decltype(&xmlFreeValidCtxt)> context(xmlNewValidCtxt(),
                                                                             &xmlFreeValidCtxt);
    std::string problem;
    context->userData = &problem;
    context->error = &collect;
    return xmlValidateDtd(context.get(), parsed.get(), loadedDTD()) == 1 ? "" : "not valid: " + problem;
}

}  // namespace velm::test
