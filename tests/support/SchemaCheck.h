#pragma once

#include "foundation/object_model/IOrvoObject.h"

#include <map>
#include <string>
#include <vector>

#include <boost/property_tree/ptree_fwd.hpp>

namespace velm::test {

/// The classes of a file of CIM-XML declarations, with what they inherit.
class SchemaCheck {
public:
    /// Throws what reading the file throws.
    explicit SchemaCheck(const std::string& path);

    /// In words, what the class does not allow of the object: properties it does not have, other types, keys
    /// missing or too many. Empty when all is well.
    std::vector<std::string> problemsOf(const IOrvoObject& object) const;

private:
    struct Property {
        std::string type;
        bool isArray;
        bool isKey;
    };
    struct Class {
        std::string superClass;
        std::map<std::string, Property> properties;
    };

    void _read(const boost::property_tree::ptree& declaration);
    std::map<std::string, Property> _propertiesOf(const std::string& className) const;

    std::map<std::string, Class> _classes;
};

}  // namespace velm::test
