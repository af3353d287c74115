// HEIF files made of boxes, of which no picture can be decoded: what their headers tell is all there.
#ifndef TESTS_SUPPORT_HEIF_MAKER_H_
#define TESTS_SUPPORT_HEIF_MAKER_H_

#include <cstdint>
#include <string>
#include <vector>

struct HeifItem {
  int id = 0;
  int width = 0;
  int height = 0;
  std::string type =
      "av01";  // "grid": the items of `parts` side by side; "Exif", "mime" (XMP): metadata of `describes`
  std::vector<std::string> properties;  // further ones, in the order in which they are applied
  std::vector<int> parts;
  int describes = 0;
  std::string data = std::string(16, 'x');
};

// A box with KIND and CONTENT.
std::string Box(const std::string& kind, const std::string& content);
// NUMBER in BYTES bytes, the highest first.
std::string BigEndian(std::uint64_t number, int bytes);

// Shows the middle WIDTH x HEIGHT of the picture.
std::string CropBox(int width, int height);
// Turns the picture by QUARTERS of a turn, counter-clockwise.
std::string TurnBox(int quarters);
std::string MirrorBox();
// A colour profile in PROFILE's bytes.
std::string ProfileBox(const std::string& profile);

// The file with these items, of which PRIMARY is the picture.
std::string MakeHeif(const std::vector<HeifItem>& items, int primary, const std::string& brand = "avif");

#endif  // TESTS_SUPPORT_HEIF_MAKER_H_
