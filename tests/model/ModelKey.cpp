#include "ModelKey.h"

#include "ModelHandle.h"

namespace Model {

Key::~Key() {
  for (HandlePtr& member : handles_) member.reset();
}

void Key::swap(Key& other) noexcept {
  std::swap(type_, other.type_);
  std::swap(number_, other.number_);
  handles_.swap(other.handles_);
}

std::string Key::text() const {
  if (type_ == Type::extern_) return handle()->name();
  if (type_ == Type::hop) return "k" + std::to_string(number_);
  if (type_ == Type::group) return "g" + std::to_string(number_);
  std::string text;
  for (HandlePtr const& member : handles_) {
    if (!text.empty()) text += ',';
    text += member ? member->name() : "-";
  }
  return "[" + text + "]";
}

std::string Key::abortText() const {
  if (type_ == Type::extern_) return "<address>";
  if (type_ == Type::hop) return "vrf 0 inet dev " + std::to_string(number_);
  if (type_ == Type::group) return std::to_string(number_);
  return "Value('OrviaL3Unicast::L3EcmpMemberTable::EntryBlock', ** {'blockSize': " +
         std::to_string(width()) + ", 'entryInternal': None})";
}

Record::~Record() {
  for (auto at = needed_.rbegin(); at != needed_.rend(); ++at) at->second.reset();
}

void Record::swap(Record& other) noexcept {
  std::swap(type_, other.type_);
  needed_.swap(other.needed_);
  std::swap(number_, other.number_);
}

std::string Record::text(bool rows) const {
  auto const slot = [&](int number) {
    auto const found = needed_.find(number);
    if (found == needed_.end()) return std::string("none");
    return rows ? found->second->hardwareText() : found->second->name();
  };
  std::string const handles = type_ == Type::group ? slot(3) : slot(9) + "/" + slot(12);
  return handles + "/" + std::to_string(number_);
}

}  // namespace Model
