#include "foundation/services/IOrvoTransaction.h"

IOrvoTransaction::~IOrvoTransaction() = default;
