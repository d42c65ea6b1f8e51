#include "OrviaAsicUtils/SwTable.h"
#include "OrviaAsicUtils/SwTableUtil.h"
#include "OrviaAsicUtils/WriteResponseSm.h"
#include "Vek/PlatformModules.h"

namespace OrviaAsicUtils {

SwTable::SwTable(Vek::String const& name) : Asic::SwTable(name) {}
SwTable::~SwTable() {
  while (WriteResponseSm* reactor = writeResponseSms_.first()) {
    writeResponseSms_.remove(*reactor);
    reactor->table_ = nullptr;
  }
}
Vek::ChainHook<WriteResponseSm>& SwTable::WriteResponseHook::of(WriteResponseSm& reactor) {
  return reactor.hook_;
}
Vek::VekType SwTable::fwkType() const { return classType(); }
Vek::VekType SwTable::classType() { return {&asicUtilsModule, AsicUtilsNumbers::swTable}; }

void SwTable::doCreateHwTable() {}
void SwTable::doCreateHwTableResponse() {}
bool SwTable::responseNeeded() const { return false; }
void SwTable::doInitComplete() {}
void SwTable::syncEntries() {}
Vek::Ptr<SwTable::EntryHandle const> SwTable::getEntryHandle(Vek::Ptr<Vek::GenericIf const>) const {
  return {};
}
Vek::Ptr<SwTable::EntryHandle> SwTable::entryHandleOfRow(Asic::Index) const { return {}; }

void SwTable::hwTableIs(Vek::Ptr<Asic::HwTable> const& hwTable) {
  if (hwTable_ == hwTable) return;
  Vek::Ptr<Asic::HwTable> old = hwTable;
  old.swap(hwTable_);
  announce(hwTableAttribute);
}

void SwTable::hwTableReadyIs(bool ready) {
  if (hwTableReady_ == ready) return;
  hwTableReady_ = ready;
  announce(hwTableReadyAttribute);
}

void SwTable::utilIs(Vek::Ptr<SwTableUtil> const& util) {
  if (util_ == util) return;
  Vek::Ptr<SwTableUtil> old = util;
  old.swap(util_);
  ++utilVersion_;
  announce(utilAttribute);
}

void SwTable::numEntriesIs(std::uint32_t rows) {
  if (numEntries_ == rows) return;
  numEntries_ = rows;
  announce(numEntriesAttribute);
}

Vek::VekType SwTableUtil::fwkType() const { return classType(); }
Vek::VekType SwTableUtil::classType() { return {&asicUtilsModule, AsicUtilsNumbers::swTableUtil}; }
SwTableUtil::~SwTableUtil() = default;
void SwTableUtil::doCreateHwTable(Vek::Ptr<SwTable>) {}
void SwTableUtil::doCreateHwTableResponse(Vek::Ptr<SwTable>) {}
void SwTableUtil::doDeleteHwTable(Vek::Ptr<SwTable>) {}
void SwTableUtil::doInitComplete(Vek::Ptr<SwTable>) {}
void SwTableUtil::doReadEntry(void const*, Vek::Ptr<Asic::HwTable const>) {}
void SwTableUtil::doResync(Vek::Ptr<Asic::HwTable const>, Vek::Ptr<SwTable>) {}
void const* SwTableUtil::swTableKeyPtr(void const*) const { return nullptr; }
void SwTableUtil::doNotifyReadResponse(void const*, Vek::Ptr<Asic::HwTable const>,
                                       Vek::Ptr<SwTable>) {}

Vek::Ptr<WriteResponseSm> WriteResponseSm::WriteResponseSmIs(Vek::Ptr<SwTable> const& table) {
  return new WriteResponseSm(table.get());
}

WriteResponseSm::WriteResponseSm(SwTable* table) : table_(table) {
  if (table_ == nullptr) return;
  table_->writeResponseSms_.append(*this);
  notifierIs(table_->hwTable().get());
  isRegisteredNotifieeIs(true);
}

WriteResponseSm::~WriteResponseSm() {
  if (table_ != nullptr) table_->writeResponseSms_.remove(*this);
}
Vek::VekType WriteResponseSm::fwkType() const { return classType(); }
Vek::VekType WriteResponseSm::classType() {
  return {&asicUtilsModule, AsicUtilsNumbers::writeResponseSm};
}

void WriteResponseSm::onAttribute(Vek::AttributeId attributeId, void const* key) {
  if (attributeId != Asic::HwTable::writeResponseAttribute || key == nullptr) return;
  if (markedForDeletion() || table_ == nullptr) return;
  auto const response = *static_cast<Asic::HwTable::WriteResponse const*>(key);
  Vek::Ptr<Asic::SwTable::EntryHandle> const handle = table_->entryHandleOfRow(response.row);
  if (!handle) return;
  handle->hwEntryIndexIs(response.row);
  handle->entryStateIs(response.state);
}

}  // namespace OrviaAsicUtils
