// The folder that is served: files below it can be opened, and nothing else.
#pragma once

#include <zvOS/zvTypes.h>

#include <string>

namespace tool {

// Raises the limit of open descriptors, as far as the system lets us, to what sockets that fit into an
// fd_set and a file for each of them take.
void WantDescriptors();

// Descriptors from this number on are left to what needs one for a moment.
int DescriptorLimit();

// An open file with its size at that moment. Descriptors are kept out of the numbers that fit into an
// fd_set as far as the system's limits allow, which leaves these to sockets.
class ServedFile {
 public:
  ServedFile() : mDescriptor(-1), mSize(0) {}
  ~ServedFile() { Close(); }
  ServedFile(const ServedFile &) = delete;
  ServedFile &operator=(const ServedFile &) = delete;

  // Takes the descriptor over; false, without it, when there are too many.
  bool Take(int aDescriptor, uint64 aSize, int aDescriptorLimit);
  void Close();
  uint64 Size() const { return mSize; }

  // Reads a piece at an offset; the count of bytes, 0 at the end, -1 on failure.
  int ReadAt(uint64 anOffset, char *aBuffer, size_t aSize) const;

 private:
  int mDescriptor;
  uint64 mSize;
};

class ServedFolder {
 public:
  ServedFolder() : mDescriptor(-1), mDescriptorLimit(0) {}
  ~ServedFolder();
  ServedFolder(const ServedFolder &) = delete;
  ServedFolder &operator=(const ServedFolder &) = delete;

  // Empty, or why the folder cannot be served.
  std::string Open(const std::string &aPath);

  enum Result { kOpened, kMissing, kTooManyFiles };

  // Opens a regular file by its name below the folder. A name that leads out of it, also by a symbolic
  // link on its way, is answered with kMissing and the reason. Any thread may call it.
  Result OpenFile(const std::string &aName, ServedFile &aFile, std::string &aProblem) const;

 private:
  int mDescriptor;
  int mDescriptorLimit;
};

}  // namespace tool
