// What Abseil calls to learn the local time zone; Apple's own header comes with its tools only.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFTimeZone* CFTimeZoneRef;
typedef long CFIndex;
typedef unsigned int CFStringEncoding;
enum { kCFStringEncodingUTF8 = 0x08000100 };

CFTimeZoneRef CFTimeZoneCopyDefault(void);
CFStringRef CFTimeZoneGetName(CFTimeZoneRef zone);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
unsigned char CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                                 CFStringEncoding encoding);
void CFRelease(CFTypeRef object);

#ifdef __cplusplus
}
#endif
