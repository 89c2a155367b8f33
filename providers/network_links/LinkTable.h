#pragma once

#include "foundation/services/ChangeInterest.h"
#include "providers/network_links/LinkModel.h"
#include "providers/network_links/RouteMessages.h"
#include "providers/network_links/RouteSocket.h"
#include "providers/support/Reporter.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velm::network_links {

/// The links and addresses as last reported, and who wants to hear of their changes.
///
/// A link that is renamed is, like its addresses, destroyed and created: its name is the key. Addresses of a
/// link are destroyed before it and created after it. Reports are made without a lock.
class LinkTable {
public:
    /// Called on any thread.
    using ReadSpeed = std::function<LinkSpeed(const std::string& linkName)>;

    /// Takes `present` as known. Requires: the references outlive this.
    LinkTable(const LinkModel& model, const providers::Reporter& reporter, ReadSpeed readSpeed,
              const NetworkState& present);
    LinkTable(const LinkTable&) = delete;
    LinkTable& operator=(const LinkTable&) = delete;
    ~LinkTable() = default;

    /// Any thread: the keys of what is there.
    std::vector<std::string> deviceIDs() const;
    std::vector<std::string> endpointNames() const;

    /// Any thread: the object with this key; a null handle when there is none.
    ORVSmrPtr<IOrvoObject> port(const std::string& deviceID) const;
    ORVSmrPtr<IOrvoObject> endpoint(const std::string& name) const;

    /// Any thread: counts who wants changes of a port or endpoint by its key, or of
    /// ChangeInterest::everything. What changed before the call is no change. Interest in one object ends
    /// with the object.
    void startPortChanges(std::string_view deviceID, const ChangeInterest::Filter& filter);
    void startEndpointChanges(std::string_view name, const ChangeInterest::Filter& filter);
    /// Answer false when nobody had asked.
    bool stopPortChanges(std::string_view deviceID, const ChangeInterest::Filter& filter);
    bool stopEndpointChanges(std::string_view name, const ChangeInterest::Filter& filter);

    /// The watcher's thread only: what the kernel told, and all that is there after it lost some of that.
    void apply(const RouteEvent& event);
    void resynchronise(const NetworkState& present);

private:
    struct Report {
        IOrvoIndication::IndicationType type;
        ORVSmrPtr<IOrvoObject> object;
        providers::Reporter::Names changes;
    };
    using Reports = std::vector<Report>;

    /// Require _lock, and add what is to be reported to `reports`.
    void _applyLink(const Link& link, Reports& reports);
    void _addLink(const Link& link, Reports& reports);
    void _removeLink(int index, Reports& reports);
    void _changeLink(Port& known, const Link& link, Reports& reports);
    void _applyAddress(const Address& address, Reports& reports);
    void _removeAddress(const AddressKey& key, Reports& reports);
    /// Requires _lock.
    std::vector<Address> _addressesOf(int link) const;

    void _make(const Reports& reports) const;

    const LinkModel& _model;
    const providers::Reporter& _reporter;
    const ReadSpeed _readSpeed;

    mutable std::mutex _lock;
    /// Guarded by _lock. Every address is that of a known link.
    std::map<int, Port> _links;
    std::map<AddressKey, Address> _addresses;
    ChangeInterest _portInterest;
    ChangeInterest _endpointInterest;
};

}  // namespace velm::network_links
