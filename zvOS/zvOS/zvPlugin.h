// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

// Plug-ins: shared objects that are loaded while the program runs.
//
//   zvOSPluginHandle thePlugin = zvPlugin_Load("./Plugins/libdecoder.so");
//   if (thePlugin == NULL) return;
//   zvOSPluginSymbol theEntry = zvPlugin_GetSymbol(thePlugin, "Decoder_Open");
//   ...
//   zvPlugin_Unload(thePlugin);
//
// Failures are logged in module PLUGIN (29). Thread safety is that of the system's loader.
#ifndef zvOS_zvPlugin_h
#define zvOS_zvPlugin_h

#include <zvOS/zvDefines.h>

typedef void *zvOSPluginHandle;
typedef void *zvOSPluginSymbol;

// What names of plug-ins end in.
#define PLUGIN_EXTENSION    ".so"
#define kzvPlugin_Extension PLUGIN_EXTENSION

// Static texts: what the name ends in, and what stands before that to tell builds apart, which is
// nothing here.
ZVOS_API const char *zvPlugin_GetExtension(void);
ZVOS_API const char *zvPlugin_GetDebugReleaseSuffix(void);

// A new text, the folder where plug-ins are looked for, relative to the working directory. NULL when
// there is no memory.
ZVOS_API char *zvPlugin_GetDefaultPath(void);

// Loads a plug-in with all that it needs; its names stay its own. NULL on failure. The name goes to the
// system's loader as it stands. `errno` is not cleared before: an ENOENT that the caller left in it makes the
// log speak of missing dependencies where the file is there, whatever the loader says.
ZVOS_API zvOSPluginHandle zvPlugin_Load(const char *aPluginName);

// Gives a plug-in up; what it has is gone when nobody else has loaded it. A failure, and NULL, is only
// logged.
ZVOS_API void zvPlugin_Unload(zvOSPluginHandle aPluginHandle);

// The address of a symbol of the plug-in or of what it needs; the handle goes to the system's loader as it
// stands, which searches the whole program for a NULL one. NULL, which is logged, when there is none, when
// the symbol really is NULL, and when the name is NULL.
ZVOS_API zvOSPluginSymbol zvPlugin_GetSymbol(zvOSPluginHandle aPluginHandle, const char *aSymbolName);

#endif
