#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/CIMUtil.h"
#include "server/xml/CIMXMLWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace {

using Kind = IOrvoIndication::ReportedKind;

/// Most export messages fit without growing the text twice.
constexpr std::size_t usualSize = 4096;

/// A CIM datetime: yyyymmddhhmmss.mmmmmm+000.
std::array<char, 25> datetimeOf(std::chrono::system_clock::time_point time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::microseconds>(time - day));
    std::array<char, 25> text{};
    char* end = text.data();
    const auto write = [&end](auto number, int width) {
        for (int digit = width; digit-- > 0; number /= 10) {
            end[digit] = static_cast<char>('0' + number % 10);
        }
        end += width;
    };
    write(static_cast<int>(date.year()), 4);
    write(static_cast<unsigned int>(date.month()), 2);
    write(static_cast<unsigned int>(date.day()), 2);
    write(clock.hours().count(), 2);
    write(clock.minutes().count(), 2);
    write(clock.seconds().count(), 2);
    *end++ = '.';
    write(clock.subseconds().count(), 6);
    std::copy_n("+000", 4, end);
    return text;
}

const Kind& kindOf(const IOrvoIndication& indication) {
    const auto* kind = static_cast<const Kind*>(indication.getContext());
    return kind ? *kind : COrvoIndication::reportedKindOf(indication.getType());
}

void writeAddress(velm::CIMXMLWriter& writer, std::string_view host, std::string_view port) {
    const bool needsBrackets = host.find(':') != std::string_view::npos && host.front() != '[';
    writer.tags<"<PROPERTY NAME=\"SourceInstanceHost\" TYPE=\"string\"><VALUE>">();
    if (needsBrackets) {
        writer.tags<"[">();
    }
    writer.text(host);
    if (needsBrackets) {
        writer.tags<"]">();
    }
    if (!port.empty()) {
        writer.tags<":">();
        writer.text(port);
    }
    writer.tags<"</VALUE></PROPERTY>">();
}

void writeSource(velm::CIMXMLWriter& writer, const IOrvoObject& object, std::string_view host,
                 std::string_view port, bool withSourceInstance) {
    if (withSourceInstance) {
        writer
            .tags<"<PROPERTY NAME=\"SourceInstance\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>">();
        writer.embedded(object);
        writer.tags<"</VALUE></PROPERTY>">();
    }
    const ORVSmrPtr<IOrvoInstanceName> name = object.getInstanceName();
    if (!name.IsNull()) {
        writer.tags<"<PROPERTY NAME=\"SourceInstanceModelPath\" TYPE=\"string\"><VALUE>">();
        writer.text(name->toString().view());
        writer.tags<"</VALUE></PROPERTY>">();
    }
    if (!host.empty() || !port.empty()) {
        writeAddress(writer, host, port);
    }
}

void writeChangedProperties(velm::CIMXMLWriter& writer, const IOrvoIndication& indication) {
    const ORVSmrPtr<ORVValSlist<ORVString>> names = indication.getChangedProperties();
    if (names.IsNull() || names->isEmpty()) {
        return;
    }
    writer.tags<"<PROPERTY.ARRAY NAME=\"ChangedPropertyNames\" TYPE=\"string\"><VALUE.ARRAY>">();
    for (const ORVString& name : *names) {
        writer.tags<"<VALUE>">();
        writer.text(name.view());
        writer.tags<"</VALUE>">();
    }
    writer.tags<"</VALUE.ARRAY></PROPERTY.ARRAY>">();
}

/// What the standard classes cannot say. Creations and destructions are both delivered as type 128:
/// IndicationType tells a listener which subscription was answered, IndicationKind what happened, in one
/// vocabulary for all classes. A listener that gets one event both ways tells them apart by
/// DeliveredOnChannel.
void writeDelivery(velm::CIMXMLWriter& writer, const IOrvoIndication& indication, const Kind& kind,
                   bool onChannel) {
    char digits[16];
    const char* end =
        std::to_chars(digits, digits + sizeof digits, static_cast<unsigned int>(indication.getType())).ptr;
    writer.tags<"<PROPERTY NAME=\"IndicationType\" TYPE=\"uint16\"><VALUE>">();
    writer.text({digits, static_cast<std::size_t>(end - digits)});
    writer.tags<"</VALUE></PROPERTY><PROPERTY NAME=\"IndicationKind\" TYPE=\"string\"><VALUE>">();
    writer.text(COrvoDebugTools::indicationTypeToString(kind.type).view());
    writer.tags<"</VALUE></PROPERTY>">();
    if (onChannel) {
        writer
            .tags<"<PROPERTY NAME=\"DeliveredOnChannel\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>">();
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
    writer.tags<
        "<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\"><EXPPARAMVALUE NAME=\"NewIndication\">"
        "<INSTANCE CLASSNAME=\"">();
    writer.attributeText(kind.exportClassName);
    writer.tags<"\"><PROPERTY NAME=\"IndicationTime\" TYPE=\"datetime\"><VALUE>">();
    const auto time = datetimeOf(indication.getTime());
    writer.text({time.data(), time.size()});
    writer.tags<"</VALUE></PROPERTY>">();
    writeSource(writer, *object, localHost.view(), localPort.view(), withSourceInstance);
    if (kind.type == IOrvoIndication::IndicationChange) {
        writeChangedProperties(writer, indication);
    }
    writeDelivery(writer, indication, kind, onChannel);
    writer.tags<"</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ>">();
    stream.write(xml.data(), static_cast<std::streamsize>(xml.size()));
}
