// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Messages to the user of the device, on standard output and in the log (module DEFAULT, information).
// Any thread may call any function once the path of the program is known (see zvPath.h).
#ifndef zvOS_zvUI_h
#define zvOS_zvUI_h

#include <zvOS/zvDefines.h>

enum { kzvUIAskToEndUser_Yes = 0, kzvUIAskToEndUser_No = 1 };

// Shows "title: message". Returns 0.
ZVOS_API int zvUI_DisplayToEndUser(const char *aTitle, const char *aMessage);

// Shows the question with the default answer, which is returned: nobody is asked.
ZVOS_API int zvUI_AskToEndUserYesNo(const char *aTitle, const char *aMessage, int aDefaultResponse);

// A new text with the name of the program's file, its extension included, or NULL.
ZVOS_API char *zvUI_GetApplicationDisplayName(void);

// A new text with the revision of the program's stamp, or NULL when it has none.
ZVOS_API char *zvUI_GetApplicationVersion(void);

#endif
