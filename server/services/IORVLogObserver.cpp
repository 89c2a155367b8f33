#include "foundation/services/ORVLog.h"

IORVLogObserver::~IORVLogObserver() = default;
