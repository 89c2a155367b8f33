#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoType.h"

#include <cstdint>

class IOrvoInstanceName;
class IOrvoObject;

/// A typed CIM value. Immutable; any thread may read it.
///
/// A getter converts only where nothing is lost: between integer types when the number fits, and from text
/// that holds exactly one such literal. Everything else throws ORVTypeException, whose message names both
/// types.
class VELM_EXPORT IOrvoValue {
public:
    virtual ~IOrvoValue();

    virtual ORVSmrPtr<IOrvoType> getType() const = 0;

    /// True for a value that is there and says nothing (CIM NULL).
    virtual bool isNull() const = 0;

    /// The text of a string, char16 or datetime value; the null string for a NULL value. For other types the
    /// same text as toString().
    virtual ORVString getString() const = 0;
    virtual bool getBoolean() const = 0;
    virtual std::int32_t getSint32() const = 0;
    virtual std::uint32_t getUint32() const = 0;
    virtual std::int64_t getSint64() const = 0;
    virtual std::uint64_t getUint64() const = 0;
    virtual double getReal64() const = 0;

    /// The instance name that a reference value holds; never null for a reference.
    virtual ORVSmrPtr<IOrvoInstanceName> getReference() const = 0;

    /// The embedded instance.
    virtual ORVSmrPtr<IOrvoObject> getInstance() const = 0;

    /// The elements of an array, in order. The list is shared and must not be changed.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoValue>>> getElements() const = 0;

    /// The value as CIM-XML text for one VALUE element, not escaped (DSP0201): "TRUE", "-5", "1.5"; an
    /// instance name's text for a reference; "{a, b}" for an array; "instance of A {x = 1}" for an embedded
    /// instance; "NULL".
    virtual ORVString toString() const = 0;
};
