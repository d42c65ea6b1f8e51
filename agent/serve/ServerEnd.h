// Ends an HTTP server at once.
//
//   endAtOnce(std::move(exposer), "127.0.0.1", port);
//
// The server's threads look up from their sockets every one or two seconds only, and its end waits
// for all of them. Here somebody knocks meanwhile: the thread that listens gets a connection, and
// those that wait for a request find the end of it. An answer that is under way is sent to its end,
// unless nobody reads it.
//
// Threading: one thread; no other may open sockets meanwhile. Ownership: takes the server.
#pragma once

#include <prometheus/exposer.h>

#include <cstdint>
#include <memory>
#include <string>

namespace OrviaL3Agent {

void endAtOnce(std::unique_ptr<prometheus::Exposer> server, std::string const& address,
               std::uint16_t port);

}  // namespace OrviaL3Agent
