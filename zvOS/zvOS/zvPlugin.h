// SPDX-FileCopyrightText: 2026 the libzvOS authors
// SPDX-License-Identifier: Apache-2.0

/// @file
/// @defgroup zvos_plugin Plug-ins
/// Plug-ins: shared objects that are loaded while the program runs.
///
/// ```c
/// zvOSPluginHandle thePlugin = zvPlugin_Load("./Plugins/libdecoder.so");
/// if (thePlugin == NULL) return;
/// zvOSPluginSymbol theEntry = zvPlugin_GetSymbol(thePlugin, "Decoder_Open");
/// // use it
/// zvPlugin_Unload(thePlugin);
/// ```
///
/// @threads any thread may call any function, as the system's loader allows it; a plug-in is unloaded when no
///   thread is in it
/// @signals no
/// @fork yes, when no other thread was in the system's loader at the fork; the child has what was loaded
/// @errno says nothing
/// @logs failures, as errors of module PLUGIN (29)
/// @since 1.0.0
/// @{
#ifndef zvOS_zvPlugin_h
#define zvOS_zvPlugin_h

#include <zvOS/zvDefines.h>

/// A plug-in that was loaded.
typedef void *zvOSPluginHandle;

/// The address of a function or a variable; cast it to its type.
typedef void *zvOSPluginSymbol;

///@{
/// What names of plug-ins end in.
#define PLUGIN_EXTENSION    ".so"
#define kzvPlugin_Extension PLUGIN_EXTENSION
///@}

/// What names of plug-ins end in.
/// @return ".so", a static text
/// @signals yes
/// @logs nothing
ZVOS_API const char *zvPlugin_GetExtension(void);

/// What stands before the extension to tell builds apart.
/// @return "", a static text: nothing does here
/// @signals yes
/// @logs nothing
ZVOS_API const char *zvPlugin_GetDebugReleaseSuffix(void);

/// The folder where plug-ins are looked for, relative to the working directory.
/// @return "./Plugins" as a new text, which the caller releases with free(); NULL when there is no memory
/// @logs nothing
ZVOS_API char *zvPlugin_GetDefaultPath(void);

/// Loads a plug-in with all that it needs; its names stay its own.
/// @param aPluginName a name for the system's loader, as it stands: with a '/' a path that counts from the
///   working directory
/// @return the plug-in, which the caller gives to zvPlugin_Unload; NULL on failure (logged)
/// @errno is not cleared before: an ENOENT that the caller left in it makes the log speak of missing
///   dependencies where the file is there, whatever the loader says
ZVOS_API zvOSPluginHandle zvPlugin_Load(const char *aPluginName);

/// Gives a plug-in up; what it has is gone when nobody else has loaded it.
/// @param aPluginHandle the plug-in; a failure, and NULL, is only logged
ZVOS_API void zvPlugin_Unload(zvOSPluginHandle aPluginHandle);

/// The address of a symbol of the plug-in or of what it needs.
/// @param aPluginHandle the plug-in; it goes to the system's loader as it stands, which searches the whole
///   program for a NULL one
/// @param aSymbolName the name
/// @return the address, which belongs to the plug-in and is valid until it is unloaded; NULL (logged) when
///   there is none, when the symbol really is NULL, and when the name is NULL
ZVOS_API zvOSPluginSymbol zvPlugin_GetSymbol(zvOSPluginHandle aPluginHandle, const char *aSymbolName);

/// @}

#endif
