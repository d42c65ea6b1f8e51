#include "EngineTable.h"

namespace Model::Engine {

std::string attributeName(Vek::AttributeId attribute) {
  using Attribute = OrviaL3Unicast::engine::TableAttribute;
  using IngressAttribute = OrviaL3Unicast::engine::KeyRowTableAttribute;
  using Base = OrviaAsicUtils::SwTable;
  if (attribute == Attribute::entry) return "entry";
  if (attribute == Attribute::entryHandle || attribute == IngressAttribute::entryHandle) {
    return "entryHandle";
  }
  if (attribute == Attribute::rawEntryHandle) return "rawEntryHandle";
  if (attribute == Attribute::unresolvedEntry) return "unresolvedEntry";
  if (attribute == Attribute::pendingEntrySm) return "pendingEntrySm";
  if (attribute == Attribute::writeResponseSm) return "writeResponseSm";
  if (attribute == Attribute::firstFreeIndexAllocator) return "firstFreeIndexAllocator";
  if (attribute == Attribute::indexAllocator) return "indexAllocator";
  if (attribute == Attribute::entryBlock) return "entryBlock";
  if (attribute == Attribute::unresolvedEntryBlock) return "unresolvedEntryBlock";
  if (attribute == Base::hwTableAttribute) return "hwTable";
  if (attribute == Base::hwTableReadyAttribute) return "hwTableReady";
  return "attribute " + std::to_string(attribute.value());
}

}  // namespace Model::Engine
