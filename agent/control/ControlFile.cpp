#include "agent/control/ControlFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace OrviaL3Agent::Control {
namespace {

using Protocol = asio::local::stream_protocol;

[[noreturn]] void refuse(std::string const& path, std::string const& why) {
  throw std::runtime_error(fmt::format("the control socket {}: {}", path, why));
}

std::string reason(int error) { return std::generic_category().message(error); }

// Two agents that start at once must not both find the same dead socket: the one that comes second
// would remove the first one's. Held until the end of its scope.
class FolderLock {
 public:
  explicit FolderLock(std::string const& path) {
    std::filesystem::path const folder = std::filesystem::path(path).parent_path();
    descriptor_ = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor_ < 0) refuse(path, reason(errno));
    while (::flock(descriptor_, LOCK_EX) != 0) {
      if (errno == EINTR) continue;
      int const error = errno;
      ::close(descriptor_);
      refuse(path, reason(error));
    }
  }
  ~FolderLock() { ::close(descriptor_); }
  FolderLock(FolderLock const&) = delete;
  FolderLock& operator=(FolderLock const&) = delete;

 private:
  int descriptor_;
};

// What a new file may have: the umask takes these away.
class OwnerOnly {
 public:
  OwnerOnly() : former_(::umask(S_IXUSR | S_IRWXG | S_IRWXO)) {}
  ~OwnerOnly() { ::umask(former_); }
  OwnerOnly(OwnerOnly const&) = delete;
  OwnerOnly& operator=(OwnerOnly const&) = delete;

 private:
  mode_t former_;
};

void removeDead(asio::any_io_executor const& executor, std::string const& path) {
  struct stat found {};
  if (::lstat(path.c_str(), &found) != 0) {
    if (errno == ENOENT) return;
    refuse(path, reason(errno));
  }
  if (!S_ISSOCK(found.st_mode)) refuse(path, "something is there that is no socket");
  Protocol::socket probe(executor);
  asio::error_code error;
  probe.open(Protocol(), error);
  // A connection that has to wait for room in a full queue is one to a live listener as well.
  if (!error) probe.non_blocking(true, error);
  if (error) refuse(path, error.message());
  probe.connect(Protocol::endpoint(path), error);
  if (error != asio::error::connection_refused) {
    bool const listens =
        !error || error == asio::error::try_again || error == asio::error::would_block;
    refuse(path, listens ? "another process listens there" : error.message());
  }
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) refuse(path, reason(errno));
}

}  // namespace

ControlFile::ControlFile(Protocol::acceptor& acceptor, std::string path) : path_(std::move(path)) {
  // What the kernel's address has room for, with the zero behind it.
  constexpr std::size_t kLongest = sizeof(sockaddr_un::sun_path) - 1;
  if (path_.empty()) refuse("\"\"", "the name is empty");
  if (path_.size() > kLongest) {
    refuse(path_, fmt::format("the name is longer than {} bytes", kLongest));
  }
  FolderLock const lock(path_);
  removeDead(acceptor.get_executor(), path_);
  asio::error_code error;
  acceptor.open(Protocol(), error);
  if (!error) {
    OwnerOnly const mask;
    acceptor.bind(Protocol::endpoint(path_), error);
  }
  if (error) refuse(path_, error.message());
  struct stat made {};
  if (::lstat(path_.c_str(), &made) != 0) refuse(path_, reason(errno));
  device_ = made.st_dev;
  inode_ = made.st_ino;
  acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    ::unlink(path_.c_str());
    refuse(path_, error.message());
  }
}

ControlFile::~ControlFile() {
  struct stat found {};
  bool const isOurs =
      ::lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_;
  if (isOurs) ::unlink(path_.c_str());
}

}  // namespace OrviaL3Agent::Control
