// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Formatting of what messages are usually made of, straight into a record: with little stack, which a
// thread that crashed may have used up, and in less time than the C library takes.
#pragma once

#include "Record.h"

namespace zvlog {

// Whether FormatPlainly formats it: text, characters and integers, with width, "-" and "0", texts also with
// a precision. The rest is the C library's.
bool IsPlainFormat(const char *aFormat);

// As printf would.
void FormatPlainly(Record *aRecord, const char *aFormat, va_list anArguments) ZVLOG_PRINTF(2, 0);

}  // namespace zvlog
