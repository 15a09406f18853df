// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The calls of the library that can be made to fail, with their types. What a call does when it is faulted:
// Faults.cpp.
#pragma once

#include <dirent.h>
#include <execinfo.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace zvtest {

// How a function tells its caller that it failed.
enum class Failure { kMinusOne, kZero, kErrorNumber };

using SignalHandler = void (*)(int);

}  // namespace zvtest

// clang-format off
// The name that the library imports, the name that a test says, the way to fail, the type.
#define ZVTEST_FAULTABLE(row)                                                                                 \
  row(malloc, malloc, kZero, void *(size_t))                                                                  \
  row(calloc, calloc, kZero, void *(size_t, size_t))                                                          \
  row(realloc, realloc, kZero, void *(void *, size_t))                                                        \
  row(free, free, kZero, void(void *))                                                                        \
  row(strdup, strdup, kZero, char *(const char *))                                                            \
  row(zvMalloc, zvMalloc, kZero, void *(size_t))                                                              \
  row(zvMallocZeroed, zvMallocZeroed, kZero, void *(size_t))                                                  \
  row(zvFree, zvFree, kZero, void(void *))                                                                    \
  row(zvStrdup, zvStrdup, kZero, char *(const char *))                                                        \
  row(zvStrndup, zvStrndup, kZero, char *(const char *, size_t))                                              \
  row(pthread_mutexattr_init, pthread_mutexattr_init, kErrorNumber, int(pthread_mutexattr_t *))               \
  row(pthread_mutexattr_settype, pthread_mutexattr_settype, kErrorNumber, int(pthread_mutexattr_t *, int))    \
  row(pthread_mutexattr_destroy, pthread_mutexattr_destroy, kErrorNumber, int(pthread_mutexattr_t *))         \
  row(pthread_mutex_init, pthread_mutex_init, kErrorNumber,                                                   \
      int(pthread_mutex_t *, const pthread_mutexattr_t *))                                                    \
  row(pthread_mutex_destroy, pthread_mutex_destroy, kErrorNumber, int(pthread_mutex_t *))                     \
  row(pthread_mutex_lock, pthread_mutex_lock, kErrorNumber, int(pthread_mutex_t *))                           \
  row(pthread_mutex_unlock, pthread_mutex_unlock, kErrorNumber, int(pthread_mutex_t *))                       \
  row(pthread_cond_init, pthread_cond_init, kErrorNumber, int(pthread_cond_t *, const pthread_condattr_t *))  \
  row(pthread_cond_destroy, pthread_cond_destroy, kErrorNumber, int(pthread_cond_t *))                        \
  row(pthread_cond_signal, pthread_cond_signal, kErrorNumber, int(pthread_cond_t *))                          \
  row(pthread_cond_broadcast, pthread_cond_broadcast, kErrorNumber, int(pthread_cond_t *))                    \
  row(pthread_cond_wait, pthread_cond_wait, kErrorNumber, int(pthread_cond_t *, pthread_mutex_t *))           \
  row(pthread_cond_timedwait, pthread_cond_timedwait, kErrorNumber,                                           \
      int(pthread_cond_t *, pthread_mutex_t *, const timespec *))                                             \
  row(pthread_cond_clockwait, pthread_cond_clockwait, kErrorNumber,                                            \
      int(pthread_cond_t *, pthread_mutex_t *, clockid_t, const timespec *))                                   \
  row(sem_init, sem_init, kMinusOne, int(sem_t *, int, unsigned))                                             \
  row(sem_destroy, sem_destroy, kMinusOne, int(sem_t *))                                                      \
  row(sem_post, sem_post, kMinusOne, int(sem_t *))                                                            \
  row(sem_wait, sem_wait, kMinusOne, int(sem_t *))                                                            \
  row(sem_trywait, sem_trywait, kMinusOne, int(sem_t *))                                                      \
  row(sem_timedwait, sem_timedwait, kMinusOne, int(sem_t *, const timespec *))                                \
  row(sem_clockwait, sem_clockwait, kMinusOne, int(sem_t *, clockid_t, const timespec *))                      \
  row(clock_gettime, clock_gettime, kMinusOne, int(clockid_t, timespec *))                                    \
  row(gettimeofday, gettimeofday, kMinusOne, int(timeval *, void *))                                          \
  row(time, time, kMinusOne, time_t(time_t *))                                                                \
  row(localtime_r, localtime_r, kZero, tm *(const time_t *, tm *))                                            \
  row(gmtime_r, gmtime_r, kZero, tm *(const time_t *, tm *))                                                  \
  row(mktime, mktime, kMinusOne, time_t(tm *))                                                                \
  row(pthread_attr_init, pthread_attr_init, kErrorNumber, int(pthread_attr_t *))                              \
  row(pthread_attr_destroy, pthread_attr_destroy, kErrorNumber, int(pthread_attr_t *))                        \
  row(pthread_attr_setstacksize, pthread_attr_setstacksize, kErrorNumber, int(pthread_attr_t *, size_t))      \
  row(pthread_attr_setdetachstate, pthread_attr_setdetachstate, kErrorNumber, int(pthread_attr_t *, int))     \
  row(pthread_attr_getschedpolicy, pthread_attr_getschedpolicy, kErrorNumber,                                 \
      int(const pthread_attr_t *, int *))                                                                     \
  row(pthread_attr_getschedparam, pthread_attr_getschedparam, kErrorNumber,                                   \
      int(const pthread_attr_t *, sched_param *))                                                             \
  row(pthread_attr_setschedparam, pthread_attr_setschedparam, kErrorNumber,                                   \
      int(pthread_attr_t *, const sched_param *))                                                             \
  row(pthread_create, pthread_create, kErrorNumber,                                                           \
      int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))                                    \
  row(pthread_join, pthread_join, kErrorNumber, int(pthread_t, void **))                                      \
  row(pthread_detach, pthread_detach, kErrorNumber, int(pthread_t))                                           \
  row(pthread_sigmask, pthread_sigmask, kErrorNumber, int(int, const sigset_t *, sigset_t *))                 \
  row(sched_get_priority_max, sched_get_priority_max, kMinusOne, int(int))                                    \
  row(sched_get_priority_min, sched_get_priority_min, kMinusOne, int(int))                                    \
  row(usleep, usleep, kMinusOne, int(useconds_t))                                                             \
  row(nanosleep, nanosleep, kMinusOne, int(const timespec *, timespec *))                                    \
  row(timer_create, timer_create, kMinusOne, int(clockid_t, sigevent *, timer_t *))                          \
  row(pipe2, pipe2, kMinusOne, int(int *, int))                                                              \
  row(getpid, getpid, kMinusOne, pid_t())                                                                     \
  row(syscall, syscall, kMinusOne, long(long, long, long, long, long, long, long))                             \
  row(signal, signal, kMinusOne, SignalHandler(int, SignalHandler))                                           \
  row(sigaction, sigaction, kMinusOne, int(int, const struct sigaction *, struct sigaction *))                \
  row(raise, raise, kMinusOne, int(int))                                                                      \
  row(close, close, kMinusOne, int(int))                                                                      \
  row(read, read, kMinusOne, ssize_t(int, void *, size_t))                                                    \
  row(__read_chk, read, kMinusOne, ssize_t(int, void *, size_t, size_t))                                      \
  row(write, write, kMinusOne, ssize_t(int, const void *, size_t))                                            \
  row(pread64, pread, kMinusOne, ssize_t(int, void *, size_t, off64_t))                                       \
  row(socket, socket, kMinusOne, int(int, int, int))                                                          \
  row(bind, bind, kMinusOne, int(int, const sockaddr *, socklen_t))                                           \
  row(listen, listen, kMinusOne, int(int, int))                                                               \
  row(accept4, accept4, kMinusOne, int(int, sockaddr *, socklen_t *, int))                                    \
  row(connect, connect, kMinusOne, int(int, const sockaddr *, socklen_t))                                     \
  row(send, send, kMinusOne, ssize_t(int, const void *, size_t, int))                                         \
  row(sendto, sendto, kMinusOne, ssize_t(int, const void *, size_t, int, const sockaddr *, socklen_t))        \
  row(recv, recv, kMinusOne, ssize_t(int, void *, size_t, int))                                               \
  row(recvfrom, recvfrom, kMinusOne, ssize_t(int, void *, size_t, int, sockaddr *, socklen_t *))              \
  row(sendmsg, sendmsg, kMinusOne, ssize_t(int, const msghdr *, int))                                         \
  row(recvmsg, recvmsg, kMinusOne, ssize_t(int, msghdr *, int))                                               \
  row(socketpair, socketpair, kMinusOne, int(int, int, int, int *))                                           \
  row(shutdown, shutdown, kMinusOne, int(int, int))                                                           \
  row(setsockopt, setsockopt, kMinusOne, int(int, int, int, const void *, socklen_t))                         \
  row(getsockopt, getsockopt, kMinusOne, int(int, int, int, void *, socklen_t *))                             \
  row(getsockname, getsockname, kMinusOne, int(int, sockaddr *, socklen_t *))                                 \
  row(getpeername, getpeername, kMinusOne, int(int, sockaddr *, socklen_t *))                                 \
  row(ioctl, ioctl, kMinusOne, int(int, unsigned long, void *))                                               \
  row(fcntl64, fcntl, kMinusOne, int(int, int, long))                                                         \
  row(__recv_chk, recv, kMinusOne, ssize_t(int, void *, size_t, size_t, int))                                 \
  row(tcsetattr, tcsetattr, kMinusOne, int(int, int, const termios *))                                        \
  row(fdopen, fdopen, kZero, FILE *(int, const char *))                                                       \
  row(zvRand_MinMaxUInt16, zvRand_MinMaxUInt16, kZero, uint16_t(uint16_t, uint16_t))                          \
  row(select, select, kMinusOne, int(int, fd_set *, fd_set *, fd_set *, timeval *))                           \
  row(getifaddrs, getifaddrs, kMinusOne, int(ifaddrs **))                                                     \
  row(freeifaddrs, freeifaddrs, kZero, void(ifaddrs *))                                                       \
  row(gethostname, gethostname, kMinusOne, int(char *, size_t))                                               \
  row(__gethostname_chk, gethostname, kMinusOne, int(char *, size_t, size_t))                                 \
  row(gethostbyname, gethostbyname, kZero, hostent *(const char *))                                           \
  row(getaddrinfo, getaddrinfo, kErrorNumber,                                                                 \
      int(const char *, const char *, const addrinfo *, addrinfo **))                                         \
  row(freeaddrinfo, freeaddrinfo, kZero, void(addrinfo *))                                                    \
  row(getnameinfo, getnameinfo, kErrorNumber,                                                                 \
      int(const sockaddr *, socklen_t, char *, socklen_t, char *, socklen_t, int))                            \
  row(fopen64, fopen, kZero, FILE *(const char *, const char *))                                              \
  row(fopen, fopen, kZero, FILE *(const char *, const char *))                                                \
  row(fclose, fclose, kMinusOne, int(FILE *))                                                                 \
  row(lseek64, lseek, kMinusOne, off64_t(int, off64_t, int))                                                  \
  row(ftruncate64, ftruncate, kMinusOne, int(int, off64_t))                                                   \
  row(truncate64, truncate, kMinusOne, int(const char *, off64_t))                                            \
  row(fsync, fsync, kMinusOne, int(int))                                                                      \
  row(unlink, unlink, kMinusOne, int(const char *))                                                           \
  row(access, access, kMinusOne, int(const char *, int))                                                      \
  row(rename, rename, kMinusOne, int(const char *, const char *))                                             \
  row(utimes, utimes, kMinusOne, int(const char *, const timeval *))                                          \
  row(stat64, stat, kMinusOne, int(const char *, struct stat64 *))                                            \
  row(lstat64, lstat, kMinusOne, int(const char *, struct stat64 *))                                          \
  row(fstat64, fstat, kMinusOne, int(int, struct stat64 *))                                                   \
  row(statx, statx, kMinusOne, int(int, const char *, int, unsigned, struct statx *))                          \
  row(readlink, readlink, kMinusOne, ssize_t(const char *, char *, size_t))                                   \
  row(__readlink_chk, readlink, kMinusOne, ssize_t(const char *, char *, size_t, size_t))                     \
  row(getcwd, getcwd, kZero, char *(char *, size_t))                                                          \
  row(__getcwd_chk, getcwd, kZero, char *(char *, size_t, size_t))                                            \
  row(opendir, opendir, kZero, DIR *(const char *))                                                           \
  row(readdir64, readdir, kZero, struct dirent64 *(DIR *))                                                    \
  row(closedir, closedir, kMinusOne, int(DIR *))                                                              \
  row(mkdir, mkdir, kMinusOne, int(const char *, mode_t))                                                     \
  row(rmdir, rmdir, kMinusOne, int(const char *))                                                             \
  row(realpath, realpath, kZero, char *(const char *, char *))                                                \
  row(__realpath_chk, realpath, kZero, char *(const char *, char *, size_t))                                  \
  row(dlopen, dlopen, kZero, void *(const char *, int))                                                       \
  row(dlsym, dlsym, kZero, void *(void *, const char *))                                                      \
  row(dlclose, dlclose, kMinusOne, int(void *))                                                               \
  row(dlerror, dlerror, kZero, char *())                                                                      \
  row(zvPtrList_New, zvPtrList_New, kZero, zvPtrList *())                                                     \
  row(zvPtrList_Append, zvPtrList_Append, kZero, int(zvPtrList *, void *))                                    \
  row(zvPtrList_SetFreeFunc, zvPtrList_SetFreeFunc, kZero, void(zvPtrList *, zvPtrListFreeFunc))              \
  row(zvCStringParser_Match, zvCStringParser_Match, kZero, int(const char *, const char *))                   \
  row(dladdr, dladdr, kZero, int(const void *, Dl_info *))                                                    \
  row(getenv, getenv, kZero, char *(const char *))                                                            \
  row(setenv, setenv, kMinusOne, int(const char *, const char *, int))                                        \
  row(setlocale, setlocale, kZero, char *(int, const char *))                                                 \
  row(system, system, kMinusOne, int(const char *))                                                           \
  row(popen, popen, kZero, FILE *(const char *, const char *))                                                \
  row(pclose, pclose, kMinusOne, int(FILE *))                                                                 \
  row(fwrite, fwrite, kZero, size_t(const void *, size_t, size_t, FILE *))                                    \
  row(fflush, fflush, kMinusOne, int(FILE *))                                                                 \
  row(getuid, getuid, kMinusOne, uid_t())                                                                     \
  row(rand, rand, kMinusOne, int())                                                                           \
  row(srand, srand, kZero, void(unsigned))                                                                    \
  row(zv_mnprintf, zv_mnprintf, kZero, char *(const char *, const char *, const char *))                      \
  row(backtrace, backtrace, kZero, int(void **, int))                                                         \
  row(backtrace_symbols, backtrace_symbols, kZero, char **(void *const *, int))                               \
  row(backtrace_symbols_fd, backtrace_symbols_fd, kZero, void(void *const *, int, int))

// The same with a variable number of arguments: a path, flags, and a mode when a file is created.
#define ZVTEST_FAULTABLE_OPEN(row) \
  row(open64, open)                \
  row(open, open)                  \
  row(__open64_2, open)            \
  row(__open_2, open)
// clang-format on
