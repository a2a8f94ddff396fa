/* Declarations of the IOKit status type and the status codes used by this project. */
#ifndef __IOKIT_IORETURN_H
#define __IOKIT_IORETURN_H

#include <mach/error.h>
#include <mach/mach.h>

typedef kern_return_t IOReturn;

#define sys_iokit err_system(0x38)
#define sub_iokit_common err_sub(0)
#define iokit_common_err(return ) (sys_iokit | sub_iokit_common | return )

#define kIOReturnNoMemory iokit_common_err(0x2bd)

#endif
