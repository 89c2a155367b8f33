#include "velmd/requests/Envelope.h"

#include "server/xml/XMLText.h"
#include "velmd/model/CIMStatus.h"

namespace velm {

namespace {

std::string_view responseElement(const CIMRequest& request) {
    return request.isExtrinsic ? "METHODRESPONSE" : "IMETHODRESPONSE";
}

std::string responseEnd(const CIMRequest& request) {
    return "</" + std::string(responseElement(request)) + "></SIMPLERSP></MESSAGE></CIM>";
}

/// Single quotes need no escaping between double ones, and clients in the field show a description as it is
/// written.
void appendDescription(std::string& xml, std::string_view text) {
    for (auto quote = text.find('\''); quote != text.npos; quote = text.find('\'')) {
        appendXMLText(xml, text.substr(0, quote), XMLContext::attribute, 0);
        xml += '\'';
        text.remove_prefix(quote + 1);
    }
    appendXMLText(xml, text, XMLContext::attribute, 0);
}

}  // namespace

std::string responseOpening(const CIMRequest& request) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"";
    appendXMLText(xml, request.messageID, XMLContext::attribute, 0);
    xml += "\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><";
    xml += responseElement(request);
    xml += " NAME=\"";
    appendXMLText(xml, request.method, XMLContext::attribute, 0);
    return xml += "\">";
}

std::string successResponse(const CIMRequest& request, const OperationResult& result) {
    std::string xml = responseOpening(request);
    if (result.returnValue) {
        xml += "<IRETURNVALUE>";
        xml += *result.returnValue;
        xml += "</IRETURNVALUE>";
    }
    return xml += responseEnd(request);
}

std::string errorResponse(const CIMRequest& request, int status, std::string_view problem) {
    constexpr int failed = static_cast<int>(CIMStatus::failed);
    const std::string_view name = statusName(status);
    std::string xml = responseOpening(request);
    xml += "<ERROR CODE=\"" + std::to_string(name == statusName(failed) ? failed : status);
    xml += "\" DESCRIPTION=\"";
    xml += name;
    xml += ": ";
    appendDescription(xml, problem);
    return xml += "\"></ERROR>" + responseEnd(request);
}

}  // namespace velm
