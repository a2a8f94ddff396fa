/* Declarations of the Darwin dynamic loader used to find the running executable. */
#ifndef _MACH_O_DYLD_H_
#define _MACH_O_DYLD_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the executable's path into buf and returns 0; when bufsize is too small, sets it to the
   size needed and returns -1. */
int _NSGetExecutablePath(char* buf, uint32_t* bufsize);

#ifdef __cplusplus
}
#endif

#endif
