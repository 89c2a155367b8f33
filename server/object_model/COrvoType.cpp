#include "foundation/object_model/COrvoType.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <array>
#include <cstddef>
#include <new>

namespace {

using Handle = ORVSmrPtr<IOrvoType>;

constexpr std::array names{"boolean", "string",   "char16",    "uint8",   "sint8",  "uint16",
                           "sint16",  "uint32",   "sint32",    "uint64",  "sint64", "real32",
                           "real64",  "datetime", "reference", "instance"};

struct Handles {
    std::array<Handle, names.size()> single;
    std::array<Handle, names.size()> arrays;

    Handles() {
        for (std::size_t index = 0; index < names.size(); ++index) {
            single[index] = new COrvoType(names[index], false);
            arrays[index] = new COrvoType(names[index], true);
        }
    }
};

/// Never destroyed: values that outlive main() keep their types.
union Table {
    Handles handles;

    Table() { new (&handles) Handles; }
    // NOLINTNEXTLINE(modernize-use-equals-default): a defaulted destructor of this union would be deleted.
    ~Table() {}
};

// Static objects of other sources may use the types: the references below are bound before the program runs
// at all, and the table is filled before any object that asks for no priority.
[[gnu::init_priority(101)]] Table table;

const ORVString& nameAt(std::size_t index) {
    return static_cast<const COrvoType&>(*table.handles.single[index]).name();
}

std::size_t indexOf(const ORVString& name) {
    std::size_t index = 0;
    while (index < names.size() && !name.equalsIgnoringCase(nameAt(index))) {
        ++index;
    }
    return index;
}

}  // namespace

constinit const Handle& COrvoType::boolean = table.handles.single[0];
constinit const Handle& COrvoType::string = table.handles.single[1];
constinit const Handle& COrvoType::char16 = table.handles.single[2];
constinit const Handle& COrvoType::uint8 = table.handles.single[3];
constinit const Handle& COrvoType::sint8 = table.handles.single[4];
constinit const Handle& COrvoType::uint16 = table.handles.single[5];
constinit const Handle& COrvoType::sint16 = table.handles.single[6];
constinit const Handle& COrvoType::uint32 = table.handles.single[7];
constinit const Handle& COrvoType::sint32 = table.handles.single[8];
constinit const Handle& COrvoType::uint64 = table.handles.single[9];
constinit const Handle& COrvoType::sint64 = table.handles.single[10];
constinit const Handle& COrvoType::real32 = table.handles.single[11];
constinit const Handle& COrvoType::real64 = table.handles.single[12];
constinit const Handle& COrvoType::datetime = table.handles.single[13];
constinit const Handle& COrvoType::reference = table.handles.single[14];
constinit const Handle& COrvoType::instance = table.handles.single[15];

COrvoType::COrvoType(const ORVString& name, bool isArray)
    : _name(name),
      _isReference(!isArray && name.compareTo("reference", ORVString::caseInsensitive) == 0),
      _isArray(isArray) {
}

COrvoType::~COrvoType() = default;

ORVSmrPtr<IOrvoType> COrvoType::fromName(const ORVString& name) {
    std::size_t index = indexOf(name);
    return index < names.size() ? table.handles.single[index] : Handle::none();
}

ORVSmrPtr<IOrvoType> COrvoType::arrayOf(const ORVSmrPtr<IOrvoType>& elementType) {
    std::size_t index = indexOf(elementType->getName());
    if (index == names.size() || elementType->isArray()) {
        throw ORVTypeException("COrvoType::arrayOf", "there are no arrays of '" + elementType->getName() +
                                                         (elementType->isArray() ? "[]'" : "'"));
    }
    return table.handles.arrays[index];
}

ORVString COrvoType::getName() const {
    return _name;
}

bool COrvoType::isReference() const {
    return _isReference;
}

bool COrvoType::isArray() const {
    return _isArray;
}
