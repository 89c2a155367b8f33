#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/ORVString.h"

class IOrvoValue;

/// One key of an instance name.
struct COrvoKeyBinding {
    ORVString name;
    ORVSmrPtr<IOrvoValue> value;
};

/// The name of a CIM instance: namespace, class and keys (DSP0004 instance path). Immutable; any thread may
/// read it.
///
/// Equal instances give equal texts, whatever order their keys arrived in. Texts are computed once.
class VELM_EXPORT IOrvoInstanceName {
public:
    virtual ~IOrvoInstanceName();

    /// "root/cimv2"; no slash at either end.
    virtual ORVString getNameSpace() const = 0;
    virtual ORVString getClassName() const = 0;

    /// The keys in canonical form, ordered by name: `key1="v1",key2="v2"`; the empty string for an instance
    /// without keys. Never the null string.
    virtual ORVString getKeyProperties() const = 0;

    /// The keys, ordered by name. The list is shared and must not be changed.
    virtual ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> getKeyBindings() const = 0;

    /// The WBEM URI form (DSP0207): `namespace:Class.key1="v1",key2="v2"`.
    virtual ORVString toString() const = 0;
};
