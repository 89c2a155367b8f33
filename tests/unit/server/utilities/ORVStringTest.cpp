#include "foundation/utilities/ORVString.h"

#include <algorithm>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

namespace {

const ORVString null;
const ORVString empty("");

int signOf(int number) {
    return (number > 0) - (number < 0);
}

/// Texts of the letters that folding could take for others, of every length up to 40.
std::string randomText(std::mt19937& random) {
    constexpr std::string_view letters = "@AZ[`az{09_.\x01\x7F\x80\xC1\xDA\xE1\xFA\xFF";
    std::string text(random() % 41, ' ');
    std::generate(text.begin(), text.end(), [&] { return letters[random() % letters.size()]; });
    return text;
}

std::string plainLower(std::string text) {
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    }
    return text;
}

ORVString str(const std::string& text) {
    return std::string_view(text);
}

}  // namespace

TEST(String, IsNull_WhenMadeFromNothing) {
    EXPECT_TRUE(null.isNull());
    EXPECT_TRUE(ORVString(static_cast<const char*>(nullptr)).isNull());
    EXPECT_TRUE(ORVString(std::string_view()).isNull());
    EXPECT_FALSE(empty.isNull());
    EXPECT_FALSE(ORVString(""sv).isNull());
    EXPECT_FALSE(ORVString::emptyString().isNull());
}

TEST(String, ReadsAsEmptyText_WhenNull) {
    EXPECT_EQ(null.length(), 0U);
    EXPECT_STREQ(null.data(), "");
    EXPECT_STREQ(null.buffer(), "");
    EXPECT_EQ(null.view(), "");
    EXPECT_TRUE(null.toLower().isNull());
    std::ostringstream stream;
    stream << null;
    EXPECT_EQ(stream.str(), "");
}

TEST(String, TellsNullFromEmpty_WhenComparedByEquality) {
    EXPECT_TRUE(null == ORVString());
    EXPECT_FALSE(null == empty);
    EXPECT_FALSE(empty == null);
    EXPECT_TRUE(null != empty);
    EXPECT_TRUE(empty == ORVString::emptyString());
    EXPECT_FALSE(null == "a");
    EXPECT_FALSE(ORVString("a") == null);
}

TEST(String, IsEqualByBytes_CaseIncluded) {
    EXPECT_TRUE(ORVString("Name") == "Name");
    EXPECT_FALSE(ORVString("Name") == "name");
    EXPECT_FALSE(ORVString("Name") == "Name1");
    EXPECT_TRUE(ORVString("Name") != "Nama");
    EXPECT_TRUE(ORVString("a\0b"sv) == ORVString("a\0b"sv));
    EXPECT_FALSE(ORVString("a\0b"sv) == ORVString("a\0c"sv));
}

TEST(String, KeepsAnyBytesAndAZeroBehindThem) {
    const ORVString text("a\0b"sv);
    EXPECT_EQ(text.length(), 3U);
    EXPECT_EQ(text.view(), "a\0b"sv);
    EXPECT_EQ(text.data()[3], '\0');
}

TEST(String, CopiesTheTextItIsMadeFrom) {
    std::string source("text");
    const ORVString text(source.c_str());
    source[0] = 'T';
    EXPECT_EQ(text, "text");
}

TEST(String, SharesItsBuffer_WhenCopied) {
    const ORVString text("text");
    const ORVString copy(text);  // NOLINT(performance-unnecessary-copy-initialization)
    ORVString assigned;
    assigned = copy;
    EXPECT_EQ(copy.data(), text.data());
    EXPECT_EQ(assigned.data(), text.data());
}

TEST(String, KeepsTheText_WhenTheOriginalGoesOrIsAssigned) {
    ORVString copy;
    {
        ORVString text("text");
        copy = text;
        text = "other";
        EXPECT_EQ(copy, "text");
        copy = *&copy;
    }
    EXPECT_EQ(copy, "text");
    copy = nullptr;
    EXPECT_TRUE(copy.isNull());
}

TEST(String, IsNull_WhenMovedFrom) {
    ORVString text("text");
    ORVString moved(std::move(text));
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what the test is about.
    EXPECT_TRUE(text.isNull());
    EXPECT_EQ(moved, "text");
    ORVString& itself = moved;
    moved = std::move(itself);
    EXPECT_EQ(moved, "text");
}

TEST(String, ComparesByteByByte_WhenCaseSensitive) {
    struct Row {
        ORVString left;
        ORVString right;
        int sign;
    };
    const std::vector<Row> rows = {
        {"a", "a", 0},  {"a", "b", -1}, {"b", "a", 1},   {"a", "ab", -1}, {"ab", "a", 1},
        {"A", "a", -1}, {null, "", 0},  {null, "a", -1}, {"a", null, 1},  {"\xC3\xA4", "a", 1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(signOf(row.left.compareTo(row.right)), row.sign) << row.left << " and " << row.right;
        EXPECT_EQ(signOf(row.left.compareTo(row.right, ORVString::caseSensitive)), row.sign);
    }
}

TEST(String, FoldsAsciiLetters_WhenCaseInsensitive) {
    const auto compare = [](const ORVString& left, const ORVString& right) {
        return signOf(left.compareTo(right, ORVString::caseInsensitive));
    };
    EXPECT_EQ(compare("Name", "nAME"), 0);
    EXPECT_EQ(compare("Name", "names"), -1);
    EXPECT_EQ(compare("NAMES", "name"), 1);
    EXPECT_EQ(compare("b", "A"), 1);
    EXPECT_EQ(compare(null, ""), 0);
    EXPECT_EQ(compare("[", "a"), -1) << "'[' stands between the letters of both cases";
    EXPECT_EQ(compare("\xC3\x84", "\xC3\xA4"), -1) << "letters beyond ASCII are not folded";
}

TEST(String, LowersAsciiLettersOnly) {
    EXPECT_EQ(ORVString("AZ@[az09\xC3\x84").toLower(), "az@[az09\xC3\x84");
    const ORVString lower("already lower");
    EXPECT_EQ(lower.toLower().data(), lower.data()) << "nothing to change, nothing to copy";
}

TEST(String, Concatenates) {
    EXPECT_EQ(ORVString("ab") + ORVString("cd"), "abcd");
    EXPECT_EQ(ORVString("ab") + "cd", "abcd");
    EXPECT_EQ("ab" + ORVString("cd"), "abcd");
    EXPECT_EQ(ORVString("a\0"sv) + ORVString("\0b"sv), ORVString("a\0\0b"sv));
    ORVString text("a");
    const ORVString before(text);
    text += "b";
    text += text;
    EXPECT_EQ(text, "abab");
    EXPECT_EQ(before, "a");
}

TEST(String, IsNeverNull_WhenConcatenated) {
    EXPECT_EQ(null + "a", "a");
    EXPECT_EQ(ORVString("a") + null, "a");
    EXPECT_EQ(null + null, empty);
    EXPECT_EQ(null + empty, empty);
    EXPECT_EQ(empty + null, empty);
    ORVString text;
    text += ORVString();
    EXPECT_EQ(text, empty);
}

TEST(String, WritesAllItsBytesToAStream) {
    std::ostringstream stream;
    stream << ORVString("a\0b"sv) << ORVString("c");
    EXPECT_EQ(stream.str(), std::string("a\0bc"sv));
}

TEST(StringTail, IsAStringInTheSameBuffer) {
    const ORVString text = ORVString::withTail("root:A.k=1"sv, 7);
    EXPECT_EQ(text, "root:A.k=1");
    EXPECT_EQ(text.tail(), "k=1");
    EXPECT_EQ(text.tail().length(), 3U);
    EXPECT_STREQ(text.tail().data(), "k=1");
    EXPECT_EQ(text.tail().data(), text.data() + 7);
}

TEST(StringTail, MayBeEmptyOrAllOfTheText) {
    EXPECT_FALSE(ORVString::withTail("abc"sv, 3).tail().isNull());
    EXPECT_EQ(ORVString::withTail("abc"sv, 3).tail(), empty);
    EXPECT_EQ(ORVString::withTail("abc"sv, 0).tail(), "abc");
    EXPECT_EQ(ORVString::withTail({}, 0), empty);
    EXPECT_EQ(ORVString::withTail({}, 0).tail(), empty);
    EXPECT_EQ(ORVString::withTail("a\0b"sv, 1).tail(), ORVString("\0b"sv));
}

TEST(StringTail, IsNull_WhenTheTextWasMadeWithoutOne) {
    EXPECT_TRUE(null.tail().isNull());
    EXPECT_TRUE(ORVString("abc").tail().isNull());
    EXPECT_TRUE(ORVString::withTail("abc"sv, 1).tail().tail().isNull());
    EXPECT_TRUE((ORVString::withTail("abc"sv, 1) + "d").tail().isNull());
}

TEST(StringTail, KeepsTheBuffer_WhenTheTextGoes) {
    ORVString tail = ORVString::withTail("The whole text and its tail"sv, 23).tail();
    const ORVString copy(tail);  // NOLINT(performance-unnecessary-copy-initialization)
    tail = "another";
    EXPECT_EQ(copy, "tail");
    EXPECT_EQ(copy.data()[4], '\0');
}

TEST(StringTail, BehavesAsAnyString) {
    std::mt19937 random(7);
    for (int round = 0; round < 20'000; ++round) {
        const std::string whole = randomText(random);
        const std::size_t start = random() % (whole.size() + 1);
        const ORVString tail = ORVString::withTail(whole, start).tail();
        const ORVString plain = str(whole.substr(start));
        ASSERT_EQ(tail, plain);
        ASSERT_EQ(hashKeyORVString(tail), hashKeyORVString(plain));
        ASSERT_EQ(hashKeyORVStringToLower(tail), hashKeyORVStringToLower(plain));
        ASSERT_EQ(tail, plain) << "also once both are hashed";
        ASSERT_EQ(tail.toLower(), plain.toLower());
        ASSERT_TRUE(tail.equalsIgnoringCase(plain));
        ASSERT_EQ(tail + "x", plain + "x");
    }
}

TEST(StringTail, LendsItsBytes) {
    EXPECT_EQ(ORVString::withTail("root:A.k=1"sv, 7).tailView(), "k=1");
    EXPECT_EQ(ORVString::withTail("abc"sv, 3).tailView(), "");
    EXPECT_EQ(ORVString("abc").tailView(), "");
    EXPECT_EQ(null.tailView(), "");
    EXPECT_EQ(ORVString::withTail("abc"sv, 1).tail().tailView(), "");
}

TEST(JoinedString, IsTheStringOfBothParts_WhateverTheirLength) {
    std::mt19937 random(8);
    for (int round = 0; round < 2'000; ++round) {
        const std::string first(random() % 200, 'a');
        const std::string second = randomText(random);
        const velm::JoinedString joined(first, ':', second);
        const ORVString plain = str(first + ":" + second);
        ASSERT_EQ(joined.string(), plain);
        ASSERT_EQ(joined.string().data()[plain.length()], '\0');
        ASSERT_EQ(hashKeyORVString(joined.string()), hashKeyORVString(plain));
        ASSERT_EQ(joined.string(), plain) << "also once both are hashed";
        ASSERT_EQ(hashKeyORVStringToLower(joined.string()), hashKeyORVStringToLower(plain));
    }
}

TEST(JoinedString, LendsCopiesAsLongAsItLives) {
    const velm::JoinedString joined("CIM_File", ':', "Id=\"1\"");
    {
        const ORVString copy = joined.string();  // NOLINT(performance-unnecessary-copy-initialization)
        EXPECT_EQ(copy, "CIM_File:Id=\"1\"");
    }
    EXPECT_EQ(joined.string(), "CIM_File:Id=\"1\"");
}

TEST(String, ComparesAsByteByByte_WhateverTheTexts) {
    std::mt19937 random(1);
    for (int round = 0; round < 100'000; ++round) {
        const std::string left = randomText(random);
        std::string right = random() % 2 == 0 ? left : randomText(random);
        if (!right.empty() && random() % 2 == 0) {
            right[random() % right.size()] ^= 0x20;
        }
        const std::string leftLower = plainLower(left);
        const std::string rightLower = plainLower(right);
        const ORVString one = str(left);
        const ORVString other = str(right);
        if (random() % 2 == 0) {
            for (const ORVString& hashed : {one, other}) {
                hashKeyORVString(hashed);
                hashKeyORVStringToLower(hashed);
            }
        }
        ASSERT_EQ(one == other, left == right);
        ASSERT_EQ(signOf(one.compareTo(other)), signOf(left.compare(right)));
        ASSERT_EQ(signOf(one.compareTo(other, ORVString::caseInsensitive)),
                  signOf(leftLower.compare(rightLower)));
        ASSERT_EQ(one.equalsIgnoringCase(other), leftLower == rightLower);
        ASSERT_EQ(one.toLower().view(), leftLower);
    }
}

TEST(String, ReadsNullAsEmpty_WhenCaseIsIgnored) {
    EXPECT_TRUE(null.equalsIgnoringCase(empty));
    EXPECT_TRUE(empty.equalsIgnoringCase(null));
    EXPECT_FALSE(null.equalsIgnoringCase("a"));
}

TEST(StringHash, IgnoresCaseExactly_WhateverTheTexts) {
    std::mt19937 random(2);
    for (int round = 0; round < 100'000; ++round) {
        const std::string text = randomText(random);
        ASSERT_EQ(hashKeyORVStringToLower(str(text)), hashKeyORVString(str(plainLower(text)))) << text;
    }
}

TEST(StringHash, TellsTextsApart) {
    std::set<std::string> texts;
    for (std::size_t length = 0; length < 40; ++length) {
        for (char letter : {'\0', '\1', 'a', 'b'}) {
            texts.insert(std::string(length, letter));
            for (std::size_t at = 0; at < length; ++at) {
                std::string text(length, letter);
                text[at] = 'c';
                texts.insert(text);
            }
        }
    }
    for (int number = 0; number < 50'000; ++number) {
        texts.insert(std::to_string(number));
        texts.insert("root/cimv2:CIM_DataFile.Name=\"/var/log/" + std::to_string(number) + "\"");
    }
    std::set<std::uint32_t> hashes;
    for (const std::string& text : texts) {
        hashes.insert(hashKeyORVString(str(text)));
    }
    // About one pair of a hundred thousand texts meets by chance.
    EXPECT_GT(hashes.size() + 20, texts.size());
}

TEST(StringHash, IsEqualForEqualTexts) {
    const ORVString text("OrvoCimom_CatchAll");
    EXPECT_EQ(hashKeyORVString(text), hashKeyORVString("OrvoCimom_CatchAll"));
    EXPECT_EQ(hashKeyORVString(text), hashKeyORVString(text)) << "the second answer comes from the buffer";
    EXPECT_EQ(hashKeyORVString(null), hashKeyORVString(ORVString()));
    EXPECT_NE(hashKeyORVString(text), hashKeyORVString("orvocimom_catchall"));
}

TEST(StringHash, IgnoresCase_WhenItHashesTheLoweredText) {
    EXPECT_EQ(hashKeyORVStringToLower("CIM_DataFile"), hashKeyORVStringToLower("cim_DATAFILE"));
    EXPECT_EQ(hashKeyORVStringToLower("CIM_DataFile"), hashKeyORVString("cim_datafile"));
    EXPECT_NE(hashKeyORVStringToLower("CIM_DataFile"), hashKeyORVStringToLower("CIM_DataFiles"));
}

TEST(StringHash, KeepsTheTwoHashesOfABufferApart) {
    const ORVString text("Mixed");
    const std::uint32_t lower = hashKeyORVStringToLower(text);
    const std::uint32_t exact = hashKeyORVString(text);
    EXPECT_NE(lower, exact);
    EXPECT_EQ(hashKeyORVStringToLower(text), lower);
    EXPECT_EQ(hashKeyORVString(text), exact);
}

TEST(StringHash, SpreadsNamesOverTheBucketsOfAMap) {
    constexpr unsigned int buckets = 150;
    constexpr int names = 15'000;
    std::vector<int> counts(buckets);
    for (int i = 0; i < names; ++i) {
        ++counts[hashKeyORVStringToLower(("CIM_Class" + std::to_string(i)).c_str()) % buckets];
    }
    const auto [fewest, most] = std::minmax_element(counts.begin(), counts.end());
    EXPECT_GT(*fewest, names / static_cast<int>(buckets) / 2);
    EXPECT_LT(*most, names / static_cast<int>(buckets) * 2);
}

TEST(String, MayBeCopiedHashedAndReleasedOnManyThreads) {
    const ORVString text("A text that many threads share");
    const std::uint32_t hash = hashKeyORVString(ORVString(text.data()));
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([text, hash] {
            for (int round = 0; round < 2000; ++round) {
                ORVString copy(text);
                ASSERT_EQ(hashKeyORVString(copy), hash);
                ASSERT_EQ(hashKeyORVStringToLower(copy), hashKeyORVString(copy.toLower()));
                copy = copy + "!";
                ASSERT_EQ(copy.length(), text.length() + 1);
            }
        });
    }
}
