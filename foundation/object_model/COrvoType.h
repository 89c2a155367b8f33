#pragma once

#include "foundation/object_model/IOrvoType.h"

/// The CIM types, one shared object each. They live as long as the process.
class VELM_EXPORT COrvoType : public IOrvoType {
public:
    static const ORVSmrPtr<IOrvoType>& boolean;
    static const ORVSmrPtr<IOrvoType>& string;
    static const ORVSmrPtr<IOrvoType>& char16;
    static const ORVSmrPtr<IOrvoType>& uint8;
    static const ORVSmrPtr<IOrvoType>& sint8;
    static const ORVSmrPtr<IOrvoType>& uint16;
    static const ORVSmrPtr<IOrvoType>& sint16;
    static const ORVSmrPtr<IOrvoType>& uint32;
    static const ORVSmrPtr<IOrvoType>& sint32;
    static const ORVSmrPtr<IOrvoType>& uint64;
    static const ORVSmrPtr<IOrvoType>& sint64;
    static const ORVSmrPtr<IOrvoType>& real32;
    static const ORVSmrPtr<IOrvoType>& real64;
    static const ORVSmrPtr<IOrvoType>& datetime;
    static const ORVSmrPtr<IOrvoType>& reference;
    static const ORVSmrPtr<IOrvoType>& instance;

    /// The type with this CIM name, letter case ignored; a null handle when there is none.
    static ORVSmrPtr<IOrvoType> fromName(const ORVString& name);

    /// The array type whose elements have `elementType`, which must be one of the types above.
    static ORVSmrPtr<IOrvoType> arrayOf(const ORVSmrPtr<IOrvoType>& elementType);

    COrvoType(const ORVString& name, bool isArray);
    ~COrvoType() override;

    ORVString getName() const override;
    bool isReference() const override;
    bool isArray() const override;

    /// The same as getName(), lent for as long as this object lives.
    const ORVString& name() const noexcept { return _name; }

private:
    ORVString _name;
    bool _isReference;
    bool _isArray;
};
