// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_ui Messages to the user
/// Messages to the user of the device, on standard output, which is flushed, and in the log. A text that is
/// NULL is shown as "(null)".
///
/// @threads any thread may call any function
/// @signals no
/// @fork yes; what standard output holds unwritten at the fork is written by both
/// @errno says nothing
/// @logs what is shown, as information of module DEFAULT (0)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvUI_h
#define zvOS_zvUI_h

#include <zvOS/zvDefines.h>

/// Answers of zvUI_AskToEndUserYesNo.
enum { kzvUIAskToEndUser_Yes = 0, kzvUIAskToEndUser_No = 1 };

/// Shows "title: message" on a line of its own.
/// @param aTitle the title; stays the caller's
/// @param aMessage the message; stays the caller's
/// @return 0, also when standard output cannot be written
ZVOS_API int zvUI_DisplayToEndUser(const char *aTitle, const char *aMessage);

/// Shows "title: message (returning Yes)", or No. Nobody is asked: the default answer is the answer.
/// @param aTitle the title; stays the caller's
/// @param aMessage the question; stays the caller's
/// @param aDefaultResponse kzvUIAskToEndUser_Yes; anything else counts as No
/// @return aDefaultResponse as it was given
ZVOS_API int zvUI_AskToEndUserYesNo(const char *aTitle, const char *aMessage, int aDefaultResponse);

/// The name of the program: that of its file, its extension included, without the folder.
/// @return a new text, which the caller releases with free(); NULL when the path of the program cannot be
///   read or there is no memory
/// @logs what zvPath_GetApplicationName logs
ZVOS_API char *zvUI_GetApplicationDisplayName(void);

/// The revision of the program's stamp, in decimal digits. It is that of zvPath_GetBinaryRevision, and not
/// the version of this library.
/// @return a new text, which the caller releases with free(); NULL when the program has no stamp that can be
///   read, or there is no memory
/// @logs what zvPath_GetBinaryRevision logs
ZVOS_API char *zvUI_GetApplicationVersion(void);

/// @}

#endif
