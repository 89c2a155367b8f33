#include "tests/support/DTDCheck.h"

#include "tests/support/SharedFolder.h"

#include <cstdio>
#include <memory>
#include <mutex>

#include <boost/algorithm/string/replace.hpp>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

namespace velm::test {

namespace {

std::mutex validating;

xmlDtdPtr loadDTD() {
    const std::string file = documentType().string();
    if (!std::filesystem::exists(file)) {
        std::fprintf(stderr, "Documents are not validated: there is no %s\n", file.c_str());
        return nullptr;
    }
    return xmlParseDTD(nullptr, reinterpret_cast<const xmlChar*>(file.c_str()));
}

xmlDtdPtr loadedDTD() {
    static xmlDtdPtr dtd = loadDTD();
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

bool opensChannel(const std::string& message) {
    return message.find(
               "<IMETHODRESPONSE NAME=\"RegisterNotificationChannel\"><RETURNVALUE TYPE=\"uint32\">") !=
           std::string::npos;
}

}  // namespace

std::string dtdProblem(const std::string& document) {
    const std::lock_guard lock(validating);
    if (!loadedDTD()) {
        return {};
    }
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> parsed(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), "document", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_HUGE),
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

void expectValidMessage(const std::string& message) {
    std::string checked = message;
    if (opensChannel(message)) {
        boost::algorithm::replace_first(checked, "<RETURNVALUE TYPE=\"uint32\">", "<IRETURNVALUE>");
        boost::algorithm::replace_first(checked, "</RETURNVALUE>", "</IRETURNVALUE>");
    }
    EXPECT_EQ(dtdProblem(checked), "") << message.substr(0, 10'000);
}

}  // namespace velm::test
