#include "foundation/services/CIMUtil.h"

#include "server/xml/CIMXMLWriter.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace {

constinit std::atomic<std::uint64_t> lastMessageID{0};

void write(std::ostream& stream, std::string_view text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool isScalar(const IOrvoType& type) {
    return !type.isArray() && !type.isReference();
}

}  // namespace

void CIMUtil::StreamMessageHeader(std::ostream& stream, int messageID) {
    constexpr std::string_view beforeID =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"";
    constexpr std::string_view afterID = "\" PROTOCOLVERSION=\"1.0\">";
    constexpr std::size_t digits = 24;
    std::array<char, beforeID.size() + digits + afterID.size()> text;
    char* const number = text.data() + beforeID.copy(text.data(), beforeID.size());
    char* const numberEnd = messageID != 0
                                ? std::to_chars(number, number + digits, messageID).ptr
                                : std::to_chars(number, number + digits,
                                                1 + lastMessageID.fetch_add(1, std::memory_order_relaxed))
                                      .ptr;
    const char* const end = numberEnd + afterID.copy(numberEnd, afterID.size());
    write(stream, {text.data(), static_cast<std::size_t>(end - text.data())});
}

void CIMUtil::StreamMessageTrailer(std::ostream& stream) {
    write(stream, "</MESSAGE></CIM>");
}

void CIMUtil::StreamValue(std::ostream& stream, IOrvoValue& value, bool withElement, bool withNameSpace) {
    using References = velm::CIMXMLWriter::References;
    std::string xml;
    {
        velm::CIMXMLWriter writer(xml,
                                  withNameSpace ? References::withNamespace : References::withoutNamespace);
        if (withElement || !isScalar(*value.getType())) {
            writer.value(value);
        } else if (!value.isNull()) {
            writer.valueText(value);
        }
    }
    write(stream, xml);
}

void CIMUtil::Log(ORVString component, ORVString message, OrvoTraceLog::Severity severity,
                  unsigned int logMask) {
    ORVLog::trace(component, message, severity, logMask);
}
