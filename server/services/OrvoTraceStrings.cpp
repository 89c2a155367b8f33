#include "foundation/services/OrvoTraceStrings.h"

const char* const OrvoTraceStrings::month[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
