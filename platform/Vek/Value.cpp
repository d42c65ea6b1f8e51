#include "Vek/Value.h"

#include <new>
#include <string>

#include "Vek/Format.h"
#include "Vek/ReflectException.h"

namespace Vek {
namespace {

std::string described(VekType type) {
  std::string const name = type.name();
  return name.empty() ? "type " + std::to_string(type.number) : name;
}

VekValueOps const& opsOf(VekType type) {
  VekValueOps const* const ops = type.valueOps();
  if (ops == nullptr) throw ReflectionException(described(type) + " is no value type");
  return *ops;
}

// Memory for a value, in which `make` constructs it.
template <class Make>
std::shared_ptr<void> held(VekValueOps const& ops, Make const& make) {
  std::align_val_t const alignment{ops.alignment};
  void* const memory = ::operator new(ops.size, alignment);
  try {
    make(memory);
  } catch (...) {
    ::operator delete(memory, alignment);
    throw;
  }
  return {memory, [destroy = ops.destroy, alignment](void* value) {
            destroy(value);
            ::operator delete(value, alignment);
          }};
}

}  // namespace

Value::Value(VekType type, void const* value)
    : type_(type),
      data_(held(opsOf(type), [&](void* memory) { type.valueOps()->copy(memory, value); })) {}

Value Value::object(VekType type, PtrInterface const* object) {
  Value made;
  made.type_ = type;
  made.isObject_ = true;
  made.object_ = object;
  return made;
}

Value Value::defaultOf(VekType type) {
  VekValueOps const& ops = opsOf(type);
  if (ops.construct == nullptr) {
    throw ReflectionException(described(type) + " has no default value");
  }
  Value made;
  made.type_ = type;
  made.data_ = held(ops, [&](void* memory) { ops.construct(memory); });
  return made;
}

Value Value::parsed(VekType type, std::string_view text) {
  VekValueOps const& ops = opsOf(type);
  if (!ops.parses()) {
    throw ReflectionException("values of type " + described(type) + " cannot be read from text");
  }
  String const whole(text);
  Value made;
  made.type_ = type;
  made.data_ = held(ops, [&](void* memory) { ops.parse(memory, whole); });
  return made;
}

VekType Value::objectType() const {
  if (!object_) return type_;
  VekType const own = object_->fwkType();
  // A class that no module describes has what the reference promises.
  return own.info() != nullptr ? own : type_;
}

void* Value::change() {
  if (data_ && data_.use_count() > 1) {
    VekValueOps const& ops = opsOf(type_);
    data_ = held(ops, [&](void* memory) { ops.copy(memory, data_.get()); });
  }
  return data_.get();
}

String Value::text() const {
  if (data_) return opsOf(type_).text(data_.get());
  if (!isObject_) return {};
  if (!object_) return "None";
  return detail::streamed(object_);
}

std::uint32_t Value::hash(unsigned seed) const {
  if (!data_) throwUnhashableTypeException(type_);
  return opsOf(type_).hash(data_.get(), seed);
}

bool operator==(Value const& a, Value const& b) {
  if (a.isObject_ != b.isObject_) return false;
  if (a.isObject_) return a.object_ == b.object_;
  if (!(a.type_ == b.type_)) return false;
  return a.data_ == b.data_ || opsOf(a.type_).equal(a.data_.get(), b.data_.get());
}

}  // namespace Vek
