#pragma once

#include "CIMOM_Indications/CIMOMIndicationFilter.h"

/// Wants every indication: the class tree has narrowed them down to the destructions that were subscribed to.
///
/// Its type is FilterEnterAssociation (128), not FilterDestroy: equality, the dump and the type of what is
/// delivered follow the stored number, and subscribers in the field expect 128 for creations and destructions
/// alike.
class CCIMOMDestructionIndicationFilter : public CCIMOMIndicationFilter {
public:
    CCIMOMDestructionIndicationFilter();
    ~CCIMOMDestructionIndicationFilter() override;

    bool match(const ORVSmrPtr<IOrvoIndication>& indication) override;
};
