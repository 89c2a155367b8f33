#include "velmctl/output/Json.h"

#include <gtest/gtest.h>

using velm::Json;

TEST(Json, IsWrittenOnOneLine) {
    const Json json = Json::object()
                          .add("text", "a\"b\n\x1b")
                          .add("flag", true)
                          .add("big", std::uint64_t(18446744073709551615U))
                          .add("small", std::int64_t(-5))
                          .add("none", Json())
                          .add("texts", std::vector<std::string>{"x", "y"})
                          .add("inside", Json::object().add("n", 1));
    EXPECT_EQ(json.text(), R"({"text":"a\"b\n\u001b","flag":true,"big":18446744073709551615,"small":-5,)"
                           R"("none":null,"texts":["x","y"],"inside":{"n":1}})");
}

TEST(Json, HoldsValidTextOnly) {
    EXPECT_EQ(Json("a\xFF").text(), "\"a\xEF\xBF\xBD\"");
}

TEST(Json, IsCopied) {
    Json first = Json::array().append(1);
    const Json second = first;
    first.append(2);
    EXPECT_EQ(second.text(), "[1]");
}
