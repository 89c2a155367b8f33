#include "foundation/utilities/ORVPort.h"

#include <cerrno>
#include <unistd.h>

bool ORVPort::deleteFile(const char* path) {
    return unlink(path) == 0 || errno == ENOENT;
}
