#include "foundation/object_model/COrvoHelper.h"

#include "foundation/object_model/COrvoObject.h"

#include <typeinfo>

namespace {

bool isReference(const IOrvoValue& value) {
    return value.getType()->isReference() && !value.isNull();
}

bool beginsWithTwoReferences(const COrvoObject& object) {
    const auto& properties = object.properties();
    return properties.size() >= 2 && isReference(*properties[0].value) && isReference(*properties[1].value);
}

}  // namespace

bool COrvoHelper::isAssociation(ORVSmrPtr<IOrvoObject> object) {
    const IOrvoObject& reported = *object.operator->();
    if (typeid(reported) == typeid(COrvoObject)) {
        return beginsWithTwoReferences(static_cast<const COrvoObject&>(reported));
    }
    return reported.getPropertyCount() >= 2 && isReference(*reported.getProperty(0)->getValue()) &&
           isReference(*reported.getProperty(1)->getValue());
}
