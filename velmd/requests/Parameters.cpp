#include "velmd/requests/Parameters.h"

#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/wire/CIMReader.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

Parameters::Parameters(const CIMRequest& request, const std::vector<std::string_view>& allowed)
    : _request(request) {
    std::vector<std::string_view> seen;
    for (const auto& [name, element] : request.parameters) {
        const auto isThis = [&name = name](std::string_view other) { return sameName(name, other); };
        if (std::none_of(allowed.begin(), allowed.end(), isThis)) {
            refuse(name, "is no parameter of this operation");
        }
        if (std::any_of(seen.begin(), seen.end(), isThis)) {
            refuse(name, "is given twice");
        }
        seen.push_back(name);
    }
}

void Parameters::refuse(std::string_view name, std::string_view problem) {
    throwStatus(CIMStatus::invalidParameter, fmt::format("the parameter {} {}", quoted(name), problem));
}

const XMLElement* Parameters::find(std::string_view name) const {
    for (const auto& [parameter, element] : _request.parameters) {
        if (sameName(parameter, name)) {
            return element->children.empty() ? nullptr : &element->children.front();
        }
    }
    return nullptr;
}

const XMLElement& Parameters::_required(std::string_view name) const {
    const XMLElement* value = find(name);
    if (!value) {
        refuse(name, "is missing");
    }
    return *value;
}

const XMLElement& Parameters::element(std::string_view name, std::string_view elementName) const {
    const XMLElement& value = _required(name);
    if (value.name != elementName) {
        refuse(name, fmt::format("must hold {}, not {}", elementName, quoted(value.name)));
    }
    return value;
}

std::optional<std::string> Parameters::optionalString(std::string_view name) const {
    return has(name) ? std::optional(string(name)) : std::nullopt;
}

std::string Parameters::string(std::string_view name) const {
    const XMLElement& value = element(name, "VALUE");
    if (!value.children.empty()) {
        refuse(name, "must hold a text");
    }
    return value.text;
}

bool Parameters::boolean(std::string_view name, bool fallback) const {
    const std::optional<std::string> text = optionalString(name);
    if (!text) {
        return fallback;
    }
    try {
        return COrvoValue::parse(ORVString(*text), COrvoType::boolean)->getBoolean();
    } catch (const ORVTypeException&) {
        refuse(name, "must be TRUE or FALSE");
    }
}

std::optional<std::string> Parameters::optionalClassName(std::string_view name) const {
    return has(name) ? std::optional(className(name)) : std::nullopt;
}

std::string Parameters::className(std::string_view name) const {
    if (_required(name).name == "VALUE") {
        return string(name);
    }
    const std::string* text = element(name, "CLASSNAME").attribute("NAME");
    if (!text) {
        refuse(name, "has a CLASSNAME without NAME");
    }
    return *text;
}

std::optional<std::vector<std::string>> Parameters::optionalStrings(std::string_view name) const {
    if (!has(name)) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    for (const XMLElement& value : element(name, "VALUE.ARRAY").children) {
        if (value.name != "VALUE" || !value.children.empty()) {
            refuse(name, "must hold an array of texts");
        }
        strings.push_back(value.text);
    }
    return strings;
}

ORVSmrPtr<IOrvoInstanceName> Parameters::instanceName(std::string_view name) const {
    return readInstanceName(element(name, "INSTANCENAME"));
}

}  // namespace velm
