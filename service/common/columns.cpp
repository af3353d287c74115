#include "common/columns.h"

#include <array>

#include "common/code_ranges.h"

namespace {

// Sorted, as terminals have them.
constexpr std::array<CodeRange, 16> kMarks{{{0x0300, 0x036F},
                                            {0x0483, 0x0489},
                                            {0x0591, 0x05BD},
                                            {0x0610, 0x061A},
                                            {0x064B, 0x065F},
                                            {0x093C, 0x093C},
                                            {0x0E31, 0x0E31},
                                            {0x0E34, 0x0E3A},
                                            {0x0E47, 0x0E4E},
                                            {0x1AB0, 0x1AFF},
                                            {0x1DC0, 0x1DFF},
                                            {0x200B, 0x200F},
                                            {0x20D0, 0x20FF},
                                            {0xFE00, 0xFE0F},
                                            {0xFE20, 0xFE2F},
                                            {0xE0100, 0xE01EF}}};
constexpr std::array<CodeRange, 21> kWide{
    {{0x1100, 0x115F},  {0x231A, 0x231B}, {0x23E9, 0x23EC}, {0x25FD, 0x25FE}, {0x2614, 0x2615},
     {0x2648, 0x2653},  {0x26BD, 0x26BE}, {0x2705, 0x2705}, {0x270A, 0x270B}, {0x2728, 0x2728},
     {0x2753, 0x2757},  {0x2B1B, 0x2B1C}, {0x2E80, 0x303E}, {0x3041, 0xA4CF}, {0xA960, 0xA97F},
     {0xAC00, 0xD7A3},  {0xF900, 0xFAFF}, {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6},
     {0x1F18E, 0x3FFFD}}};

}  // namespace

std::size_t ColumnsOf(std::uint32_t code) {
  if (LiesIn(kMarks, code)) return 0;
  return LiesIn(kWide, code) ? 2 : 1;
}
