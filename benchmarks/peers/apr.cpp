// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// APR.

#include <apr_file_info.h>
#include <apr_file_io.h>
#include <apr_general.h>
#include <apr_network_io.h>
#include <apr_poll.h>
#include <apr_portable.h>
#include <apr_thread_mutex.h>
#include <apr_thread_proc.h>
#include <fnmatch.h>

#include "Contest.h"

namespace zvbench {
namespace {

// A pool of memory, which everything here is made in.
class Pool {
 public:
  Pool() {
    static const apr_status_t kStarted = apr_initialize();
    if (kStarted != APR_SUCCESS || apr_pool_create(&mPool, nullptr) != APR_SUCCESS) Fail("no APR pool");
  }
  ~Pool() { apr_pool_destroy(mPool); }
  Pool(const Pool &) = delete;
  Pool &operator=(const Pool &) = delete;

  operator apr_pool_t *() const { return mPool; }

 private:
  apr_pool_t *mPool = nullptr;
};

struct Lock {
  const Pool mPool;
  apr_thread_mutex_t *mMutex = nullptr;

  Lock() {
    if (apr_thread_mutex_create(&mMutex, APR_THREAD_MUTEX_NESTED, mPool) != 0) Fail("no APR mutex");
  }
};

Entry LockPair(const Arena &) {
  auto theLock = std::make_shared<Lock>();
  return {RepeatPair<apr_thread_mutex_lock, apr_thread_mutex_unlock>(theLock->mMutex), theLock};
}

// A pool for each thread, as the pools of APR want it: they grow until they are destroyed.
Entry ThreadLife(const Arena &) {
  return {Repeat([] {
            const Pool thePool;
            int theRuns = 0;
            const auto theStart = [](apr_thread_t *, void *aCount) -> void * {
              ++*static_cast<int *>(aCount);
              return nullptr;
            };
            apr_thread_t *theThread = nullptr;
            if (apr_thread_create(&theThread, nullptr, theStart, &theRuns, thePool) != 0) return 1;
            apr_status_t theStatus = 0;
            const int theFailures = apr_thread_join(&theStatus, theThread);
            return theFailures | (theRuns != 1);
          }),
          nullptr};
}

struct Wake {
  const Pool mPool;
  apr_pollset_t *mPollSet = nullptr;

  Wake() {
    if (apr_pollset_create(&mPollSet, 4, mPool, APR_POLLSET_WAKEABLE) != 0) Fail("no APR poll set");
  }

  int Turn() {
    if (apr_pollset_wakeup(mPollSet) != 0) return 1;
    apr_int32_t theCount = 0;
    const apr_pollfd_t *theDescriptors = nullptr;
    return apr_pollset_poll(mPollSet, -1, &theCount, &theDescriptors) != APR_EINTR;
  }
};

struct Transfer {
  const TcpPair mPair;
  const Pool mPool;
  apr_socket_t *mLeft = nullptr;
  apr_socket_t *mRight = nullptr;
  char mBuffer[kTransferSize] = {};

  Transfer() {
    int theLeft = mPair.Left(), theRight = mPair.Right();
    if (apr_os_sock_put(&mLeft, &theLeft, mPool) != 0 || apr_os_sock_put(&mRight, &theRight, mPool) != 0) {
      Fail("apr_os_sock_put failed");
    }
  }

  int Turn() {
    apr_size_t theLength = kTransferSize;
    if (apr_socket_send(mLeft, mBuffer, &theLength) != 0 || theLength != kTransferSize) return 1;
    return apr_socket_recv(mRight, mBuffer, &theLength) | (theLength != kTransferSize);
  }
};

struct File {
  const Pool mPool;
  apr_file_t *mFile = nullptr;
  char mBuffer[kReadSize];

  explicit File(const Arena &anArena) {
    if (apr_file_open(&mFile, anArena.mFile, APR_FOPEN_READ, APR_FPROT_OS_DEFAULT, mPool) != 0)
      Fail("no APR file");
  }

  int Turn() {
    apr_off_t thePlace = 0;
    if (apr_file_seek(mFile, APR_SET, &thePlace) != 0) return 1;
    apr_size_t theLength = kReadSize;
    return apr_file_read(mFile, mBuffer, &theLength) | (theLength != kReadSize);
  }
};

Entry Walk(const Arena &anArena) {
  return {Repeat([thePath = anArena.mFolder] {
            const Pool thePool;
            apr_dir_t *theFolder = nullptr;
            if (apr_dir_open(&theFolder, thePath, thePool) != 0) return 1;
            uint32 theCount = 0;
            apr_finfo_t theEntry;
            while (apr_dir_read(&theEntry, APR_FINFO_NAME | APR_FINFO_TYPE, theFolder) == 0)
              theCount += theEntry.filetype == APR_REG && fnmatch(kPattern, theEntry.name, 0) == 0;
            apr_dir_close(theFolder);
            return static_cast<int>(theCount != kWalkedFiles);
          }),
          nullptr};
}

}  // namespace

const Contestant kApr = {
    "APR", "libapr-1.so.0", {LockPair, nullptr, ThreadLife, Play<Wake>, Play<Transfer>, Play<File>, Walk}};

}  // namespace zvbench
