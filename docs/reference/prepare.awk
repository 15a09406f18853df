# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Reads a header, or a page of the guide, in place of the generator, so that the texts need no marks for it:
#
# - each macro and type of a family, "///@{" to "///@}", gets the comment that stands once in front of them; the generator
#   does so by itself for functions alone;
# - names become links (links.awk), but not in code;
# - the page of the C++ interface gets a name, by which others refer to it.

FNR == 1 && FILENAME ~ /cpp\.md$/ { $0 = $0 " {#cpp}" }

/^(\/\/\/ | \* )?```/ { code = !code }
{ comment = FILENAME ~ /\.md$/ || /^\/\/\/ / || /^\/\*\* / || /^ \* / }
comment && !code { $0 = prepared($0) }

/^\/\/\/@[{]$|^\/\*\* @[{] \*\/$/ { family = 1; shared = ""; next }
/^\/\/\/@[}]$|^\/\*\* @[}] \*\/$/ && family { family = 0; next }
family && comment { shared = shared $0 "\n"; next }
family && /^(#define|typedef) / { printf "%s", shared }
{ print }
