#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/services/CIMUtil.h"
#include "server/xml/CIMXMLWriter.h"
#include "server/xml/LentParts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace {

using Kind = IOrvoIndication::ReportedKind;

/// What an unusually long message took is given back.
constexpr std::size_t keptSize = std::size_t{64} * 1024;

/// The memory for one message: that of this thread's last one. A message that is written from inside another
/// one finds none and takes its own.
class MessageText {
public:
    MessageText() : _memory(std::move(_kept())) {}
    MessageText(const MessageText&) = delete;
    MessageText& operator=(const MessageText&) = delete;
    ~MessageText() {
        if (_memory.size() <= keptSize) {
            _kept() = std::move(_memory);
        }
    }

    velm::TextEnd::Scratch scratch() { return {_memory}; }

private:
    static std::string& _kept() {
        static thread_local std::string memory;
        return memory;
    }

    std::string _memory;
};

/// A CIM datetime: yyyymmddhhmmss.mmmmmm+000.
using Datetime = std::array<char, 25>;

char* writeDigits(char* end, unsigned int number, int width) {
    for (int digit = width; digit-- > 0; number /= 10) {
        end[digit] = static_cast<char>('0' + number % 10);
    }
    return end + width;
}

/// Without its fraction, which stays as it is.
void writeSeconds(std::chrono::sys_seconds time, Datetime& text) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    char* end = writeDigits(text.data(), static_cast<unsigned int>(static_cast<int>(date.year())), 4);
    for (const auto number : {static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()),
                              static_cast<unsigned int>(clock.hours().count()),
                              static_cast<unsigned int>(clock.minutes().count()),
                              static_cast<unsigned int>(clock.seconds().count())}) {
        end = writeDigits(end, number, 2);
    }
}

Datetime datetimeOf(std::chrono::system_clock::time_point time) {
    struct Last {
        Last() { std::string_view("00000000000000.000000+000").copy(text.data(), text.size()); }

        std::chrono::sys_seconds second = std::chrono::sys_seconds::min();
        Datetime text;
    };
    // Thousands of events in a row are of the same second.
    static thread_local Last last;
    const auto second = std::chrono::floor<std::chrono::seconds>(time);
    if (last.second != second) {
        writeSeconds(second, last.text);
        last.second = second;
    }
    constexpr std::size_t fraction = 15;
    const auto microseconds = std::chrono::floor<std::chrono::microseconds>(time - second).count();
    writeDigits(last.text.data() + fraction, static_cast<unsigned int>(microseconds), 6);
    return last.text;
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

void writePath(velm::CIMXMLWriter& writer, std::string_view path) {
    writer.tags<"<PROPERTY NAME=\"SourceInstanceModelPath\" TYPE=\"string\"><VALUE>">();
    writer.text(path);
    writer.tags<"</VALUE></PROPERTY>">();
}

void writePathOf(velm::CIMXMLWriter& writer, const ORVSmrPtr<IOrvoInstanceName>& name) {
    if (name.IsNull()) {
        return;
    }
    if (const auto* own = velm::ownObject<COrvoInstanceName>(*name)) {
        writePath(writer, own->text().view());
    } else {
        writePath(writer, name->toString().view());
    }
}

void writeModelPath(velm::CIMXMLWriter& writer, const IOrvoObject& object) {
    if (const auto* own = velm::ownObject<COrvoObject>(object)) {
        writePathOf(writer, own->instanceName());
    } else {
        writePathOf(writer, object.getInstanceName());
    }
}

void writeSource(velm::CIMXMLWriter& writer, const IOrvoObject& object, std::string_view host,
                 std::string_view port, bool withSourceInstance) {
    if (withSourceInstance) {
        writer
            .tags<"<PROPERTY NAME=\"SourceInstance\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>">();
        writer.embedded(object);
        writer.tags<"</VALUE></PROPERTY>">();
    }
    writeModelPath(writer, object);
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
    writer.tags({digits, static_cast<std::size_t>(end - digits)});
    writer.tags<"</VALUE></PROPERTY><PROPERTY NAME=\"IndicationKind\" TYPE=\"string\"><VALUE>">();
    const std::string_view name = COrvoDebugTools::indicationTypeName(kind.type);
    writer.text(name.data() ? name : COrvoDebugTools::indicationTypeToString(kind.type).view());
    writer.tags<"</VALUE></PROPERTY>">();
    if (onChannel) {
        writer
            .tags<"<PROPERTY NAME=\"DeliveredOnChannel\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>">();
    }
}

struct Export {
    const IOrvoIndication& indication;
    const IOrvoObject& object;
    std::string_view host;
    std::string_view port;
    bool withSourceInstance;
    bool onChannel;
};

void writeExport(velm::CIMXMLWriter& writer, const Export& message) {
    const Kind& kind = kindOf(message.indication);
    writer.tags<
        "<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\"><EXPPARAMVALUE NAME=\"NewIndication\">"
        "<INSTANCE CLASSNAME=\"">();
    writer.attributeText(kind.exportClassName);
    writer.tags<"\"><PROPERTY NAME=\"IndicationTime\" TYPE=\"datetime\"><VALUE>">();
    const Datetime time = datetimeOf(message.indication.getTime());
    writer.tags({time.data(), time.size()});
    writer.tags<"</VALUE></PROPERTY>">();
    writeSource(writer, message.object, message.host, message.port, message.withSourceInstance);
    if (kind.type == IOrvoIndication::IndicationChange) {
        writeChangedProperties(writer, message.indication);
    }
    writeDelivery(writer, message.indication, kind, message.onChannel);
    writer.tags<"</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ>">();
}

}  // namespace

void CIMUtil::StreamIndication(std::ostream& stream, IOrvoIndication& indication, ORVString& localHost,
                               ORVString& localPort, bool withSourceInstance, bool onChannel) {
    const auto* own = velm::ownObject<COrvoIndication>(indication);
    const auto object = own ? ORVSmrPtr<IOrvoObject>::none() : indication.getObject();
    MessageText message;
    velm::CIMXMLWriter writer(message.scratch());
    writeExport(writer, {indication, own ? *own->object() : *object, localHost.view(), localPort.view(),
                         withSourceInstance, onChannel});
    stream.write(writer.written().data(), static_cast<std::streamsize>(writer.written().size()));
}
