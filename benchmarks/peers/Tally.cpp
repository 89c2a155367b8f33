#include "benchmarks/peers/Tally.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <new>
#include <sys/mman.h>
#include <system_error>

namespace velm::bench {

namespace {

constexpr std::string_view mark = "/file-";
constexpr std::size_t digits = 10;

}  // namespace

void Tally::reset() {
    messages = 0;
    outOfOrder = 0;
    first = 0;
    latest = 0;
    _next = 0;
}

void Tally::note(std::string_view body) {
    const std::size_t found = body.rfind(mark);
    std::uint64_t number = ~std::uint64_t{0};
    if (found != std::string_view::npos) {
        const char* begin = body.data() + found + mark.size();
        std::from_chars(begin, std::min(begin + digits, body.data() + body.size()), number);
    }
    if (number != _next.load(std::memory_order_relaxed)) {
        outOfOrder.fetch_add(1, std::memory_order_relaxed);
    }
    _next.store(number + 1, std::memory_order_relaxed);
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    if (messages.load(std::memory_order_relaxed) == 0) {
        first.store(now, std::memory_order_relaxed);
    }
    latest.store(now, std::memory_order_relaxed);
    messages.fetch_add(1, std::memory_order_release);
}

double Tally::rate() const {
    const auto span = static_cast<double>(latest - first);
    return span <= 0 ? 0 : static_cast<double>(messages - 1) * 1e9 / span;
}

std::shared_ptr<Tally[]> shareTallies(std::size_t count) {
    const std::size_t size = count * sizeof(Tally);
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mmap");
    }
    auto* tallies = static_cast<Tally*>(memory);
    for (std::size_t index = 0; index < count; ++index) {
        new (tallies + index) Tally;
    }
    return {tallies, [size](Tally* shared) { ::munmap(shared, size); }};
}

}  // namespace velm::bench
