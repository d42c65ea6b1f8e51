// Attributes and operations by name: what a module's table says about a type, and the generic
// operations that work over it.
//
//   Vek::Value table = Vek::Value::object(type, pointer);
//   Vek::VekAttribute const& rows = Vek::attributeNamed(table, "numEntries");
//   Vek::Value before = Vek::attributeOperation(table, rows.id, Vek::AttributeOperation::read);
//   for (Vek::AttributeIterator i(table, Vek::attributeNamed(table, "entry")); i; ++i) ...
//
// Each class or value type has one constant table: a row for each attribute, and one for each
// operation. Vek/ReflectBuild.h makes rows from members and setters. An attribute that all classes
// of a base have stands in the base's table and is found through VekTypeInfo::base.
//
// Vek/Walker.h does the same by paths of names. One thread, as everything in the agent's reactor.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

#include "Vek/ReflectException.h"
#include "Vek/Value.h"

namespace Vek {

// One attribute. What cannot be done with it is none. A collection has a key type, and the element
// functions instead of read and write.
//
// The functions get the object as the address of its PtrInterface part, or of the value, and trust
// that types were checked: call them through attributeOperation.
struct VekAttribute {
  AttributeId id;
  char const* name;
  VekType type;     // of the value, or of the elements: a value type, or a class for references
  VekType keyType;  // of the keys; none for what is no collection
  Value (*read)(void const* object) = nullptr;
  void (*write)(void* object, Value const& value) = nullptr;
  // The element under the key, or nothing.
  Value (*elementRead)(void const* object, Value const& key) = nullptr;
  void (*elementWrite)(void* object, Value const& key, Value const& value) = nullptr;
  void (*elementDelete)(void* object, Value const& key) = nullptr;
  std::size_t (*count)(void const* object) = nullptr;
  // The keys of the moment, in the order of the collection: at most `most`, the first `first` left
  // out.
  std::vector<Value> (*keys)(void const* object, std::size_t first, std::size_t most) = nullptr;
  // What elementWrite takes when it is no element: the object makes its elements itself, each from
  // a value of this type. None for all others, which are written with what they are read as.
  VekType madeFrom{};

  [[nodiscard]] constexpr bool isCollection() const { return keyType.module != nullptr; }
  [[nodiscard]] constexpr bool isReadable() const {
    return read != nullptr || elementRead != nullptr;
  }
  [[nodiscard]] constexpr bool isIterable() const {
    return keys != nullptr && elementRead != nullptr;
  }
  [[nodiscard]] constexpr bool isWritable() const {
    return write != nullptr || elementWrite != nullptr;
  }
  [[nodiscard]] constexpr bool isDeletable() const { return elementDelete != nullptr; }
  // The type of the values that it is written with.
  [[nodiscard]] constexpr VekType writtenType() const {
    return madeFrom.module != nullptr ? madeFrom : type;
  }
};

struct VekArgument {
  char const* name = nullptr;
  VekType type;
};

// One operation. Those without arguments can be called.
struct VekOperation {
  char const* name;
  VekType result;  // none when nothing is returned
  std::array<VekArgument, 4> argumentRows{};
  Value (*call)(void* object) = nullptr;
  // The object is of no use any more afterwards: nothing to offer to an operator of a live system.
  bool endsObject = false;

  [[nodiscard]] constexpr std::span<VekArgument const> arguments() const {
    std::size_t count = 0;
    while (count < argumentRows.size() && argumentRows[count].name != nullptr) ++count;
    return {argumentRows.data(), count};
  }
};

struct VekReflection {
  std::span<VekAttribute const> attributes;
  std::span<VekOperation const> operations;
};

// --- The catalogue.

// Every type of every module: the platform's modules first, then the registered ones.
VEK_EXPORT std::vector<VekType> vekTypes();
// The modules in that order.
VEK_EXPORT std::vector<VekModule const*> reflectedModules();
// The type of that qualified name, or none.
VEK_EXPORT VekType vekTypeNamed(std::string_view name);

// An attribute or an operation and the type in whose table it stands.
struct OwnedAttribute {
  VekAttribute const* attribute;
  VekType owner;
};
struct OwnedOperation {
  VekOperation const* operation;
  VekType owner;
};
// What objects of the type have: the type's own rows first, then those of its bases.
VEK_EXPORT std::vector<OwnedAttribute> attributesOf(VekType type);
VEK_EXPORT std::vector<OwnedOperation> operationsOf(VekType type);

// The row of that name or number: the type's own, or else that of its nearest base; none when there
// is none.
VEK_EXPORT VekAttribute const* findAttribute(VekType type, std::string_view name);
VEK_EXPORT VekAttribute const* findAttribute(VekType type, AttributeId id);
VEK_EXPORT VekOperation const* findOperation(VekType type, std::string_view name);
// The same for what a Value holds; raises ReflectionException naming type and attribute.
VEK_EXPORT VekAttribute const& attributeNamed(Value const& object, std::string_view name);
VEK_EXPORT VekOperation const& operationNamed(Value const& object, std::string_view name);

// --- The generic operations.

enum class AttributeOperation : std::uint8_t {
  read,
  write,
  elementRead,
  elementWrite,
  elementDelete,
  count,
};

// Does one thing with one attribute of what `object` holds; a value changes in place, inside
// `object`. Returns what a read gives (nothing for an element that is not there), or the count as a
// 32-bit number. Raises ReflectionException naming type and attribute when there is no such
// attribute, when the attribute does not offer the operation (ReadOnlyException for a change), or
// when `in` or `key` is not of the attribute's types. What the setter itself raises passes.
VEK_EXPORT Value attributeOperation(Value& object, AttributeId id, AttributeOperation operation,
                                    Value const& in = {}, Value const& key = {});

// Calls an operation that takes no arguments; raises ReflectionException for one that does.
VEK_EXPORT Value callOperation(Value& object, std::string_view name);

// Goes over a collection's elements: those that are there when it is made, in the order of the
// collection; of a large one a part. Elements may come and go meanwhile: those that went are
// skipped when it is their turn, those that come are not visited. `object` must outlive it.
class VEK_EXPORT AttributeIterator {
 public:
  static constexpr std::size_t all = std::numeric_limits<std::size_t>::max();

  // At most `most` elements, behind the first `first`.
  AttributeIterator(Value& object, VekAttribute const& attribute, std::size_t first = 0,
                    std::size_t most = all);

  // To the next element that is still there, or behind the last, where it stays.
  AttributeIterator& operator++();
  // Whether it stands at an element rather than behind the last. It does so also when that element
  // has gone since it came here.
  explicit operator bool() const { return position_ < keys_.size(); }
  // The key of the element; nothing behind the last.
  [[nodiscard]] Value key() const { return *this ? keys_[position_] : Value(); }
  // The element; nothing when it has gone, and behind the last.
  [[nodiscard]] Value object() const;
  // Deletes the element; the iterator stays where it is, and an element that has gone is none to
  // delete. Raises ReadOnlyException when elements of the collection cannot be deleted,
  // ReflectionException behind the last.
  void del();

 private:
  void skipGone();

  Value* object_;
  VekAttribute const* attribute_;
  std::vector<Value> keys_;
  std::size_t position_ = 0;
};

}  // namespace Vek
