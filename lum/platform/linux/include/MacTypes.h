/* The target system's basic types, as far as the extension uses them. */
#ifndef LUM_PLATFORM_LINUX_MACTYPES_H
#define LUM_PLATFORM_LINUX_MACTYPES_H

#include <stdint.h>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef unsigned char Boolean;

typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode; /* 'abcd': the first letter in the highest byte */
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef long Size;               /* bytes */
typedef unsigned long ItemCount; /* number of things, or of free places for them */
typedef char *Ptr;

/* Pascal strings: the first byte is the length, no NUL follows. */
typedef unsigned char Str255[256];
typedef unsigned char *StringPtr;

typedef struct ProcessSerialNumber {
    UInt32 highLongOfPSN;
    UInt32 lowLongOfPSN;
} ProcessSerialNumber;

typedef struct Point {
    short v;
    short h;
} Point;

enum {
    noErr = 0,
    permErr = -54,
    fnfErr = -43,
    paramErr = -50,
    memFullErr = -108,
};

#endif
