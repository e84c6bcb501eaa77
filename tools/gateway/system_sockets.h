// The system's sockets under one set of names. Included by tcp_stream.cpp only.
#pragma once

#ifdef _WIN32
#include "gateway/windows/sockets.h"
#else
#include "gateway/posix/sockets.h"
#endif
