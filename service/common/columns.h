#ifndef SERVICE_COMMON_COLUMNS_H_
#define SERVICE_COMMON_COLUMNS_H_

#include <cstddef>
#include <cstdint>

// How many columns of a terminal the character takes: 2 for those of East Asian scripts and for emoji, 0 for
// marks that go onto the character before, else 1. Whatever the locale.
std::size_t ColumnsOf(std::uint32_t code);

#endif  // SERVICE_COMMON_COLUMNS_H_
