// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Plug-ins, commands, one instance per name: zvPlugin.h, zvProcess.h, zvSingleInstanceChecker.h.
#ifndef zvOS_cpp_Device_hpp
#define zvOS_cpp_Device_hpp

#include <zvOS/cpp/Owner.hpp>
#include <zvOS/zvPlugin.h>
#include <zvOS/zvProcess.h>
#include <zvOS/zvSingleInstanceChecker.h>

namespace zv {

// A plug-in. What it has may be used as long as this lives.
class Plugin : public Owner<void, zvPlugin_Unload> {
 public:
  using Owner::Owner;

  static Result<Plugin> Load(const char *aName) {
    // What is left in it would change the message.
    errno = 0;
    return detail::ResultOf(Plugin(zvPlugin_Load(aName)));
  }

  // The address of a function or a variable, typed: thePlugin->Symbol<int(int)>("Decode"). Nothing checks
  // that the plug-in means the same type.
  template <typename Type>
  Result<Type *> Symbol(const char *aName) const {
    void *const theSymbol = zvPlugin_GetSymbol(Handle(), aName);
    if (theSymbol == nullptr) return Error(-1, 0);
    return reinterpret_cast<Type *>(theSymbol);
  }
};

namespace detail {

inline void CloseProcess(zvProcessFD aProcess) {
  zvProcess_Close(aProcess);
}

}  // namespace detail

// A shell command with a pipe to or from it; the destructor waits for its end.
class Process : public Owner<zvProcessFD_t, detail::CloseProcess> {
 public:
  using Owner::Owner;

  static Result<Process> Open(const char *aCommand, zvProcessOpenMode aMode = zvProcessOpenMode_Read) {
    errno = 0;
    zvProcessFD theHandle = nullptr;
    const int theStatus = zvProcess_Open(aCommand, aMode, &theHandle);
    if (theStatus != 0) return Error::Last(theStatus);
    return Process(theHandle);
  }

  // Does not wait: 0 bytes when there are none yet. The end of the output is an error whose status is
  // kzvProcessStatus_EOS.
  Result<size_t> Read(void *aBuffer, size_t aSize) {
    const int theCount = zvProcess_Read(Handle(), aBuffer, static_cast<uint32>(aSize));
    if (theCount == kzvProcessStatus_EOS) return Error(theCount, 0);
    return detail::CountOf(theCount);
  }

  // Into a buffer: see zvProcess_Write for what can be lost.
  Result<size_t> Write(const void *aBuffer, size_t aSize) {
    const int theCount = zvProcess_Write(Handle(), aBuffer, static_cast<uint32>(aSize));
    if (theCount < 0) return Error(theCount, 0);
    return static_cast<size_t>(theCount);
  }
  Result<size_t> Write(std::string_view aText) { return Write(aText.data(), aText.size()); }

  // The status of the command is dropped there.
  Result<void> Close() { return detail::ResultOf(zvProcess_Close(Release())); }
};

// A name that this process has, and no other.
class SingleInstance : public Owner<zvOSSingleInstanceChecker, zvSingleInstanceChecker_Delete> {
 public:
  // Why the name could not be had.
  enum {
    kStatus_Taken = 1,  // another process has it
    kStatus_Error = 2   // it could not be had for another reason
  };

  using Owner::Owner;

  // Takes the name, until it is released or the process ends.
  static Result<SingleInstance> Take(const char *aName) {
    errno = 0;
    SingleInstance theInstance(zvSingleInstanceChecker_New(aName));
    if (!theInstance) return Error::Last(kStatus_Error);
    if (zvSingleInstanceChecker_Exists(theInstance.Handle()) == 0) return theInstance;
    return Error::Last(zvSingleInstanceChecker_Error(theInstance.Handle()) != 0 ? kStatus_Error
                                                                                : kStatus_Taken);
  }
};

}  // namespace zv

#endif
