#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoRepository.h"
#include "foundation/object_model/COrvoValue.h"

#include <string>
#include <utility>
#include <vector>

/// Short ways to real objects of the model. Every call makes new objects.
namespace velm::test {

/// The namespace whose classes the registry mirrors.
inline constexpr const char* Namespace = "root/kob/talmora";

/// An instance name with the one key Id.
ORVSmrPtr<IOrvoInstanceName> makeInstanceName(const ORVString& className, const ORVString& id = "1");

/// The name of the association instance that ties `first` and `second`, as Antecedent and Dependent.
ORVSmrPtr<IOrvoInstanceName> makeAssociationName(const ORVString& className,
                                                 const ORVSmrPtr<IOrvoInstanceName>& first,
                                                 const ORVSmrPtr<IOrvoInstanceName>& second);

/// An object of the class that the name gives, with the property Caption.
ORVSmrPtr<IOrvoObject> makeObject(const ORVSmrPtr<IOrvoInstanceName>& instanceName);
ORVSmrPtr<IOrvoObject> makeObject(const ORVString& className, const ORVString& id = "1");

/// An association instance whose references are Antecedent (`first`) and Dependent (`second`), in this order.
ORVSmrPtr<IOrvoObject> makeAssociation(const ORVString& className, const ORVSmrPtr<IOrvoInstanceName>& first,
                                       const ORVSmrPtr<IOrvoInstanceName>& second);

/// An indication as a provider reports it.
ORVSmrPtr<IOrvoIndication> makeIndication(const ORVSmrPtr<IOrvoObject>& object,
                                          IOrvoIndication::IndicationType type,
                                          const std::vector<std::string>& changedProperties = {});

ORVSmrPtr<IOrvoValue> makeReference(const ORVSmrPtr<IOrvoInstanceName>& instanceName);
ORVSmrPtr<IOrvoValue> makeString(const ORVString& text);

/// A repository that holds, in Namespace, these pairs of class and superclass ("" for a root), in this order.
ORVSmrPtr<IOrvoRepository> makeRepository(const std::vector<std::pair<std::string, std::string>>& classes);

}  // namespace velm::test
