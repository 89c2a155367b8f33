#pragma once

#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/CIMClass.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/XMLElement.h"

#include <string>
#include <string_view>

/// Documents as trees, and what was read as text that shows every field.
namespace velm::test {

inline XMLElement parse(std::string_view text) {
    return readXMLTree(text, 1 << 24, 256);
}

/// Type and content, NULL distinct from any text.
std::string describe(const IOrvoValue& value);
std::string describe(const IOrvoObject& object);
/// With the type of every key, references included.
std::string describe(const IOrvoInstanceName& name);
std::string describe(const CIMClass& declaration);
std::string describe(const CIMQualifierDeclaration& declaration);

/// What the reading of the element in `text` was refused with.
template <class Read>
std::string syntaxErrorOf(std::string_view text, Read read) {
    const XMLElement element = parse(text);
    try {
        read(element);
    } catch (const CIMSyntaxError& error) {
        return error.what();
    }
    return "no syntax error";
}

}  // namespace velm::test
