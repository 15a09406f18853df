// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Reading, writing and seeking. The file stays in memory, so the calls cost as little as they ever
// do and what the library adds shows most.

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include <zvOS/zvFile.h>

#include "support/Layer.h"
#include "support/Rows.h"

namespace zvbench {
namespace {

constexpr uint32 kFileSize = 512 * 1024;
constexpr uint32 kSmall = 64;
constexpr uint32 kLarge = 64 * 1024;

std::string ScratchFolder() {
  const char *theFolder = getenv("TMPDIR");
  if (theFolder != nullptr && *theFolder != '\0') return theFolder;
  return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

// One file with a descriptor for each side, and one buffer for both.
struct FilePair {
  int mBare;
  zvFileFD mOurs;
  std::vector<char> mBuffer;

  FilePair() : mBare(-1), mOurs(kzvFileFDInvalid), mBuffer(kFileSize, 'x') {
    std::string thePath = ScratchFolder() + "/zvos_bench.XXXXXX";
    mBare = mkstemp(&thePath[0]);
    if (mBare < 0) Fail("cannot make a file in the temporary folder");
    const bool mfOpened = zvFile_Open(thePath.c_str(), zvFileOpenMode_ReadWrite, 0, &mOurs) == 0;
    unlink(thePath.c_str());
    if (!mfOpened) Fail("zvFile_Open failed");
    if (write(mBare, mBuffer.data(), kFileSize) != static_cast<ssize_t>(kFileSize)) {
      Fail("cannot fill the temporary file");
    }
  }
  ~FilePair() {
    zvFile_Close(mOurs);
    close(mBare);
  }
  // The number behind the library's handle.
  int OurDescriptor() const { return static_cast<int>(reinterpret_cast<intptr_t>(mOurs)); }

  FilePair(const FilePair &) = delete;
  FilePair &operator=(const FilePair &) = delete;
};

// The file is moved through from its beginning to its end, again and again; either side seeks
// back in its own way, once per pass.
template <uint32 kSize, typename Rewind, typename Move>
Loop Passes(Rewind aRewind, Move aMove) {
  return Repeat([aRewind, aMove, theLeft = 0u]() mutable {
    int theFailures = 0;
    if (theLeft == 0) {
      theFailures = aRewind();
      theLeft = kFileSize / kSize;
    }
    --theLeft;
    return theFailures | (aMove() != static_cast<int>(kSize));
  });
}

template <uint32 kSize>
Sides Reading() {
  auto theFiles = std::make_shared<FilePair>();
  const auto [theBare, theOurs] = std::pair(theFiles->mBare, theFiles->mOurs);
  char *theBuffer = theFiles->mBuffer.data();
  return {Passes<kSize>([fd = theBare] { return lseek64(fd, 0, SEEK_SET) != 0; },
                        [fd = theBare, theBuffer] { return read(fd, theBuffer, kSize); }),
          Passes<kSize>([fd = theOurs] { return zvFile_Seek(fd, 0, zvFileSeekMode_Begin); },
                        [fd = theOurs, theBuffer] { return zvFile_Read(fd, theBuffer, kSize); }),
          {theFiles}};
}

template <uint32 kSize>
Sides Writing() {
  auto theFiles = std::make_shared<FilePair>();
  const auto [theBare, theOurs] = std::pair(theFiles->mBare, theFiles->mOurs);
  const char *theBuffer = theFiles->mBuffer.data();
  return {Passes<kSize>([fd = theBare] { return lseek64(fd, 0, SEEK_SET) != 0; },
                        [fd = theBare, theBuffer] { return write(fd, theBuffer, kSize); }),
          Passes<kSize>([fd = theOurs] { return zvFile_Seek(fd, 0, zvFileSeekMode_Begin); },
                        [fd = theOurs, theBuffer] { return zvFile_Write(fd, theBuffer, kSize); }),
          {theFiles}};
}

Sides Seeking() {
  auto theFiles = std::make_shared<FilePair>();
  return {Repeat([fd = theFiles->mBare] { return lseek64(fd, kSmall, SEEK_SET) != kSmall; }),
          Repeat([fd = theFiles->mOurs] { return zvFile_Seek(fd, kSmall, zvFileSeekMode_Begin); }),
          {theFiles}};
}

Sides LayerSeeking() {
  auto theFiles = std::make_shared<FilePair>();
  return {Repeat([fd = theFiles->mBare] { return lseek64(fd, kSmall, SEEK_SET) != kSmall; }),
          Repeat([fd = theFiles->OurDescriptor()] { return Layer_Seek(fd, kSmall); }),
          {theFiles}};
}

Sides LayerReading() {
  auto theFiles = std::make_shared<FilePair>();
  const auto [theBare, theOurs] = std::pair(theFiles->mBare, theFiles->OurDescriptor());
  char *theBuffer = theFiles->mBuffer.data();
  return {Passes<kSmall>([fd = theBare] { return lseek64(fd, 0, SEEK_SET) != 0; },
                         [fd = theBare, theBuffer] { return read(fd, theBuffer, kSmall); }),
          Passes<kSmall>([fd = theOurs] { return Layer_Seek(fd, 0); },
                         [fd = theOurs, theBuffer] {
                           return Layer_Read(fd, theBuffer, kSmall) == 0 ? static_cast<int>(kSmall) : -1;
                         }),
          {theFiles}};
}

}  // namespace

std::vector<Row> FileRows() {
  return {
      {"mere layer: read 64 B", "read", "the same through a function that returns a status", NoTarget(),
       LayerReading},
      {"file read 64 B", "read", "zvFile_Read", RatioAtMost(1.02), Reading<kSmall>},
      {"file read 64 KiB", "read", "zvFile_Read", RatioAtMost(1.02), Reading<kLarge>},
      {"file write 64 B", "write", "zvFile_Write", RatioAtMost(1.02), Writing<kSmall>},
      {"file write 64 KiB", "write", "zvFile_Write", RatioAtMost(1.02), Writing<kLarge>},
      {"mere layer: seek", "lseek64", "the same through a function that returns a status", NoTarget(),
       LayerSeeking},
      {"file seek", "lseek64", "zvFile_Seek", RatioAtMost(1.02), Seeking},
  };
}

}  // namespace zvbench
