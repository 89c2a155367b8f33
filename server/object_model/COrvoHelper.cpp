#include "foundation/object_model/COrvoHelper.h"

namespace {

bool isReference(const IOrvoProperty& property) {
    auto value = property.getValue();
    return value->getType()->isReference() && !value->isNull();
}

}  // namespace

bool COrvoHelper::isAssociation(ORVSmrPtr<IOrvoObject> object) {
    return object->getPropertyCount() >= 2 && isReference(*object->getProperty(0)) &&
           isReference(*object->getProperty(1));
}
