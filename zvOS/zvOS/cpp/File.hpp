// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Files and directories: zvFile.h, zvDirTraverser.h. Relative paths count from the folder of the program.
#ifndef zvOS_cpp_File_hpp
#define zvOS_cpp_File_hpp

#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvDirTraverser.h>
#include <zvOS/zvFile.h>

namespace zv {

namespace detail {

inline zvFileFD FileHandle(int aDescriptor) {
  return reinterpret_cast<zvFileFD>(static_cast<intptr_t>(aDescriptor));
}

inline int CloseFile(int aDescriptor) {
  return zvFile_Close(FileHandle(aDescriptor));
}

}  // namespace detail

// A file. The status of an error is a kzvFileError....
class File : public DescriptorOwner<detail::CloseFile> {
 public:
  using DescriptorOwner::DescriptorOwner;

  // aMode is a sum of zvFileOpenMode_....
  static Result<File> Open(const char *aPath, zvFileOpenMode aMode) {
    errno = 0;
    zvFileFD theHandle = nullptr;
    const int theStatus = zvFile_Open(aPath, aMode, 0, &theHandle);
    if (theStatus != 0) return Error::Last(theStatus);
    return File(static_cast<int>(reinterpret_cast<intptr_t>(theHandle)));
  }

  // Closes the file, and says what the destructor keeps to itself: that what was written may not have
  // arrived.
  Result<void> Close() { return detail::ResultOf(detail::CloseFile(Release())); }

  // Answers the count of bytes, as Write does: all of them, but no more than INT32_MAX at a time.
  Result<size_t> Read(void *aBuffer, size_t aCount) {
    return detail::CountOf(zvFile_Read(Handle(), aBuffer, static_cast<uint32>(detail::Length(aCount))));
  }
  Result<size_t> Write(const void *aBuffer, size_t aCount) {
    return detail::CountOf(zvFile_Write(Handle(), aBuffer, static_cast<uint32>(detail::Length(aCount))));
  }
  Result<size_t> Write(std::string_view aText) { return Write(aText.data(), aText.size()); }

  Result<void> Seek(zvFileOffset anOffset, zvFileSeekMode aMode = zvFileSeekMode_Begin) {
    return detail::ResultOf(zvFile_Seek(Handle(), anOffset, aMode));
  }
  Result<zvFileOffset> Tell() const { return OffsetBy(zvFile_Tell); }
  Result<zvFileOffset> GetSize() const { return OffsetBy(zvFile_GetSize); }

  // The flat function calls most successes failures, and logs them as such; what has become of the file
  // decides here.
  Result<void> ChangeSize(zvFileOffset aSize) {
    errno = 0;
    const int theStatus = zvFile_ChangeSize(Handle(), aSize);
    if (theStatus == 0) return {};
    const Error theError = Error::Last(theStatus);
    const auto theSize = GetSize();
    const auto thePosition = Tell();
    if (theSize && thePosition && *theSize == aSize && *thePosition == aSize) return {};
    return theError;
  }

  Result<void> Flush() { return detail::ResultOf(zvFile_Flush(Handle())); }

  Result<bool> EndOfFile() const {
    const int theAnswer = zvFile_EndOfFile(Handle());
    if (theAnswer < 0) return Error::Last(theAnswer);
    return theAnswer != 0;
  }

  // What the flat functions take.
  zvFileFD Handle() const { return detail::FileHandle(Descriptor()); }

 private:
  template <typename Call>
  Result<zvFileOffset> OffsetBy(Call aCall) const {
    zvFileOffset theOffset = 0;
    const int theStatus = aCall(Handle(), &theOffset);
    if (theStatus != 0) return Error::Last(theStatus);
    return theOffset;
  }
};

// An entry of a directory; its name is valid until the next one is read.
class DirectoryEntry {
 public:
  // A copy of what the flat interface has found.
  explicit DirectoryEntry(const zvDirEntry &anEntry) : mEntry(anEntry) {}

  // The name, without a path.
  std::string_view Name() const { return mEntry.mName; }
  // The name, as the flat functions take it.
  const char *c_str() const { return mEntry.mName; }
  // Whether it is a directory.
  bool IsDirectory() const { return mEntry.mfDir != 0; }
  // Whether its name begins with a dot.
  bool IsHidden() const { return mEntry.mfHidden != 0; }

 private:
  zvDirEntry mEntry;
};

// The entries of a directory that match a shell pattern, for one walk after the other.
//
//   for (const auto &theEntry : zv::Directory("/media", "*.mp3")) Add(theEntry.Name());
//
// A directory that is missing has no entries, and neither has "/" (see zvDirTraverser_New). A walk that ended
// early looks like one that is complete: who wants to know gives the directory a name and asks it for the
// error afterwards.
class Directory : public Owner<zvDirTraverser, zvDirTraverser_Delete> {
 public:
  // The pattern lives as long as the object. aKinds is a sum of zvDIR_....
  explicit Directory(const char *aPath, const char *aPattern = "*", int aKinds = zvDIR_DEFAULT)
      : Directory(zvDirTraverser_New(aPath), aPattern, aKinds) {}
  // Takes over what the flat interface has made.
  explicit Directory(zvDirTraverser *aHandle, const char *aPattern = "*", int aKinds = zvDIR_DEFAULT)
      : Owner(aHandle), mPattern(aPattern), mKinds(aKinds) {}

  // Where a walk ends.
  struct End {};

  // A place in a walk; all iterators of a directory are at the same one.
  class Iterator {
   public:
    // At the place where the walk is.
    explicit Iterator(Directory &aDirectory) : mDirectory(aDirectory) {}

    // The entry.
    DirectoryEntry operator*() const { return DirectoryEntry(*mDirectory.mEntry); }
    // To the next entry.
    Iterator &operator++() {
      mDirectory.Next();
      return *this;
    }
    // Whether the walk is over.
    bool operator==(End) const { return mDirectory.mEntry == nullptr; }
    // Whether there is an entry.
    bool operator!=(End) const { return mDirectory.mEntry != nullptr; }

   private:
    Directory &mDirectory;
  };
  // Begins a walk anew.
  Iterator begin() {
    First();
    return Iterator(*this);
  }
  // What the end of a walk is compared with.
  End end() const { return {}; }

  // Why the last walk ended before its end, if it did.
  Error error() const { return mError; }

  // NULL of an object that could not be made.
  const char *Path() const { return *this ? zvDirTraverser_GetDirPath(Handle()) : nullptr; }

 private:
  void First() {
    mError = {};
    if (!*this) return EndWith(Error(kzvDirTraverserStatus_Error, ENOMEM));
    zvDirTraverser_Rewind(Handle());
    errno = 0;
    int theStatus = kzvDirTraverserStatus_NoError;
    mEntry = zvDirTraverser_GetFirst(Handle(), mPattern, mKinds, &theStatus);
    if (theStatus != kzvDirTraverserStatus_NoError) EndWith(Error::Last(theStatus));
  }

  // What errno held before would turn the end into an error.
  void Next() {
    errno = 0;
    int theStatus = kzvDirTraverserStatus_NoError;
    mEntry = zvDirTraverser_GetNext(Handle(), &theStatus);
    if (theStatus != kzvDirTraverserStatus_NoError) EndWith(Error::Last(theStatus));
  }

  void EndWith(Error anError) {
    mEntry = nullptr;
    mError = anError;
  }

  const char *mPattern;
  int mKinds;
  zvDirEntry *mEntry = nullptr;
  Error mError;
};

}  // namespace zv

#endif
