/* Declarations of the IOKit power assertions used by this project. */
#ifndef _IOKIT_PWRMGT_IOPMLIB_H
#define _IOKIT_PWRMGT_IOPMLIB_H

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <stdint.h>

typedef uint32_t IOPMAssertionID;
typedef uint32_t IOPMAssertionLevel;

#ifdef __cplusplus
extern "C" {
#endif

IOReturn IOPMAssertionCreateWithName(CFStringRef AssertionType, IOPMAssertionLevel AssertionLevel,
                                     CFStringRef AssertionName, IOPMAssertionID* AssertionID);
IOReturn IOPMAssertionRelease(IOPMAssertionID AssertionID);

#ifdef __cplusplus
}
#endif

#endif
