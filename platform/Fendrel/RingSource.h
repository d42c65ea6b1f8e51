// Where the reader gets the bytes of a ring from: a file, or an image of one in memory.
//
// Both answer with as many bytes as there are, so a part that is cut off reads short and nothing is
// allocated for bytes that a damaged header only claims.
//
// Threading: none of its own. Ownership: an image must outlive its source; a file is open while its
// source lives.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Fendrel {

class RingSource {
 public:
  virtual ~RingSource() = default;
  RingSource(RingSource const&) = delete;
  RingSource& operator=(RingSource const&) = delete;

  [[nodiscard]] virtual std::uint64_t size() const = 0;
  // Fills `bytes` from `offset` on and gives how many there were.
  virtual std::size_t read(std::uint64_t offset, std::span<std::byte> bytes) const = 0;

  // `wanted` bytes, or as many as there are.
  [[nodiscard]] std::vector<std::byte> readUpTo(std::uint64_t offset, std::uint64_t wanted) const;

  // A whole value, or nothing.
  template <class Value>
  [[nodiscard]] std::optional<Value> value(std::uint64_t offset) const {
    std::array<std::byte, sizeof(Value)> bytes;
    if (read(offset, bytes) != bytes.size()) {
      return std::nullopt;
    }
    return std::bit_cast<Value>(bytes);
  }

 protected:
  RingSource() = default;
};

class ImageSource : public RingSource {
 public:
  explicit ImageSource(std::span<std::byte const> image) : image_(image) {}
  [[nodiscard]] std::uint64_t size() const override { return image_.size(); }
  std::size_t read(std::uint64_t offset, std::span<std::byte> bytes) const override;

 private:
  std::span<std::byte const> image_;
};

// Reads and does not map: a file that shrinks meanwhile gives fewer bytes then, instead of a
// signal.
class FileSource : public RingSource {
 public:
  explicit FileSource(std::string const& path);
  ~FileSource() override;

  // Why the file cannot be read; empty when it can.
  [[nodiscard]] std::string const& error() const { return error_; }
  [[nodiscard]] std::uint64_t size() const override { return size_; }
  std::size_t read(std::uint64_t offset, std::span<std::byte> bytes) const override;

 private:
  int descriptor_;
  std::uint64_t size_ = 0;
  std::string error_;
};

}  // namespace Fendrel
