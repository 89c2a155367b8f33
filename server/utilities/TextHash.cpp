#include "server/utilities/TextHash.h"

#include <sys/auxv.h>

namespace velm::text {

namespace {

/// From the random bytes that the kernel gives each process: they are there before any static object is made,
/// and two copies of this code in one process, which may hash one buffer, agree.
HashSecret makeSecret() noexcept {
    const auto* random = reinterpret_cast<const char*>(getauxval(AT_RANDOM));
    const Word first = random ? read<Word>(random) : 0;
    const Word second = random ? read<Word>(random + sizeof(Word)) : 0;
    // Other uses of these bytes guard stacks: no hash must tell them.
    constexpr Word one = 0xA0761D6478BD642FU;
    constexpr Word other = 0xE7037ED1A0B428DBU;
    return {mixed(first ^ one, second ^ other), mixed(first ^ other, second ^ one) | 1};
}

}  // namespace

const HashSecret& hashSecret() noexcept {
    static const HashSecret secret = makeSecret();
    return secret;
}

}  // namespace velm::text
