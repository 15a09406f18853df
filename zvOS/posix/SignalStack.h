// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// A stack for the handlers of fatal signals, so that a thread can report that its own has run out.
#pragma once

namespace zvos {

// Gives the calling thread one, which is given back when the thread ends, however it ends. A thread that has
// one already keeps it; without memory for it handlers go on running on the stack of the thread.
void ProvideSignalStack();

}  // namespace zvos
