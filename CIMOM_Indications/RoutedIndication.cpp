#include "CIMOM_Indications/RoutedIndication.h"

#include "CIMOM_Indications/RouteNames.h"
#include "foundation/object_model/COrvoHelper.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/object_model/OwnObject.h"

#include <string>
#include <string_view>
#include <typeinfo>
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

const ORVString& RoutedIndication::className() {
    const IOrvoObject& object = _object();
    if (_own) {
        return _own->className();
    }
    if (!_heldClassName) {
        _heldClassName = object.getClassName();
    }
    return *_heldClassName;
}

bool RoutedIndication::isAssociation() {
    if (!_isAssociation) {
        _object();
        _isAssociation = !(_own && _own->referenceCount() < 2) && COrvoHelper::isAssociation(*_handle);
    }
    return *_isAssociation;
}

const ORVString& RoutedIndication::instanceText() {
    const IOrvoInstanceName& name = _instanceName();
    if (const auto* own = ownObject<COrvoInstanceName>(name)) {
        return own->text();
    }
    if (!_heldText) {
        _heldText = name.toString();
    }
    return *_heldText;
}

const ORVString& RoutedIndication::instanceKey() {
    if (!_instanceKey) {
        const IOrvoInstanceName& name = _instanceName();
        if (const auto* own = ownObject<COrvoInstanceName>(name)) {
            _instanceKey.emplace(own->className().view(), ':', own->text().tailView());
        } else {
            const ORVString className = name.getClassName();
            const ORVString keyProperties = name.getKeyProperties();
            _instanceKey.emplace(className.view(), ':', keyProperties.view());
        }
    }
    return _instanceKey->string();
}

void RoutedIndication::setRouteNames(const RouteNames& names) {
    IOrvoIndication& indication = *_indication;
    if (typeid(indication) == typeid(COrvoIndication)) {
        static_cast<COrvoIndication&>(indication).lendClassNames(names.list());
    } else {
        indication.setClassNames(names.list());
    }
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
    if (!_handle) {
        const ORVSmrPtr<IOrvoObject>* handle = &_heldObject;
        if (const auto* own = ownObject<COrvoIndication>(*_indication)) {
            handle = &own->object();
        } else {
            _heldObject = _indication->getObject();
        }
        _own = ownObject<COrvoObject>(**handle);
        _handle = handle;
    }
    return **_handle;
}

void RoutedIndication::fetchInstanceName() {
    const IOrvoObject& object = _object();
    if (!_own && _heldName.IsNull()) {
        _heldName = object.getInstanceName();
    }
}

const IOrvoInstanceName& RoutedIndication::_instanceName() {
    fetchInstanceName();
    return _own ? *_own->instanceName() : *_heldName;
}

}  // namespace velm
