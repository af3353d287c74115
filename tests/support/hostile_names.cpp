#include "support/hostile_names.h"

namespace {

constexpr std::size_t kLong = 240;

}  // namespace

std::vector<std::string> HostileNames() {
  return {// Quotes and comments.
          "'", "''", "'''", "\"", "`", "'; DROP TABLE inj_canary;--", "x' OR 'a'='a", "\");--", "$$",
          "$a$;$a$", "\\'", "\\\\'", "\\", "x\\", "E'", "U&'\\0041'", "'||'", "*", "--", "-", ";",
          "'; DROP TABLE photo_image; --", "a;b", "')", "('",
          // Patterns.
          "%", "_", "100%_", "\\%", "\\_", "[a]", "?", "{a,b}", "a%b_c\\d",
          // Formats and placeholders.
          "%n", "%s%s%s%s", "%1$n", "%99999999d", "%%", "{}", "{0}", "{path}", "$1", "${HOME}", ":name", "@p",
          "?1", "@KAVO:VAR", "@KAVO:NEVAR", "@KAVO:LVAR", "@KAVO:INT", "@KAVO:LLINT", "@KAVO:", "'@KAVO:VAR'",
          // Control characters.
          "a\nb", "a\r\nb", "a\tb", "a\vb", "\x1b]0;x\a", "a\ab", "a\x7f", "\x01", " ", "  lead", "trail  ",
          "trailing.",
          // Encodings.
          "\xef\xbb\xbf"
          "bom",
          "\xe2\x80\xae"
          "rtl",
          "zero\xe2\x80\x8bwidth", "\xc3\xa9", "e\xcc\x81", "\xef\xbf\xbd", "\xef\xbf\xbe",
          "\xf0\x9f\x91\xa8\xe2\x80\x8d\xf0\x9f\x91\xa9\xe2\x80\x8d\xf0\x9f\x91\xa7", "\xf0\x9f\x8c\x8a",
          // Shells and tools.
          "-rf", "--help", "-@", "@args", "x|", "|id", "$(touch pwned)", "`touch pwned`", "&& id", "a b",
          ">out", "~", "!!", "user:alice", "KAVOPHOTO:TITLE", ".KAVOHGADB2", "#", "=", "a=b",
          // Length.
          std::string(kLong, '\''), std::string(kLong, '%'), std::string(kLong, 'a')};
}

std::vector<std::string> HostileBytes() {
  return {"\xff",
          "\xc0\xaf",
          "\xc0'",
          "\xed\xa0\x80",
          "\xf4\x90\x80\x80",
          "\x80",
          "latin1 \xe9",
          "sjis \x83\x5c",
          "gbk \xbf'",
          "\xc0\xa7",
          "'\xff; DROP TABLE inj_canary;--"};
}
