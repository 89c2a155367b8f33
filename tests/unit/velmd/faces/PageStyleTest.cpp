#include "velmd/faces/StatusPage.h"

#include <array>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Whether the colours can be told apart, by the rule of WCAG 2 for text of any size (AA).

namespace velm::faces {

namespace {

constexpr double enough = 4.5;

using Colours = std::map<std::string, std::string>;

/// The custom properties between two places of the style.
Colours coloursIn(std::string_view text) {
    Colours colours;
    for (auto name = text.find("    --"); name != text.npos; name = text.find("    --", name + 1)) {
        const auto colon = text.find(": ", name);
        const auto end = text.find(';', name);
        const std::string value(text.substr(colon + 2, end - colon - 2));
        if (value.starts_with('#')) {
            colours.emplace(text.substr(name + 6, colon - name - 6), value);
        }
    }
    return colours;
}

double luminance(const std::string& colour) {
    constexpr std::array<double, 3> weights{0.2126, 0.7152, 0.0722};
    double sum = 0;
    for (std::size_t part = 0; part < weights.size(); ++part) {
        const double value = std::stoi(colour.substr(1 + 2 * part, 2), nullptr, 16) / 255.0;
        sum += weights.at(part) * (value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
    }
    return sum;
}

double contrast(const std::string& one, const std::string& other) {
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

/// Text and what it stands on.
constexpr std::pair<const char*, const char*> pairs[]{
    {"ink", "ground"},       {"ink", "sheet"},        {"soft", "ground"},    {"soft", "sheet"},
    {"link", "ground"},      {"link", "sheet"},       {"flow", "sheet"},     {"loss", "sheet"},
    {"good", "good-ground"}, {"warn", "warn-ground"}, {"bad", "bad-ground"}, {"calm", "calm-ground"},
    {"ink", "good-ground"},  {"ink", "bad-ground"},
};

}  // namespace

TEST(PageStyle, HasContrast_InLightAndDark) {
    const std::string_view style = pageStyle();
    const auto dark = style.find("prefers-color-scheme: dark");
    ASSERT_NE(dark, style.npos);
    for (const Colours& colours : {coloursIn(style.substr(0, dark)), coloursIn(style.substr(dark))}) {
        for (const auto& [text, ground] : pairs) {
            ASSERT_TRUE(colours.contains(text) && colours.contains(ground)) << text << ' ' << ground;
            EXPECT_GE(contrast(colours.at(text), colours.at(ground)), enough) << text << " on " << ground;
        }
    }
}

TEST(PageStyle, FetchesNothing) {
    EXPECT_THAT(std::string(pageStyle()), testing::Not(testing::HasSubstr("url(")));
    EXPECT_THAT(std::string(pageStyle()), testing::Not(testing::HasSubstr("@import")));
}

}  // namespace velm::faces
