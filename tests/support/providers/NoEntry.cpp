// A sound shared object that is no provider.
#include "foundation/Export.h"

extern "C" VELM_EXPORT int something_else() {
    return 1;
}
