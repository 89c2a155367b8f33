#include "velmctl/client/ExportMessage.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmd/wire/XMLElement.h"

#include <charconv>
#include <map>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using Properties = std::map<std::string, std::string>;

constexpr std::size_t maxMessageSize = 64 * 1024 * 1024;
constexpr std::size_t maxMessageDepth = 256;
constexpr const char* enterAssociation = "128";

const std::map<std::string, std::string> eventOfType = {{"1", "Change"},
                                                        {"2", "Addition"},
                                                        {"4", "Removal"},
                                                        {"8", "Creation"},
                                                        {"16", "Destruction"},
                                                        {"32", "EnterRelationship"},
                                                        {"64", "LeaveRelationship"},
                                                        {"128", "EnterAssociation"},
                                                        {"256", "LeaveAssociation"}};

XMLElement readDocument(std::string_view document) {
    try {
        return readXMLTree(document, maxMessageSize, maxMessageDepth);
    } catch (const ORVXMLError& error) {
        throw std::runtime_error(std::string(error.GetErrorMessage().view()));
    }
}

std::string attributeOf(const XMLElement& element, std::string_view name) {
    const std::string* text = element.attribute(name);
    return text ? *text : "";
}

const XMLElement& indicationIn(const XMLElement& message) {
    const XMLElement* element = &message;
    for (const char* name : {"SIMPLEEXPREQ", "EXPMETHODCALL", "EXPPARAMVALUE", "INSTANCE"}) {
        element = element->child(name);
        if (!element) {
            throw std::runtime_error(fmt::format("no indication in the message: there is no {}", name));
        }
    }
    return *element;
}

/// The properties with one value, and the elements of ChangedPropertyNames.
Properties propertiesOf(const XMLElement& instance, std::vector<std::string>& changed) {
    Properties properties;
    for (const XMLElement& property : instance.children) {
        const std::string name = attributeOf(property, "NAME");
        if (property.name == "PROPERTY") {
            const XMLElement* value = property.child("VALUE");
            properties[name] = value ? value->text : "";
        } else if (property.name == "PROPERTY.ARRAY" && name == "ChangedPropertyNames") {
            if (const XMLElement* values = property.child("VALUE.ARRAY")) {
                for (const XMLElement& value : values->children) {
                    changed.push_back(value.text);
                }
            }
        }
    }
    return properties;
}

std::string textOf(const Properties& properties, const char* name) {
    const auto found = properties.find(name);
    return found == properties.end() ? "" : found->second;
}

/// A subscription to creations or destructions is delivered as type 128; what happened stands in
/// IndicationKind.
std::string eventOf(const Properties& properties) {
    const auto type = properties.find("IndicationType");
    const auto kind = properties.find("IndicationKind");
    if (kind != properties.end() && (type == properties.end() || type->second == enterAssociation)) {
        return kind->second;
    }
    const auto known = type == properties.end() ? eventOfType.end() : eventOfType.find(type->second);
    return known == eventOfType.end() ? "Indication" : known->second;
}

/// Empty when the text is no path.
std::string classOf(const std::string& path) {
    try {
        return std::string(COrvoInstanceName::parse(ORVString(path))->getClassName().view());
    } catch (const OrvoBaseException&) {
        return {};
    }
}

std::string shortName(const IOrvoInstanceName& path) {
    std::vector<std::string> ends;
    const auto keys = path.getKeyBindings();
    for (const COrvoKeyBinding& key : *keys) {
        const ORVString text = key.value->getString();
        if (key.name == "Name") {
            return text.data();
        }
        if (key.name == "GroupComponent" || key.name == "PartComponent") {
            ends.push_back(shortName(*COrvoInstanceName::parse(text)));
        }
    }
    return ends.size() == 2 ? ends[0] + " -> " + ends[1] : path.getKeyProperties().data();
}

template <class Number>
bool readDigits(std::string_view text, Number& number) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::optional<ExportMessage::Time> parseTimestamp(std::string_view text) {
    constexpr std::size_t timestampSize = 25;
    int year = 0;
    unsigned int month = 0, day = 0, hours = 0, minutes = 0, seconds = 0, micros = 0, offset = 0;
    if (text.size() != timestampSize || text[14] != '.' || (text[21] != '+' && text[21] != '-') ||
        !readDigits(text.substr(0, 4), year) || !readDigits(text.substr(4, 2), month) ||
        !readDigits(text.substr(6, 2), day) || !readDigits(text.substr(8, 2), hours) ||
        !readDigits(text.substr(10, 2), minutes) || !readDigits(text.substr(12, 2), seconds) ||
        !readDigits(text.substr(15, 6), micros) || !readDigits(text.substr(22, 3), offset)) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (!date.ok() || hours > 23 || minutes > 59 || seconds > 60) {
        return std::nullopt;
    }
    const std::chrono::minutes fromUTC(text[21] == '-' ? -static_cast<int>(offset)
                                                       : static_cast<int>(offset));
    return std::chrono::sys_days(date) + std::chrono::hours(hours) + std::chrono::minutes(minutes) +
           std::chrono::seconds(seconds) + std::chrono::microseconds(micros) - fromUTC;
}

ExportMessage ExportMessage::parse(std::string_view document) {
    const XMLElement root = readDocument(document);
    const XMLElement* message = root.name == "CIM" ? root.child("MESSAGE") : nullptr;
    if (!message) {
        throw std::runtime_error("no CIM message");
    }
    const XMLElement& indication = indicationIn(*message);
    ExportMessage result;
    result.document = document;
    result.messageID = attributeOf(*message, "ID");
    result.indicationClass = attributeOf(indication, "CLASSNAME");
    const Properties properties = propertiesOf(indication, result.changedProperties);
    result.event = eventOf(properties);
    result.objectPath = textOf(properties, "SourceInstanceModelPath");
    result.objectClass = classOf(result.objectPath);
    result.time = parseTimestamp(textOf(properties, "IndicationTime"));
    return result;
}

std::string ExportMessage::objectName() const {
    try {
        const std::string name = shortName(*COrvoInstanceName::parse(ORVString(objectPath)));
        return name.empty() ? objectPath : name;
    } catch (const OrvoBaseException&) {
        // A path in another form is shown as it came.
        return objectPath;
    }
}

std::string ExportMessage::describe() const {
    const std::string changes =
        changedProperties.empty() ? "" : fmt::format("  ({})", fmt::join(changedProperties, ", "));
    return fmt::format("{:<12} {:<26} {}{}", event, objectClass.empty() ? "?" : objectClass, objectName(),
                       changes);
}

}  // namespace velm
