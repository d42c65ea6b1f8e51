#include "plugins/soft-asic/DeviceFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace SoftAsic {
namespace {

constexpr std::array<char, 8> ourMagic = {'s', 'o', 'f', 't', 'A', 'S', 'I', 'C'};
constexpr std::uint32_t ourVersion = 1;

struct Header {
  std::array<char, 8> magic;
  std::uint32_t version;
  DeviceSizes sizes;
  std::array<std::uint32_t, 3> contentsBytes;
};

constexpr std::array<std::uint32_t, 3> ourContentsBytes = {
    sizeof(NextHopContents), sizeof(MemberContents), sizeof(GroupContents)};

// Where what begins, in bytes.
struct Layout {
  std::size_t nextHops;
  std::size_t members;
  std::size_t groups;
  std::size_t end;
};

Layout layoutOf(DeviceSizes const& sizes) {
  constexpr std::size_t alignment = 64;
  auto const behind = [](std::size_t offset, std::size_t rows, std::size_t bytes) {
    return (offset + rows * bytes + alignment - 1) / alignment * alignment;
  };
  Layout layout{};
  layout.nextHops = behind(0, 1, sizeof(Header));
  layout.members = behind(layout.nextHops, sizes.nextHops, sizeof(StoredRow<NextHopContents>));
  layout.groups = behind(layout.members, sizes.members, sizeof(StoredRow<MemberContents>));
  layout.end = behind(layout.groups, sizes.groups, sizeof(StoredRow<GroupContents>));
  return layout;
}

[[noreturn]] void refuse(std::string const& path, std::string const& why) {
  throw std::runtime_error(path + ": " + why);
}

[[noreturn]] void failed(std::string const& path, char const* what, int error) {
  throw std::system_error(error, std::generic_category(), path + ": " + what);
}

std::string text(DeviceSizes const& sizes) {
  return std::to_string(sizes.nextHops) + " next hops (" + std::to_string(sizes.ecmpNextHops) +
         " for ECMP), " + std::to_string(sizes.members) + " members and " +
         std::to_string(sizes.groups) + " groups";
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

// A file under a name that nobody waits for, until it gets the name that it is made for.
class TemporaryName {
 public:
  explicit TemporaryName(std::string const& path) : name_(path + ".XXXXXX") {}
  TemporaryName(TemporaryName const&) = delete;
  TemporaryName& operator=(TemporaryName const&) = delete;
  ~TemporaryName() {
    if (exists_) ::unlink(name_.c_str());
  }

  // A new file, or a negative number.
  int make() {
    int const number = ::mkostemp(name_.data(), O_CLOEXEC);
    exists_ = number >= 0;
    return number;
  }
  // Returns whether the file has that name now. It takes it from no other file.
  bool becomes(std::string const& path) {
    if (::renameat2(AT_FDCWD, name_.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
      return false;
    }
    exists_ = false;
    return true;
  }

 private:
  std::string name_;
  bool exists_ = false;
};

// Whoever is killed loses it.
void lock(std::string const& path, int file) {
  if (::flock(file, LOCK_EX | LOCK_NB) == 0) return;
  if (errno == EWOULDBLOCK) refuse(path, "in use by another process");
  failed(path, "cannot lock", errno);
}

// A new file with empty rows, or none when there is one by now.
Descriptor made(std::string const& path, DeviceSizes const& sizes) {
  TemporaryName name(path);
  Descriptor file(name.make());
  if (file.number() < 0) failed(path, "cannot create", errno);
  // Before anybody can find it.
  lock(path, file.number());
  // All of it, as a full disk would be found out only when a row is written otherwise, by a signal.
  int error = 0;
  do {
    error = ::posix_fallocate(file.number(), 0, static_cast<off_t>(layoutOf(sizes).end));
  } while (error == EINTR);
  if (error != 0) failed(path, "cannot create", error);
  Header const header{ourMagic, ourVersion, sizes, ourContentsBytes};
  if (::pwrite(file.number(), &header, sizeof header, 0) != ssize_t{sizeof header}) {
    failed(path, "cannot create", errno);
  }
  if (name.becomes(path)) return file;
  if (errno != EEXIST) failed(path, "cannot create", errno);
  return Descriptor(-1);
}

// Throws when the file is not one that has these sizes.
void check(std::string const& path, int file, DeviceSizes const& sizes) {
  struct stat status {};
  if (::fstat(file, &status) != 0) failed(path, "cannot read", errno);
  if (!S_ISREG(status.st_mode)) refuse(path, "not a file of simulated hardware");
  Header header{};
  ssize_t const bytes = ::pread(file, &header, sizeof header, 0);
  if (bytes < 0) failed(path, "cannot read", errno);
  if (bytes < ssize_t{sizeof header.magic} || header.magic != ourMagic) {
    refuse(path, "not a file of simulated hardware");
  }
  auto const truncated = [&](std::size_t expected) {
    refuse(path, "truncated: " + std::to_string(status.st_size) + " bytes instead of " +
                     std::to_string(expected));
  };
  if (bytes < ssize_t{sizeof header}) truncated(layoutOf(sizes).end);
  if (header.version != ourVersion) {
    refuse(path, "of format version " + std::to_string(header.version) + ", where " +
                     std::to_string(ourVersion) + " is expected");
  }
  if (header.contentsBytes != ourContentsBytes) refuse(path, "of another layout of rows");
  if (header.sizes != sizes) {
    refuse(path, "made for " + text(header.sizes) + ", where " + text(sizes) + " are expected");
  }
  std::size_t const expected = layoutOf(sizes).end;
  auto const actual = static_cast<std::size_t>(status.st_size);
  if (actual < expected) truncated(expected);
  if (actual > expected) {
    refuse(path,
           "too long: " + std::to_string(actual) + " bytes instead of " + std::to_string(expected));
  }
}

// Locked, and fit to be mapped.
Descriptor openedOrMade(std::string const& path, DeviceSizes const& sizes) {
  // Once more when another process made it in between. A name that leads to nothing and is taken
  // all the same, as a link may be, is a failure.
  for (int attempt = 0; attempt < 2; ++attempt) {
    // Without waiting for a pipe's other end.
    Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (file.number() >= 0) {
      lock(path, file.number());
      check(path, file.number(), sizes);
      return file;
    }
    if (errno != ENOENT) failed(path, "cannot open", errno);
    Descriptor fresh = made(path, sizes);
    if (fresh.number() >= 0) return fresh;
  }
  failed(path, "cannot create", EEXIST);
}

// The first row that is in no possible state, or how many there are.
template <class Contents>
std::uint32_t firstUnsound(StoredRow<Contents> const* stored, std::uint32_t rows) {
  std::uint32_t row = 0;
  while (row < rows && stored[row].isSound()) ++row;
  return row;
}

// "" when there is nothing to say.
template <class Contents>
std::string damage(char const* table, StoredRow<Contents> const* stored, std::uint32_t rows) {
  std::uint32_t const row = firstUnsound(stored, rows);
  return row == rows ? "" : std::string("damaged: ") + table + " row " + std::to_string(row);
}

}  // namespace

DeviceFile::DeviceFile(std::string const& path, DeviceSizes const& sizes)
    : path_(path), sizes_(sizes) {
  Descriptor file = openedOrMade(path, sizes);
  Layout const layout = layoutOf(sizes);
  bytes_ = layout.end;
  mapped_ = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
  if (mapped_ == MAP_FAILED) failed(path, "cannot map", errno);
  auto* const begin = static_cast<std::byte*>(mapped_);
  nextHops_ = reinterpret_cast<StoredRow<NextHopContents>*>(begin + layout.nextHops);
  members_ = reinterpret_cast<StoredRow<MemberContents>*>(begin + layout.members);
  groups_ = reinterpret_cast<StoredRow<GroupContents>*>(begin + layout.groups);
  for (std::string const& found :
       {damage("next-hop", nextHops_, sizes.nextHops), damage("member", members_, sizes.members),
        damage("group", groups_, sizes.groups)}) {
    if (found.empty()) continue;
    ::munmap(mapped_, bytes_);
    refuse(path, found);
  }
  file_ = file.release();
}

DeviceFile::~DeviceFile() {
  ::munmap(mapped_, bytes_);
  ::close(file_);
}

}  // namespace SoftAsic
