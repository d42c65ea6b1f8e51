// A recorded stream in a file, cut into frames.
//
//   FrameFile file("examples/streams/forms.0.fpm");
//   while (auto frame = file.next()) { ... }
//
// The file is read in pieces, so a recording of any length needs little memory. It may be a pipe,
// as a shell makes one for `<(zcat stream.gz)`. Throws
// std::system_error when the file cannot be opened or read, StreamError when its content is not a
// complete stream.
//
// Threading: one thread. Ownership: a frame's payload is valid until the next call of next().
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "agent/fpm/FrameReader.h"

namespace OrviaL3Agent::Fpm {

class FrameFile {
 public:
  explicit FrameFile(std::string const& path);

  // The next frame, or nothing at the end of the file.
  [[nodiscard]] std::optional<Frame> next();

  // Bytes of the file (of a pipe, those that came out of it so far), and how many of them the
  // frames handed out so far take up.
  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] std::uint64_t offset() const { return reader_.offset(); }

 private:
  bool feedPiece();

  std::string path_;
  std::ifstream file_;
  bool isPipe_ = false;
  std::uint64_t size_ = 0;
  std::vector<char> piece_;
  FrameReader reader_;
};

}  // namespace OrviaL3Agent::Fpm
