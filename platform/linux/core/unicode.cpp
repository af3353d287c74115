
#include "base/utf8.h"
#include "platform/text.h"

int RLIBCUnicodeIsUTF8(const char* text) {
  return text != nullptr && IsUtf8(text) ? 1 : 0;
}
