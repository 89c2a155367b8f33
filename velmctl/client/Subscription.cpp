#include "velmctl/client/Subscription.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmctl/client/ClientError.h"
#include "velmd/wire/CIMWriter.h"

namespace velm {

namespace {

bool isInstance(const std::string& object) {
    return object.find('.') != std::string::npos;
}

std::string instanceName(const std::string& object) {
    try {
        std::string xml;
        writeInstanceName(xml, *COrvoInstanceName::parse(ORVString(object)));
        return xml;
    } catch (const OrvoBaseException& error) {
        throw ClientError(ClientError::Kind::badAddress, std::string(error.getMessage().view()));
    }
}

std::string element(const std::string& object) {
    return isInstance(object) ? instanceName(object) : WBEMClient::className(object);
}

}  // namespace

WBEMClient::Parameters Subscription::parameters() const {
    WBEMClient::Parameters result{{"IndicationType", WBEMClient::value(event)}};
    if (!object.empty()) {
        result.emplace_back(isInstance(object) ? "InstanceName" : "ClassName", element(object));
    }
    if (!properties.empty()) {
        result.emplace_back("Filter", WBEMClient::values(properties));
    }
    if (!endOne.empty()) {
        result.emplace_back("EndOne", element(endOne));
        result.emplace_back("EndTwo", element(endTwo));
    }
    return result;
}

}  // namespace velm
