#include "benchmarks/harness/Svg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <string>

#include <fmt/format.h>

namespace velm::bench {

namespace {

constexpr double width = 640;
constexpr double height = 320;
constexpr double left = 80;
constexpr double right = 20;
constexpr double top = 20;
constexpr double bottom = 90;

constexpr std::array colours{"#2f81f7", "#d9822b", "#3fa45b", "#b15fd0"};

/// Powers of ten that enclose some values, and where they come to lie.
class Axis {
public:
    Axis(double from, double to) : _from(from), _to(to) {}

    void include(double value) {
        const double power = std::log10(std::max(value, 1.0));
        _first = std::min(_first, static_cast<int>(std::floor(power)));
        _last = std::max(_last, static_cast<int>(std::ceil(power)));
    }

    double place(double value) const {
        const double power = std::log10(std::max(value, 1.0));
        return _from + (power - _first) / std::max(_last - _first, 1) * (_to - _from);
    }

    int first() const { return _first; }
    int last() const { return std::max(_last, _first + 1); }

private:
    const double _from;
    const double _to;
    int _first = 100;
    int _last = -100;
};

std::string label(double x, double y, const char* anchor, const std::string& text) {
    return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", x, y, anchor, text);
}

std::string line(double x1, double y1, double x2, double y2) {
    return fmt::format("<path class=\"grid\" d=\"M{:.1f} {:.1f}L{:.1f} {:.1f}\"/>\n", x1, y1, x2, y2);
}

std::string grid(const Axis& sizes, const Axis& costs) {
    std::string svg;
    for (int power = sizes.first(); power <= sizes.last(); ++power) {
        const double x = sizes.place(std::pow(10, power));
        svg += line(x, top, x, height - bottom) +
               label(x, height - bottom + 18, "middle", formatCount(std::pow(10, power)));
    }
    for (int power = costs.first(); power <= costs.last(); ++power) {
        const double y = costs.place(std::pow(10, power));
        svg += line(left, y, width - right, y) +
               label(left - 8, y + 4, "end", formatNanoseconds(std::pow(10, power)));
    }
    return svg;
}

std::string drawCurve(const Curve& curve, const Axis& sizes, const Axis& costs, const char* colour) {
    std::string path;
    std::string dots;
    for (const Curve::Point& point : curve.points) {
        const double x = sizes.place(point.size);
        const double y = costs.place(point.cost);
        path += fmt::format("{}{:.1f} {:.1f}", path.empty() ? 'M' : 'L', x, y);
        dots += fmt::format(
            "<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3.5\" fill=\"{}\"><title>{}: {}</title>"
            "</circle>\n",
            x, y, colour, formatCount(point.size), formatNanoseconds(point.cost));
    }
    return fmt::format("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\"/>\n{}", path, colour,
                       dots);
}

std::string draw(const std::vector<Curve>& curves) {
    Axis sizes(left, width - right);
    Axis costs(height - bottom, top);
    for (const Curve& curve : curves) {
        for (const Curve::Point& point : curve.points) {
            sizes.include(point.size);
            costs.include(point.cost);
        }
    }
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {} {}\" font-family=\"sans-serif\" "
        "font-size=\"12\">\n"
        "<style>text{{fill:#57606a}}.grid{{stroke:#8c959f;stroke-opacity:.35}}"
        "@media(prefers-color-scheme:dark){{text{{fill:#b1bac4}}}}</style>\n",
        width, height);
    svg += grid(sizes, costs);
    for (std::size_t index = 0; index < curves.size(); ++index) {
        const char* colour = colours[index % colours.size()];
        svg += drawCurve(curves[index], sizes, costs, colour);
        const double y = height - bottom + 40 + 16 * static_cast<double>(index);
        svg += fmt::format("<circle cx=\"{}\" cy=\"{:.1f}\" r=\"4\" fill=\"{}\"/>\n", left, y - 4, colour);
        svg += label(left + 12, y, "start", curves[index].name);
    }
    return svg + "</svg>\n";
}

}  // namespace

void drawCurves(const std::vector<Curve>& curves, const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    std::map<int, std::vector<Curve>> byRow;
    for (const Curve& curve : curves) {
        byRow[curve.number].push_back(curve);
    }
    for (const auto& [row, itsCurves] : byRow) {
        std::ofstream(folder / fmt::format("growth-{}.svg", row)) << draw(itsCurves);
    }
}

}  // namespace velm::bench
