#include "agent/fpm/Attributes.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <algorithm>

namespace OrviaL3Agent::Fpm {

void Area::tooSmall(char const* name, std::size_t expected) const {
  throw StreamError(
      offset_, fmt::format("{} bytes are too few for the {} of {} bytes", size(), name, expected));
}

AttributeStep attributeAt(Area const& area) {
  if (area.size() < sizeof(nlattr)) {
    throw StreamError(area.offset(),
                      fmt::format("{} stray bytes where an attribute should start", area.size()));
  }
  // Attributes start at multiples of four from the start of the frame's payload, which is aligned.
  auto const* attr = reinterpret_cast<nlattr const*>(area.bytes().data());
  std::uint16_t const type = mnl_attr_get_type(attr);
  std::size_t const length = mnl_attr_get_len(attr);
  if (!mnl_attr_ok(attr, static_cast<int>(area.size()))) {
    throw StreamError(
        area.offset(),
        length < sizeof(nlattr)
            ? fmt::format("attribute {} has length {}, smaller than its header of {} bytes", type,
                          length, sizeof(nlattr))
            : fmt::format("attribute {} of {} bytes does not fit into the remaining {}", type,
                          length, area.size()));
  }
  AttributeStep step{{type, area.offset(), area.first(length).from(sizeof(nlattr))}, 0};
  // The last attribute may come without its padding.
  step.size = std::min<std::size_t>(MNL_ALIGN(length), area.size());
  return step;
}

void wrongSize(Attribute const& attribute, char const* name, std::string const& expected) {
  throw StreamError(attribute.offset, fmt::format("{} has {} bytes of payload, expected {}", name,
                                                  attribute.payload.size(), expected));
}

std::uint32_t u32Of(Attribute const& attribute, char const* name) {
  std::uint32_t value = 0;
  if (attribute.payload.size() != sizeof value) wrongSize(attribute, name, "4");
  std::memcpy(&value, attribute.payload.bytes().data(), sizeof value);
  return value;
}

std::size_t addressSize(std::uint8_t family) {
  if (family == AF_INET) return 4;
  if (family == AF_INET6) return 16;
  return 0;
}

Address addressOf(Attribute const& attribute, char const* name, std::uint8_t family) {
  std::size_t const size = addressSize(family);
  if (size == 0 || attribute.payload.size() != size) {
    wrongSize(attribute, name, fmt::format("{} for {}", size, familyText(family)));
  }
  Address address;
  address.family = family;
  std::memcpy(address.bytes.data(), attribute.payload.bytes().data(), size);
  return address;
}

Address addressOf(Attribute const& attribute, char const* name) {
  for (auto const family : {std::uint8_t{AF_INET}, std::uint8_t{AF_INET6}}) {
    if (attribute.payload.size() == addressSize(family)) return addressOf(attribute, name, family);
  }
  wrongSize(attribute, name, "4 or 16");
}

}  // namespace OrviaL3Agent::Fpm
