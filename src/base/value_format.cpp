#include "base/value_format.h"

#include <algorithm>
#include <optional>

#include "base/text.h"

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kFlags = "-+ #0'I";
constexpr std::string_view kLengths = "hlqLjzZt";
constexpr std::string_view kSignedIntegers = "di";
constexpr std::string_view kIntegers = "diuoxX";
constexpr std::string_view kFloats = "eEfFgGaA";
constexpr std::string_view kOthers = "cCsSpnm%";
constexpr std::size_t kDefaultPrecision = 6;

bool IsOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

// One conversion as it stands in a format.
struct Conversion {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  std::size_t width = 0;
  std::optional<std::size_t> precision;
  char kind = '\0';
  std::size_t length = 0;  // of its text, the '%' included
};

// Reads the parts of one conversion. Numbers above the limit count as the limit.
class Parser {
 public:
  Parser(std::string_view text, std::size_t limit) : text_(text), limit_(limit) {}

  std::optional<Conversion> Parse() {
    SkipArgumentNumber();
    while (Peek(kFlags)) SetFlag(text_[at_++]);
    result_.width = Number();
    if (Peek(".")) {
      ++at_;
      result_.precision = Number();
    }
    while (Peek(kLengths)) ++at_;
    if (!Peek(kIntegers) && !Peek(kFloats) && !Peek(kOthers)) return std::nullopt;
    result_.kind = text_[at_];
    result_.length = at_ + 1;
    return result_;
  }

 private:
  bool Peek(std::string_view set) const { return at_ < text_.size() && IsOneOf(text_[at_], set); }

  // "2$" says which argument is meant; there is none to choose from.
  void SkipArgumentNumber() {
    const auto end = text_.find_first_not_of(kDigits, at_);
    if (end != std::string_view::npos && end > at_ && text_[end] == '$') at_ = end + 1;
  }

  void SetFlag(char flag) {
    switch (flag) {
      case '-':
        result_.left = true;
        break;
      case '+':
        result_.plus = true;
        break;
      case ' ':
        result_.space = true;
        break;
      case '#':
        result_.alternate = true;
        break;
      case '0':
        result_.zero = true;
        break;
      default:
        break;
    }
  }

  std::size_t Number() {
    if (Peek("*")) {
      ++at_;
      SkipArgumentNumber();
      return 0;
    }
    constexpr std::size_t kBase = 10;
    std::size_t number = 0;
    for (; Peek(kDigits); ++at_) {
      number = std::min(limit_, number * kBase + static_cast<std::size_t>(text_[at_] - '0'));
    }
    return number;
  }

  std::string_view text_;
  std::size_t limit_;
  std::size_t at_ = 1;
  Conversion result_;
};

std::string Fraction(std::size_t digits, bool alternate) {
  if (digits == 0) return alternate ? "." : "";
  return "." + std::string(digits, '0');
}

// Zero as an integer conversion prints it, without its sign.
std::string IntegerZero(const Conversion& conversion) {
  if (conversion.kind == 'o' && conversion.alternate && conversion.precision == 0U) return "0";
  return std::string(conversion.precision.value_or(1), '0');
}

std::string FloatZero(const Conversion& conversion) {
  const std::size_t precision = conversion.precision.value_or(kDefaultPrecision);
  switch (conversion.kind) {
    case 'e':
      return "0" + Fraction(precision, conversion.alternate) + "e+00";
    case 'E':
      return "0" + Fraction(precision, conversion.alternate) + "E+00";
    case 'a':
      return "0" + Fraction(conversion.precision.value_or(0), conversion.alternate) + "p+0";
    case 'A':
      return "0" + Fraction(conversion.precision.value_or(0), conversion.alternate) + "P+0";
    case 'g':
    case 'G':
      return conversion.alternate ? "0" + Fraction(std::max<std::size_t>(precision, 1) - 1, true) : "0";
    default:
      return "0" + Fraction(precision, conversion.alternate);
  }
}

// What stands before the digits, so that zeros may be put between.
std::string Prefix(const Conversion& conversion) {
  const bool has_sign = IsOneOf(conversion.kind, kSignedIntegers) || IsOneOf(conversion.kind, kFloats);
  std::string prefix = !has_sign ? "" : conversion.plus ? "+" : conversion.space ? " " : "";
  if (conversion.kind == 'a') prefix += "0x";
  if (conversion.kind == 'A') prefix += "0X";
  return prefix;
}

std::string RenderNumber(const Conversion& conversion) {
  const bool is_float = IsOneOf(conversion.kind, kFloats);
  const std::string prefix = Prefix(conversion);
  const std::string digits = is_float ? FloatZero(conversion) : IntegerZero(conversion);
  const std::size_t used = prefix.size() + digits.size();
  const std::size_t padding = conversion.width > used ? conversion.width - used : 0;
  if (conversion.left) return prefix + digits + std::string(padding, ' ');
  if (conversion.zero && (is_float || !conversion.precision))
    return prefix + std::string(padding, '0') + digits;
  return std::string(padding, ' ') + prefix + digits;
}

std::string RenderText(const Conversion& conversion, std::string_view text) {
  const std::size_t padding = conversion.width > text.size() ? conversion.width - text.size() : 0;
  const std::string blanks(padding, ' ');
  return conversion.left ? std::string(text) + blanks : blanks + std::string(text);
}

std::string Render(const Conversion& conversion) {
  constexpr std::string_view kNoError = "Success";
  switch (conversion.kind) {
    case '%':
      return "%";
    case 'n':
      return "";
    case 'p':
      return RenderText(conversion, "(nil)");
    case 'm':
      return RenderText(conversion, kNoError.substr(0, conversion.precision.value_or(kNoError.size())));
    case 'c':
    case 'C':
    case 's':
    case 'S':
      return RenderText(conversion, "");
    default:
      return RenderNumber(conversion);
  }
}

}  // namespace

std::string FormatValue(std::string_view value, std::size_t size) {
  std::string out;
  while (!value.empty() && out.size() < size) {
    const auto plain = std::min(value.find('%'), value.size());
    out += value.substr(0, plain);
    value.remove_prefix(plain);
    if (value.empty()) break;
    const auto conversion = Parser(value, size).Parse();
    out += conversion ? Render(*conversion) : "%";
    value.remove_prefix(conversion ? conversion->length : 1);
  }
  return Cut(out, size);
}
