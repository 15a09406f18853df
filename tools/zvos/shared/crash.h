// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A crash on purpose, to show what the library leaves behind for an engineer in the field.
#pragma once

namespace tool {

// Lets a thread of the library's crash, as the library reports what happens in those, and waits for it.
// There is no core file: nobody wants one of a demonstration. Should the thread live on, the process ends.
void CrashInThread();

}  // namespace tool

// What the crashing thread runs; exported, so that back-traces name it.
extern "C" __attribute__((visibility("default"))) void zvos_CrashOnPurpose(void);
