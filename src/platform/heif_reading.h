// Whether Exiv2 reads HEIF, which is a switch of its process.
#ifndef PLATFORM_HEIF_READING_H_
#define PLATFORM_HEIF_READING_H_

#include <array>
#include <exiv2/exiv2.hpp>

// While one lives it does: opening a HEIF file asks for the switch, and reading it does again. Afterwards it
// is as the program had it. One thread at a time has one.
class HeifReading {
 public:
  HeifReading() : before_(IsOn()) { Exiv2::enableBMFF(true); }
  ~HeifReading() { Exiv2::enableBMFF(before_); }
  HeifReading(const HeifReading&) = delete;
  HeifReading& operator=(const HeifReading&) = delete;

 private:
  // The library does not tell; what it takes a file for that is all name does.
  static bool IsOn() {
    constexpr std::size_t kEnough = 512;  // of what it looks at before it names a type
    std::array<Exiv2::byte, kEnough> file{0, 0, 0, 16, 'f', 't', 'y', 'p', 'h', 'e', 'i', 'c'};
    return Exiv2::ImageFactory::getType(file.data(), kEnough) == Exiv2::ImageType::bmff;
  }

  const bool before_;
};

#endif  // PLATFORM_HEIF_READING_H_
