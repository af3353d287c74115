// Text tests and conversions, and the last platform error.
#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include "platform/api.h"

extern "C" {

// Non-zero when TEXT is well-formed UTF-8 (no overlong forms, surrogates or values above U+10FFFF). 0 for
// null.
KAVO_API int RLIBCUnicodeIsUTF8(const char* text);
// The system code page, to be handed to RLIBCUnicodeStrCPToUTF8. KIND is always 1.
KAVO_API int RLIBCCodePageGet(int kind);
// Converts FROM of CODE_PAGE to UTF-8 into OUT of SIZE bytes, cut at a character boundary when it does not
// fit; a byte that has no meaning there becomes U+FFFD. The length written, or -1.
KAVO_API int RLIBCUnicodeStrCPToUTF8(int code_page, const char* from, char* out, int size);
// Removes white space from both ends, in place. 0, or -1 for null.
KAVO_API int RLIBCStrTrimSpace(char* text);
// Removes blanks and line ends from both ends, in place; returns TEXT.
KAVO_API char* StringTrim(char* text);

// The code, source file and line of the last failure inside this library.
KAVO_API int RLIBCErrGet(void);
KAVO_API const char* RLIBCErrorGetFile(void);
KAVO_API int RLIBCErrorGetLine(void);

}  // extern "C"

#endif  // PLATFORM_TEXT_H_
