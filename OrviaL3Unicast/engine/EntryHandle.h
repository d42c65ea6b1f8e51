// The handle that a write returns: the entry's row and state, its key, and the caller's handler.
//
// One class per table. While callers (and, for committed entries, the table) hold a handle, its
// entry lives; when the last reference goes, cleanup() removes everything that the table keeps for
// the key. A handle does not keep its table alive; once the table is gone, its end does nothing
// more.
//
// The end of a handle is a destructor: an observer of the table, or a utility, that throws while it
// runs ends the process.
#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>
#include <type_traits>

#include "OrviaL3Unicast/engine/TableBase.h"
#include "OrviaL3Unicast/engine/WriteResponseHandler.h"
#include "Vek/EnumRegistry.h"

namespace OrviaL3Unicast::engine {

template <class T>
class EntryHandle final : public Vek::Tracked<EntryHandle<T>, Asic::SwTable::EntryHandle> {
 public:
  using Table = typename T::Table;
  using Key = typename T::Key;
  using Ptr = Vek::Ptr<EntryHandle>;
  using PtrConst = Vek::Ptr<EntryHandle const>;

  // Nothing in the engine sets or tests the mode; it is there for tools.
  enum Mode : std::uint8_t { add = 0, del = 1 };
  // Its number among the enums of the table's module, which are not numbered with the classes.
  static constexpr std::uint16_t modeOrdinal = 3;

  static constexpr Vek::AttributeId keyAttribute{3};
  static constexpr Vek::AttributeId swTableAttribute{4};
  static constexpr Vek::AttributeId modeAttribute{5};

  // A new handle, ready for use and registered nowhere.
  static Ptr EntryHandleIs(Key const& key, Table* table);

  EntryHandle(Key const& key, Table* table);
  [[nodiscard]] Vek::VekType fwkType() const override;
  // cleanup(), then the response handler goes, then the base.
  ~EntryHandle() override;

  static Vek::VekType classType();
  static constexpr char const* typeName() { return nestedName<T, "EntryHandle">.c_str(); }

  [[nodiscard]] Key const& key() const { return key_; }
  // The owning table, or none once it is gone.
  [[nodiscard]] Table* swTable() const;
  [[nodiscard]] Mode mode() const { return mode_; }
  // Announces a changed value only.
  void modeIs(Mode mode);
  [[nodiscard]] WriteResponseHandler const& writeResponseHandler() const {
    return writeResponseHandler_;
  }
  // The previous handler is destroyed when the new one is in place.
  void writeResponseHandlerIs(WriteResponseHandler const& handler);

  // The mode as text is the name of its value; all of it comes from the framework's enum registry,
  // under the table's module and modeOrdinal. A number or name that no value has raises
  // Vek::Exception naming the enum and it, also when a mode is printed.

  // Makes the enum known. The functions below do so themselves; the table's unit does it for those
  // who look through the registry.
  static Vek::EnumType const& modeType();
  // The value with that number, or name. Named like the framework's other instances.
  static Mode ModeInstance(unsigned number);          // NOLINT(readability-identifier-naming)
  static Mode ModeInstance(Vek::String const& name);  // NOLINT(readability-identifier-naming)
  static Vek::String modeText(Mode mode);
  static Mode modeFromText(Vek::String::IteratorConst& begin,
                           Vek::String::IteratorConst const& end);

  // From the front of a text, for which see Vek/TextParser.h.
  friend void sequenceToValue(Vek::String::IteratorConst& begin,
                              Vek::String::IteratorConst const& end, Mode* mode) {
    *mode = modeFromText(begin, end);
  }
  friend Vek::String valueToStrep(Mode mode) { return modeText(mode); }
  friend Vek::String stringValue(Mode mode) { return modeText(mode); }
  friend std::ostream& operator<<(std::ostream& out, Mode mode) {
    return Vek::writeText(out, modeText(mode).str());
  }

  // Removes what the table keeps for the key: the parked record, then the programmed one (with its
  // hardware row), then, where the table registers handles, the registration, without which it
  // aborts. Runs inside whatever dropped the last reference; the table announces each removal.
  void cleanup();

 private:
  Key const key_;
  Vek::Ptr<TableLink<T>> link_;
  Mode mode_ = add;
  WriteResponseHandler writeResponseHandler_;
};

// The modes of handles, by the texts that they have.
template <class Mode>
concept ModeOfHandle = std::is_enum_v<Mode> && requires(Mode mode) {
  { stringValue(mode) } -> std::convertible_to<Vek::String>;
};
template <ModeOfHandle Mode>
Vek::String textOfMode(Mode mode) {
  return stringValue(mode);
}

}  // namespace OrviaL3Unicast::engine

namespace OrviaL3Unicast {

template <engine::ModeOfHandle Mode>
Vek::String valueToStrep(Mode mode) {
  return engine::textOfMode(mode);
}

}  // namespace OrviaL3Unicast
