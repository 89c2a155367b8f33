#include "examples/listener/ExportMessage.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <map>
#include <sstream>
#include <stdexcept>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace {

using boost::property_tree::ptree;
using Properties = std::map<std::string, std::string>;

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

/// The properties with one value, and the elements of ChangedPropertyNames.
Properties propertiesOf(const ptree& instance, std::vector<std::string>& changed) {
    Properties properties;
    for (const auto& [element, content] : instance) {
        const auto name = content.get<std::string>("<xmlattr>.NAME", "");
        if (element == "PROPERTY") {
            properties[name] = content.get<std::string>("VALUE", "");
        } else if (element == "PROPERTY.ARRAY" && name == "ChangedPropertyNames") {
            if (const auto values = content.get_child_optional(ptree::path_type("VALUE.ARRAY", '/'))) {
                for (const auto& value : *values) {
                    changed.push_back(value.second.data());
                }
            }
        }
    }
    return properties;
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

/// The key that people know an object by: its Name, the two ends of an association, or all keys.
std::string shortName(const IOrvoInstanceName& path) {
    std::vector<std::string> ends;
    for (const COrvoKeyBinding& key : *path.getKeyBindings()) {
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

}  // namespace

ExportMessage ExportMessage::parse(std::string_view document) {
    ptree tree;
    std::istringstream stream{std::string(document)};
    read_xml(stream, tree, boost::property_tree::xml_parser::no_comments);
    const auto message = tree.get_child_optional("CIM.MESSAGE");
    if (!message) {
        throw std::runtime_error("no CIM message");
    }
    // Element names hold dots, so the path is written with another separator.
    const auto instance = message->get_child_optional(
        ptree::path_type("SIMPLEEXPREQ/EXPMETHODCALL/EXPPARAMVALUE/INSTANCE", '/'));
    if (!instance) {
        throw std::runtime_error("no indication in the message");
    }
    ExportMessage result;
    result.messageID = message->get<std::string>("<xmlattr>.ID", "");
    const Properties properties = propertiesOf(*instance, result.changedProperties);
    result.event = eventOf(properties);
    const auto path = properties.find("SourceInstanceModelPath");
    result.objectPath = path == properties.end() ? "" : path->second;
    return result;
}

std::string ExportMessage::describe() const {
    std::string className = "?";
    std::string object = objectPath;
    try {
        const ORVSmrPtr<IOrvoInstanceName> path = COrvoInstanceName::parse(ORVString(objectPath));
        className = path->getClassName().data();
        object = shortName(*path);
    } catch (const OrvoBaseException&) {
        // A path in another form is shown as it came.
    }
    const std::string changes =
        changedProperties.empty() ? "" : fmt::format("  ({})", fmt::join(changedProperties, ", "));
    return fmt::format("{:<12} {:<26} {}{}", event, className, object, changes);
}
