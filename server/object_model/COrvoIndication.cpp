#include "foundation/object_model/COrvoIndication.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoObject.h"

#include <algorithm>
#include <array>
#include <string>

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
    : _object(copiesObject ? copyOf(object) : object),
      _type(type),
      _changedProperties(changedProperties),
      _context(context ? context : const_cast<ReportedKind*>(&reportedKindOf(type))),
      _intent(intent),
      _classNames(classNames),
      _time(std::chrono::system_clock::now()) {
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
    const std::lock_guard lock(_classNamesLock);
    return _classNames;
}

void COrvoIndication::setClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& classNames) {
    const std::lock_guard lock(_classNamesLock);
    _classNames = classNames;
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
