#include "velmd/faces/Curve.h"

#include "velmd/faces/Text.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include <fmt/format.h>

namespace velm::faces {

namespace {

// In the drawing's own units.
constexpr double width = 300;
constexpr double height = 112;
constexpr double left = 36;
constexpr double right = 8;
constexpr double top = 12;
constexpr double bottom = 22;

struct Scale {
    std::size_t steps;
    double end;

    double x(std::size_t index) const {
        return left + (width - left - right) * static_cast<double>(index) / static_cast<double>(steps);
    }
    double y(double value) const { return height - bottom - (height - top - bottom) * value / end; }
};

std::string pathOf(const std::vector<double>& values, const Scale& scale) {
    std::string path;
    for (std::size_t index = 0; index < values.size(); ++index) {
        fmt::format_to(std::back_inserter(path), "{}{:.1f} {:.1f}", index == 0 ? "M" : "L", scale.x(index),
                       scale.y(values[index]));
    }
    return path;
}

std::string axisText(double value) {
    return value < 1000 ? fmt::format("{:.3g}", value) : rateText(value);
}

std::string gridLine(double y, const std::string& label) {
    return fmt::format(
        R"(<path class="grid" d="M{} {:.1f}H{}"/><text x="{}" y="{:.1f}" text-anchor="end">{}</text>)", left,
        y, width - right, left - 6, y + 4, label);
}

}  // namespace

double axisEnd(double value) {
    if (!(value > 0)) {
        return 1;
    }
    const double power = std::pow(10, std::floor(std::log10(value)));
    // Halves of these have two digits at the most, too.
    for (const double factor : {1.0, 1.2, 1.5, 2.0, 3.0, 4.0, 5.0, 6.0, 8.0}) {
        if (value <= factor * power * (1 + 1e-9)) {
            return factor * power;
        }
    }
    return 10 * power;
}

std::string Curve::sentence() const {
    if (values.empty()) {
        return fmt::format("{} per second: nothing is known yet.", what);
    }
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    return fmt::format("{} per second over the last {}: {} now, {} at the most, {} on average.", what,
                       durationText(step * values.size()), rateText(values.back()),
                       rateText(*std::ranges::max_element(values)),
                       rateText(sum / static_cast<double>(values.size())));
}

std::string Curve::drawing() const {
    if (values.size() < 2) {
        return R"(<p class="none">The curve begins with the next figures.</p>)";
    }
    const Scale scale{values.size() - 1, axisEnd(*std::ranges::max_element(values))};
    const std::string line = pathOf(values, scale);
    const double ground = scale.y(0);
    std::string svg = fmt::format(R"(<svg class="curve" viewBox="0 0 {} {}" role="img" aria-label="{}">)",
                                  width, height, sentence());
    svg += gridLine(scale.y(scale.end), axisText(scale.end));
    svg += gridLine(scale.y(scale.end / 2), axisText(scale.end / 2));
    svg += gridLine(ground, "0");
    fmt::format_to(std::back_inserter(svg),
                   R"(<path class="area" d="{0}V{1:.1f}H{2}Z"/><path class="line" d="{0}"/>)"
                   R"(<circle class="last" cx="{3:.1f}" cy="{4:.1f}" r="3"/>)",
                   line, ground, left, scale.x(scale.steps), scale.y(values.back()));
    fmt::format_to(
        std::back_inserter(svg),
        R"(<text x="{}" y="{}">{} ago</text><text x="{}" y="{}" text-anchor="end">now</text></svg>)", left,
        height - 6, durationText(step * values.size()), width - right, height - 6);
    return svg;
}

}  // namespace velm::faces
