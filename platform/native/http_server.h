// The HTTP server on the host's sockets: libmicrohttpd without threads of its
// own, driven by the event loop. Its one epoll descriptor is watched by the
// loop and a loop timer keeps its time-outs; every request, and every write
// to a stream, runs on the loop's thread.
#pragma once

#include <memory>
#include <string>

#include "platform/event_loop.h"
#include "platform/http.h"

namespace tarnex {

std::unique_ptr<HttpServer> NewNativeHttpServer(EventLoop& loop);

// `size` random bytes from the kernel's generator; false when it gives none.
bool NativeRandomBytes(std::string& out, size_t size);

}  // namespace tarnex
