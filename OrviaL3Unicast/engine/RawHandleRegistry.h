// The registry that lets a table find handles without owning them, in the tables that take
// auto-removed entries.
//
// Every live handle of such a table is in it, whether or not the table also owns it: it lets the
// table find a handle without keeping it alive. A handle is in it from its creation by the write
// path until its cleanup(); a handle that ends without being in it is a programming error.
#pragma once

#include "OrviaL3Unicast/engine/TableBase.h"

namespace OrviaL3Unicast::engine {

template <class T>
class RawHandleRegistry : public TableBase<T> {
 public:
  using Key = typename T::Key;
  using EntryHandle = engine::EntryHandle<T>;

  // The registered handle as a new counted reference, or empty. A handle whose end has begun counts
  // as none: it is still registered while its entry is being removed, and observers may ask.
  [[nodiscard]] Vek::Ptr<EntryHandle> rawEntryHandle(Key const& key) const;
  [[nodiscard]] bool rawEntryHandleHas(Key const& key) const;
  // Registers, replacing any other; an empty pointer removes. Announces always.
  void rawEntryHandleIs(Key const& key, EntryHandle* handle);
  // Removes; announces also when there was none.
  void rawEntryHandleDel(Key const& key);
  void rawEntryHandleDelAll();

 protected:
  using Node = typename TableBase<T>::Node;

  RawHandleRegistry() = default;
  ~RawHandleRegistry() override = default;

  // Who is registered for the key of a handle at its end; aborts when nobody is.
  EntryHandle const* expectRawEntryHandle(Key const& key) const;
  // Whether another handle is registered by now: an observer of the removal has written the key
  // again, and the key belongs to the new handle.
  [[nodiscard]] bool anotherRegistered(Key const& key, EntryHandle const* handle) const;
};

}  // namespace OrviaL3Unicast::engine
