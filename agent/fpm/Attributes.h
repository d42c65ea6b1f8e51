// Checked access to the bytes of a netlink message: internal to agent/fpm.
//
// `Area` is a piece of a frame's payload that knows where it lies in the stream, so that every
// complaint can name its offset. `forEachAttribute` walks the attributes of an area with libmnl and
// refuses what does not fit; the `...Of` functions read one attribute after checking the size of
// its payload.
//
// Threading: none of this keeps state. Ownership: an area only refers to the frame's bytes.
#pragma once

#include <libmnl/libmnl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

#include "agent/fpm/Messages.h"
#include "agent/fpm/StreamError.h"

namespace OrviaL3Agent::Fpm {

class Area {
 public:
  Area(std::span<std::byte const> bytes, std::uint64_t offset) : bytes_(bytes), offset_(offset) {}

  [[nodiscard]] std::span<std::byte const> bytes() const { return bytes_; }
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] std::uint64_t offset() const { return offset_; }
  // The same area without its first `count` bytes; empty when it has no more than that.
  [[nodiscard]] Area from(std::size_t count) const {
    std::size_t const skipped = count < size() ? count : size();
    return {bytes_.subspan(skipped), offset_ + skipped};
  }
  [[nodiscard]] Area first(std::size_t count) const { return {bytes_.first(count), offset_}; }

  // A header at the start of the area. Throws StreamError when the area is smaller than it.
  template <class Header>
  [[nodiscard]] Header header(char const* name) const {
    if (size() < sizeof(Header)) tooSmall(name, sizeof(Header));
    Header header;
    std::memcpy(&header, bytes_.data(), sizeof header);
    return header;
  }

 private:
  [[noreturn]] void tooSmall(char const* name, std::size_t expected) const;

  std::span<std::byte const> bytes_;
  std::uint64_t offset_;
};

// One attribute: its number without the flag bits, and its payload.
struct Attribute {
  std::uint16_t type = 0;
  std::uint64_t offset = 0;  // of the attribute's header
  Area payload;
};

// The attribute at the start of the area, and how far the next one is. Throws StreamError when the
// area has no room for it.
struct AttributeStep {
  Attribute attribute;
  std::size_t size;
};
[[nodiscard]] AttributeStep attributeAt(Area const& area);

template <class Use>
void forEachAttribute(Area area, Use use) {
  while (area.size() > 0) {
    AttributeStep const step = attributeAt(area);
    use(step.attribute);
    area = area.from(step.size);
  }
}

// Throws StreamError: `name` has `size` bytes of payload, expected otherwise.
[[noreturn]] void wrongSize(Attribute const& attribute, char const* name,
                            std::string const& expected);

[[nodiscard]] std::uint32_t u32Of(Attribute const& attribute, char const* name);
[[nodiscard]] Address addressOf(Attribute const& attribute, char const* name, std::uint8_t family);
// An address whose family shows in its size alone.
[[nodiscard]] Address addressOf(Attribute const& attribute, char const* name);

// Bytes of an address of the family; 0 for families that have none here.
[[nodiscard]] std::size_t addressSize(std::uint8_t family);

}  // namespace OrviaL3Agent::Fpm
