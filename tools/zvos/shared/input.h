// Files named on the command line.
#pragma once

#include <zvOS/zvFile.h>

#include <sys/types.h>

#include <string>

namespace tool {

// The path counted from the caller's current folder, as people expect it: the library counts
// relative paths from the folder of the program. An absolute path is returned as it is, and so is
// any path when the current folder is gone.
std::string AbsolutePath(const std::string &aPath);

// Where temporary files go; empty when the library knows no such folder.
std::string TemporaryFolder();

// The file of this program.
std::string OwnExecutable();

// What is said of a file that is no regular one.
const char *WhyNotRegular(mode_t aMode);

// Empty when the path is a regular file that can be read and has a size; otherwise why not. Asked
// before the library is, which would log failures in its own words.
std::string WhyUnreadable(const std::string &aPath);

// WhyUnreadable with its answer as a complaint that names the file; true when it can be read.
bool IsReadable(const std::string &aPath);

// A file opened for reading, closed at the end. Absolute paths only.
class InputFile {
 public:
  explicit InputFile(const char *aPath);
  ~InputFile();
  InputFile(const InputFile &) = delete;
  InputFile &operator=(const InputFile &) = delete;

  bool IsOpen() const { return mFD != kzvFileFDInvalid; }
  zvFileFD FD() const { return mFD; }

 private:
  zvFileFD mFD;
};

}  // namespace tool
