// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The library for C++17: owners, results and ranges over the flat interface, inline to the last line.
//
//   zv::Mutex theMutex;
//   auto theThread = zv::Thread::Start([&] {
//     std::lock_guard theGuard(theMutex);
//     ...
//   });
//   if (!theThread) return theThread.error().Errno();
//
// Names: what the standard library has a name for has that name, in lower case (lock, join, wait_for, begin,
// error); everything else is capitalised and named as the flat function behind it (Accept, Send, Symbol).
// Four are the same everywhere: Handle() or Descriptor() is what the flat interface takes, Release() hands it
// over, the constructor from one takes it over, and an owner that is true owns something.
//
// Nothing throws, no type information and no C++ run-time library is needed, and an object is as large as the
// handle inside (sockets: and their label; directories: and where their walk is). Failures are logged by the
// flat functions, as ever; how they answer and which threads may call them is told there and in docs/cpp.md.
// Since version 1.1.0.
#ifndef zvOS_zvOS_hpp
#define zvOS_zvOS_hpp

#include <zvOS/cpp/Delay.hpp>
#include <zvOS/cpp/Device.hpp>
#include <zvOS/cpp/File.hpp>
#include <zvOS/cpp/Label.hpp>
#include <zvOS/cpp/Owner.hpp>
#include <zvOS/cpp/Pipe.hpp>
#include <zvOS/cpp/Result.hpp>
#include <zvOS/cpp/Select.hpp>
#include <zvOS/cpp/Socket.hpp>
#include <zvOS/cpp/Sync.hpp>
#include <zvOS/cpp/Thread.hpp>

// What owns nothing is called as it is; texts that it returns go into a zv::Text.
#include <zvOS/zvDebug.h>
#include <zvOS/zvDir.h>
#include <zvOS/zvPath.h>
#include <zvOS/zvPlatform.h>

#endif
