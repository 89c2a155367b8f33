#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"
#include "velmd/wire/XMLElement.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

/// One intrinsic method call as the front end hands it to an operation (DSP0200).
struct IntrinsicCall {
    std::string method;
    /// As the client wrote it, without outer slashes.
    std::string nameSpace;
    /// Name and IPARAMVALUE element, in document order.
    std::vector<std::pair<std::string, const XMLElement*>> parameters;
    /// How the client reached the server.
    std::string localAddress;
    std::string localPort;
};

}  // namespace velm
