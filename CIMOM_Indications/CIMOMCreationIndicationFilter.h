#pragma once

#include "CIMOM_Indications/CIMOMIndicationFilter.h"

/// Wants every indication: the class tree has narrowed them down to the creations that were subscribed to.
///
/// Its type is FilterEnterAssociation (128), not FilterCreate: equality, the dump and the type of what is
/// delivered follow the stored number, and subscribers in the field expect 128 for creations and destructions
/// alike.
class CCIMOMCreationIndicationFilter : public CCIMOMIndicationFilter {
public:
    CCIMOMCreationIndicationFilter();
    ~CCIMOMCreationIndicationFilter() override;

    bool match(const ORVSmrPtr<IOrvoIndication>& indication) override;
};
