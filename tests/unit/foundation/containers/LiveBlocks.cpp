#include "tests/unit/foundation/containers/LiveBlocks.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constinit thread_local long blocks = 0;

void give(void* block) noexcept {
    blocks -= block != nullptr;
    std::free(block);
}

}  // namespace

long liveBlocks() noexcept {
    return blocks;
}

void* operator new(std::size_t size) {
    void* block = std::malloc(size == 0 ? 1 : size);
    if (!block) {
        throw std::bad_alloc();
    }
    ++blocks;
    return block;
}

void operator delete(void* block) noexcept {
    give(block);
}

void operator delete(void* block, std::size_t) noexcept {
    give(block);
}
