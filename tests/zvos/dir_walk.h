// Walks of the directory traverser for its tests.
#pragma once

#include <zvOS/zvDirTraverser.h>

#include <cerrno>
#include <string>
#include <vector>

namespace zvtest {

// A traverser that is deleted at the end.
class Traverser {
 public:
  explicit Traverser(const char *aPath) : mTraverser(zvDirTraverser_New(aPath)) {}
  explicit Traverser(const std::string &aPath) : Traverser(aPath.c_str()) {}
  ~Traverser() { zvDirTraverser_Delete(mTraverser); }
  Traverser(const Traverser &) = delete;
  Traverser &operator=(const Traverser &) = delete;

  zvDirTraverser *Get() const { return mTraverser; }

  // Both begin with anErrno in errno.
  zvDirEntry *First(const char *aPattern, int aFlags, int anErrno = 0) const {
    mStatus = kUntouched;
    errno = anErrno;
    return zvDirTraverser_GetFirst(mTraverser, aPattern, aFlags, &mStatus);
  }
  zvDirEntry *Next(int anErrno = 0) const {
    mStatus = kUntouched;
    errno = anErrno;
    return zvDirTraverser_GetNext(mTraverser, &mStatus);
  }
  void Rewind() const { zvDirTraverser_Rewind(mTraverser); }

  // What the last call of First or Next told.
  int Status() const { return mStatus; }

 private:
  static constexpr int kUntouched = 77;

  zvDirTraverser *const mTraverser;
  mutable int mStatus = kUntouched;
};

// The names of a whole walk that finds errno cleared at every call; the test fails unless it ends
// without error.
inline std::vector<std::string> Walk(const Traverser &aTraverser, const char *aPattern = "*",
                                     int aFlags = zvDIR_DEFAULT) {
  std::vector<std::string> theNames;
  aTraverser.Rewind();
  for (const zvDirEntry *theEntry = aTraverser.First(aPattern, aFlags); theEntry != nullptr;
       theEntry = aTraverser.Next()) {
    EXPECT_EQ(kzvDirTraverserStatus_NoError, aTraverser.Status());
    theNames.emplace_back(theEntry->mName);
  }
  EXPECT_EQ(kzvDirTraverserStatus_NoError, aTraverser.Status());
  return theNames;
}

}  // namespace zvtest
