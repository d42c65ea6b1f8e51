#include "agent/fpm/FrameFile.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace OrviaL3Agent::Fpm {
namespace {

// As much as the largest frame: one piece always gets a waiting frame forward.
constexpr std::size_t kPieceSize = std::size_t{64} * 1024;

[[noreturn]] void fail(std::string const& path, char const* doing) {
  int const error = errno != 0 ? errno : EIO;
  throw std::system_error(error, std::generic_category(), std::string(doing) + " " + path);
}

}  // namespace

FrameFile::FrameFile(std::string const& path) : path_(path), piece_(kPieceSize) {
  std::error_code error;
  std::uintmax_t const size = std::filesystem::file_size(path, error);
  // A directory and a device have no size; neither is a recording.
  std::error_code ignored;
  isPipe_ = std::filesystem::is_fifo(path, ignored);
  if (error && !isPipe_) throw std::system_error(error, "cannot open " + path);
  if (!isPipe_) size_ = size;
  errno = 0;
  file_.open(path, std::ios::binary);
  if (!file_) fail(path, "cannot open");
}

bool FrameFile::feedPiece() {
  errno = 0;
  file_.read(piece_.data(), static_cast<std::streamsize>(piece_.size()));
  if (file_.bad()) fail(path_, "cannot read");
  auto const count = static_cast<std::size_t>(file_.gcount());
  if (isPipe_) size_ += count;
  reader_.feed(std::as_bytes(std::span(piece_.data(), count)));
  return count > 0;
}

std::optional<Frame> FrameFile::next() {
  for (;;) {
    if (auto frame = reader_.next()) return frame;
    if (!feedPiece()) {
      reader_.finish();
      return std::nullopt;
    }
  }
}

}  // namespace OrviaL3Agent::Fpm
