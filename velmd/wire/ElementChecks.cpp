#include "velmd/wire/ElementChecks.h"

#include "foundation/object_model/COrvoType.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/CIMReader.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

namespace velm::wire {

namespace {

std::string describe(const XMLElement& element) {
    const std::string* name = element.attribute("NAME");
    if (!name) {
        name = element.attribute("CLASSNAME");
    }
    return fmt::format("line {}: {}{}{}", element.line, quoted(element.name), name ? " " : "",
                       name ? quoted(*name) : "");
}

ORVSmrPtr<IOrvoType> namedType(const XMLElement& element, const std::string& name) {
    auto type = COrvoType::fromName(std::string_view(name));
    if (type.IsNull() || type->isReference() || type == COrvoType::instance) {
        failSyntax(element, fmt::format("{} is no type", quoted(name)));
    }
    return type;
}

}  // namespace

void failSyntax(const XMLElement& element, std::string_view problem) {
    throw CIMSyntaxError(fmt::format("{}: {}", describe(element), problem));
}

void failContent(const XMLElement& element, CIMStatus status, std::string_view problem) {
    throwStatus(status, fmt::format("{}: {}", describe(element), problem));
}

void expectChildren(const XMLElement& element, std::initializer_list<std::string_view> names) {
    if (element.children.size() > maxMembers) {
        failContent(element, CIMStatus::invalidParameter,
                    fmt::format("it has more than {} elements inside", maxMembers));
    }
    for (const XMLElement& child : element.children) {
        if (std::find(names.begin(), names.end(), child.name) == names.end()) {
            failSyntax(child, fmt::format("it has no place in {}", element.name));
        }
    }
}

const XMLElement& onlyChild(const XMLElement& element) {
    if (element.children.size() != 1) {
        failSyntax(element, fmt::format("it has {} elements inside, not one", element.children.size()));
    }
    return element.children.front();
}

const std::string& requiredAttribute(const XMLElement& element, std::string_view name) {
    const std::string* value = element.attribute(name);
    if (!value) {
        failSyntax(element, fmt::format("the attribute {} is missing", name));
    }
    return *value;
}

std::string optionalAttribute(const XMLElement& element, std::string_view name) {
    const std::string* value = element.attribute(name);
    return value ? *value : std::string();
}

bool booleanAttribute(const XMLElement& element, std::string_view name, bool fallback) {
    const std::string* value = element.attribute(name);
    if (!value) {
        return fallback;
    }
    const bool isTrue = sameName(*value, "true");
    if (!isTrue && !sameName(*value, "false")) {
        failSyntax(element, fmt::format("{} is {}, neither true nor false", name, quoted(*value)));
    }
    return isTrue;
}

std::optional<unsigned int> arraySizeOf(const XMLElement& element) {
    const std::string* text = element.attribute("ARRAYSIZE");
    if (!text) {
        return std::nullopt;
    }
    unsigned int size = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, size);
    if (error != std::errc() || stop != end || size == 0) {
        failContent(element, CIMStatus::invalidParameter,
                    fmt::format("ARRAYSIZE {} is no number above 0", quoted(*text)));
    }
    return size;
}

ORVSmrPtr<IOrvoType> typeOf(const XMLElement& element) {
    return namedType(element, requiredAttribute(element, "TYPE"));
}

ORVSmrPtr<IOrvoType> optionalTypeOf(const XMLElement& element) {
    const std::string* name = element.attribute("TYPE");
    return name ? namedType(element, *name) : ORVSmrPtr<IOrvoType>();
}

CIMEmbedding embeddingOf(const XMLElement& element) {
    const std::string* text = element.attribute("EmbeddedObject");
    if (!text) {
        text = element.attribute("EMBEDDEDOBJECT");
    }
    if (!text) {
        return CIMEmbedding::none;
    }
    const bool isInstance = sameName(*text, "instance");
    if (!isInstance && !sameName(*text, "object")) {
        failSyntax(element, fmt::format("EmbeddedObject is {}, neither instance nor object", quoted(*text)));
    }
    return isInstance ? CIMEmbedding::instance : CIMEmbedding::object;
}

ORVSmrPtr<IOrvoType> propertyTypeOf(const XMLElement& property) {
    if (property.name == "PROPERTY.REFERENCE") {
        return COrvoType::reference;
    }
    const auto type = typeOf(property);
    return property.name == "PROPERTY.ARRAY" ? COrvoType::arrayOf(type) : type;
}

}  // namespace velm::wire
