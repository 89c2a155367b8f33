#include "CIMOM_Indications/SubscriberPlaces.h"

#include "foundation/containers/NumberSet.h"
#include "foundation/subscribers/IdentityIndex.h"

namespace velm {

/// The places of one identity.
struct SubscriberPlaces::Person {
    explicit Person(const CSubscriberID& subscriberID) : id(subscriberID) {}

    const CSubscriberID id;
    NumberSet hashes;
};

SubscriberPlaces::SubscriberPlaces() noexcept = default;

SubscriberPlaces::~SubscriberPlaces() {
    if (_people) {
        _people->visit([](void*, void* person) { delete static_cast<Person*>(person); }, nullptr);
    }
}

void SubscriberPlaces::add(const CSubscriberID& id, const ORVString& key) {
    if (!_people) {
        _people = std::make_unique<IdentityIndex>();
    }
    if (Person* person = _find(id)) {
        person->hashes.insert(hashKeyORVString(key));
        return;
    }
    auto person = std::make_unique<Person>(id);
    person->hashes.insert(hashKeyORVString(key));
    _people->add(person->id, person.get());
    static_cast<void>(person.release());
}

void SubscriberPlaces::_remove(const CSubscriberID& id, std::uint32_t hash) noexcept {
    if (Person* person = _find(id)) {
        person->hashes.erase(hash);
        if (person->hashes.isEmpty()) {
            _forget(person);
        }
    }
}

void SubscriberPlaces::forget(const CSubscriberID& id) noexcept {
    if (Person* person = _find(id)) {
        _forget(person);
    }
}

std::vector<std::uint32_t> SubscriberPlaces::_hashesOf(const CSubscriberID& id) const {
    const Person* person = _find(id);
    return person ? person->hashes.all() : std::vector<std::uint32_t>();
}

SubscriberPlaces::Person* SubscriberPlaces::_find(const CSubscriberID& id) const noexcept {
    return _people ? static_cast<Person*>(_people->find(id)) : nullptr;
}

void SubscriberPlaces::_forget(Person* person) noexcept {
    _people->remove(person->id, person);
    delete person;
}

}  // namespace velm
