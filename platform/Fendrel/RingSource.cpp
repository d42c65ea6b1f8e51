#include "Fendrel/RingSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace Fendrel {

std::vector<std::byte> RingSource::readUpTo(std::uint64_t offset, std::uint64_t wanted) const {
  std::uint64_t const there = size() > offset ? size() - offset : 0;
  std::vector<std::byte> bytes(std::min(wanted, there));
  bytes.resize(read(offset, bytes));
  return bytes;
}

std::size_t ImageSource::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  if (offset >= image_.size()) {
    return 0;
  }
  auto const part =
      image_.subspan(offset, std::min<std::uint64_t>(bytes.size(), image_.size() - offset));
  std::copy(part.begin(), part.end(), bytes.begin());
  return part.size();
}

// Without blocking, in case the path is that of a pipe.
FileSource::FileSource(std::string const& path)
    : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status {};
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
    error_ = "cannot be read: " + std::generic_category().message(errno);
  } else if (!S_ISREG(status.st_mode)) {
    error_ = "is not a regular file";
  } else {
    size_ = static_cast<std::uint64_t>(status.st_size);
  }
}

FileSource::~FileSource() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

std::size_t FileSource::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t const count = ::pread(descriptor_, bytes.data() + done, bytes.size() - done,
                                  static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      break;
    }
    done += static_cast<std::size_t>(count);
  }
  return done;
}

}  // namespace Fendrel
