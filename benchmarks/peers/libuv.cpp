// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// libuv. It has neither blocking sockets nor a lock that one thread takes twice without its recursive kind.

#include <fcntl.h>
#include <fnmatch.h>
#include <uv.h>

#include "Contest.h"

namespace zvbench {
namespace {

// These tell nothing: they abort where the system refuses.
template <auto kFirst, auto kSecond, typename Object>
Entry RepeatBoth(const std::shared_ptr<Object> &anObject) {
  return {Repeat([theObject = anObject.get()] {
            kFirst(theObject);
            kSecond(theObject);
            return 0;
          }),
          anObject};
}

Entry LockPair(const Arena &) {
  auto theMutex = std::make_shared<uv_mutex_t>();
  if (uv_mutex_init_recursive(theMutex.get()) != 0) Fail("uv_mutex_init_recursive failed");
  return RepeatBoth<uv_mutex_lock, uv_mutex_unlock>(theMutex);
}

Entry SemaphorePair(const Arena &) {
  auto theSemaphore = std::make_shared<uv_sem_t>();
  if (uv_sem_init(theSemaphore.get(), 0) != 0) Fail("uv_sem_init failed");
  return RepeatBoth<uv_sem_post, uv_sem_wait>(theSemaphore);
}

Entry ThreadLife(const Arena &) {
  return {Repeat([] {
            uv_thread_t theThread;
            int theRuns = 0;
            int theFailures = uv_thread_create(
                &theThread, [](void *aCount) { ++*static_cast<int *>(aCount); }, &theRuns);
            theFailures |= uv_thread_join(&theThread);
            return theFailures | (theRuns != 1);
          }),
          nullptr};
}

class Wake {
 public:
  Wake() {
    if (uv_loop_init(&mLoop) != 0 || uv_async_init(&mLoop, &mAsync, CountTurn) != 0) Fail("no libuv loop");
    mAsync.data = this;
  }
  ~Wake() {
    uv_close(reinterpret_cast<uv_handle_t *>(&mAsync), nullptr);
    uv_run(&mLoop, UV_RUN_DEFAULT);
    uv_loop_close(&mLoop);
  }
  Wake(const Wake &) = delete;
  Wake &operator=(const Wake &) = delete;

  int Turn() {
    mTurns = 0;
    if (uv_async_send(&mAsync) != 0) return 1;
    uv_run(&mLoop, UV_RUN_ONCE);
    return mTurns != 1;
  }

 private:
  static void CountTurn(uv_async_t *anAsync) { ++static_cast<Wake *>(anAsync->data)->mTurns; }

  uv_loop_t mLoop;
  uv_async_t mAsync;
  int mTurns = 0;
};

Entry Walk(const Arena &anArena) {
  return {Repeat([thePath = anArena.mFolder] {
            uv_fs_t theRequest;
            uint32 theCount = 0;
            if (uv_fs_scandir(nullptr, &theRequest, thePath, 0, nullptr) < 0) return 1;
            uv_dirent_t theEntry;
            while (uv_fs_scandir_next(&theRequest, &theEntry) == 0)
              theCount += theEntry.type == UV_DIRENT_FILE && fnmatch(kPattern, theEntry.name, 0) == 0;
            uv_fs_req_cleanup(&theRequest);
            return static_cast<int>(theCount != kWalkedFiles);
          }),
          nullptr};
}

}  // namespace

const Contestant kLibuv = {
    "libuv", "libuv.so.1", {LockPair, SemaphorePair, ThreadLife, Play<Wake>, nullptr, nullptr, Walk}};

}  // namespace zvbench
