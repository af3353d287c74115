#ifndef BASE_VALUE_FORMAT_H_
#define BASE_VALUE_FORMAT_H_

#include <cstddef>
#include <string>
#include <string_view>

// Some stored values are used as a printf format without arguments: "%%" in them gives "%", and any other
// conversion is formatted as if its argument were zero or an empty text ("%n" writes nothing, "%c" only its
// padding, "%m" the text of no error, a "*" counts as 0). What is no conversion stays as it is, a lone "%"
// too. The result is cut to SIZE bytes, terminator included, and no width or precision costs more than that.
// The value never reaches printf: nothing is read from or written to the stack, whatever it holds.
std::string FormatValue(std::string_view value, std::size_t size);

#endif  // BASE_VALUE_FORMAT_H_
