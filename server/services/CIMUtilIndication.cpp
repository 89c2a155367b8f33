#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/CIMUtil.h"
#include "server/xml/CIMXMLWriter.h"

#include <charconv>
#include <chrono>
#include <ostream>
#include <string>
#include <string_view>

namespace {

using Kind = IOrvoIndication::ReportedKind;

/// Most export messages fit without growing the text twice.
constexpr std::size_t usualSize = 4096;

void appendPadded(std::string& text, long long number, std::size_t width) {
    char digits[24];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const auto length = static_cast<std::size_t>(end - digits);
    text.append(width > length ? width - length : 0, '0');
    text.append(digits, length);
}

/// A CIM datetime: yyyymmddhhmmss.mmmmmm+000.
std::string datetimeOf(std::chrono::system_clock::time_point time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::microseconds>(time - day));
    std::string text;
    appendPadded(text, static_cast<int>(date.year()), 4);
    appendPadded(text, static_cast<unsigned int>(date.month()), 2);
    appendPadded(text, static_cast<unsigned int>(date.day()), 2);
    appendPadded(text, clock.hours().count(), 2);
    appendPadded(text, clock.minutes().count(), 2);
    appendPadded(text, clock.seconds().count(), 2);
    text += '.';
    appendPadded(text, clock.subseconds().count(), 6);
    return text + "+000";
}

std::string addressOf(const ORVString& host, const ORVString& port) {
    const std::string_view name = host.view();
    const bool needsBrackets = name.find(':') != std::string_view::npos && name.front() != '[';
    std::string address = needsBrackets ? "[" + std::string(name) + "]" : std::string(name);
    if (port.length() != 0) {
        address += ':';
        address += port.view();
    }
    return address;
}

const Kind& kindOf(const IOrvoIndication& indication) {
    const auto* kind = static_cast<const Kind*>(indication.getContext());
    return kind ? *kind : COrvoIndication::reportedKindOf(indication.getType());
}

void writeSource(velm::CIMXMLWriter& writer, const IOrvoObject& object, const std::string& address,
                 bool withSourceInstance) {
    if (withSourceInstance) {
        writer.embeddedProperty("SourceInstance", object);
    }
    const ORVSmrPtr<IOrvoInstanceName> name = object.getInstanceName();
    if (!name.IsNull()) {
        writer.property("SourceInstanceModelPath", "string", name->toString().view());
    }
    if (!address.empty()) {
        writer.property("SourceInstanceHost", "string", address);
    }
}

void writeChangedProperties(velm::CIMXMLWriter& writer, const IOrvoIndication& indication) {
    const ORVSmrPtr<ORVValSlist<ORVString>> names = indication.getChangedProperties();
    if (names.IsNull() || names->isEmpty()) {
        return;
    }
    writer.tags("<PROPERTY.ARRAY NAME=\"ChangedPropertyNames\" TYPE=\"string\"><VALUE.ARRAY>");
    for (const ORVString& name : *names) {
        writer.tags("<VALUE>");
        writer.text(name.view());
        writer.tags("</VALUE>");
    }
    writer.tags("</VALUE.ARRAY></PROPERTY.ARRAY>");
}

/// What the standard classes cannot say. Creations and destructions are both delivered as type 128:
/// IndicationType tells a listener which subscription was answered, IndicationKind what happened, in one
/// vocabulary for all classes. A listener that gets one event both ways tells them apart by
/// DeliveredOnChannel.
void writeDelivery(velm::CIMXMLWriter& writer, const IOrvoIndication& indication, const Kind& kind,
                   bool onChannel) {
    std::string type;
    appendPadded(type, indication.getType(), 1);
    writer.property("IndicationType", "uint16", type);
    writer.property("IndicationKind", "string", COrvoDebugTools::indicationTypeToString(kind.type).view());
    if (onChannel) {
        writer.property("DeliveredOnChannel", "boolean", "TRUE");
    }
}

}  // namespace

void CIMUtil::StreamIndication(std::ostream& stream, IOrvoIndication& indication, ORVString& localHost,
                               ORVString& localPort, bool withSourceInstance, bool onChannel) {
    const ORVSmrPtr<IOrvoObject> object = indication.getObject();
    const Kind& kind = kindOf(indication);
    std::string xml;
    xml.reserve(usualSize);
    velm::CIMXMLWriter writer(xml);
    writer.tags(
        "<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\"><EXPPARAMVALUE NAME=\"NewIndication\">"
        "<INSTANCE CLASSNAME=\"");
    writer.attributeText(kind.exportClassName);
    writer.tags("\">");
    writer.property("IndicationTime", "datetime", datetimeOf(indication.getTime()));
    writeSource(writer, *object, addressOf(localHost, localPort), withSourceInstance);
    if (kind.type == IOrvoIndication::IndicationChange) {
        writeChangedProperties(writer, indication);
    }
    writeDelivery(writer, indication, kind, onChannel);
    writer.tags("</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ>");
    stream.write(xml.data(), static_cast<std::streamsize>(xml.size()));
}
