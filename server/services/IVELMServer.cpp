#include "foundation/services/IVELMServer.h"

namespace velm {

IVELMServer::IVELMServer() = default;

IVELMServer::~IVELMServer() = default;

}  // namespace velm
