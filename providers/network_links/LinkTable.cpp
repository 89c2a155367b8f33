#include "providers/network_links/LinkTable.h"

#include <utility>

namespace velm::network_links {

LinkTable::LinkTable(const LinkModel& model, const providers::Reporter& reporter, ReadSpeed readSpeed,
                     const NetworkState& present)
    : _model(model), _reporter(reporter), _readSpeed(std::move(readSpeed)) {
    for (const auto& [index, link] : present.links) {
        _links.emplace(index, Port{link, {}});
    }
    for (const auto& [key, address] : present.addresses) {
        if (_links.contains(key.link)) {
            _addresses.emplace(key, address);
        }
    }
}

std::vector<std::string> LinkTable::deviceIDs() const {
    const std::lock_guard guard(_lock);
    std::vector<std::string> names;
    for (const auto& [index, known] : _links) {
        if (known.link.isEthernet) {
            names.push_back(LinkModel::deviceIDOf(known.link));
        }
    }
    return names;
}

std::vector<std::string> LinkTable::endpointNames() const {
    const std::lock_guard guard(_lock);
    std::vector<std::string> names;
    for (const auto& [key, address] : _addresses) {
        names.push_back(LinkModel::endpointNameOf(_links.at(key.link).link, key));
    }
    return names;
}

ORVSmrPtr<IOrvoObject> LinkTable::port(const std::string& deviceID) const {
    const std::lock_guard guard(_lock);
    for (const auto& [index, known] : _links) {
        if (known.link.isEthernet && LinkModel::deviceIDOf(known.link) == deviceID) {
            return _model.port({known.link, _readSpeed(known.link.name)});
        }
    }
    return nullptr;
}

ORVSmrPtr<IOrvoObject> LinkTable::endpoint(const std::string& name) const {
    const std::lock_guard guard(_lock);
    for (const auto& [key, address] : _addresses) {
        const Link& link = _links.at(key.link).link;
        if (LinkModel::endpointNameOf(link, key) == name) {
            return _model.endpoint(link, address);
        }
    }
    return nullptr;
}

void LinkTable::startPortChanges(std::string_view deviceID, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    for (auto& [index, known] : _links) {
        const std::string knownID = LinkModel::deviceIDOf(known.link);
        const bool isMeant = deviceID == ChangeInterest::everything || deviceID == knownID;
        if (isMeant && known.link.isEthernet && !_portInterest.covers(knownID)) {
            known.speed = _readSpeed(known.link.name);
        }
    }
    _portInterest.add(deviceID, filter);
}

void LinkTable::startEndpointChanges(std::string_view name, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    _endpointInterest.add(name, filter);
}

bool LinkTable::stopPortChanges(std::string_view deviceID, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    return _portInterest.remove(deviceID, filter);
}

bool LinkTable::stopEndpointChanges(std::string_view name, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    return _endpointInterest.remove(name, filter);
}

void LinkTable::apply(const RouteEvent& event) {
    Reports reports;
    {
        const std::lock_guard guard(_lock);
        if (const auto* link = std::get_if<Link>(&event)) {
            _applyLink(*link, reports);
        } else if (const auto* goneLink = std::get_if<LinkGone>(&event)) {
            _removeLink(goneLink->index, reports);
        } else if (const auto* address = std::get_if<Address>(&event)) {
            _applyAddress(*address, reports);
        } else if (const auto* goneAddress = std::get_if<AddressGone>(&event)) {
            _removeAddress(goneAddress->key, reports);
        }
    }
    _make(reports);
}

void LinkTable::resynchronise(const NetworkState& present) {
    Reports reports;
    {
        const std::lock_guard guard(_lock);
        // All that went goes first: a name may have passed from one link to another.
        const auto links = _links;
        for (const auto& [index, known] : links) {
            const auto now = present.links.find(index);
            if (now == present.links.end() || now->second.name != known.link.name) {
                _removeLink(index, reports);
            }
        }
        const auto addresses = _addresses;
        for (const auto& [key, address] : addresses) {
            if (!present.addresses.contains(key)) {
                _removeAddress(key, reports);
            }
        }
        for (const auto& [index, link] : present.links) {
            _applyLink(link, reports);
        }
        for (const auto& [key, address] : present.addresses) {
            _applyAddress(address, reports);
        }
    }
    _make(reports);
}

void LinkTable::_applyLink(const Link& link, Reports& reports) {
    const auto found = _links.find(link.index);
    if (found == _links.end()) {
        _addLink(link, reports);
        return;
    }
    const Link& known = found->second.link;
    if (known.name == link.name && known.isEthernet == link.isEthernet) {
        _changeLink(found->second, link, reports);
        return;
    }
    const std::vector<Address> addresses = _addressesOf(link.index);
    _removeLink(link.index, reports);
    _addLink(link, reports);
    for (const Address& address : addresses) {
        _applyAddress(address, reports);
    }
}

void LinkTable::_addLink(const Link& link, Reports& reports) {
    const Port port{link, link.isEthernet ? _readSpeed(link.name) : LinkSpeed{}};
    _links.emplace(link.index, port);
    if (link.isEthernet) {
        reports.push_back({IOrvoIndication::IndicationCreation, _model.port(port), nullptr});
    }
}

void LinkTable::_removeLink(int index, Reports& reports) {
    const auto found = _links.find(index);
    if (found == _links.end()) {
        return;
    }
    for (const Address& address : _addressesOf(index)) {
        _removeAddress(address.key, reports);
    }
    if (found->second.link.isEthernet) {
        // Whoever routes the destruction drops the subscriptions to this port without taking them back here.
        _portInterest.forget(LinkModel::deviceIDOf(found->second.link));
        reports.push_back({IOrvoIndication::IndicationDestruction, _model.port(found->second), nullptr});
    }
    _links.erase(found);
}

void LinkTable::_changeLink(Port& known, const Link& link, Reports& reports) {
    const bool isWanted = link.isEthernet && _portInterest.covers(LinkModel::deviceIDOf(link));
    const Port now{link, isWanted ? _readSpeed(link.name) : known.speed};
    if (isWanted) {
        const auto changes = LinkModel::changes(known, now);
        if (!changes->isEmpty()) {
            reports.push_back({IOrvoIndication::IndicationChange, _model.port(now), changes});
        }
    }
    known = now;
}

void LinkTable::_applyAddress(const Address& address, Reports& reports) {
    const auto link = _links.find(address.key.link);
    if (link == _links.end()) {
        return;  // An old message of a link that is gone.
    }
    const auto [known, isNew] = _addresses.emplace(address.key, address);
    if (isNew) {
        reports.push_back(
            {IOrvoIndication::IndicationCreation, _model.endpoint(link->second.link, address), nullptr});
        return;
    }
    const Address before = std::exchange(known->second, address);
    if (_endpointInterest.covers(LinkModel::endpointNameOf(link->second.link, address.key))) {
        const auto changes = LinkModel::changes(before, address);
        if (!changes->isEmpty()) {
            reports.push_back(
                {IOrvoIndication::IndicationChange, _model.endpoint(link->second.link, address), changes});
        }
    }
}

void LinkTable::_removeAddress(const AddressKey& key, Reports& reports) {
    const auto found = _addresses.find(key);
    if (found == _addresses.end()) {
        return;
    }
    const Link& link = _links.at(key.link).link;
    _endpointInterest.forget(LinkModel::endpointNameOf(link, key));
    reports.push_back(
        {IOrvoIndication::IndicationDestruction, _model.endpoint(link, found->second), nullptr});
    _addresses.erase(found);
}

std::vector<Address> LinkTable::_addressesOf(int link) const {
    std::vector<Address> addresses;
    for (auto next = _addresses.lower_bound(AddressKey{link, 0, {}, {}, 0});
         next != _addresses.end() && next->first.link == link; ++next) {
        addresses.push_back(next->second);
    }
    return addresses;
}

void LinkTable::_make(const Reports& reports) const {
    for (const Report& report : reports) {
        switch (report.type) {
            case IOrvoIndication::IndicationCreation:
                _reporter.created(report.object);
                break;
            case IOrvoIndication::IndicationDestruction:
                _reporter.destroyed(report.object);
                break;
            default:
                _reporter.changed(report.object, report.changes);
        }
    }
}

}  // namespace velm::network_links
