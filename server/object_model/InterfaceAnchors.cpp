#include "foundation/object_model/IOrvoClass.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/object_model/IOrvoRepository.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"
#include "foundation/object_model/IOrvoType.h"
#include "foundation/object_model/IOrvoValue.h"

// The destructors stand here so that each interface has its table of operations in one object file.
IOrvoClass::~IOrvoClass() = default;
IOrvoIndication::~IOrvoIndication() = default;
IOrvoInstanceName::~IOrvoInstanceName() = default;
IOrvoObject::~IOrvoObject() = default;
IOrvoProperty::~IOrvoProperty() = default;
IOrvoRepository::~IOrvoRepository() = default;
IOrvoSubscriber::IOrvoSubscriber() = default;
IOrvoSubscriber::~IOrvoSubscriber() = default;
IOrvoSubscriptionFilter::~IOrvoSubscriptionFilter() = default;
IOrvoType::~IOrvoType() = default;
IOrvoValue::~IOrvoValue() = default;
