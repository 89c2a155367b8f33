#include "benchmarks/limits/AppendRendering.h"

#include <stdexcept>

namespace velm::bench {

namespace {

std::string_view between(std::string_view text, std::string_view before, std::string_view after) {
    const std::size_t begin = text.find(before);
    if (begin == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(begin + before.size());
    return text.substr(0, text.find(after));
}

}  // namespace

void appendDocument(const FullEventText& event, std::string_view messageID, std::string_view time,
                    std::string& text) {
    text +=
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"";
    text += messageID;
    text +=
        "\" PROTOCOLVERSION=\"1.0\"><SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\">"
        "<EXPPARAMVALUE NAME=\"NewIndication\"><INSTANCE CLASSNAME=\"CIM_InstCreation\">"
        "<PROPERTY NAME=\"IndicationTime\" TYPE=\"datetime\"><VALUE>";
    text += time;
    text +=
        "</VALUE></PROPERTY><PROPERTY NAME=\"SourceInstance\" TYPE=\"string\" EmbeddedObject=\"instance\">"
        "<VALUE>&lt;INSTANCE CLASSNAME=\"CIM_DataFile\"&gt;";
    for (const FullEventText::Property& property : event.properties) {
        text += "&lt;PROPERTY NAME=\"";
        text += property.name;
        text += "\" TYPE=\"";
        text += property.type;
        text += "\"&gt;&lt;VALUE&gt;";
        text += property.value;
        text += "&lt;/VALUE&gt;&lt;/PROPERTY&gt;";
    }
    text +=
        "&lt;/INSTANCE&gt;</VALUE></PROPERTY><PROPERTY NAME=\"SourceInstanceModelPath\" TYPE=\"string\">"
        "<VALUE>root/kob/talmora:CIM_DataFile.Id=\"";
    text += event.path;
    text +=
        "\"</VALUE></PROPERTY><PROPERTY NAME=\"SourceInstanceHost\" TYPE=\"string\">"
        "<VALUE>server.example.org:5988</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"IndicationType\" TYPE=\"uint16\"><VALUE>128</VALUE></PROPERTY>"
        "<PROPERTY NAME=\"IndicationKind\" TYPE=\"string\"><VALUE>Creation</VALUE></PROPERTY>"
        "</INSTANCE></EXPPARAMVALUE></EXPMETHODCALL></SIMPLEEXPREQ></MESSAGE></CIM>";
}

void requireSameDocument(const FullEventText& event, std::string_view ours) {
    std::string expected;
    appendDocument(event, between(ours, "<MESSAGE ID=\"", "\""),
                   between(ours, "TYPE=\"datetime\"><VALUE>", "<"), expected);
    if (ours != expected) {
        throw std::runtime_error("the limit writes another document than the library");
    }
}

}  // namespace velm::bench
