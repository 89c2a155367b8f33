#pragma once

#include "foundation/object_model/IOrvoRepository.h"

#include <memory>

/// A repository filled from CIM-XML declarations (DSP0201: CIM/DECLARATION/DECLGROUP with
/// VALUE.OBJECT/CLASS), UTF-8.
///
/// Load first, on one thread; then share for reading. Document type declarations, external entities and
/// entity expansion are refused.
class VELM_EXPORT COrvoRepository : public IOrvoRepository {
public:
    COrvoRepository();
    ~COrvoRepository() override;

    /// Adds the classes declared in the file at `path` to `nameSpace`. Subclasses may come before their
    /// superclass and in a later file, as long as every superclass is known when link() is called.
    ///
    /// Throws CIMOMException when the file cannot be read, is not well-formed, or declares a class twice; the
    /// text names file, line and class. Nothing of that file is added then.
    void loadFile(const ORVString& path, const ORVString& nameSpace);

    /// The same from text in memory; `sourceName` stands for the file in messages.
    void loadText(const ORVString& text, const ORVString& sourceName, const ORVString& nameSpace);

    /// Ties every class to its superclass. Called by the first enumeration if the owner did not. Throws
    /// CIMOMException that names file, line and class when a superclass is missing or classes inherit in a
    /// circle.
    void link();

    ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> enumerateClasses(const ORVString& nameSpace) const override;
    ORVSmrPtr<IOrvoClass> getClass(const ORVString& nameSpace, const ORVString& className) const override;

private:
    struct State;
    std::unique_ptr<State> _state;
};
