#pragma once

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoValue.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <variant>

/// The one implementation of IOrvoValue.
class VELM_EXPORT COrvoValue : public IOrvoValue {
public:
    using Elements = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoValue>>>;

    /// A reference. Throws ORVNullPointerException for a null handle.
    explicit COrvoValue(ORVSmrPtr<IOrvoInstanceName> instanceName);
    /// A string; the null string gives a NULL value of type string.
    explicit COrvoValue(const ORVString& text);
    explicit COrvoValue(const char* text);
    explicit COrvoValue(bool value);
    /// A handle to anything else is no value; without this it would turn into a boolean.
    explicit COrvoValue(const void*) = delete;
    /// An integer of `type`. Throws ORVTypeException when `type` is no integer type or cannot hold `value`.
    COrvoValue(unsigned int value, const ORVSmrPtr<IOrvoType>& type);
    COrvoValue(std::int64_t value, const ORVSmrPtr<IOrvoType>& type);
    COrvoValue(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type);
    /// A real32 or real64.
    COrvoValue(double value, const ORVSmrPtr<IOrvoType>& type);
    /// An embedded instance.
    explicit COrvoValue(ORVSmrPtr<IOrvoObject> instance);
    /// An array of `elementType`. Throws ORVTypeException when an element that is not NULL has another type.
    COrvoValue(Elements elements, const ORVSmrPtr<IOrvoType>& elementType);
    ~COrvoValue() override;

    /// A NULL value of `type`.
    static ORVSmrPtr<IOrvoValue> null(const ORVSmrPtr<IOrvoType>& type);

    /// Reads `text` as CIM-XML writes a value of `type`, which is no reference, instance or array (DSP0201:
    /// booleans in any case, integers decimal or 0x, datetime of 25 characters). White space around anything
    /// but text is ignored; the null string gives a NULL value. Throws ORVTypeException that names text and
    /// type.
    static ORVSmrPtr<IOrvoValue> parse(const ORVString& text, const ORVSmrPtr<IOrvoType>& type);

    ORVSmrPtr<IOrvoType> getType() const override;
    bool isNull() const override;
    ORVString getString() const override;
    bool getBoolean() const override;
    std::int32_t getSint32() const override;
    std::uint32_t getUint32() const override;
    std::int64_t getSint64() const override;
    std::uint64_t getUint64() const override;
    double getReal64() const override;
    ORVSmrPtr<IOrvoInstanceName> getReference() const override;
    ORVSmrPtr<IOrvoObject> getInstance() const override;
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoValue>>> getElements() const override;
    ORVString toString() const override;

    /// The same as getType(), lent for as long as this object lives.
    const ORVSmrPtr<IOrvoType>& type() const noexcept { return _type; }

    using Digits = std::array<char, 24>;

    /// The text of toString() where it is at hand: that of a string, char16, datetime, boolean or integer
    /// value, the last written into `digits`. Valid as long as this object and `digits`. The null view for
    /// other contents.
    std::string_view lentText(Digits& digits) const noexcept;
    /// Asks for the memory of that text, which no cache may hold, without waiting for it.
    void prefetchText() const noexcept;

private:
    using Content = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, ORVString,
                                 ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoObject>, Elements>;

    COrvoValue(Content content, const ORVSmrPtr<IOrvoType>& type);

    template <class Integer>
    VELM_HIDDEN static Content _integer(Integer value, const ORVSmrPtr<IOrvoType>& type);
    static Content _real(double value, const ORVSmrPtr<IOrvoType>& type);
    static Content _parsed(const ORVString& text, std::string_view type);

    template <class T>
    VELM_HIDDEN const T& _get(const char* wanted) const;
    template <class Integer>
    VELM_HIDDEN Integer _integerAs(const char* wanted) const;
    const ORVString* _stringContent() const;
    [[noreturn]] void _refuse(const char* wanted) const;

    Content _content;
    ORVSmrPtr<IOrvoType> _type;
};
