// The environment, and programs in the background. The environment is the process's: as with getenv() and
// setenv(), no thread may read it while another one changes it. Messages go to module ZVOS (7).
#ifndef zvOS_zvPlatform_h
#define zvOS_zvPlatform_h

#include <zvOS/zvDefines.h>

// A new text with the value of an environment variable, or NULL when it is not set or its name is NULL.
ZVOS_API char *zvPlatform_getenv(const char *anEnvVarName);

// Sets an environment variable. Returns 0, or -1 (logged), also for a NULL.
ZVOS_API int zvPlatform_setenv(const char *anEnvVarName, const char *aValue);

// Has the shell start a program in the background, with a parameter text, which may be NULL. Returns 0
// at once, or what system() answered (logged); a program that cannot be started is the shell's affair.
// The path is put in double quotes, quotes in it are not escaped; the parameter goes to the shell as it
// stands.
ZVOS_API int zvPlatform_Launch(const char *anApplicationFullPath, const char *aParameter);

#endif
