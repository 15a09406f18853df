// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Sinks as they are written in settings.
#pragma once

#include "SinkSet.h"

namespace zvlog {

// What is wrong with a sink; errno says why where that is open.
struct SinkComplaint {
  const char *mWhat;  // NULL: nothing
  bool mfBecauseOfError;
};

// stderr[:level], file:[level:][max=size[*generations]:]path, syslog[:level][:path]
SinkComplaint AddSinkFromText(SinkChange *aChange, const char *aText);

}  // namespace zvlog
