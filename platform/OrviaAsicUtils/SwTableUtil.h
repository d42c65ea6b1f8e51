// The base of the per-table utilities: where a table's hardware access lives.
//
// Each table has a utility class of its own that adds seven hardware-facing operations; a
// hardware-specific plug-in implements them.
#pragma once

#include "Asic/Feature.h"
#include "OrviaAsicUtils/SwTable.h"

namespace OrviaAsicUtils {

class VEK_EXPORT SwTableUtil : public Asic::Feature {
 public:
  [[nodiscard]] Vek::VekType fwkType() const override;
  ~SwTableUtil() override;

  // The virtual operations from here on keep this order. The tables call none of them; the platform
  // of a device that creates its hardware tables through the utility overrides what it needs.
  virtual void doCreateHwTable(Vek::Ptr<SwTable> swTable);
  virtual void doCreateHwTableResponse(Vek::Ptr<SwTable> swTable);
  virtual void doDeleteHwTable(Vek::Ptr<SwTable> swTable);
  virtual void doInitComplete(Vek::Ptr<SwTable> swTable);
  virtual void doReadEntry(void const* keyPointer, Vek::Ptr<Asic::HwTable const> hwTable);
  virtual void doResync(Vek::Ptr<Asic::HwTable const> hwTable, Vek::Ptr<SwTable> swTable);
  // The software key behind a hardware key, or none.
  [[nodiscard]] virtual void const* swTableKeyPtr(void const* hwTableKey) const;
  virtual void doNotifyReadResponse(void const* keyPointer, Vek::Ptr<Asic::HwTable const> hwTable,
                                    Vek::Ptr<SwTable> swTable);

  static Vek::VekType classType();

 protected:
  explicit SwTableUtil(Vek::String const& name) : Feature(name) {}
};

}  // namespace OrviaAsicUtils
