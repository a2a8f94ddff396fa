/* Declarations of the Darwin sysctl interface used by this project. */
#ifndef _SYS_SYSCTL_H_
#define _SYS_SYSCTL_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

int sysctlbyname(const char* name, void* oldp, size_t* oldlenp, void* newp, size_t newlen);

#ifdef __cplusplus
}
#endif

#endif
