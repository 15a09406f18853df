# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Gives each macro and type of a family, "///@{" to "///@}", the comment that stands once in front of them. The
# generator does so by itself for functions alone.

/^\/\/\/@{$|^\/\*\* @{ \*\/$/ { inside = 1; comment = ""; next }
/^\/\/\/@}$|^\/\*\* @} \*\/$/ && inside { inside = 0; next }
inside && /^\/\// || inside && /^\/\*\*/ || inside && /^ \*/ { comment = comment $0 "\n"; next }
inside && /^(#define|typedef) / { printf "%s", comment }
{ print }
