// A file that appears under its name only when it is complete.
#pragma once

#include <cstddef>
#include <string>

namespace tool {

// The data goes into a file of another name in the same folder, which is removed unless Finish was
// called with success.
class OutputFile {
 public:
  // The path may name a regular file, which Finish replaces (one behind a symbolic link as well), or
  // nothing.
  explicit OutputFile(const std::string &aPath);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  // Empty when the path can be written to, otherwise why not; nothing is changed.
  static std::string WhyImpossible(const std::string &aPath);

  // Each returns false on failure, with the reason in Problem().
  bool Begin();
  bool Write(const char *aData, size_t aLength);
  bool Finish();

  const std::string &Problem() const { return mProblem; }

 private:
  bool Failed();

  std::string mPath;
  std::string mTemporaryPath;  // empty when there is none
  int mDescriptor;
  std::string mProblem;
};

}  // namespace tool
