#include "tests/support/SchemaCheck.h"

#include "foundation/object_model/IOrvoValue.h"

#include <set>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

namespace velm::test {

namespace {

using boost::property_tree::ptree;

bool isKey(const ptree& property) {
    for (const auto& [element, content] : property) {
        if (element == "QUALIFIER" && content.get<std::string>("<xmlattr>.NAME") == "Key") {
            return true;
        }
    }
    return false;
}

}  // namespace

SchemaCheck::SchemaCheck(const std::string& path) {
    ptree document;
    read_xml(path, document);
    for (const auto& [element, value] : document.get_child("CIM.DECLARATION.DECLGROUP")) {
        if (const auto declaration = value.get_child_optional("CLASS")) {
            _read(*declaration);
        }
    }
}

void SchemaCheck::_read(const ptree& declaration) {
    Class& entry = _classes[declaration.get<std::string>("<xmlattr>.NAME")];
    entry.superClass = declaration.get<std::string>("<xmlattr>.SUPERCLASS", "");
    for (const auto& [kind, property] : declaration) {
        if (kind.starts_with("PROPERTY")) {
            entry.properties[property.get<std::string>("<xmlattr>.NAME")] = {
                property.get<std::string>("<xmlattr>.TYPE", "reference"), kind == "PROPERTY.ARRAY",
                isKey(property)};
        }
    }
}

std::map<std::string, SchemaCheck::Property> SchemaCheck::_propertiesOf(const std::string& className) const {
    const auto found = _classes.find(className);
    if (found == _classes.end()) {
        return {};
    }
    std::map<std::string, Property> properties = _propertiesOf(found->second.superClass);
    for (const auto& [name, property] : found->second.properties) {
        const bool wasKey = properties.contains(name) && properties[name].isKey;
        properties[name] = property;
        properties[name].isKey |= wasKey;
    }
    return properties;
}

std::vector<std::string> SchemaCheck::problemsOf(const IOrvoObject& object) const {
    std::vector<std::string> problems;
    const auto declared = _propertiesOf(object.getClassName().data());
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        const auto property = object.getProperty(position);
        const std::string name = property->getName().data();
        const auto found = declared.find(name);
        const auto type = property->getValue()->getType();
        if (found == declared.end()) {
            problems.push_back("no property " + name);
        } else if (found->second.type != type->getName().data() || found->second.isArray != type->isArray()) {
            problems.push_back(name + " has the type " + type->getName().data());
        }
    }
    std::set<std::string> keys;
    for (const auto& [name, property] : declared) {
        if (property.isKey) {
            keys.insert(name);
        }
    }
    std::set<std::string> present;
    const auto bindings = object.getInstanceName()->getKeyBindings();
    for (const COrvoKeyBinding& binding : *bindings) {
        present.insert(binding.name.data());
    }
    if (keys != present || keys.empty()) {
        problems.push_back("the keys are not those of the class");
    }
    return problems;
}

}  // namespace velm::test
