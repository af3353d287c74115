// Where a photo or video was taken.
#ifndef PHOTO_DATABASE_POSITION_H_
#define PHOTO_DATABASE_POSITION_H_

#include <optional>
#include <string>

enum class PositionMode { kPhoto, kVideo };

// The texts of the columns "gps" (a small JSON object), "lat" and "lng" (decimal degrees); empty where there
// is none.
struct Position {
  std::string gps;
  std::string latitude;
  std::string longitude;
};

// In this order: the one-shot side file KAVOPHOTO_GPS or KAVOPHOTO:GPS, which gives the first text alone and
// is removed by being read; the Exif tags of a photo as the metadata tool prints them, in full where it
// prints rounded ones, and for a negative part of them the position script. Where that is nonsense the stored
// numbers are taken. All texts are empty when a photo has no position, or one that is nowhere on earth.
// Nothing on an error, and for a video without a side file. HGAStatusCheck has seen PATH.
std::optional<Position> PhotoGPSInfoGet(const char* path, PositionMode mode);

#endif  // PHOTO_DATABASE_POSITION_H_
