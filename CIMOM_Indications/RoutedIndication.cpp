#include "CIMOM_Indications/RoutedIndication.h"

#include "foundation/object_model/COrvoHelper.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/object_model/IOrvoValue.h"

#include <string>
#include <string_view>
#include <utility>

namespace velm {

ORVString instanceKeyOf(const IOrvoInstanceName& instanceName) {
    const ORVString className = instanceName.getClassName();
    const ORVString keyProperties = instanceName.getKeyProperties();
    std::string key;
    key.reserve(className.length() + 1 + keyProperties.length());
    key.append(className.view()).append(1, ':').append(keyProperties.view());
    return std::string_view(key);
}

bool RoutedIndication::isAssociation() {
    if (!_isAssociation) {
        _object();
        _isAssociation = COrvoHelper::isAssociation(_fetchedObject);
    }
    return *_isAssociation;
}

const ORVString& RoutedIndication::instanceKey() {
    if (!_instanceKey) {
        _instanceKey = instanceKeyOf(*_object().getInstanceName());
    }
    return *_instanceKey;
}

const RoutedIndication::End& RoutedIndication::end(unsigned int position) {
    std::optional<End>& end = _ends.at(position);
    if (!end) {
        ORVSmrPtr<IOrvoInstanceName> name = _object().getProperty(position)->getValue()->getReference();
        ORVString className = name->getClassName();
        ORVString keyProperties = name->getKeyProperties();
        end = End{std::move(name), std::move(className), std::move(keyProperties)};
    }
    return *end;
}

const IOrvoObject& RoutedIndication::_object() {
    if (_fetchedObject.IsNull()) {
        _fetchedObject = _indication->getObject();
    }
    return *_fetchedObject;
}

}  // namespace velm
