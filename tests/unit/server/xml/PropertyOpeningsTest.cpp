#include "server/xml/PropertyOpenings.h"

#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "server/xml/CIMXMLWriter.h"

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace velm {
namespace {

const IOrvoType* const text = COrvoType::string.Get();
const IOrvoType* const number = COrvoType::uint32.Get();

std::string opening(std::string_view name, std::string_view end) {
    return std::string(PropertyOpenings::before).append(name).append(end);
}

std::string_view found(PropertyOpenings& openings, std::string_view name, const IOrvoType* type) {
    const PropertyOpenings::Opening* const opening = openings.find(name, type);
    return opening ? opening->text() : std::string_view();
}

TEST(PropertyOpenings, FindsWhatItKept_ByNameAndType) {
    PropertyOpenings openings;
    openings.keep("Name", text, opening("Name", "1"));
    openings.keep("Name", number, opening("Name", "2"));
    openings.keep("Nave", text, opening("Nave", "3"));
    EXPECT_EQ(found(openings, "Name", text), opening("Name", "1"));
    EXPECT_EQ(found(openings, "Name", number), opening("Name", "2"));
    EXPECT_EQ(found(openings, "Nave", text), opening("Nave", "3"));
    EXPECT_EQ(found(openings, "Nave", number).data(), nullptr);
    EXPECT_EQ(found(openings, "Nam", text).data(), nullptr);
    EXPECT_EQ(found(openings, "", text).data(), nullptr);
}

TEST(PropertyOpenings, KeepsNoNameThatIsLongerThanIsUsual) {
    PropertyOpenings openings;
    const std::string name(192, 'n');
    openings.keep(name, text, opening(name, ""));
    openings.keep("", text, opening("", ""));
    EXPECT_EQ(found(openings, name, text).data(), nullptr);
    EXPECT_EQ(found(openings, "", text).data(), nullptr);
}

TEST(PropertyOpenings, ForgetsTheOldest_WhenASetIsFull) {
    PropertyOpenings openings;
    for (int index = 10'000; index < 12'000; ++index) {
        const std::string name = "P" + std::to_string(index);
        openings.keep(name, text, opening(name, ""));
        EXPECT_EQ(found(openings, name, text), opening(name, ""));
    }
    int known = 0;
    for (int index = 10'000; index < 12'000; ++index) {
        known += found(openings, "P" + std::to_string(index), text).data() ? 1 : 0;
    }
    EXPECT_GT(known, 0);
    EXPECT_LE(known, 256);
}

/// Objects of many classes, whose properties share names but not types, with names and values that need
/// escaping among them.
class ObjectMaker {
public:
    ORVSmrPtr<IOrvoObject> make() {
        auto object = std::make_unique<COrvoObject>(ORVString("Class" + std::to_string(_below(5))),
                                                    ORVSmrPtr<IOrvoInstanceName>());
        for (std::uint32_t count = _below(12); count-- > 0;) {
            object->setProperty(ORVString(_name()), _value());
        }
        return ORVSmrPtr<IOrvoObject>(object.release());
    }

private:
    using Value = ORVSmrPtr<IOrvoValue>;

    std::uint32_t _below(std::uint32_t bound) { return static_cast<std::uint32_t>(_engine()) % bound; }

    std::string _name() {
        static constexpr std::array odd{"a<b", "q\"q", "a&gt;&lt;VALUE&gt;", "&", "\xFF", "\x01"};
        return _below(20) == 0 ? odd[_below(odd.size())] : "Name" + std::to_string(_below(600));
    }

    Value _value() {
        switch (_below(8)) {
            case 0:
                return Value(new COrvoValue(_below(1000), COrvoType::uint32));
            case 1:
                return Value(new COrvoValue(_below(2) == 0));
            case 2:
                return COrvoValue::null(COrvoType::string);
            case 3:
                return Value(new COrvoValue(1.5, COrvoType::real64));
            case 4:
                return Value(
                    new COrvoValue(std::int64_t{-5}, ORVSmrPtr<IOrvoType>(new COrvoType("sint64", false))));
            case 5:
                return Value(new COrvoValue("a<b>&\"c\" \r\n"));
            case 6:
                return Value(new COrvoValue(""));
            default:
                return Value(new COrvoValue(ORVString(std::string(_below(40), 'v'))));
        }
    }

    std::mt19937 _engine;
};

TEST(EmbeddedInstance, IsTheInstanceEscapedOnce_WhateverWasWrittenBefore) {
    ObjectMaker maker;
    for (int turn = 0; turn < 20'000; ++turn) {
        const ORVSmrPtr<IOrvoObject> object = maker.make();
        std::string plain;
        CIMXMLWriter(plain).instance(*object);
        std::string expected;
        appendXMLText(expected, plain, XMLContext::element, 0);
        std::string embedded;
        CIMXMLWriter(embedded).embedded(*object);
        ASSERT_EQ(embedded, expected);
    }
}

}  // namespace
}  // namespace velm
