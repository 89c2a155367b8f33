#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include "tests/support/ModelBuilders.h"

namespace velm::test {

ClassTree::~ClassTree() {
    for (const ORVSmrPtr<CCIMOMClass>& node : _nodes) {
        node->detach();
    }
}

ORVSmrPtr<CCIMOMClass> ClassTree::add(const char* name, const ORVSmrPtr<CCIMOMClass>& base) {
    ORVSmrPtr<CCIMOMClass> node(
        new CCIMOMClass(name, base, ORVSmrPtr<CCIMOMSubscription>(new CCIMOMSubscription(10))));
    if (!base.IsNull()) {
        base->addChildClass(node);
    }
    _nodes.push_back(node);
    return node;
}

ScriptedFilter::ScriptedFilter(FilterType type, bool answer) : _answer(answer) {
    _filterType = type;
}

ScriptedFilter::ScriptedFilter(FilterType type, std::string name, std::vector<std::string>& asked)
    : _answer(true), _name(std::move(name)), _asked(&asked) {
    _filterType = type;
}

ScriptedFilter::~ScriptedFilter() = default;

bool ScriptedFilter::match(const ORVSmrPtr<IOrvoIndication>&) {
    if (_asked) {
        _asked->push_back(_name);
    }
    return _answer;
}

ORVSmrPtr<IOrvoIndication> makeContainment(IOrvoIndication::IndicationType type) {
    return makeIndication(makeAssociation("CIM_DirectoryContainsFile", makeInstanceName("CIM_Directory"),
                                          makeInstanceName("CIM_DataFile")),
                          type);
}

}  // namespace velm::test
