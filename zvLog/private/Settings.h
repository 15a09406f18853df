// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// The settings that a program is started with.
#pragma once

namespace zvlog {

// Applies those of the environment, if there are any. Once, while the library is loaded.
void ApplyEnvironment();

}  // namespace zvlog
