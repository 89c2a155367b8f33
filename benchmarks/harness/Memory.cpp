#include "benchmarks/harness/Memory.h"

#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace velm::bench {

Memory memoryNow() {
    double total = 0;
    double resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    const struct mallinfo2 heap = ::mallinfo2();
    return {resident * static_cast<double>(::sysconf(_SC_PAGESIZE)),
            static_cast<double>(heap.uordblks + heap.hblkhd)};
}

}  // namespace velm::bench
