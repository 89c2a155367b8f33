#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace velm {

/// What a provider was asked to watch and was not told to leave since.
///
/// It counts as a provider does: each property by itself, because one call may take back what several
/// brought. Who registers for an instance is forgotten with it.
///
/// Of instances only so many are kept with what there is to tell; the rest, of which there may be a million,
/// is a number for each.
///
/// Threads: any number. Failure: a registration that cannot be noted, for want of memory or because its name
/// or filter fails, is left out; the provider keeps it all the same.
class ObserverTable {
public:
    using Type = IOrvoIndication::IndicationType;
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
    using Time = std::chrono::system_clock::time_point;

    struct Observer {
        /// The name of a class, or that of an instance as a path.
        std::string subject;
        bool isInstance = false;
        Type type = IOrvoIndication::IndicationInvalid;
        /// Of what is added, removed and so on; empty where there is no such thing.
        std::string otherClass;
        /// Empty for all of them.
        std::vector<std::string> properties;
        Time since;
    };

    /// Instances that are kept whole.
    static constexpr std::size_t mostInstances = 1000;

    void add(const IOrvoInstanceName& name, Type type, const Filter& filter) noexcept;
    void remove(const IOrvoInstanceName& name, Type type, const Filter& filter) noexcept;
    /// The instance is gone.
    void forget(const IOrvoInstanceName& name) noexcept;

    std::size_t size() const;
    /// Classes before instances, each in order of name.
    std::vector<Observer> first(std::size_t most) const;

private:
    struct Key {
        bool isInstance;
        std::string subject;
        Type type;
        std::string otherClass;

        auto tied() const { return std::tie(isInstance, subject, type, otherClass); }
        bool operator<(const Key& other) const { return tied() < other.tied(); }
    };
    struct ByName {
        bool operator()(std::string_view left, std::string_view right) const noexcept;
    };
    struct Entry {
        Time since;
        /// How often each was asked for; the empty name stands for all.
        std::map<std::string, std::size_t, ByName> properties;
    };
    using Entries = std::map<Key, Entry>;
    using Names = std::vector<std::string>;

    static Key _keyOf(const IOrvoInstanceName& name, Type type, const Filter& filter);
    static Names _propertiesOf(const Filter& filter);
    static std::size_t _numberOf(const std::string& subject) { return std::hash<std::string>()(subject); }
    void _add(Key key, const Names& properties);
    void _removeUnnamed(const std::string& subject, std::size_t count);
    Entries::iterator _erase(Entries::iterator entry);

    mutable std::mutex _lock;
    // Guarded by _lock.
    Entries _entries;
    std::size_t _instances = 0;
    /// By the number of the subject, how much was asked for beyond those that are kept whole.
    std::unordered_map<std::size_t, std::size_t> _unnamed;
};

}  // namespace velm
