#include "velmctl/commands/InstanceArguments.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmctl/output/Nearest.h"
#include "velmd/model/CIMName.h"

#include <map>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using ValueHandle = ORVSmrPtr<IOrvoValue>;
/// In the order of the class, each with the texts that were given for it: none for no value.
using Texts = std::map<std::size_t, std::vector<std::string>>;

[[noreturn]] void refuseName(const CIMClass& declaration, const std::string& name) {
    std::vector<std::string> known;
    for (const CIMProperty& property : declaration.properties) {
        known.push_back(property.name);
    }
    const std::string meant = nearest(name, known);
    throw CommandLineMistake(fmt::format("class {} has no property {}{}", declaration.name, quoted(name),
                                         meant.empty() ? "" : fmt::format("; did you mean '{}'?", meant)));
}

std::size_t positionOf(const CIMClass& declaration, const std::string& name) {
    const CIMProperty* property = declaration.property(name);
    if (!property) {
        refuseName(declaration, name);
    }
    return static_cast<std::size_t>(property - declaration.properties.data());
}

Texts sortArguments(const CIMClass& declaration, const std::vector<std::string>& arguments) {
    Texts texts;
    for (const std::string& argument : arguments) {
        const auto equals = argument.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw CommandLineMistake(fmt::format("{} is not NAME=VALUE", quoted(argument)));
        }
        const std::string name = argument.substr(0, equals);
        const std::size_t position = positionOf(declaration, name);
        auto& given = texts[position];
        if (!given.empty() && !declaration.properties[position].type->isArray()) {
            throw CommandLineMistake(
                fmt::format("{} is given twice, and is no array", declaration.properties[position].name));
        }
        given.push_back(argument.substr(equals + 1));
    }
    return texts;
}

void addNulls(const CIMClass& declaration, const std::vector<std::string>& nulls, Texts& texts) {
    for (const std::string& name : nulls) {
        const CIMProperty& property = declaration.properties[positionOf(declaration, name)];
        if (property.isKey()) {
            throw CommandLineMistake(fmt::format("{} is a key, which has a value", property.name));
        }
        if (!texts.emplace(positionOf(declaration, name), std::vector<std::string>()).second) {
            throw CommandLineMistake(fmt::format("{} is given twice", property.name));
        }
    }
}

ValueHandle readReference(const std::string& text) {
    const auto name = COrvoInstanceName::parse(ORVString(text));
    if (name->getKeyProperties().length() == 0) {
        throw CommandLineMistake(fmt::format("{} names no instance: NS:CLASS.KEY=\"VALUE\"", quoted(text)));
    }
    return ValueHandle(new COrvoValue(name));
}

ValueHandle readScalar(const CIMProperty& property, const ORVSmrPtr<IOrvoType>& type,
                       const std::string& text) {
    try {
        return type->isReference() ? readReference(text) : COrvoValue::parse(ORVString(text), type);
    } catch (const OrvoBaseException& error) {
        throw CommandLineMistake(fmt::format("{}: {}", property.name, error.getMessage().view()));
    }
}

ValueHandle readGiven(const CIMProperty& property, const std::vector<std::string>& texts) {
    if (texts.empty()) {
        return COrvoValue::null(property.type);
    }
    if (!property.type->isArray()) {
        return readScalar(property, property.type, texts.front());
    }
    const auto elementType = COrvoType::fromName(property.type->getName());
    const COrvoValue::Elements elements(new ORVValSlist<ValueHandle>);
    for (const std::string& text : texts) {
        elements->append(readScalar(property, elementType, text));
    }
    return ValueHandle(new COrvoValue(elements, elementType));
}

void addDefaults(const CIMClass& declaration, Texts& texts) {
    const CIMProperty* key = declaration.property("CreationClassName");
    if (key && key->isKey()) {
        texts.try_emplace(static_cast<std::size_t>(key - declaration.properties.data()),
                          std::vector{declaration.name});
    }
}

void requireKeys(const CIMClass& declaration, const Texts& texts) {
    std::vector<std::string> missing;
    for (std::size_t index = 0; index < declaration.properties.size(); ++index) {
        if (declaration.properties[index].isKey() && !texts.contains(index)) {
            missing.push_back(declaration.properties[index].name);
        }
    }
    if (!missing.empty()) {
        throw CommandLineMistake(fmt::format("class {} has keys that are not given: {}; add {}=VALUE",
                                             declaration.name, fmt::join(missing, ", "), missing.front()));
    }
}

}  // namespace

TypedInstance readTypedInstance(const CIMClass& declaration, const std::vector<std::string>& arguments,
                                const std::vector<std::string>& nulls) {
    Texts texts = sortArguments(declaration, arguments);
    addNulls(declaration, nulls, texts);
    addDefaults(declaration, texts);
    requireKeys(declaration, texts);
    const ORVString className(declaration.name);
    TypedInstance result;
    COrvoInstanceName::KeyBindings keys;
    std::vector<std::pair<ORVString, ValueHandle>> values;
    for (const auto& [index, given] : texts) {
        const CIMProperty& property = declaration.properties[index];
        const ORVString name(property.name);
        values.emplace_back(name, readGiven(property, given));
        if (property.isKey()) {
            keys.append({name, values.back().second});
        } else {
            result.properties.push_back(property.name);
        }
    }
    result.name = ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", className, keys));
    result.object = ORVSmrPtr<COrvoObject>(new COrvoObject(className, result.name));
    for (const auto& [name, value] : values) {
        result.object->setProperty(name, value);
    }
    return result;
}

}  // namespace velm
