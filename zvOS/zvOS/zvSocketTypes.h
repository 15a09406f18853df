// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_sockettypes Types of sockets
/// What sockets and the services around them share.
/// @{
#ifndef zvOS_zvSocketTypes_h
#define zvOS_zvSocketTypes_h

#include <netinet/in.h>
#include <sys/socket.h>

#include <zvOS/zvDefines.h>

/// A socket is the system's descriptor.
typedef int32 zvSocket;

/// What a call that makes a socket answers when it fails.
#define kzvSocketInvalid ((zvSocket)~0)

/// Which addresses and interfaces a service uses (zvSocketPolicy.h); where a function takes one, NULL means
/// no restriction.
typedef struct zvSocketPolicy_t zvSocketPolicy;

/// Marks the traffic of sockets (zvSocketQOS.h); the handle is the pointer. NULL marks nothing.
typedef struct zvSocketQOS_t *zvSocketQOS;

/// @}

#endif
