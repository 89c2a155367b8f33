#pragma once

#include "benchmarks/world/World.h"

#include <cstdint>
#include <random>
#include <string>

/// The events that are reported, as a provider makes them: new objects each time.
namespace velm::bench {

/// The class of the instances. With the four above it, the catch-all class and the instance itself, a report
/// about one is looked up eight times.
inline constexpr const char* fileClass = "CIM_DataFile";

/// The class that the burst through the daemon is about.
inline constexpr const char* burstClass = "EX_File";

/// A path that gives instanceName(fileClass, ...) 60 bytes.
std::string filePath(std::uint32_t index);

InstanceName instanceName(const ORVString& className, const std::string& id);

Indication makeIndication(const ORVSmrPtr<IOrvoObject>& object, IOrvoIndication::IndicationType type);

/// About an object that has only its name: routing looks at nothing else.
Indication bareEvent(const ORVString& className, const std::string& id, IOrvoIndication::IndicationType type);

/// About an association of a directory and a file.
Indication associationEvent(const std::string& directory, const std::string& file);

/// About an object with ten properties, about 1.2 kB as it is embedded in the export document. The key is Id.
Indication fullEvent(std::uint32_t index, const ORVString& className = fileClass);

/// The name and the text of its properties, for those who write the document themselves.
struct FullEventText {
    struct Property {
        std::string name;
        std::string type;
        std::string value;
    };
    std::string path;
    std::vector<Property> properties;
};
FullEventText fullEventText(std::uint32_t index);

/// Numbers that look random, the same in every run.
class Dice {
public:
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>((std::uint64_t{static_cast<std::uint32_t>(_engine())} * bound) >>
                                          32);
    }

private:
    std::mt19937 _engine;
};

}  // namespace velm::bench
