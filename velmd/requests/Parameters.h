#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/requests/CIMRequest.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// The parameters of one intrinsic call, by name, letter case ignored. A parameter without a value counts as
/// absent (DSP0200: NULL).
///
/// Failure: CIMOMException (4) that names the parameter: unknown or repeated ones at construction, missing or
/// ill-typed ones when they are asked for. Used by one thread; the request must outlive it.
class Parameters {
public:
    Parameters(const CIMRequest& request, const std::vector<std::string_view>& allowed);

    bool has(std::string_view name) const { return find(name) != nullptr; }

    bool boolean(std::string_view name, bool fallback) const;
    std::string string(std::string_view name) const;
    std::optional<std::string> optionalString(std::string_view name) const;

    /// CLASSNAME, or the name as a plain VALUE.
    std::string className(std::string_view name) const;
    std::optional<std::string> optionalClassName(std::string_view name) const;

    /// The strings of an array; an empty array is a value, no array at all is none.
    std::optional<std::vector<std::string>> optionalStrings(std::string_view name) const;

    /// As readInstanceName() leaves it.
    ORVSmrPtr<IOrvoInstanceName> instanceName(std::string_view name) const;

    /// The one element inside the parameter; null when it is absent or empty.
    const XMLElement* find(std::string_view name) const;
    /// The same, required to be there and to be called `elementName`.
    const XMLElement& element(std::string_view name, std::string_view elementName) const;

    [[noreturn]] static void refuse(std::string_view name, std::string_view problem);

private:
    const XMLElement& _required(std::string_view name) const;

    const CIMRequest& _request;
};

}  // namespace velm
