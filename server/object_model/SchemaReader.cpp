#include "server/object_model/SchemaReader.h"

#include "server/object_model/ValueText.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

/// What is done with an element that stands in `parent`.
enum class Use { enter, skip, readClass };

struct Rule {
    std::string_view parent;
    std::string_view child;
    Use use;
};

/// A name that ends with an asterisk stands for all that begin so.
constexpr std::array rules{Rule{"", "CIM", Use::enter},
                           Rule{"CIM", "DECLARATION", Use::enter},
                           Rule{"DECLARATION", "DECLGROUP*", Use::enter},
                           Rule{"DECLGROUP*", "VALUE.*", Use::enter},
                           Rule{"DECLGROUP*", "CLASS", Use::readClass},
                           Rule{"DECLGROUP*", "LOCALNAMESPACEPATH", Use::skip},
                           Rule{"DECLGROUP*", "NAMESPACEPATH", Use::skip},
                           Rule{"DECLGROUP*", "QUALIFIER.DECLARATION", Use::skip},
                           Rule{"VALUE.*", "CLASS", Use::readClass},
                           Rule{"VALUE.*", "INSTANCE", Use::skip},
                           Rule{"VALUE.*", "INSTANCENAME", Use::skip},
                           Rule{"VALUE.*", "CLASSPATH", Use::skip},
                           Rule{"VALUE.*", "LOCALCLASSPATH", Use::skip},
                           Rule{"VALUE.*", "INSTANCEPATH", Use::skip},
                           Rule{"VALUE.*", "LOCALINSTANCEPATH", Use::skip}};

bool matches(std::string_view pattern, std::string_view name) {
    return pattern.ends_with('*') ? name.starts_with(pattern.substr(0, pattern.size() - 1)) : name == pattern;
}

bool isAssociation(const ORVString& qualifier) {
    static const ORVString name("Association");
    return qualifier.compareTo(name, ORVString::caseInsensitive) == 0;
}

}  // namespace

void SchemaReader::startElement(std::string_view name, const XMLAttributes& attributes) {
    if (_inClass) {
        _startInClass(name, attributes);
        return;
    }
    if (_skipped > 0) {
        ++_skipped;
        return;
    }
    std::string_view parent = _frame.empty() ? std::string_view() : _frame.back();
    const auto* rule = std::find_if(rules.begin(), rules.end(), [parent, name](const Rule& candidate) {
        return matches(candidate.parent, parent) && matches(candidate.child, name);
    });
    if (rule == rules.end()) {
        fail(fmt::format("element {} has no place {}{}", name, parent.empty() ? "at the root" : "in ",
                         parent));
    }
    switch (rule->use) {
        case Use::enter:
            _frame.emplace_back(name);
            break;
        case Use::skip:
            _skipped = 1;
            break;
        case Use::readClass:
            _startClass(attributes);
            break;
    }
}

void SchemaReader::_startClass(const XMLAttributes& attributes) {
    ClassDeclaration declaration{attributes.value("NAME"), attributes.value("SUPERCLASS"), false,
                                 position().line};
    if (declaration.name.length() == 0) {
        fail("a class has no name");
    }
    if (declaration.superClass.length() == 0) {
        declaration.superClass = ORVString();
    }
    classes.push_back(std::move(declaration));
    _inClass = true;
}

void SchemaReader::_startInClass(std::string_view name, const XMLAttributes& attributes) {
    if (_skipped++ == 0 && name == "QUALIFIER") {
        _inAssociationQualifier = isAssociation(attributes.value("NAME"));
        _qualifierText.clear();
    }
}

void SchemaReader::endElement() {
    if (_skipped > 0) {
        if (--_skipped == 0 && _inAssociationQualifier) {
            _inAssociationQualifier = false;
            classes.back().isAssociation = text::toBoolean(text::trim(_qualifierText)).value_or(false);
        }
    } else if (_inClass) {
        _inClass = false;
    } else {
        _frame.pop_back();
    }
}

void SchemaReader::characters(std::string_view text) {
    _qualifierText += text;
}

}  // namespace velm
