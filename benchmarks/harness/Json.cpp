#include "benchmarks/harness/Json.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/utsname.h>
#include <thread>

#include <boost/json.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace velm::bench {

namespace {

namespace json = boost::json;

json::object toObject(const Row& row) {
    json::object object{{"row", row.number},
                        {"what", row.what},
                        {"placement", row.placement},
                        {"ours", row.ours},
                        {"limit", row.limit}};
    if (!row.failure.empty()) {
        object["failure"] = row.failure;
        return object;
    }
    object["ratio"] = row.ratio.median();
    object["low"] = row.ratio.low();
    object["high"] = row.ratio.high();
    object["rounds"] = row.ratio.values().size();
    if (const auto met = row.isMet()) {
        object["target"] = row.target.wanted;
        object["wish"] = row.target.wished;
        object["met"] = *met;
    }
    return object;
}

json::object toObject(const Curve& curve) {
    json::array points;
    for (const Curve::Point& point : curve.points) {
        points.push_back(json::array{point.size, point.cost});
    }
    return {{"row", curve.number}, {"name", curve.name}, {"nanosecondsBySize", std::move(points)}};
}

json::object readFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("there are no recorded figures at " + file.string());
    }
    return json::parse(std::string(std::istreambuf_iterator<char>(stream), {})).as_object();
}

/// One ratio a line, so that a change is readable.
void writeFile(const json::object& content, const std::filesystem::path& file) {
    std::string text = json::serialize(content);
    std::string spaced;
    bool isQuoted = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        isQuoted = isQuoted != (character == '"' && (index == 0 || text[index - 1] != '\\'));
        if (!isQuoted && character == '}') {
            spaced += '\n';
        }
        spaced += character;
        if (!isQuoted && (character == '{' || character == ',')) {
            spaced += '\n';
        }
    }
    std::ofstream(file, std::ios::binary) << spaced << '\n';
}

bool isWorse(const Row& row, double recorded, double tolerated) {
    if (row.limit.empty()) {
        // With nothing measured beside it, it says as much of the machine as of us.
        return !row.isMet().value_or(true);
    }
    const double median = row.ratio.median();
    if (row.target.sense == Target::Sense::atLeast) {
        return median < row.target.wished && median < recorded * tolerated;
    }
    return median > row.target.wished && median > recorded / tolerated;
}

}  // namespace

std::string today() {
    return fmt::format("{:%F}", fmt::gmtime(std::chrono::system_clock::now()));
}

std::string machineDescription() {
    std::string processor = "unknown processor";
    std::ifstream lines("/proc/cpuinfo");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("model name")) {
            processor = line.substr(line.find(':') + 2);
            break;
        }
    }
    utsname system{};
    ::uname(&system);
    return fmt::format("{}, {} cores, {} {}, " VELM_BENCH_COMPILER, processor,
                       std::thread::hardware_concurrency(), system.sysname, system.release);
}

std::string toJson(const Report& report, const std::string& kindOfRun) {
    json::array rows;
    for (const Row& row : report.rows) {
        rows.push_back(toObject(row));
    }
    json::array curves;
    for (const Curve& curve : report.curves) {
        curves.push_back(toObject(curve));
    }
    return json::serialize(json::object{{"date", today()},
                                        {"machine", machineDescription()},
                                        {"run", kindOfRun},
                                        {"rows", std::move(rows)},
                                        {"curves", std::move(curves)}}) +
           "\n";
}

void record(const Report& report, const std::string& kindOfRun, const std::filesystem::path& file) {
    json::object content = std::filesystem::exists(file) ? readFile(file) : json::object();
    json::object ratios;
    for (const Row& row : report.rows) {
        if (row.failure.empty()) {
            ratios[row.key()] = row.ratio.median();
        }
    }
    content[kindOfRun] =
        json::object{{"date", today()}, {"machine", machineDescription()}, {"ratios", std::move(ratios)}};
    writeFile(content, file);
}

std::vector<Worse> worseThanRecorded(const Report& report, const std::string& kindOfRun, double tolerated,
                                     const std::filesystem::path& file) {
    const json::object content = readFile(file);
    const json::value* section = content.if_contains(kindOfRun);
    if (!section) {
        throw std::runtime_error(fmt::format("{} holds nothing for a {} run", file.string(), kindOfRun));
    }
    const json::object& ratios = section->as_object().at("ratios").as_object();
    std::vector<Worse> worse;
    for (const Row& row : report.rows) {
        const json::value* recorded = ratios.if_contains(row.key());
        if (!row.failure.empty()) {
            worse.push_back({row.number, fmt::format("{}: {}", row.key(), row.failure)});
        } else if (recorded && isWorse(row, recorded->to_number<double>(), tolerated)) {
            worse.push_back({row.number, fmt::format("{}: {:.3g} where {:.3g} is recorded", row.key(),
                                                     row.ratio.median(), recorded->to_number<double>())});
        }
    }
    return worse;
}

}  // namespace velm::bench
