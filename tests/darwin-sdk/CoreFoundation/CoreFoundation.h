/* Declarations of the Core Foundation types and calls used by this project. */
#ifndef __COREFOUNDATION_COREFOUNDATION__
#define __COREFOUNDATION_COREFOUNDATION__

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef unsigned int UInt32;

typedef signed long CFIndex;
static const CFIndex kCFNotFound = -1;
typedef unsigned long CFTypeID;
typedef const void* CFTypeRef;

typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFError* CFErrorRef;

typedef UInt32 CFStringEncoding;
enum CFStringBuiltInEncodings : CFStringEncoding {
    kCFStringEncodingUTF8 = 0x08000100,
};
typedef enum CFStringBuiltInEncodings CFStringBuiltInEncodings;

enum CFNumberType : CFIndex {
    kCFNumberSInt64Type = 4,
    kCFNumberDoubleType = 13,
};
typedef enum CFNumberType CFNumberType;

#ifdef __cplusplus
extern "C" {
#endif

extern const CFAllocatorRef kCFAllocatorDefault;

void CFRelease(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFTypeID CFStringGetTypeID(void);
CFIndex CFStringGetLength(CFStringRef theString);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);

CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

extern const CFStringRef kCFURLVolumeTotalCapacityKey;
extern const CFStringRef kCFURLVolumeAvailableCapacityForImportantUsageKey;

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex bufLen, Boolean isDirectory);
Boolean CFURLCopyResourcePropertyForKey(CFURLRef url, CFStringRef key,
                                        void* propertyValueTypeRefPtr, CFErrorRef* error);

#ifdef __cplusplus
}
#endif

#endif
