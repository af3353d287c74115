#include "core/error.h"

#include "platform/text.h"

namespace {

struct LastError {
  int code = 0;
  const char* file = "";
  int line = 0;
};

thread_local LastError last_error;

}  // namespace

void RecordError(int code, const char* file, int line) {
  last_error = {code, file, line};
}

int RLIBCErrGet(void) {
  return last_error.code;
}
const char* RLIBCErrorGetFile(void) {
  return last_error.file;
}
int RLIBCErrorGetLine(void) {
  return last_error.line;
}
