#include "Vek/Reflect.h"

#include <algorithm>
#include <string>

#include "Vek/PlatformModules.h"

namespace Vek {
namespace {

std::string described(VekType type) {
  std::string const name = type.name();
  if (!name.empty()) return name;
  return type.module == nullptr ? "nothing" : "type " + std::to_string(type.number);
}

std::string where(VekType type, VekAttribute const& attribute) {
  return described(type) + "." + attribute.name;
}

// The rows of a kind that a type has, its own before those of its bases.
template <class Row, std::span<Row const> VekReflection::*Rows, class Visit>
void forEachRow(VekType type, Visit const& visit) {
  for (VekTypeInfo const* info = type.info(); info != nullptr; info = type.info()) {
    if (info->reflection != nullptr) {
      for (Row const& row : info->reflection->*Rows) visit(row, type);
    }
    type = info->base;
  }
}

template <class Row, std::span<Row const> VekReflection::*Rows, class Is>
Row const* findRow(VekType type, Is const& is) {
  Row const* found = nullptr;
  forEachRow<Row, Rows>(type, [&](Row const& row, VekType) {
    if (found == nullptr && is(row)) found = &row;
  });
  return found;
}

// The address that the functions of a row take, for reading and for changing.
void const* addressOf(Value const& value) {
  return value.isObject() ? static_cast<void const*>(value.object()) : value.data();
}
void* addressForChange(Value& value) {
  return value.isObject() ? static_cast<void*>(const_cast<PtrInterface*>(value.object()))
                          : value.change();
}

void requireSomething(Value const& object) {
  if (addressOf(object) == nullptr) {
    throw ReflectionException("there is no " + described(object.type()) + " here");
  }
}

void requireType(VekType expected, Value const& value, std::string const& place, char const* what) {
  bool const fits =
      expected.valueOps() != nullptr
          ? !value.isObject() && value.type() == expected
          // An empty reference is one to the class that it was made for.
          : value.isObject() &&
                (value.object() == nullptr ? value.type() : value.objectType()).isA(expected);
  if (fits) return;
  throw ReflectionException(place + ": the " + what + " must be of type " + described(expected) +
                            ", not " + described(value.objectType()));
}

[[noreturn]] void refuse(std::string const& place, AttributeOperation operation) {
  switch (operation) {
    case AttributeOperation::write:
      throw ReadOnlyException(place + " can only be read");
    case AttributeOperation::elementWrite:
      throw ReadOnlyException(place + ": elements cannot be set");
    case AttributeOperation::elementDelete:
      throw ReadOnlyException(place + ": elements cannot be deleted");
    case AttributeOperation::read:
      throw ReflectionException(place + " is a collection: name an element");
    case AttributeOperation::elementRead:
    case AttributeOperation::count:
      break;
  }
  throw ReflectionException(place + " is no collection");
}

}  // namespace

std::vector<VekModule const*> reflectedModules() {
  std::vector<VekModule const*> modules{&vekModule, &Asic::asicModule,
                                        &OrviaAsicUtils::asicUtilsModule, &Loader::loaderModule};
  for (VekModule const* module : vekModules()) {
    if (std::find(modules.begin(), modules.end(), module) == modules.end()) {
      modules.push_back(module);
    }
  }
  return modules;
}

std::vector<VekType> vekTypes() {
  std::vector<VekType> types;
  for (VekModule const* module : reflectedModules()) {
    for (VekTypeInfo const& info : module->types) types.push_back({module, info.number});
  }
  return types;
}

VekType vekTypeNamed(std::string_view name) {
  for (VekType const type : vekTypes()) {
    if (name == type.name()) return type;
  }
  return {};
}

std::vector<OwnedAttribute> attributesOf(VekType type) {
  std::vector<OwnedAttribute> rows;
  forEachRow<VekAttribute, &VekReflection::attributes>(type,
                                                       [&](VekAttribute const& row, VekType owner) {
                                                         rows.push_back({&row, owner});
                                                       });
  return rows;
}

std::vector<OwnedOperation> operationsOf(VekType type) {
  std::vector<OwnedOperation> rows;
  forEachRow<VekOperation, &VekReflection::operations>(type,
                                                       [&](VekOperation const& row, VekType owner) {
                                                         rows.push_back({&row, owner});
                                                       });
  return rows;
}

VekAttribute const* findAttribute(VekType type, std::string_view name) {
  return findRow<VekAttribute, &VekReflection::attributes>(
      type, [&](VekAttribute const& row) { return name == row.name; });
}

VekAttribute const* findAttribute(VekType type, AttributeId id) {
  return findRow<VekAttribute, &VekReflection::attributes>(
      type, [&](VekAttribute const& row) { return id == row.id; });
}

VekOperation const* findOperation(VekType type, std::string_view name) {
  return findRow<VekOperation, &VekReflection::operations>(
      type, [&](VekOperation const& row) { return name == row.name; });
}

VekAttribute const& attributeNamed(Value const& object, std::string_view name) {
  VekType const type = object.objectType();
  if (VekAttribute const* const found = findAttribute(type, name)) return *found;
  throw ReflectionException(described(type) + " has no attribute '" + std::string(name) + "'");
}

VekOperation const& operationNamed(Value const& object, std::string_view name) {
  VekType const type = object.objectType();
  if (VekOperation const* const found = findOperation(type, name)) return *found;
  throw ReflectionException(described(type) + " has no operation '" + std::string(name) + "'");
}

Value attributeOperation(Value& object, AttributeId id, AttributeOperation operation,
                         Value const& in, Value const& key) {
  requireSomething(object);
  VekType const type = object.objectType();
  VekAttribute const* const found = findAttribute(type, id);
  if (found == nullptr) {
    throw ReflectionException(described(type) + " has no attribute " + std::to_string(id.value()));
  }
  VekAttribute const& row = *found;
  std::string const place = where(type, row);
  // A setter may drop the last other reference.
  Ptr<PtrInterface const> const alive(object.object());
  switch (operation) {
    case AttributeOperation::read:
      if (row.read == nullptr) break;
      return row.read(addressOf(object));
    case AttributeOperation::write:
      if (row.write == nullptr) break;
      requireType(row.type, in, place, "value");
      row.write(addressForChange(object), in);
      return {};
    case AttributeOperation::elementRead:
      if (row.elementRead == nullptr) break;
      requireType(row.keyType, key, place, "key");
      return row.elementRead(addressOf(object), key);
    case AttributeOperation::elementWrite:
      if (row.elementWrite == nullptr) break;
      requireType(row.keyType, key, place, "key");
      requireType(row.writtenType(), in, place, "value");
      row.elementWrite(addressForChange(object), key, in);
      return {};
    case AttributeOperation::elementDelete:
      if (row.elementDelete == nullptr) break;
      requireType(row.keyType, key, place, "key");
      row.elementDelete(addressForChange(object), key);
      return {};
    case AttributeOperation::count:
      if (row.count == nullptr) break;
      return Value::of(static_cast<std::uint32_t>(row.count(addressOf(object))));
  }
  refuse(place, operation);
}

Value callOperation(Value& object, std::string_view name) {
  requireSomething(object);
  VekOperation const& row = operationNamed(object, name);
  if (row.call == nullptr) {
    throw ReflectionException(described(object.objectType()) + "." + row.name + " takes arguments");
  }
  Ptr<PtrInterface const> const alive(object.object());
  return row.call(addressForChange(object));
}

AttributeIterator::AttributeIterator(Value& object, VekAttribute const& attribute,
                                     std::size_t first, std::size_t most)
    : object_(&object), attribute_(&attribute) {
  requireSomething(object);
  if (attribute.keys == nullptr) {
    refuse(where(object.objectType(), attribute), AttributeOperation::count);
  }
  keys_ = attribute.keys(addressOf(object), first, most);
}

AttributeIterator& AttributeIterator::operator++() {
  ++position_;
  skipGone();
  return *this;
}

void AttributeIterator::skipGone() {
  while (*this && object().isNone()) ++position_;
}

Value AttributeIterator::object() const {
  if (!*this) return {};
  return attribute_->elementRead(addressOf(*object_), key());
}

void AttributeIterator::del() {
  if (!*this) {
    throw ReflectionException(where(object_->objectType(), *attribute_) +
                              ": there is no element behind the last");
  }
  attributeOperation(*object_, attribute_->id, AttributeOperation::elementDelete, {}, key());
}

}  // namespace Vek
