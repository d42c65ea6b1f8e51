// Cuts a byte stream of the Forwarding Plane Manager protocol into frames.
//
// A frame is a header of four bytes (version 1, type, big-endian length that counts the header) and
// its payload. Bytes come in pieces of any size, as a socket or a file delivers them:
//
//   FrameReader reader;
//   reader.feed(piece);
//   while (auto frame = reader.next()) { ... frame->payload ... }
//   ...
//   reader.finish();   // at the end of the stream: complains when a frame is cut off
//
// The result does not depend on where the pieces end. Bad input throws StreamError with the offset
// of the frame's first byte and leaves the reader where it is: the same call throws again.
//
// Threading: one thread. Ownership: the reader owns its buffers; a frame's payload points into one
// of them and is valid until the next call of next().
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace OrviaL3Agent::Fpm {

// One frame. The payload starts on a boundary that netlink headers can be read from in place and is
// followed by kPayloadPadding readable zero bytes: libmnl rounds the end of a message up to four.
struct Frame {
  std::uint64_t offset = 0;  // of the frame's header, from the start of the stream
  std::uint8_t type = 0;     // 1 is netlink; every other type is for the caller to skip
  std::span<std::byte const> payload;

  [[nodiscard]] std::uint64_t payloadOffset() const;
};

inline constexpr std::size_t kFrameHeaderSize = 4;
inline constexpr std::size_t kPayloadPadding = 4;
inline constexpr std::uint8_t kFrameVersion = 1;
inline constexpr std::uint8_t kFrameTypeNetlink = 1;

inline std::uint64_t Frame::payloadOffset() const { return offset + kFrameHeaderSize; }

class FrameReader {
 public:
  // Appends the next bytes of the stream.
  void feed(std::span<std::byte const> bytes);

  // The next complete frame, or nothing when more bytes are needed. Throws StreamError when the
  // header cannot be one of this protocol.
  [[nodiscard]] std::optional<Frame> next();

  // To be called at the end of the stream: throws StreamError when bytes of an incomplete frame are
  // left over.
  void finish() const;

  // Offset of the first byte that no frame has consumed yet.
  [[nodiscard]] std::uint64_t offset() const { return offset_; }
  // Bytes fed and not yet consumed.
  [[nodiscard]] std::size_t pending() const { return buffer_.size() - consumed_; }

 private:
  [[nodiscard]] std::uint8_t byteAt(std::size_t position) const;
  [[nodiscard]] std::size_t frameLength() const;

  std::vector<std::byte> buffer_;
  std::size_t consumed_ = 0;
  std::uint64_t offset_ = 0;
  std::vector<std::byte> payload_;  // the current frame's payload, moved to an aligned place
};

}  // namespace OrviaL3Agent::Fpm
