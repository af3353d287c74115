#include <errno.h>
#include <iconv.h>
#include <string.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "core/error.h"
#include "core/key_value.h"
#include "core/rooted_path.h"
#include "platform/text.h"

namespace {

struct CodePage {
  int id;
  const char* name;
};

// The first is that of a system that names none.
constexpr std::array kCodePages = {
    CodePage{1252, "CP1252"},       CodePage{874, "CP874"},        CodePage{932, "CP932"},
    CodePage{932, "SHIFT_JIS"},     CodePage{936, "CP936"},        CodePage{936, "GBK"},
    CodePage{949, "CP949"},         CodePage{949, "EUC-KR"},       CodePage{950, "CP950"},
    CodePage{950, "BIG5"},          CodePage{1250, "CP1250"},      CodePage{1251, "CP1251"},
    CodePage{1253, "CP1253"},       CodePage{1254, "CP1254"},      CodePage{1255, "CP1255"},
    CodePage{1256, "CP1256"},       CodePage{1257, "CP1257"},      CodePage{1258, "CP1258"},
    CodePage{20866, "KOI8-R"},      CodePage{28591, "ISO-8859-1"}, CodePage{28592, "ISO-8859-2"},
    CodePage{28605, "ISO-8859-15"}, CodePage{51932, "EUC-JP"},     CodePage{54936, "GB18030"},
};

constexpr const char* kSystemSettings = "/etc/kavo/kavoinfo.conf";
constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

const char* NameOf(int id) {
  for (const CodePage& page : kCodePages) {
    if (page.id == id) return page.name;
  }
  return nullptr;
}

int IdOf(const std::string& name) {
  for (const CodePage& page : kCodePages) {
    if (EqualsIgnoreAsciiCase(page.name, name)) return page.id;
  }
  return kCodePages.front().id;
}

// An iconv descriptor towards UTF-8 that closes itself.
class Converter {
 public:
  // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv's own value for failure
  static inline const iconv_t kNone = reinterpret_cast<iconv_t>(-1);

  explicit Converter(const char* from) : handle_(iconv_open("UTF-8", from)) {}
  ~Converter() {
    if (IsOpen()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool IsOpen() const { return handle_ != kNone; }

  // Goes on as far as possible; both views move behind what was done. 0, or errno.
  int Run(char** from, std::size_t* from_left, char** out, std::size_t* out_left) {
    return iconv(handle_, from, from_left, out, out_left) == static_cast<std::size_t>(-1) ? errno : 0;
  }

 private:
  iconv_t handle_;
};

// Puts U+FFFD for the first byte of what is left; false when it does not fit.
bool ReplaceByte(char** from, std::size_t* from_left, char** out, std::size_t* out_left) {
  const std::size_t length = strlen(kReplacement);
  if (*out_left < length) return false;
  memcpy(*out, kReplacement, length);
  *out += length;
  *out_left -= length;
  ++*from;
  --*from_left;
  return true;
}

// Converts the bytes of FROM into OUT of SIZE bytes. The length written.
int Convert(Converter& converter, std::string from, char* out, int size) {
  char* in = from.data();
  std::size_t in_left = from.size();
  char* at = out;
  std::size_t left = static_cast<std::size_t>(size) - 1;
  while (in_left > 0) {
    const int error = converter.Run(&in, &in_left, &at, &left);
    if (error == E2BIG) break;
    if (error != 0 && !ReplaceByte(&in, &in_left, &at, &left)) break;
  }
  // Some encodings hold a letter back until they know whether an accent follows.
  converter.Run(nullptr, nullptr, &at, &left);
  *at = '\0';
  return static_cast<int>(at - out);
}

}  // namespace

int RLIBCCodePageGet(int /*kind*/) {
  return WithoutExceptions(kCodePages.front().id, [] {
    const auto settings = ReadKeyValues(RootedPath(kSystemSettings));
    const std::string* name = settings != nullptr ? settings->Find("codepage") : nullptr;
    return name != nullptr ? IdOf(*name) : kCodePages.front().id;
  });
}

int RLIBCUnicodeStrCPToUTF8(int code_page, const char* from, char* out, int size) {
  return WithoutExceptions(-1, [&] {
    const char* name = NameOf(code_page);
    if (name == nullptr || from == nullptr || out == nullptr || size <= 0) {
      RECORD_ERROR(EINVAL);
      return -1;
    }
    Converter converter(name);
    if (!converter.IsOpen()) {
      RECORD_ERROR(errno);
      return -1;
    }
    return Convert(converter, from, out, size);
  });
}
