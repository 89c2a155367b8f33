#pragma once

#include "CIMOM_Indications/CIMOMClass.h"
#include "CIMOM_Indications/CIMOMIndicationFilter.h"

#include <string>
#include <utility>
#include <vector>

namespace velm::test {

/// A class tree built by hand, taken down at the end so that its circles of handles leave nothing behind.
class ClassTree {
public:
    ClassTree() = default;
    ClassTree(const ClassTree&) = delete;
    ClassTree& operator=(const ClassTree&) = delete;
    ~ClassTree();

    /// A new node below `base`, or a root.
    ORVSmrPtr<CCIMOMClass> add(const char* name, const ORVSmrPtr<CCIMOMClass>& base = nullptr);

private:
    std::vector<ORVSmrPtr<CCIMOMClass>> _nodes;
};

/// CIM_Element with the subclasses CIM_File, above CIM_DataFile, and CIM_Directory.
struct FileTree {
    ClassTree tree;
    ORVSmrPtr<CCIMOMClass> element = tree.add("CIM_Element");
    ORVSmrPtr<CCIMOMClass> file = tree.add("CIM_File", element);
    ORVSmrPtr<CCIMOMClass> dataFile = tree.add("CIM_DataFile", file);
    ORVSmrPtr<CCIMOMClass> directory = tree.add("CIM_Directory", element);
};

/// A filter with any type and answer, which notes that it was asked.
class ScriptedFilter : public CCIMOMIndicationFilter {
public:
    explicit ScriptedFilter(FilterType type, bool answer = true);
    /// Appends `name` to `asked` whenever it is asked to match.
    ScriptedFilter(FilterType type, std::string name, std::vector<std::string>& asked);
    ~ScriptedFilter() override;

    bool match(const ORVSmrPtr<IOrvoIndication>& indication) override;

private:
    bool _answer;
    std::string _name;
    std::vector<std::string>* _asked = nullptr;
};

/// A filter of the given class behind the handle type that the registry takes.
template <class Filter, class... Arguments>
ORVSmrPtr<CCIMOMIndicationFilter> makeFilter(Arguments&&... arguments) {
    return ORVSmrPtr<CCIMOMIndicationFilter>(new Filter(std::forward<Arguments>(arguments)...));
}

/// A filter of an association kind whose ends carry no keys.
template <class Filter>
ORVSmrPtr<CCIMOMIndicationFilter> makeFilterBetween(const ORVSmrPtr<CCIMOMClass>& one,
                                                    const ORVSmrPtr<CCIMOMClass>& two) {
    return makeFilter<Filter>(one, ORVString(), two, ORVString());
}

/// The association of a directory and a file as an indication of `type`.
ORVSmrPtr<IOrvoIndication> makeContainment(IOrvoIndication::IndicationType type);

}  // namespace velm::test
