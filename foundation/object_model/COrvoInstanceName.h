#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"

/// The one implementation of IOrvoInstanceName.
class VELM_EXPORT COrvoInstanceName : public IOrvoInstanceName {
public:
    using KeyBindings = ORVValSlist<COrvoKeyBinding>;

    /// `keys` may come in any order. Throws ORVTypeException when a key has no name, no value or a NULL
    /// value, is named twice (letter case ignored) or holds an array or an instance, and when a name holds a
    /// character that parts the text form (`.:=,"`; a namespace may hold the first and the fourth).
    COrvoInstanceName(const ORVString& nameSpace, const ORVString& className, const KeyBindings& keys);

    /// One key of type string.
    COrvoInstanceName(const ORVString& nameSpace, const ORVString& className, const ORVString& keyName,
                      const ORVString& keyValue);
    ~COrvoInstanceName() override;

    /// Reads the form that toString() writes. Quoted keys become strings, TRUE and FALSE booleans, numbers
    /// sint64 or uint64 or real64. Throws ORVTypeException that names the text and what is wrong with it.
    static ORVSmrPtr<IOrvoInstanceName> parse(const ORVString& text);

    ORVString getNameSpace() const override;
    ORVString getClassName() const override;
    ORVString getKeyProperties() const override;
    ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> getKeyBindings() const override;
    ORVString toString() const override;

private:
    ORVString _nameSpace;
    ORVString _className;
    ORVSmrPtr<KeyBindings> _keys;
    ORVString _keyProperties;
    ORVString _text;
};
