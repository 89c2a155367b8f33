#include "server/xml/TextEnd.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace velm {
namespace {

TEST(TextEnd, AppendsToWhatIsThere_HoweverMuch) {
    std::string text = "before";
    std::string expected = text;
    {
        TextEnd end(text);
        for (int index = 0; index < 5000; ++index) {
            const std::string piece = std::to_string(index);
            end.append(piece);
            end.append("");
            end.append({});
            expected += piece;
            ASSERT_EQ(end.size(), expected.size());
        }
        EXPECT_EQ(end.view(), expected);
    }
    EXPECT_EQ(text, expected);
}

TEST(TextEnd, TakesWhatIsWrittenIntoItsRoom) {
    std::string text;
    {
        TextEnd end(text);
        char* const room = end.room(10'000);
        std::fill_n(room, 10'000, 'x');
        end.setEnd(room + 9'000);
    }
    EXPECT_EQ(text, std::string(9'000, 'x'));
}

TEST(TextEnd, LeavesTheTextAlone_WhenNothingIsAppended) {
    std::string text = "before";
    { const TextEnd end(text); }
    EXPECT_EQ(text, "before");
}

TEST(TextEnd, BeginsWithNothing_InMemoryThatWasUsedBefore) {
    std::string memory;
    const char* room = nullptr;
    for (const char* const text : {"the first text", "another"}) {
        TextEnd end(TextEnd::Scratch{memory});
        end.append(text);
        EXPECT_EQ(end.view(), text);
        EXPECT_TRUE(!room || room == end.view().data());
        room = end.view().data();
    }
}

}  // namespace
}  // namespace velm
