#include "tests/support/ExportedIndication.h"

#include "tests/support/DTDCheck.h"

#include <memory>

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>

namespace velm::test {

namespace {

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;
using Context = std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)>;
using Result = std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)>;

/// The texts of all VALUE elements of one property, parted by commas.
std::string valuesOf(xmlXPathContext& context, const std::string& property) {
    const std::string path = "//EXPPARAMVALUE/INSTANCE/*[@NAME='" + property + "']//VALUE";
    const Result found(xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(path.c_str()), &context),
                       &xmlXPathFreeObject);
    std::string values;
    for (int position = 0; found && found->nodesetval && position < found->nodesetval->nodeNr; ++position) {
        const std::unique_ptr<xmlChar, decltype(xmlFree)> text(
            xmlNodeGetContent(found->nodesetval->nodeTab[position]), xmlFree);
        values += (values.empty() ? "" : ",") + std::string(reinterpret_cast<const char*>(text.get()));
    }
    return values;
}

}  // namespace

ExportedIndication ExportedIndication::read(const std::string& body) {
    expectValidMessage(body);
    const Document document(xmlReadMemory(body.data(), static_cast<int>(body.size()), "indication", nullptr,
                                          XML_PARSE_NONET | XML_PARSE_NOERROR),
                            &xmlFreeDoc);
    if (!document) {
        return {};
    }
    const Context context(xmlXPathNewContext(document.get()), &xmlXPathFreeContext);
    return {valuesOf(*context, "IndicationKind"), valuesOf(*context, "SourceInstanceModelPath"),
            valuesOf(*context, "ChangedPropertyNames")};
}

void PrintTo(const ExportedIndication& indication, std::ostream* out) {
    *out << indication.kind << ' ' << indication.path << ' ' << indication.changed;
}

std::vector<ExportedIndication> receivedBy(const ScriptedListener& listener) {
    std::vector<ExportedIndication> indications;
    for (const ScriptedListener::Request& request : listener.requests()) {
        indications.push_back(ExportedIndication::read(request.body));
    }
    return indications;
}

}  // namespace velm::test
