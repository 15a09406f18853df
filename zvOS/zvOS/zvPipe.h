// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Local pipes: connected sockets between processes and threads of the device, with names, whole
// messages, and descriptors passed through them.
//
//   int theListener = zvPipe_Listener("player", ZVPIPE_DEFAULT);    // server
//   int thePipe = zvPipe_Accept(theListener, ZVPIPE_RD);
//   int thePipe = zvPipe_Connect("player", ZVPIPE_WR);              // client
//
// A pipe is a descriptor. Every function that returns a number returns a descriptor or a count, or the
// negated error number (-EINVAL for a name that is NULL). Failures are logged in module ZVOS (7), as errors,
// would-block and in-progress ones as information.
//
// Names live in the system's abstract namespace, where they vanish with their socket; where the kernel
// has none, which is found out once, they are socket files. A name is cut to 107 bytes. The first pipe
// of a process makes it ignore SIGPIPE, and so do from then on the programs that it starts, which inherit
// that. Any thread may call any function.
#ifndef zvOS_zvPipe_h
#define zvOS_zvPipe_h

#include <zvOS/zvDefines.h>

enum {
  ZVPIPE_NOFLAGS = 0,
  ZVPIPE_DEFAULT = 0,
  ZVPIPE_RD = 1,          // this end only reads
  ZVPIPE_WR = 2,          // this end only writes
  ZVPIPE_RDWR = 3,        // both
  ZVPIPE_MSG = 4,         // messages are kept whole; for zvPipe_Pair and zvPipe_Listener only
  ZVPIPE_NONBLOCKING = 8  // calls on the new descriptor do not wait; the connect that makes it does
};

// Makes a connected pair. ZVPIPE_RD: the first end only reads and the second only writes; ZVPIPE_WR the
// other way round. The caller closes both. Returns 0.
// Programs that the process starts inherit both ends: that is what pairs are for.
ZVOS_API int zvPipe_Pair(int aPipes[2], int aFlags);

// Listens under a name; the caller closes it. Two clients are queued until they are accepted, more of them
// wait in their connect. A socket file of that name is replaced, even one that somebody listens to; another
// file is not. The direction flags are applied to the listener too: ZVPIPE_WR makes it refuse every client.
// Programs that the process starts do not inherit the listener.
ZVOS_API int zvPipe_Listener(const char *anId, int aFlags);

// Waits for a client and returns the pipe to it, which the caller closes.
// Programs that the process starts do not inherit the pipe.
ZVOS_API int zvPipe_Accept(int aListener, int aFlags);

// Connects to a listener; the caller closes the pipe. Always a stream: a listener with ZVPIPE_MSG refuses
// it. A failed connection is not logged.
// Programs that the process starts do not inherit the pipe.
ZVOS_API int zvPipe_Connect(const char *anId, int aFlags);

// Sends a descriptor away and closes it here. Returns 0; on failure the descriptor stays open.
ZVOS_API int zvPipe_SendFD(int aPipe, int aFd);

// Receives a descriptor, which the caller closes. -EBADMSG when the message brought none, also
// because no descriptor was free here; -EPIPE when the peer has closed, or sent a message without data.
// Programs that the process starts do not inherit what was received.
ZVOS_API int zvPipe_RecvFD(int aPipe);

// Writes up to aLen bytes; a peer that is gone gives -EPIPE and no signal. Returns the count taken.
ZVOS_API int zvPipe_Write(int aFd, const void *aBuffer, size_t aLen);

// Reads: a blocking pipe waits for aLen bytes, the end or a signal. Returns the count, 0 at the end. With
// ZVPIPE_MSG it returns one message instead: what is longer than aLen is cut and its rest lost, and an empty
// message gives 0 as the end does. Failures are logged as those of "send", which field logs are searched for.
ZVOS_API int zvPipe_Read(int aFd, void *aBuffer, size_t aLen);

// Ends both directions and closes. The file of a name is removed, also by a pipe that was accepted
// under it. afClean is ignored. Returns 0.
ZVOS_API int zvPipe_Close(int aPipe, int afClean);

// A new text, a name that is not in use now, made of the prefix (may be NULL), time, process and thread;
// NULL when there is no memory.
// It never returns when the system makes no sockets, or binds none. Names that are socket files stay behind,
// until somebody listens under them.
ZVOS_API char *zvPipe_GenerateUniqueName(const char *aPrefix);

#endif
