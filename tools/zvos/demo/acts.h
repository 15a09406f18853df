// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The acts of the tour of the library. Each shows what it found and checks it, and returns whether all
// held. No other thread may be running: some start processes that go on in this program.
#pragma once

#include <string>

namespace tool {

// A file is read by a pool of threads, and once more by one.
bool ReadFileTwice(const std::string &aPath);

// The revision stamps of the program and of its libraries, and one of these loaded as a plug-in.
bool ReadStamps();
bool LoadPlugin();

// What a crash leaves behind.
bool CrashAndReport();

// A wait that another thread ends.
bool WakeUpWait();

// A file that goes from one process to another.
bool ServeFile(const std::string &aFile);

// A connection that goes from one process to another: a supervisor, of which there is one only, takes it
// and hands it to a worker.
bool HandOverToWorker();

// The folder of a file is walked through.
bool WalkFolder(const std::string &aFile);

}  // namespace tool
