/* Declarations of the IOKit service and user-client calls used by this project. */
#ifndef _IOKIT_IOKITLIB_H
#define _IOKIT_IOKITLIB_H

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOReturn.h>
#include <mach/mach.h>
#include <stddef.h>
#include <stdint.h>

typedef mach_port_t io_object_t;
typedef io_object_t io_connect_t;
typedef io_object_t io_service_t;
typedef io_object_t io_registry_entry_t;
typedef UInt32 IOOptionBits;

#define IO_OBJECT_NULL ((io_object_t)0)

#ifdef __cplusplus
extern "C" {
#endif

extern const mach_port_t kIOMainPortDefault;

CFMutableDictionaryRef IOServiceMatching(const char* name);
/* Consumes one reference of `matching`. */
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);
kern_return_t IOServiceOpen(io_service_t service, task_port_t owningTask, uint32_t type,
                            io_connect_t* connect);
kern_return_t IOServiceClose(io_connect_t connect);
kern_return_t IOObjectRelease(io_object_t object);
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);
kern_return_t IOConnectCallScalarMethod(mach_port_t connection, uint32_t selector,
                                        const uint64_t* input, uint32_t inputCnt, uint64_t* output,
                                        uint32_t* outputCnt);
kern_return_t IOConnectCallStructMethod(mach_port_t connection, uint32_t selector,
                                        const void* inputStruct, size_t inputStructCnt,
                                        void* outputStruct, size_t* outputStructCnt);

#ifdef __cplusplus
}
#endif

#endif
