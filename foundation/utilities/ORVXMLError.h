#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

/// An XML document that cannot be read: not well-formed, not the expected message, or past a limit.
class VELM_EXPORT ORVXMLError {
public:
    explicit ORVXMLError(const ORVString& message);

    /// What is wrong, with line and column where the parser knows them.
    ORVString GetErrorMessage() const;

private:
    ORVString _message;
};
