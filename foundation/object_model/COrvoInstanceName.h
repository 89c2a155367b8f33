#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/utilities/MadeOnce.h"

#include <cstddef>
#include <string>

/// The one implementation of IOrvoInstanceName.
///
/// There may be millions of names, nearly all of them with keys that are strings: such a name keeps its text
/// only, and reads the list of its keys from it when somebody first asks for them.
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

    /// Whether the text of `name` tells all of it: a COrvoInstanceName of a class, whose keys are strings.
    /// Tables that hold many names keep the text of such a name only.
    static bool isToldByText(const IOrvoInstanceName& name);

    /// A name equal to the one that gave this text. Requires: it is told by its text, and `text` is what its
    /// toString() answered.
    static ORVSmrPtr<IOrvoInstanceName> ofText(const ORVString& text);

    /// The same from parts, of which `keyProperties` is in canonical form.
    static ORVSmrPtr<IOrvoInstanceName> ofParts(const ORVString& nameSpace, const ORVString& className,
                                                const ORVString& keyProperties);

    ORVString getNameSpace() const override;
    ORVString getClassName() const override;
    ORVString getKeyProperties() const override;
    ORVSmrPtr<ORVValSlist<COrvoKeyBinding>> getKeyBindings() const override;
    ORVString toString() const override;

    /// The same as getClassName() and toString(), lent for as long as this object lives.
    const ORVString& className() const noexcept { return _className; }
    const ORVString& text() const noexcept { return _text; }

private:
    COrvoInstanceName(const ORVString& nameSpace, const ORVString& className);

    void _setText(const std::string& text, std::size_t keysStart);

    ORVString _nameSpace;
    ORVString _className;
    /// With the key properties as its tail.
    ORVString _text;
    velm::MadeOnce<KeyBindings> _keys;
};
