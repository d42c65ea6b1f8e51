// The name of a Unix-domain socket in the file system.
//
//   ControlFile file(acceptor, "/run/orvia-l3-agent/control");   // bound and listening
//
// The socket has mode 0600 from the moment it is there. Its name is removed at the end, unless
// somebody has put something else there meanwhile.
//
// Threading: one thread. Ownership: owns the name, refers to nothing.
#pragma once

#include <sys/types.h>

#include <asio/local/stream_protocol.hpp>
#include <string>

namespace OrviaL3Agent::Control {

class ControlFile {
 public:
  // Replaces a socket that nobody listens at. Throws std::runtime_error that names the path:
  // somebody listens there, something else has the name, or it cannot be made.
  ControlFile(asio::local::stream_protocol::acceptor& acceptor, std::string path);
  ~ControlFile();
  ControlFile(ControlFile const&) = delete;
  ControlFile& operator=(ControlFile const&) = delete;

 private:
  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace OrviaL3Agent::Control
