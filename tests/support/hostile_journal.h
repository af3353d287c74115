#ifndef TESTS_SUPPORT_HOSTILE_JOURNAL_H_
#define TESTS_SUPPORT_HOSTILE_JOURNAL_H_

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

// A number as SQLite writes it.
inline std::string BigEndian(std::uint32_t number) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((number >> shift) & 0xFF);
  return bytes;
}

// Leaves a journal beside DATABASE as of a transaction over several databases, whose common journal is NAMED.
// Taking it back, SQLite reads that file and deletes it.
inline void PlantJournal(const std::filesystem::path& database, const std::string& named) {
  constexpr std::uint32_t kSector = 512;
  constexpr std::uint32_t kPage = 4096;
  constexpr std::uint32_t kEndOfPages = 0x40000000 / kPage + 1;
  const std::string magic("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
  const auto pages = static_cast<std::uint32_t>(std::filesystem::file_size(database) / kPage);
  std::string journal =
      magic + BigEndian(0) + BigEndian(0) + BigEndian(pages) + BigEndian(kSector) + BigEndian(kPage);
  journal.resize(kSector, '\0');
  std::uint32_t sum = 0;
  for (const char c : named) sum += static_cast<std::uint32_t>(static_cast<signed char>(c));
  journal += BigEndian(kEndOfPages) + named + BigEndian(static_cast<std::uint32_t>(named.size())) +
             BigEndian(sum) + magic;
  std::ofstream(database.string() + "-journal", std::ios::binary) << journal;
}

#endif  // TESTS_SUPPORT_HOSTILE_JOURNAL_H_
