#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// The two tables with which the daemon shows who is subscribed to what.
///
/// They come as HTML in which the names that clients chose stand as they are, with a blank before every 50th
/// character: a name that holds the marks of a table cannot be told from a table. Nothing that is read here
/// fails; what makes no sense ends in the wrong cell.
struct DiagnosticTables {
    /// A row of the subscriptions to changes, and to instances.
    struct Subscription {
        std::string object;
        /// "127.0.0.1:5990 (1)".
        std::string subscriber;
        /// "Change: NULL R: 1".
        std::vector<std::string> filters;
    };
    /// One subscriber of one kind of event at one class.
    struct Relationship {
        std::string className;
        std::string event;
        /// The instance, or nothing, and the two ends of an association.
        std::string instance;
        std::string left;
        std::string right;
        std::string subscriber;
        std::string count;
    };

    std::vector<Subscription> subscriptions;
    std::vector<Relationship> relationships;
    /// The second table ends before its end: the daemon stops at the first filter without ends.
    bool isCutOff = false;

    /// Any thread.
    static DiagnosticTables read(std::string_view html);
};

}  // namespace velm
