#include "foundation/object_model/COrvoIndication.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/OwnObject.h"
#include "server/utilities/SpinGuard.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace {

constexpr std::array<IOrvoIndication::ReportedKind, 10> reportedKinds{
    {{IOrvoIndication::IndicationInvalid, "CIM_InstIndication"},
     {IOrvoIndication::IndicationChange, "CIM_InstModification"},
     {IOrvoIndication::IndicationAddition, "VELM_InstAddition"},
     {IOrvoIndication::IndicationRemoval, "VELM_InstRemoval"},
     {IOrvoIndication::IndicationCreation, "CIM_InstCreation"},
     {IOrvoIndication::IndicationDestruction, "CIM_InstDeletion"},
     {IOrvoIndication::IndicationEnterRelationship, "VELM_InstEnterRelationship"},
     {IOrvoIndication::IndicationLeaveRelationship, "VELM_InstLeaveRelationship"},
     {IOrvoIndication::IndicationEnterAssociation, "VELM_InstEnterAssociation"},
     {IOrvoIndication::IndicationLeaveAssociation, "VELM_InstLeaveAssociation"}}};

ORVSmrPtr<IOrvoObject> copyOf(const ORVSmrPtr<IOrvoObject>& object) {
    if (object.IsNull()) {
        return object;
    }
    return ORVSmrPtr<IOrvoObject>(new COrvoObject(*object, true));
}

void* contextOr(void* context, IOrvoIndication::IndicationType type) {
    return context ? context
                   : const_cast<IOrvoIndication::ReportedKind*>(&COrvoIndication::reportedKindOf(type));
}

/// Mostly there is no list, and then nothing to count.
ORVSmrPtr<ORVValSlist<ORVString>> shared(const ORVSmrPtr<ORVValSlist<ORVString>>& names) {
    return names.IsNull() ? ORVSmrPtr<ORVValSlist<ORVString>>::none() : names;
}

/// Keys come from clients and providers: a line end among them must not start a second line in a log.
std::string onOneLine(std::string_view text) {
    std::string result;
    for (char letter : text) {
        auto code = static_cast<unsigned char>(letter);
        if (code < ' ' || code == 0x7F) {
            result += fmt::format("\\x{:02x}", code);
        } else {
            result += letter;
        }
    }
    return result;
}

}  // namespace

COrvoIndication::COrvoIndication(ORVSmrPtr<IOrvoObject> object, IndicationType type,
                                 ORVSmrPtr<ORVValSlist<ORVString>> changedProperties, void* context,
                                 IndicationIntent intent, ORVSmrPtr<ORVValSlist<ORVString>> classNames,
                                 bool copiesObject)
    : _object(copiesObject ? copyOf(object) : std::move(object)),
      _changedProperties(std::move(changedProperties)),
      _context(contextOr(context, type)),
      _time(std::chrono::system_clock::now()),
      _type(type),
      _intent(intent),
      _classNames(std::move(classNames)) {
}

COrvoIndication::COrvoIndication(const IOrvoIndication& reported, IndicationType type)
    : _object(reported.getObject()),
      _changedProperties(reported.getChangedProperties()),
      _context(contextOr(reported.getContext(), type)),
      _time(reported.getTime()),
      _type(type),
      _intent(IntentDeliver),
      _classNames(ORVSmrPtr<ORVValSlist<ORVString>>::none()) {
}

COrvoIndication::COrvoIndication(const COrvoIndication& reported, IndicationType type)
    : _object(reported._object),
      _changedProperties(shared(reported._changedProperties)),
      _context(reported._context),
      _time(reported._time),
      _type(type),
      _intent(IntentDeliver),
      _classNames(ORVSmrPtr<ORVValSlist<ORVString>>::none()) {
}

ORVSmrPtr<IOrvoIndication> COrvoIndication::makeDelivery(const IOrvoIndication& reported,
                                                         IndicationType type) {
    const auto* own = velm::ownObject<COrvoIndication>(reported);
    return own ? ORVSmrPtr<IOrvoIndication>::make<COrvoIndication>(*own, type)
               : ORVSmrPtr<IOrvoIndication>::make<COrvoIndication>(reported, type);
}

COrvoIndication::~COrvoIndication() = default;

const IOrvoIndication::ReportedKind& COrvoIndication::reportedKindOf(IndicationType type) noexcept {
    const auto* found = std::find_if(reportedKinds.begin(), reportedKinds.end(),
                                     [type](const ReportedKind& kind) { return kind.type == type; });
    return found == reportedKinds.end() ? reportedKinds.front() : *found;
}

void COrvoIndication::setTime(std::chrono::system_clock::time_point time) {
    _time = time;
}

void COrvoIndication::setRoutingScope(unsigned int scope) {
    _routingScope = scope;
}

IOrvoIndication::IndicationType COrvoIndication::getType() const {
    return _type;
}

IOrvoIndication::IndicationIntent COrvoIndication::getIntent() const {
    return _intent;
}

ORVSmrPtr<IOrvoObject> COrvoIndication::getObject() const {
    return _object;
}

ORVSmrPtr<ORVValSlist<ORVString>> COrvoIndication::getChangedProperties() const {
    return _changedProperties;
}

void* COrvoIndication::getContext() const {
    return _context;
}

unsigned int COrvoIndication::getRoutingScope() const {
    return _routingScope;
}

ORVSmrPtr<ORVValSlist<ORVString>> COrvoIndication::getClassNames() const {
    if (const auto* lent = _lentClassNames.load(std::memory_order_acquire)) {
        return *lent;
    }
    const velm::SpinGuard lock(_classNamesLock);
    return _classNames;
}

void COrvoIndication::setClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& classNames) {
    ORVSmrPtr<ORVValSlist<ORVString>> former(classNames);
    const velm::SpinGuard lock(_classNamesLock);
    std::swap(_classNames, former);
    _lentClassNames.store(nullptr, std::memory_order_release);
}

std::chrono::system_clock::time_point COrvoIndication::getTime() const {
    return _time;
}

ORVString COrvoIndication::toString() const {
    auto reported = static_cast<const ReportedKind*>(_context)->type;
    std::string text(COrvoDebugTools::indicationTypeToString(_type).view());
    if (reported != _type) {
        text += fmt::format(" (reported {})", COrvoDebugTools::indicationTypeToString(reported).view());
    }
    return std::string_view(text + " of " + onOneLine(_object->getInstanceName()->toString().view()));
}
