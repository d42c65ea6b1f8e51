// One reflected value in transit: what an attribute was read as, what it is to be set to, the key
// of a collection's element, an operation's result.
//
//   Vek::Value value = Vek::Value::of(Asic::Index(7));
//   if (auto const* row = value.as<Asic::Index>()) ...
//   Vek::Value handle = Vek::Value::object(Asic::SwTable::EntryHandle::classType(), pointer);
//
// A Value is nothing, a copy of a value type's value, or a counted reference to an object of a
// class (which can be empty). It says which of them by a VekType, and handles the copy through that
// type's operations: whoever has a Value knows neither the language type nor the shared object that
// it comes from. Copies of a Value share what they hold until one of them is changed.
//
// One thread.
#pragma once

#include <memory>
#include <string_view>

#include "Vek/PtrInterface.h"
#include "Vek/String.h"
#include "Vek/ValueType.h"

namespace Vek {

class VEK_EXPORT Value {
 public:
  // Nothing: no such element, or the result of an operation that has none.
  Value() = default;
  // A copy of a value of that type, which has value operations; raises Exception otherwise.
  Value(VekType type, void const* value);
  template <class T>
  static Value of(T const& value) {
    return Value(VekTypeOf<T>::type, &value);
  }
  // A reference to an object of the class, or an empty one.
  static Value object(VekType type, PtrInterface const* object);
  // What default construction gives. Raises Exception for a type that has none.
  static Value defaultOf(VekType type);
  // What the text says. Raises ReflectionException when values of the type cannot be read from
  // text, without trying; what the type's own reading raises passes.
  static Value parsed(VekType type, std::string_view text);

  [[nodiscard]] bool isNone() const { return type_ == VekType(); }
  // A reference to an object, also an empty one.
  [[nodiscard]] bool isObject() const { return isObject_; }
  // The value's type, or the class that the reference was made for. The object's own class may
  // derive from it: see objectType().
  [[nodiscard]] VekType type() const { return type_; }
  // The type whose attributes this has: that of the value, or of the object itself.
  [[nodiscard]] VekType objectType() const;
  // The referred object, or none.
  [[nodiscard]] PtrInterface const* object() const { return object_.get(); }
  template <class T>
  [[nodiscard]] T const* objectAs() const {
    return vekCast<T>(object_.get());
  }
  // The value when it is of T's type, else none.
  template <class T>
  [[nodiscard]] T const* as() const {
    return !isObject_ && type_ == VekTypeOf<T>::type ? static_cast<T const*>(data()) : nullptr;
  }

  // The untyped value, or none.
  [[nodiscard]] void const* data() const { return data_.get(); }
  // The same for a change: this Value's own.
  [[nodiscard]] void* change();

  // The text form of the value; of an object its address, of an empty reference "None", of nothing
  // no text.
  [[nodiscard]] String text() const;
  // By the type's own hash. Raises UnhashableTypeException for types that have none.
  [[nodiscard]] std::uint32_t hash(unsigned seed) const;

  // Same kind, same type, and equal by the type's own comparison; references by the object.
  VEK_EXPORT friend bool operator==(Value const& a, Value const& b);

 private:
  VekType type_;
  bool isObject_ = false;
  Ptr<PtrInterface const> object_;
  std::shared_ptr<void> data_;
};

}  // namespace Vek
