#include "Asic/Feature.h"
#include "Asic/HwTable.h"
#include "Asic/SwTable.h"
#include "Vek/PlatformModules.h"

namespace Asic {

Vek::VekType HwTable::fwkType() const { return classType(); }
Vek::VekType HwTable::classType() { return {&asicModule, AsicNumbers::hwTable}; }
HwTable::~HwTable() = default;

void HwTable::writeResponseIs(Index row, EntryState state) {
  WriteResponse const response{row, state};
  announce(writeResponseAttribute, &response);
}

Vek::VekType Feature::fwkType() const { return classType(); }
Vek::VekType Feature::classType() { return {&asicModule, AsicNumbers::feature}; }
Feature::~Feature() = default;
Vek::String Feature::featureName() const { return name(); }
bool Feature::shared(Vek::VekType) const { return false; }

Vek::VekType SwTable::fwkType() const { return classType(); }
Vek::VekType SwTable::classType() { return {&asicModule, AsicNumbers::swTable}; }
SwTable::~SwTable() = default;

Vek::VekType SwTable::EntryHandle::fwkType() const { return classType(); }
Vek::VekType SwTable::EntryHandle::classType() { return {&asicModule, AsicNumbers::entryHandle}; }
SwTable::EntryHandle::~EntryHandle() = default;

}  // namespace Asic
