#include "server/xml/PlainText.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace velm {
namespace {

template <XMLContext context>
bool isCopiedAsPlain(const std::string& text) {
    std::string copy(text.size(), '?');
    const bool isPlain = plain::copy<context>(text, copy.data());
    EXPECT_EQ(copy, text);
    return isPlain;
}

bool isSpecial(int byte, XMLContext context) {
    const std::string_view specials = context == XMLContext::element ? "&<>" : "&<>\"'";
    return byte < 0x20 || byte > 0x7F || specials.find(static_cast<char>(byte)) != std::string_view::npos;
}

template <XMLContext context>
void expectEveryByteSeenEverywhere() {
    for (std::size_t size = 0; size < 70; ++size) {
        EXPECT_TRUE(isCopiedAsPlain<context>(std::string(size, 'p')));
        for (std::size_t position = 0; position < size; ++position) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string text(size, 'p');
                text[position] = static_cast<char>(byte);
                ASSERT_TRUE(!isSpecial(byte, context) || !isCopiedAsPlain<context>(text))
                    << "byte " << byte << " at " << position << " of " << size;
            }
        }
    }
}

TEST(PlainText, SeesWhatNeedsALook_WhereverItStands) {
    expectEveryByteSeenEverywhere<XMLContext::element>();
    expectEveryByteSeenEverywhere<XMLContext::attribute>();
}

TEST(PlainText, PassesWhatStandsForItself) {
    EXPECT_TRUE(isCopiedAsPlain<XMLContext::element>(" !\"#$%'()*+,-./0123456789:;=?@AZ[\\]^_`az{|}~\x7F"));
    EXPECT_TRUE(isCopiedAsPlain<XMLContext::attribute>(" !#$()*+,-./0123456789:;=?@AZ[\\]^_`az{|}~\x7F"));
}

TEST(PlainText, CountsPlainBlocksUpToTheFirstThatIsNot) {
    const std::string text = std::string(40, 'p') + "&" + std::string(40, 'p');
    EXPECT_EQ(plain::plainBlocks<XMLContext::element>(text), 32U);
    EXPECT_EQ(plain::plainBlocks<XMLContext::element>(std::string_view(text).substr(41)), 32U);
    EXPECT_EQ(plain::plainBlocks<XMLContext::element>("short"), 0U);
}

}  // namespace
}  // namespace velm
