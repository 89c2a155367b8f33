#pragma once

#include "velmd/model/ClassTree.h"

namespace velm {

/// `declared` with all that it inherits from `superClass`, which is null for a root class.
///
/// CLASSORIGIN and PROPAGATED of `declared` do not count (DSP0200, CreateClass). A qualifier goes to
/// subclasses unless its flavor says otherwise; the qualifiers that make a class an association, an
/// indication or abstract, and a property a key, have the flavors of the standard whatever was declared,
/// since schemas in the field leave them out. What an override leaves open (a default value, a reference
/// class, the size of an array, an embedding) it inherits. A reference may be overridden to refer to any
/// class: which classes there are changes, and what was accepted once has to be accepted again.
///
/// Throws CIMOMException (4) as ClassTree::with() says.
ResolvedClassHandle resolveClass(CIMClass declared, const ResolvedClassHandle& superClass);

}  // namespace velm
