// The few socket calls whose spelling differs between systems. Nothing here throws.
#pragma once

#include <httplib.h>

#include <cstddef>

namespace Gateway {

// Sends small packets at once: a short answer must not wait for the peer's acknowledgement.
void SetNoDelay(socket_t socket);

// Acknowledges what comes next at once, where the system can be told to; has to be repeated before
// each wait. A client that sends headers and body apart holds the body back until the headers are
// acknowledged, which would otherwise take 40 ms for each record.
void AcknowledgeAtOnce(socket_t socket);

// Lets a restarted server have its port back at once, and nobody share it: without exclusive use
// two gateways would split the connections to one port between them.
void SetExclusivePort(socket_t socket);

// Lets that many connections queue up on a listening socket. The HTTP library asks for five: when
// more clients come at once, the rest would try again after a second.
void SetBacklog(socket_t listener, int count);

// Makes reads wait without limit.
void ClearReadTimeout(socket_t socket);

// Bytes received, 0 at the end of the stream, negative on failure or after the socket's time-out.
std::ptrdiff_t Receive(socket_t socket, char* buffer, std::size_t size);

// Bytes sent, negative on failure.
std::ptrdiff_t Send(socket_t socket, const char* data, std::size_t size);

// Ends both directions, which wakes whoever waits on the socket. Safe in a signal handler.
void Shutdown(socket_t socket);

void Close(socket_t socket);

}  // namespace Gateway
