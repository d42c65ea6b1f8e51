// Keys of all four tables, and records of the three that have them. Values; what they name they
// keep alive.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Model {

class Handle;
using HandlePtr = std::shared_ptr<Handle>;

// An ingress key is a handle, a block is its members by position (empty ones are missing), a next
// hop or a group is a number.
class Key {
 public:
  enum class Type : std::uint8_t { extern_, hop, group, block };

  Key() = default;
  static Key ofExtern(HandlePtr handle) { return {Type::extern_, 0, {std::move(handle)}}; }
  static Key ofHop(std::uint32_t number) { return {Type::hop, number, {}}; }
  static Key ofGroup(std::uint32_t number) { return {Type::group, number, {}}; }
  static Key ofBlock(std::vector<HandlePtr> members) {
    return {Type::block, 0, std::move(members)};
  }
  Key(Key const&) = default;
  Key(Key&&) = default;
  Key& operator=(Key other) {
    swap(other);
    return *this;
  }
  // Members are released from the first position to the last.
  ~Key();
  void swap(Key& other) noexcept;

  [[nodiscard]] HandlePtr const& handle() const { return handles_.front(); }
  [[nodiscard]] std::vector<HandlePtr> const& members() const { return handles_; }
  [[nodiscard]] std::uint32_t width() const { return static_cast<std::uint32_t>(handles_.size()); }

  // The name in the log.
  [[nodiscard]] std::string text() const;
  // What the text of a failed assertion says.
  [[nodiscard]] std::string abortText() const;

  friend bool operator==(Key const&, Key const&) = default;

 private:
  Key(Type type, std::uint32_t number, std::vector<HandlePtr> handles)
      : type_(type), number_(number), handles_(std::move(handles)) {}

  Type type_ = Type::hop;
  std::uint32_t number_ = 0;
  std::vector<HandlePtr> handles_;
};

class Record {
 public:
  enum class Type : std::uint8_t { hop, group };

  Record() = default;
  explicit Record(Type type) : type_(type) {}
  Record(Record const&) = default;
  Record(Record&&) = default;
  Record& operator=(Record other) {
    swap(other);
    return *this;
  }
  // Needed handles are released from the last slot to the first.
  ~Record();
  void swap(Record& other) noexcept;

  // A missing handle leaves its slot absent.
  void neededIs(int slot, HandlePtr const& handle) {
    if (handle) needed_[slot] = handle;
  }
  void numberIs(std::uint32_t number) { number_ = number; }
  [[nodiscard]] std::map<int, HandlePtr> const& needed() const { return needed_; }

  [[nodiscard]] std::string text() const { return text(false); }
  // With the rows of the needed handles.
  [[nodiscard]] std::string hardwareText() const { return text(true); }

  friend bool operator==(Record const&, Record const&) = default;

 private:
  [[nodiscard]] std::string text(bool rows) const;

  Type type_ = Type::hop;
  std::map<int, HandlePtr> needed_;
  std::uint32_t number_ = 0;  // the destination, or the number of paths
};

}  // namespace Model
