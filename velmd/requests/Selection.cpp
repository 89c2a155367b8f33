#include "velmd/requests/Selection.h"

#include "server/xml/XMLText.h"

namespace velm {

CIMSelection classSelection(const Parameters& parameters) {
    CIMSelection selection;
    selection.localOnly = parameters.boolean("LocalOnly", true);
    selection.includeQualifiers = parameters.boolean("IncludeQualifiers", true);
    selection.includeClassOrigin = parameters.boolean("IncludeClassOrigin", false);
    selection.properties = parameters.optionalStrings("PropertyList");
    return selection;
}

CIMSelection instanceSelection(const Parameters& parameters) {
    CIMSelection selection;
    parameters.boolean("LocalOnly", true);
    parameters.boolean("IncludeQualifiers", false);
    selection.includeQualifiers = false;
    selection.includeClassOrigin = parameters.boolean("IncludeClassOrigin", false);
    selection.properties = parameters.optionalStrings("PropertyList");
    return selection;
}

void writeClassName(std::string& xml, std::string_view className) {
    xml += "<CLASSNAME NAME=\"";
    appendXMLText(xml, className, XMLContext::attribute, 0);
    xml += "\"></CLASSNAME>";
}

}  // namespace velm
