#include "agent/fpm/FrameReader.h"

#include <fmt/format.h>

#include <algorithm>

#include "agent/fpm/StreamError.h"

namespace OrviaL3Agent::Fpm {

void FrameReader::feed(std::span<std::byte const> bytes) {
  // Consumed bytes are dropped here and not in next(): once per piece, not once per frame.
  if (consumed_ > 0) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(consumed_));
    consumed_ = 0;
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

std::uint8_t FrameReader::byteAt(std::size_t position) const {
  return std::to_integer<std::uint8_t>(buffer_[consumed_ + position]);
}

std::size_t FrameReader::frameLength() const {
  return (static_cast<std::size_t>(byteAt(2)) << 8U) | byteAt(3);
}

std::optional<Frame> FrameReader::next() {
  if (pending() < kFrameHeaderSize) return std::nullopt;
  if (unsigned const version = byteAt(0); version != kFrameVersion) {
    throw StreamError(offset_, fmt::format("not a frame header: version {}, expected {}", version,
                                           kFrameVersion));
  }
  std::size_t const length = frameLength();
  if (length < kFrameHeaderSize) {
    throw StreamError(
        offset_, fmt::format("frame length {} is smaller than the frame header of {} bytes", length,
                             kFrameHeaderSize));
  }
  if (pending() < length) return std::nullopt;

  // A buffer of its own per frame: vector storage is aligned for every header type, whereas a frame
  // in the middle of the stream buffer can start anywhere.
  std::span<std::byte const> const source(buffer_.data() + consumed_ + kFrameHeaderSize,
                                          length - kFrameHeaderSize);
  payload_.assign(source.size() + kPayloadPadding, std::byte{0});
  std::copy(source.begin(), source.end(), payload_.begin());

  Frame frame;
  frame.offset = offset_;
  frame.type = byteAt(1);
  frame.payload = std::span<std::byte const>(payload_.data(), source.size());
  consumed_ += length;
  offset_ += length;
  return frame;
}

void FrameReader::finish() const {
  if (pending() == 0) return;
  if (pending() < kFrameHeaderSize) {
    throw StreamError(offset_,
                      fmt::format("truncated frame header: {} of {} bytes before the stream ends",
                                  pending(), kFrameHeaderSize));
  }
  throw StreamError(offset_, fmt::format("truncated frame: {} of {} bytes before the stream ends",
                                         pending(), frameLength()));
}

}  // namespace OrviaL3Agent::Fpm
