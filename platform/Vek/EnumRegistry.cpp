#include "Vek/EnumRegistry.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "Vek/Exception.h"
#include "Vek/TextParser.h"

namespace Vek {
namespace {

// Function-local: enums are registered from static initialisers of other shared objects.
std::vector<EnumType const*>& registeredEnums() {
  static auto* enums = new std::vector<EnumType const*>;  // lives until exit, for late readers
  return *enums;
}

EnumType const& expectEnum(VekModule const* module, std::uint16_t ordinal) {
  EnumType const* const type = enumType(module, ordinal);
  if (type == nullptr) {
    throw Exception("no enum " + std::to_string(ordinal) + " is known in " +
                    (module != nullptr ? "module " + std::string(module->name) : "no module"));
  }
  return *type;
}

EnumValue const& expectValue(EnumType const& type, std::uint32_t number) {
  for (EnumValue const& value : type.values) {
    if (value.number == number) return value;
  }
  throw Exception(std::string(type.name) + " has no value " + std::to_string(number));
}

EnumValue const* valueOfName(EnumType const& type, std::string_view name) {
  for (EnumValue const& value : type.values) {
    if (value.name == name) return &value;
  }
  return nullptr;
}

std::string noValueText(EnumType const& type, std::string const& name) {
  return std::string(type.name) + " has no value '" + name + "'";
}

}  // namespace

void enumTypeIs(EnumType const* type) {
  EnumType const* const known = enumType(type->module, type->ordinal);
  if (known == nullptr) {
    registeredEnums().push_back(type);
  } else if (std::string_view(known->name) != type->name) {
    throw Exception("enum " + std::to_string(type->ordinal) + " of module " + type->module->name +
                    " is " + known->name + " and cannot be " + type->name);
  }
}

EnumType const* enumType(VekModule const* module, std::uint16_t ordinal) {
  for (EnumType const* type : registeredEnums()) {
    if (type->module == module && type->ordinal == ordinal) return type;
  }
  return nullptr;
}

std::vector<EnumType const*> enumTypes() { return registeredEnums(); }

std::uint32_t enumInstance(VekModule const* module, std::uint16_t ordinal, std::uint32_t number) {
  return expectValue(expectEnum(module, ordinal), number).number;
}

std::uint32_t enumInstance(VekModule const* module, std::uint16_t ordinal, String const& name) {
  EnumType const& type = expectEnum(module, ordinal);
  EnumValue const* const value = valueOfName(type, name.str());
  if (value == nullptr) throw Exception(noValueText(type, name));
  return value->number;
}

String enumText(VekModule const* module, std::uint16_t ordinal, std::uint32_t number) {
  return expectValue(expectEnum(module, ordinal), number).name;
}

std::uint32_t enumFromText(VekModule const* module, std::uint16_t ordinal,
                           String::IteratorConst& begin, String::IteratorConst const& end) {
  EnumType const& type = expectEnum(module, ordinal);
  TextParser parser(begin, end);
  parser.skipBlanks();
  std::size_t const position = parser.position();
  String::IteratorConst const start = begin;
  std::string const name = parser.name();
  EnumValue const* const value = valueOfName(type, name);
  if (value == nullptr) {
    begin = start;
    throw TextException(noValueText(type, name), position);
  }
  return value->number;
}

}  // namespace Vek
