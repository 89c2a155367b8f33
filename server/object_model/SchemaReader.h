#pragma once

#include "foundation/utilities/ORVString.h"
#include "server/xml/SecureXMLReader.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// A class as a file declares it.
struct ClassDeclaration {
    ORVString name;
    /// The null string for a root class.
    ORVString superClass;
    /// Whether the class itself carries the qualifier Association.
    bool isAssociation = false;
    std::uint64_t line = 0;
};

/// Collects the classes of a CIM-XML declaration (DSP0201: CIM/DECLARATION/DECLGROUP and its kinds).
///
/// Instances, qualifier declarations, paths and all that a class contains beside its qualifiers are read
/// past. Elements that have no place in a declaration make it throw ORVXMLError.
///
/// Threads: one at a time.
class SchemaReader final : public XMLHandler {
public:
    /// What was read so far, in the order of the document.
    std::vector<ClassDeclaration> classes;

    /// The class that was being read when an error ended the reading; the null string outside classes.
    ORVString currentClass() const { return _inClass ? classes.back().name : ORVString(); }

    void startElement(std::string_view name, const XMLAttributes& attributes) override;
    void endElement() override;
    void characters(std::string_view text) override;
    bool wantsCharacters() const override { return _inAssociationQualifier; }

private:
    void _startClass(const XMLAttributes& attributes);
    void _startInClass(std::string_view name, const XMLAttributes& attributes);

    /// The elements around the classes, the root first.
    std::vector<std::string> _frame;
    /// Elements open inside one that is read past; 0 outside.
    unsigned int _skipped = 0;
    bool _inClass = false;
    bool _inAssociationQualifier = false;
    std::string _qualifierText;
};

}  // namespace velm
