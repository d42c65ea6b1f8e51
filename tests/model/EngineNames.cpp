#include "EngineNames.h"

namespace Model::Engine {

HandleWatch::HandleWatch(HandleNames& names, std::string name, Handle const& handle)
    : names_(names), name_(std::move(name)), handle_(&handle) {
  notifierIs(&handle);
  isRegisteredNotifieeIs(true);
  hasNotificationActiveIs(true);
}

void HandleWatch::onAttribute(Vek::AttributeId changed, void const*) {
  if (changed == Handle::hwEntryIndexAttribute) {
    names_.add(name_ + " row " + rowText(handle_->hwEntryIndex()));
  } else if (changed == Handle::entryStateAttribute) {
    names_.add(name_ + " state " + std::to_string(handle_->entryState()));
  } else if (changed == OrviaL3Unicast::L3EcmpGroupTable::EntryHandle::modeAttribute) {
    names_.add(name_ + " mode " + std::to_string(mode()));
  } else {
    names_.add(name_ + " attribute " + std::to_string(changed.value()));
  }
}

void HandleWatch::onZeroReferences() { names_.gone(*this); }

std::string HandleWatch::line() const {
  return name_ + " row " + rowText(handle_->hwEntryIndex()) + " state " +
         std::to_string(handle_->entryState()) + more();
}

std::string HandleNames::of(Handle const* handle) const {
  if (handle == nullptr) return "none";
  auto const found = watches_.find(handle);
  return found != watches_.end() ? found->second->name() : "unnamed";
}

void HandleNames::appendTo(Lines& lines) const {
  for (auto const& [handle, watch] : watches_) lines.push_back(watch->line());
}

void HandleNames::gone(HandleWatch const& watch) {
  add(watch.name() + " gone");
  auto const found = watches_.find(watch.handle());
  // The watch is being called and goes later.
  gone_.push_back(std::move(found->second));
  watches_.erase(found);
}

void HandleNames::watchIs(Vek::Ptr<HandleWatch> const& watch) { watches_[watch->handle()] = watch; }

EngineState::EngineState() {
  for (std::uint32_t n = 0; n < externCount; ++n) {
    externs[n] = TableTests::TestHandle::waiting();
    names.externIs("e" + std::to_string(n), *externs[n]);
  }
}

std::string rowText(Asic::Index row) {
  return row == Asic::Index::invalidIndex() ? "none" : std::to_string(row.value());
}

std::string textOf(HandleNames const& names, HandlePtr const& key) { return names.of(key.get()); }
std::string textOf(HandleNames const&, Asic::L3EcmpNextHopKey const& key) {
  return "k" + std::to_string(key.interfaceIndex());
}
std::string textOf(HandleNames const&, OrviaL3Unicast::L3EcmpGroupTable::Index key) {
  return "g" + std::to_string(key.value());
}
std::string textOf(HandleNames const& names, OrviaL3Unicast::L3EcmpEntryBlock const& block) {
  std::string text = "[";
  for (std::uint32_t position = 0; position < block.blockSize().value(); ++position) {
    if (position != 0) text += ",";
    auto const* const member = block.members().find(position);
    text += member != nullptr ? names.of(member->nextHopEntryHandle().get()) : "-";
  }
  return text + "]";
}

std::string refText(HandleNames const& names, HandlePtr const& handle, Rows rows) {
  std::string text = names.of(handle.get());
  if (handle && rows == Rows::shown) text += "@" + rowText(handle->hwEntryIndex());
  return text;
}
std::string recordText(HandleNames const& names,
                       OrviaL3Unicast::L3EcmpGroupTable::Entry const& record, Rows rows) {
  return refText(names, record.ecmpBlockPtrHandle(), rows) + "/" +
         std::to_string(record.numPaths());
}
std::string recordText(HandleNames const& names, OrviaL3Unicast::L3EcmpMember const& member,
                       Rows rows) {
  return refText(names, member.nextHopEntryHandle(), rows);
}

}  // namespace Model::Engine
