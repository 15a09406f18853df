// What a call leaves in errno, whatever logging and bookkeeping do to it before the call returns.
#pragma once

#include <cerrno>

namespace zvos {

class SavedError {
 public:
  // Keeps what errno holds now, or a value that is to be in it at the end.
  SavedError() : mError(errno) {}
  explicit SavedError(int anError) : mError(anError) {}
  ~SavedError() { errno = mError; }
  SavedError(const SavedError &) = delete;
  SavedError &operator=(const SavedError &) = delete;

  int Value() const { return mError; }

 private:
  const int mError;
};

}  // namespace zvos
