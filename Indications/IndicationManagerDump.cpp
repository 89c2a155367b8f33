#include "CIMOM_Indications/CIMOMClassManager.h"
#include "CIMOM_Indications/SpacedText.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/services/ORVLog.h"
#include "foundation/utilities/ORVLockGuard.h"

#include <ostream>
#include <string>

namespace {

// Numbers are made text here: the caller's stream may be set to write them otherwise.

void writeKind(std::ostream& ostr, const char* label, const ORVSmrPtr<IOrvoSubscriptionFilter>& filter,
               unsigned int referenceCount) {
    ostr << label << COrvoDebugTools::indicationFilterToString(filter)
         << " R: " << std::to_string(referenceCount);
}

void writeRow(std::ostream& ostr, const ORVString& name, const CSubscriberTableEntry& entry) {
    const CSubscriberID& id = *entry.getSubscriber()->getSubscriberID();
    const COrvoIndicationFilterProcessor wants = entry.getWants();
    ostr << "<TR><TD>";
    velm::writeSpaced(ostr, name);
    ostr << "</TD><TD>" << id.getHostName() << ":" << id.getPortNumber() << " ("
         << std::to_string(id.getSessionID()) << ") </TD><TD>";
    writeKind(ostr, "Change: ", wants.getChangeFilter(), wants.getChangeSubscriptionReferenceCount());
    writeKind(ostr, "<BR>Addition: ", wants.getAdditionFilter(),
              wants.getAdditionSubscriptionReferenceCount());
    writeKind(ostr, "<BR>Removal: ", wants.getRemovalFilter(), wants.getRemovalSubscriptionReferenceCount());
    writeKind(ostr, "<BR>EnterRelationship: ", wants.getEnterRelationshipFilter(),
              wants.getEnterRelationshipReferenceCount());
    writeKind(ostr, "<BR>LeaveRelationship: ", wants.getLeaveRelationshipFilter(),
              wants.getLeaveRelationshipReferenceCount());
    ostr << "</TD></TR>";
}

}  // namespace

void CIndicationManager::dump(std::ostream& ostr) {
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        _dumpSubscriberTable(ostr);
    } catch (...) {
        ORVLog::log("CIndicationManager::dump",
                    "An unknown exception occured while dumping the subscriber info.",
                    OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
    if (CCIMOMClassManager* classManager = CCIMOMClassManager::getInstance()) {
        classManager->dump(ostr);
    }
}

void CIndicationManager::_dumpSubscriberTable(std::ostream& ostr) const {
    ostr << "<TABLE BORDER><TR><TH>Instance Name</TH><TH>Subscriber</TH><TH>Filter</TH></TR>";
    for (ORVValMapIterator<ORVString, ORVSmrPtr<CSubscriberList>> table(_subscriberTable); ostr && ++table;) {
        const CSubscriberList::EntryList rows = table.value()->getRows();
        for (const ORVSmrPtr<CSubscriberTableEntry>& entry : *rows) {
            // Who wants no more of a long table has the stream fail.
            if (!ostr) {
                return;
            }
            writeRow(ostr, table.key(), *entry);
        }
    }
    ostr << "</TABLE>";
}
