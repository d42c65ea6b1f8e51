#include "Fendrel/TraceFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>
#include <system_error>
#include <utility>

namespace Fendrel {

using Layout::aligned;
using Layout::Description;
using Layout::Filler;
using Layout::Header;
using Layout::Record;
using Layout::State;

namespace {

std::uint64_t systemNow() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(time.tv_nsec);
}

[[noreturn]] void fail(std::string const& path, std::string const& what, int error) {
  throw FileError(path + ": " + what + ": " + std::generic_category().message(error));
}

// Closes on every way out.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

// Moves a ring file that is in the way aside. Refuses whatever is not one: a wrong path on a
// command line must not cost somebody's file.
void clearTheWay(std::string const& path) {
  Descriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.number() < 0) {
    if (errno == ENOENT) {
      return;
    }
    fail(path, "cannot look at the file that is there", errno);
  }
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) {
    fail(path, "cannot look at the file that is there", errno);
  }
  std::uint64_t magic = 0;
  bool const isRing = S_ISREG(status.st_mode) &&
                      ::pread(file.number(), &magic, sizeof magic, 0) == sizeof magic &&
                      (magic == Layout::kMagic || magic == __builtin_bswap64(Layout::kMagic));
  if (isRing) {
    if (::rename(path.c_str(), (path + ".old").c_str()) != 0) {
      fail(path, "cannot keep the earlier ring file as .old", errno);
    }
    return;
  }
  // An empty file holds nothing that could be lost: what mktemp makes, or an attempt that failed.
  if (!S_ISREG(status.st_mode) || status.st_size != 0) {
    throw FileError(path + ": is there already and is not a ring file");
  }
  if (::unlink(path.c_str()) != 0) {
    fail(path, "cannot replace the empty file", errno);
  }
}

}  // namespace

FileError::~FileError() = default;

Header TraceFile::plan(Config const& config) {
  if (config.statements < 2 || config.statements > Layout::kMaxIdTableSize ||
      config.descriptionBytes > Layout::kMaxDescriptionSize ||
      config.ringBytes < Layout::kMinRingSize || config.ringBytes > Layout::kMaxRingSize) {
    throw FileError("a ring file of this size cannot be made");
  }
  Header header;
  header.idTableOffset = Layout::kHeaderSize;
  header.idTableSize = config.statements;
  header.descriptionOffset =
      header.idTableOffset + aligned(config.statements * sizeof(std::uint32_t));
  header.descriptionSize = aligned(config.descriptionBytes);
  header.ringOffset = header.descriptionOffset + header.descriptionSize;
  header.ringSize = aligned(config.ringBytes);
  header.fileSize = header.ringOffset + header.ringSize;
  header.createdAt = config.now != nullptr ? config.now() : systemNow();
  header.processId = static_cast<std::uint64_t>(::getpid());
  header.check =
      Layout::hash(0, std::as_bytes(std::span(&header, 1)).first(offsetof(Header, check)));
  return header;
}

std::unique_ptr<TraceFile> TraceFile::open(std::string const& path) { return open(path, Config()); }

std::unique_ptr<TraceFile> TraceFile::open(std::string const& path, Config const& config) {
  Header const header = plan(config);
  clearTheWay(path);
  // Exclusive: nobody's file is written into that appeared in the meantime.
  Descriptor const file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (file.number() < 0) {
    fail(path, "cannot create the ring file", errno);
  }
  if (int const error = ::posix_fallocate(file.number(), 0, static_cast<off_t>(header.fileSize));
      error != 0) {
    ::unlink(path.c_str());
    fail(path, "cannot reserve room for the ring file", error);
  }
  void* const base =
      ::mmap(nullptr, header.fileSize, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
  if (base == MAP_FAILED) {
    int const error = errno;
    ::unlink(path.c_str());
    fail(path, "cannot map the ring file", error);
  }
  return std::unique_ptr<TraceFile>(
      new TraceFile(path, static_cast<std::byte*>(base), header.fileSize, header, config.now));
}

std::unique_ptr<TraceFile> TraceFile::inMemory() { return inMemory(Config()); }

std::unique_ptr<TraceFile> TraceFile::inMemory(Config const& config) {
  Header const header = plan(config);
  // Anonymous mapping: zeroed, aligned and given back in the same way as a mapped file.
  void* const base =
      ::mmap(nullptr, header.fileSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) {
    throw std::bad_alloc();
  }
  return std::unique_ptr<TraceFile>(
      new TraceFile({}, static_cast<std::byte*>(base), header.fileSize, header, config.now));
}

TraceFile::TraceFile(std::string path, std::byte* base, std::size_t size, Header const& header,
                     std::uint64_t (*now)())
    : path_(std::move(path)),
      base_(base),
      size_(size),
      idTable_(reinterpret_cast<std::uint32_t*>(base + header.idTableOffset), header.idTableSize),
      descriptions_(base + header.descriptionOffset, header.descriptionSize),
      ring_(base + header.ringOffset, header.ringSize),
      now_(now != nullptr ? now : systemNow) {
  std::memcpy(base_, &header, sizeof header);
}

TraceFile::~TraceFile() { ::munmap(base_, size_); }

std::vector<std::byte> TraceFile::image() const { return {base_, base_ + size_}; }

void TraceFile::publish(std::size_t fieldOffset, std::uint64_t value) {
  auto* const field = reinterpret_cast<std::uint64_t*>(base_ + Layout::kStateOffset + fieldOffset);
  std::atomic_ref<std::uint64_t>(*field).store(value, std::memory_order_release);
}

void TraceFile::droppedInc() { publish(offsetof(State, dropped), ++state_.dropped); }

bool TraceFile::descriptionIs(Description description, std::span<std::byte const> argWidths,
                              std::string_view file, std::string_view format) {
  std::size_t const size =
      aligned(sizeof description + argWidths.size() + file.size() + format.size());
  std::size_t const offset = state_.descriptionUsed;
  if (description.id >= idTable_.size() || size > descriptions_.size() - offset) {
    return false;
  }
  description.size = static_cast<std::uint32_t>(size);
  description.argCount = static_cast<std::uint16_t>(argWidths.size());
  description.fileSize = static_cast<std::uint16_t>(file.size());
  description.formatSize = static_cast<std::uint16_t>(format.size());
  description.check = 0;

  // The area is zero beyond what is used, so the gap at the end needs no care.
  std::byte* const start = descriptions_.data() + offset;
  std::byte* at = start + sizeof description;
  for (std::span<std::byte const> const part :
       {argWidths, std::as_bytes(std::span(file)), std::as_bytes(std::span(format))}) {
    if (!part.empty()) {
      std::memcpy(at, part.data(), part.size());
    }
    at += part.size();
  }
  std::memcpy(start, &description, sizeof description);
  description.check = Layout::hash32(description.id, {start, size});
  std::memcpy(start, &description, sizeof description);

  state_.descriptionUsed += size;
  publish(offsetof(State, descriptionUsed), state_.descriptionUsed);
  // The slot last: a reader that finds it taken finds the whole description.
  std::atomic_ref<std::uint32_t>(idTable_[description.id])
      .store(static_cast<std::uint32_t>(offset) + 1, std::memory_order_release);
  return true;
}

// Gives up the oldest records until `size` bytes are free.
void TraceFile::makeRoom(std::size_t size) {
  if (state_.end + size - state_.begin <= ring_.size()) {
    return;
  }
  while (state_.end + size - state_.begin > ring_.size()) {
    Filler oldest;
    std::memcpy(&oldest, ring_.data() + beginOffset_, sizeof oldest);
    std::uint64_t const left = state_.end - state_.begin;
    if (oldest.size == 0 || oldest.size % Layout::kAlignment != 0 || oldest.size > left ||
        oldest.size > ring_.size() - beginOffset_) {
      // Somebody else wrote into the ring. Nothing in it can be told apart any more: start it
      // again.
      state_.begin = state_.end;
      beginOffset_ = endOffset_;
      break;
    }
    state_.begin += oldest.size;
    beginOffset_ += oldest.size;
    if (beginOffset_ == ring_.size()) {
      beginOffset_ = 0;
    }
  }
  publish(offsetof(State, begin), state_.begin);
  // Readers must learn that the records are gone before their bytes change.
  std::atomic_thread_fence(std::memory_order_release);
}

void TraceFile::recordIs(int msgId, std::span<std::byte, Layout::kMaxRecordSize> record,
                         std::size_t argSize) {
  std::size_t const used = Layout::kRecordHeaderSize + argSize;
  std::size_t const size = aligned(used);
  std::memset(record.data() + used, 0, size - used);

  std::size_t const tail = ring_.size() - endOffset_;
  std::size_t const fill = size > tail ? tail : 0;
  makeRoom(fill + size);
  if (fill != 0) {
    Filler const filler{0, static_cast<std::uint16_t>(fill), 0};
    std::memcpy(ring_.data() + endOffset_, &filler, sizeof filler);
    state_.end += fill;
    endOffset_ = 0;
  }

  Record header{static_cast<std::uint32_t>(msgId), static_cast<std::uint16_t>(size),
                static_cast<std::uint16_t>(argSize), now_(), 0};
  std::memcpy(record.data(), &header, Layout::kRecordHeaderSize);
  header.check = Layout::hash32(state_.end, record.first(size));
  std::memcpy(record.data() + offsetof(Record, check), &header.check, sizeof header.check);
  std::memcpy(ring_.data() + endOffset_, record.data(), size);

  state_.end += size;
  endOffset_ += size;
  if (endOffset_ == ring_.size()) {
    endOffset_ = 0;
  }
  publish(offsetof(State, end), state_.end);
}

}  // namespace Fendrel
