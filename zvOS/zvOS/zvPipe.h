// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_pipe Pipes
/// Local pipes: connected sockets between processes and threads of the device, with names, whole messages,
/// and descriptors passed through them.
///
/// ```c
/// int theListener = zvPipe_Listener("player", ZVPIPE_DEFAULT);  // the server
/// int thePipe = zvPipe_Accept(theListener, ZVPIPE_RD);
///
/// int theOther = zvPipe_Connect("player", ZVPIPE_WR);           // a client
/// zvPipe_Write(theOther, "play", 4);
/// ```
///
/// A pipe is a descriptor. Every function that returns a number returns a descriptor or a count, or the
/// negated error number (-EINVAL for a name that is NULL).
///
/// Names live in the system's abstract namespace, where they vanish with their socket; where the kernel has
/// none they are socket files. The process finds that out once, with a socket of its own: when the system
/// makes none then (EMFILE), names are files from then on, and are not found by programs that found out
/// otherwise. A name is cut to 107 bytes. The first pipe of a process makes it ignore SIGPIPE, and so do from
/// then on the programs that it starts, which inherit that.
///
/// @threads any thread may call any function
/// @signals only zvPipe_Write, zvPipe_Read, zvPipe_SendFD and zvPipe_RecvFD
/// @fork yes; a pipe in the child is the same one as the parent's, and stays open until both have closed it
/// @errno after a failed system call the number whose negative is the result; it says nothing where none
///   failed: a NULL name, the -EBADMSG and the -EPIPE of zvPipe_RecvFD
/// @logs failures as errors of module ZVOS (7), would-block and in-progress ones as information; what is made
///   and closed as information
/// @since 1.0.0
/// @{
#ifndef zvOS_zvPipe_h
#define zvOS_zvPipe_h

#include <zvOS/zvDefines.h>

/// Flags of a pipe.
enum {
  ZVPIPE_NOFLAGS = 0,
  ZVPIPE_DEFAULT = 0,
  ZVPIPE_RD = 1,          ///< this end only reads
  ZVPIPE_WR = 2,          ///< this end only writes
  ZVPIPE_RDWR = 3,        ///< both
  ZVPIPE_MSG = 4,         ///< messages are kept whole; for zvPipe_Pair and zvPipe_Listener only
  ZVPIPE_NONBLOCKING = 8  ///< calls on the new descriptor do not wait; the connect that makes it does
};

/// Makes a connected pair. Programs that the process starts inherit both ends: that is what pairs are for.
/// @param aPipes both ends are stored here, which the caller closes with zvPipe_Close
/// @param aFlags a sum of ZVPIPE_ values. ZVPIPE_RD: the first end only reads and the second only writes;
///   ZVPIPE_WR the other way round
/// @return 0, or the negated error number
ZVOS_API int zvPipe_Pair(int aPipes[2], int aFlags);

/// Listens under a name. Two clients are queued until they are accepted, more of them wait in their connect.
/// A socket file of that name is replaced, even one that somebody listens to; another file is not. Programs
/// that the process starts do not inherit the listener.
/// @param anId the name
/// @param aFlags a sum of ZVPIPE_ values. The direction is applied to the listener too: ZVPIPE_WR makes it
///   refuse every client
/// @return the listener, which the caller closes with zvPipe_Close, or the negated error number: -EADDRINUSE
///   when somebody has the name
ZVOS_API int zvPipe_Listener(const char *anId, int aFlags);

/// Waits for a client. Programs that the process starts do not inherit the pipe.
/// @param aListener a listener
/// @param aFlags a sum of ZVPIPE_ values for the new pipe
/// @return the pipe, which the caller closes with zvPipe_Close, or the negated error number: -EAGAIN from a
///   listener with ZVPIPE_NONBLOCKING when there is no client, -EINTR when a signal came
ZVOS_API int zvPipe_Accept(int aListener, int aFlags);

/// Connects to a listener; waits while too many clients wait already. Always a stream, whatever the flags: a
/// listener with ZVPIPE_MSG is not found, with -ECONNREFUSED, or -EPROTOTYPE where names are files. Such
/// listeners take clients that are not made by this function. Programs that the process starts do not inherit
/// the pipe.
/// @param anId the name
/// @param aFlags a sum of ZVPIPE_ values; ZVPIPE_NONBLOCKING holds from the connection on, ZVPIPE_MSG has no
///   effect
/// @return the pipe, which the caller closes with zvPipe_Close, or the negated error number: -ECONNREFUSED
///   when nobody listens
/// @logs the connection, as information; not that it was refused, since clients try until there is a listener
ZVOS_API int zvPipe_Connect(const char *anId, int aFlags);

/// Sends a descriptor away and closes it here. The socket table and the traffic files are not told: who sends
/// a socket that the `_Debug` twins have made says SOCKETTRACKER_REMOVE (zvSocketTracker.h) before, or sends
/// a copy of dup() and closes the socket by zvSocketClose.
///
/// ```c
/// if (zvPipe_SendFD(thePipe, theSocket) != 0) close(theSocket);  // a supervisor
///
/// int theConnection = zvPipe_RecvFD(thePipe);  // its worker
/// if (theConnection < 0) return;
/// ```
/// @param aPipe the pipe
/// @param aFd the descriptor; on failure it stays open and the caller's
/// @return 0, or the negated error number
ZVOS_API int zvPipe_SendFD(int aPipe, int aFd);

/// Receives a descriptor. Programs that the process starts do not inherit it.
/// @param aPipe the pipe
/// @return the descriptor, which the caller closes; -EBADMSG when the message brought none, also because no
///   descriptor was free here; -EPIPE when the peer has closed, or sent a message without data; another
///   negated error number
ZVOS_API int zvPipe_RecvFD(int aPipe);

/// Writes up to a number of bytes. A peer that is gone gives -EPIPE and no signal.
/// @param aFd the pipe
/// @param aBuffer the bytes
/// @param aLen how many
/// @return the count taken, or the negated error number (-EAGAIN: nothing can be taken now)
ZVOS_API int zvPipe_Write(int aFd, const void *aBuffer, size_t aLen);

/// Reads: a blocking pipe waits for all bytes, the end or a signal. With ZVPIPE_MSG it reads one message
/// instead: what is longer than the buffer is cut and its rest lost, and an empty message gives 0 as the end
/// does.
/// @param aFd the pipe
/// @param aBuffer room for aLen bytes
/// @param aLen how many
/// @return the count, 0 at the end, or the negated error number (-EAGAIN: nothing is there now)
/// @odd failures are logged as those of "send", which field logs are searched for
ZVOS_API int zvPipe_Read(int aFd, void *aBuffer, size_t aLen);

/// Ends both directions and closes.
/// @param aPipe the pipe or listener
/// @param afClean ignored
/// @return 0, or the negated error number
/// @odd where names are files, the file is removed, also by a pipe that was accepted under it
ZVOS_API int zvPipe_Close(int aPipe, int afClean);

/// Makes up a name that is not in use now, of a prefix, time, process and thread. It never returns when the
/// system makes no sockets, or binds none. Names that are socket files stay behind, until somebody listens
/// under them.
/// @param aPrefix what the name begins with; may be NULL
/// @return a new text, which the caller releases with free(); NULL when there is no memory
/// @logs nothing
ZVOS_API char *zvPipe_GenerateUniqueName(const char *aPrefix);

/// @}

#endif
